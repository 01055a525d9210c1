// The timers of VSANs through a real snmpd: force flags, distribution sessions, what is refused.
#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

class FabricTimer : public FabricTest {
 protected:
  void kdx(std::vector<std::string> words) {
    words.insert(words.begin(), "kdx");
    const lab::result r = lab::ctl(l, words);
    ASSERT_EQ(r.status, 0) << r.output;
  }
};

// Force flags.

TEST_F(FabricTimer, TheTimersOfAVsanThatIsDownAreTakenWithoutForce) {
  const std::vector<varbind> pdu = {timer(kRatov, 20, 10000), timer(kEdtov, 20, 4000), timer(kDstov, 20, 10000)};
  EXPECT_DONE(set(pdu));
  EXPECT_EQ(changes(), (difference{{pdu[1], pdu[2]}, {}})) << "the first one is what it was";
  EXPECT_DONE(set({timer(kRatov, 4093, 5000)}));
  EXPECT_EQ(changes(), (difference{{timer(kRatov, 4093, 5000)}, {}}));
}

TEST_F(FabricTimer, ATimerOfAnOperationalVsanIsRefusedWithoutForceAndTakenWithIt) {
  const std::string store = lab::settled_dump(l);
  EXPECT_SET(set({timer(kRatov, 5, 6000)}), kGenErr, 1);
  EXPECT_NE(errors().find("the VSAN is operational: its timers must be forced"), std::string::npos) << errors();
  EXPECT_EQ(changes(), difference{});
  EXPECT_EQ(lab::settled_dump(l), store);
  EXPECT_DONE(set({force(5, '\x80')}));
  EXPECT_DONE(set({timer(kRatov, 5, 6000)}));
  EXPECT_EQ(changes(), (difference{{force(5, '\x80'), timer(kRatov, 5, 6000)}, {}}));
}

TEST_F(FabricTimer, EachForceBitIsOfOneTimerAndStaysForLaterPdus) {
  const std::pair<char, unsigned long> bits[] = {{'\x80', kRatov}, {'\x40', kEdtov}, {'\x20', kDstov}};
  for (const auto &[bit, forced] : bits) {
    EXPECT_DONE(set({force(5, bit)}));
    for (unsigned long value = 0; value < 2; ++value) {
      for (const unsigned long column : {kRatov, kEdtov, kDstov}) {
        const unsigned long written = (column == kEdtov ? 3000 : 7000) + value;
        EXPECT_SET(set({timer(column, 5, written)}), column == forced ? kNoError : kGenErr, column == forced ? 0 : 1)
            << "bit " << (bit & 0xff) << ", column " << column;
      }
    }
  }
  EXPECT_SET(set({timer(kRatov, 10, 6000)}), kGenErr, 1) << "another VSAN's flags are its own";
}

TEST_F(FabricTimer, AForceFlagWorksForATimerBehindItInThePduAndNotForOneBeforeIt) {
  EXPECT_DONE(set({force(5, '\x80'), timer(kRatov, 5, 6000)}));
  EXPECT_EQ(changes(), (difference{{force(5, '\x80'), timer(kRatov, 5, 6000)}, {}}));
  EXPECT_SET(set({timer(kRatov, 10, 6000), force(10, '\x80')}), kGenErr, 1);
  EXPECT_EQ(changes(), (difference{{force(10, '\x80')}, {}})) << "the flag of the refused PDU stays";
  EXPECT_DONE(set({timer(kRatov, 10, 6000)}));
}

TEST_F(FabricTimer, TheForceFlagKeepsItsThreeBitsOnly) {
  const std::pair<char, char> written_and_read[] = {
      {'\xff', '\xe0'}, {'\x1f', '\0'}, {'\xe0', '\xe0'}, {'\xa5', '\xa0'}, {'\0', '\0'}};
  for (const auto &[written, read] : written_and_read) {
    EXPECT_DONE(set({force(5, written)}));
    EXPECT_EQ(get(timer_cell(kForceFlag, 5)), force(5, read));
  }
}

TEST_F(FabricTimer, AForceFlagOfNoOctetIsTakenOfTwoIsWrongLength) {
  EXPECT_DONE(set({octets(timer_cell(kForceFlag, 5), "")}));
  EXPECT_SET(set({octets(timer_cell(kForceFlag, 5), "\xe0\xe0")}), kWrongLength, 1);
}

// Forgetting is the restart's: the flags are the agent's own.
TEST_F(FabricTimer, ForceFlagsEndWithTheAgentAndNotWithSwitchd) {
  EXPECT_DONE(set({force(5, '\x80')}));
  lab::stop(l.switchd, SIGKILL);
  lab::start_switchd(l);
  EXPECT_EQ(get(timer_cell(kForceFlag, 5)), force(5, '\x80'));
  lab::stop(l.snmpd);
  lab::start_snmpd(l);
  EXPECT_EQ(get(timer_cell(kForceFlag, 5)), force(5, '\0'));
}

// Rows that are not there.

TEST_F(FabricTimer, ATimerOfAnAbsentVsanOrOfAnOidThatNamesNoneIsInconsistentName) {
  const std::string store = lab::settled_dump(l);
  for (const unsigned long column : {kRatov, kEdtov, kDstov}) {
    const unsigned long value = column == kEdtov ? 3000 : 7000;
    for (const unsigned long vsan : {0ul, 77ul, 4095ul, 4096ul, 4294967295ul}) {
      EXPECT_SET(set({timer(column, vsan, value)}), kInconsistentName, 1) << column << " " << vsan;
    }
    EXPECT_SET(set({gauge(root({1, 4, 8, 1, column, 5, 1}), value)}), kInconsistentName, 1);
  }
  EXPECT_SET(set({force(0, '\x80')}), kInconsistentName, 1);
  EXPECT_SET(set({force(4096, '\x80')}), kInconsistentName, 1);
  EXPECT_DONE(set({force(77, '\x80')})) << "the flag is kept for a VSAN to come";
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(set({row_status(77, kCreateAndGo)}));
  EXPECT_EQ(get(timer_cell(kForceFlag, 77)), force(77, '\x80'));
  EXPECT_DONE(set({row_status(77, kDestroy)}));
}

TEST_F(FabricTimer, ATimerStaysThoughALaterVarbindOfThePduIsRefused) {
  EXPECT_SET(set({timer(kRatov, 20, 6000), timer(kRatov, 5, 6000)}), kGenErr, 2);
  EXPECT_EQ(changes(), (difference{{timer(kRatov, 20, 6000)}, {}}));
  EXPECT_SET(set({timer(kRatov, 20, 7000), timer(kRatov, 5, 4999)}), kWrongValue, 2);
  EXPECT_EQ(changes(), difference{});
}

TEST_F(FabricTimer, ADeletedVsanTakesItsTimersAlongAndOneOfItsNumberStartsWithTheSwitchWideOnes) {
  EXPECT_DONE(set({row_status(5, kDestroy)}));
  EXPECT_DONE(set({row_status(5, kCreateAndGo)}));
  EXPECT_EQ(get(timer_cell(kRatov, 5)), timer(kRatov, 5, 10000));
  EXPECT_EQ(get(timer_cell(kEdtov, 5)), timer(kEdtov, 5, 2000));
}

// Distribution.

TEST_F(FabricTimer, ASessionShowsPendingValuesUntilACommitBringsThemIntoForce) {
  kdx({"enable"});
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000), scalar_gauge(kSwitchDstov, 9000)}));
  const std::string running = lab::store_rows(l);
  EXPECT_NE(running.find("pending 20|7|3000"), std::string::npos) << running;
  EXPECT_EQ(running.find("timer 20|"), std::string::npos) << running;
  const difference pending = changes();
  EXPECT_NE(std::find(pending.now.begin(), pending.now.end(), timer(kEdtov, 20, 3000)), pending.now.end());

  kdx({"show-running", "on"});
  EXPECT_EQ(get(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 2000));
  EXPECT_EQ(get(timer_cell(kDstov, 20)), timer(kDstov, 20, 5000));
  kdx({"show-running", "off"});
  EXPECT_EQ(get(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 3000));
  EXPECT_EQ(get(timer_cell(kRatov, 5)), timer(kRatov, 5, 9000)) << "a timer without a pending value reads as it runs";

  kdx({"commit"});
  kdx({"show-running", "on"});
  EXPECT_EQ(get(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 3000));
  EXPECT_EQ(get(switch_wide(kSwitchDstov)), scalar_gauge(kSwitchDstov, 9000));
  EXPECT_NE(lab::store_rows(l).find("timer 20|7|3000"), std::string::npos);
  EXPECT_EQ(lab::store_rows(l).find("pending"), std::string::npos);
}

TEST_F(FabricTimer, AnAbortDropsThePendingValues) {
  kdx({"enable"});
  const std::string enabled = lab::store_rows(l);
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  EXPECT_EQ(changes(), (difference{{timer(kEdtov, 20, 3000)}, {}}));
  kdx({"abort"});
  EXPECT_EQ(changes(), (difference{{timer(kEdtov, 20, 2000)}, {}}));
  EXPECT_EQ(lab::store_rows(l), enabled);
}

TEST_F(FabricTimer, ASessionOutlivesARestartOfSwitchdAndOfTheAgent) {
  kdx({"enable"});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  changes();
  lab::stop(l.switchd, SIGKILL);
  lab::start_switchd(l);
  EXPECT_EQ(changes(), difference{});
  lab::stop(l.snmpd);
  lab::start_snmpd(l);
  EXPECT_EQ(changes(), difference{});
  kdx({"commit"});
  EXPECT_EQ(changes(), difference{});
}

TEST_F(FabricTimer, AVsanKeptOutIsPassedOverByPendingReadsAndItsTimersAreSetAtOnce) {
  kdx({"enable"});
  kdx({"keep-out", "20"});
  std::vector<name_t> gone;
  for (const unsigned long column : {kForceFlag, kRatov, kEdtov, kDstov, kFstov}) {
    gone.push_back(timer_cell(column, 20));
  }
  EXPECT_EQ(changes(), (difference{{}, gone})) << "a walk passes over the VSAN";
  EXPECT_EQ(get(timer_cell(kEdtov, 20)).name, timer_cell(kEdtov, 4093)) << "a GET is answered with the row after it";

  kdx({"show-running", "on"});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  EXPECT_NE(lab::store_rows(l).find("timer 20|7|3000"), std::string::npos);
  EXPECT_EQ(get(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 3000));
  kdx({"show-running", "off"});
  kdx({"take-in", "20"});
  EXPECT_EQ(changes(), (difference{{force(20, '\0'), timer(kRatov, 20, 10000), timer(kEdtov, 20, 3000),
                                    timer(kDstov, 20, 5000), timer(kFstov, 20, 5000)},
                                   {}}));
}

// The agent looks a cell up before it sets it, and the lookup moves on: the SET does not follow it.
TEST_F(FabricTimer, ASetOfAVsanKeptOutGoesToTheRowThatIsNamedAndTheAnswerNamesIt) {
  kdx({"enable"});
  kdx({"keep-out", "20"});
  const snmp::answer answer = set({timer(kEdtov, 20, 3000)});
  EXPECT_DONE(answer);
  EXPECT_EQ(answer.varbinds, (std::vector<varbind>{timer(kEdtov, 20, 3000)}));
  const std::string store = lab::store_rows(l);
  EXPECT_NE(store.find("timer 20|7|3000"), std::string::npos) << store;
  EXPECT_EQ(store.find("pending"), std::string::npos) << store;
}

TEST_F(FabricTimer, WhileAnotherSwitchHoldsTheLockPendingReadsGiveNothingRunningOnesGoOnAndSetsAreRefused) {
  kdx({"enable"});
  kdx({"remote-lock", "on"});
  const std::string store = lab::settled_dump(l);
  for (const unsigned long column : {kForceFlag, kRatov, kEdtov, kDstov, kFstov}) {
    EXPECT_EQ(get(timer_cell(column, 20)).type, snmp::kNoSuchInstance);
  }
  EXPECT_EQ(changes().gone.size(), 5u * 5u + 4u) << "the timer table and the switch-wide timers; the rest is whole";
  EXPECT_SET(set({timer(kEdtov, 20, 3000)}), kGenErr, 1);
  EXPECT_NE(errors().find("another switch holds the distribution lock"), std::string::npos) << errors();
  kdx({"show-running", "on"});
  EXPECT_EQ(get(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 2000));
  kdx({"show-running", "off"});
  EXPECT_EQ(lab::settled_dump(l), store);
  kdx({"remote-lock", "off"});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
}

TEST_F(FabricTimer, AnotherUsersSessionIsNotWrittenInto) {
  kdx({"enable"});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  snmp::client other(l, snmp::user("operator"), 30);
  EXPECT_SET(snmp::set(other, {timer(kEdtov, 4093, 3000)}), kGenErr, 1);
  EXPECT_NE(errors().find("another user's distribution session is open"), std::string::npos) << errors();
  EXPECT_EQ(changes(), (difference{{timer(kEdtov, 20, 3000)}, {}}));
}

}  // namespace
