// Interfaces, memberships and switch-wide values through a real snmpd: what a walk shows after each kind of change,
// who may change what, and what is left while one of the managers is silent.
#include <algorithm>
#include <chrono>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

class Fabric : public FabricTest {
 protected:
  unsigned long ticks(const name_t &name) { return static_cast<unsigned long>(get(name).integer); }
  unsigned long uptime() { return ticks({1, 3, 6, 1, 2, 1, 1, 3, 0}); }
};

varbind oper_state(unsigned long vsan, long state) {
  return integer(vsan_cell(kOperState, vsan), state);
}

// Interfaces.

TEST_F(Fabric, AnInterfaceMovedBetweenOperationalVsansMovesItsMembershipAndLeavesTheVsanTableAlone) {
  const unsigned long changed = ticks(last_change());
  EXPECT_DONE(set({move(kFc2, 5)}));
  EXPECT_EQ(changes(), (difference{{move(kFc2, 5), member(5, kFc2)}, {summary(10, kFc2)}}));
  EXPECT_EQ(ticks(last_change()), changed);
}

TEST_F(Fabric, MovingTheLastActiveMemberTakesItsVsanDownAndTheOtherUpAndTheLastChangeFollows) {
  EXPECT_DONE(set({move(kFc2, 5)}));
  changes();
  const unsigned long earliest = uptime();
  lab::wait_until([&] { return uptime() > earliest; });
  EXPECT_DONE(set({move(kFc3, 20)}));
  EXPECT_EQ(changes(), (difference{{oper_state(10, 2), oper_state(20, 1), move(kFc3, 20), member(20, kFc3)},
                                   {summary(10, kFc3)}}));
  EXPECT_GT(ticks(last_change()), earliest);
  EXPECT_LE(ticks(last_change()), uptime());
}

TEST_F(Fabric, TheLastChangeIsTheUptimeOfTheChangeAndLaterAfterEachOne) {
  EXPECT_EQ(ticks(last_change()), 0u) << "a change before the agent's start reads as its start";
  unsigned long last = 0;
  const std::vector<varbind> steps[] = {
      {row_status(30, kCreateAndGo)}, {name(30, "x")}, {admin_state(30, 2)}, {row_status(30, kDestroy)}};
  for (const auto &step : steps) {
    const unsigned long earliest = uptime();
    lab::wait_until([&] { return uptime() > earliest + 2; });
    EXPECT_DONE(set(step));
    const unsigned long changed = ticks(last_change());
    EXPECT_GT(changed, last);
    EXPECT_GE(changed, earliest);
    EXPECT_LE(changed, uptime());
    last = changed;
  }
  EXPECT_DONE(set({name(5, "five")}));
  EXPECT_EQ(ticks(last_change()), last) << "a row that reads as before has not changed";
}

TEST_F(Fabric, AnInterfaceInASuspendedVsanIsNoActiveMember) {
  EXPECT_DONE(set({move(kFc1, 4093)}));
  EXPECT_EQ(changes(), (difference{{oper_state(5, 2), move(kFc1, 4093)}, {summary(5, kFc1)}}));
  EXPECT_DONE(set({admin_state(4093, 1)}));
  EXPECT_EQ(changes(),
            (difference{{admin_state(4093, 1), oper_state(4093, 1), member(4093, kFc1), member(4093, kFc5)}, {}}));
  EXPECT_DONE(set({admin_state(4093, 2)}));
  EXPECT_EQ(changes(),
            (difference{{admin_state(4093, 2), oper_state(4093, 2)}, {summary(4093, kFc1), summary(4093, kFc5)}}));
}

TEST_F(Fabric, AnInterfaceThatComesUpOrGoesDownTakesItsVsanAlong) {
  ASSERT_EQ(lab::ctl(l, {"interface", "up", "fc1/4"}).status, 0) << lab::ctl(l, {"interface", "up", "--help"}).output;
  EXPECT_EQ(changes(), (difference{{oper_state(20, 1), member(20, kFc4)}, {}}));
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/1"}).status, 0);
  EXPECT_EQ(changes(), (difference{{oper_state(5, 2)}, {summary(5, kFc1)}}));
}

TEST_F(Fabric, DeletingAVsanSendsItsInterfacesHomeAndTakesItsRowsFromEveryTable) {
  EXPECT_DONE(set({row_status(10, kDestroy)}));
  const difference d = changes();
  EXPECT_EQ(d.now, (std::vector<varbind>{integer(vsan_number(), 4), oper_state(1, 1), move(kFc2, 1), move(kFc3, 1),
                                         member(1, kFc2), member(1, kFc3)}));
  EXPECT_EQ(d.gone.size(), 10u + 2u + 5u) << "its row, its memberships, its timers";
}

TEST_F(Fabric, AnInterfaceMovedToAnAbsentVsanOrAnAbsentInterfaceChangesNothing) {
  const std::string store = lab::settled_dump(l);
  EXPECT_SET(set({move(kFc1, 77)}), kInconsistentName, 1);
  EXPECT_SET(set({move(99, 10)}), kNotWritable, 1) << "no row, no write method";
  EXPECT_EQ(changes(), difference{});
  EXPECT_EQ(lab::settled_dump(l), store);
}

TEST_F(Fabric, AMoveStaysThoughALaterVarbindOfThePduIsRefused) {
  EXPECT_SET(set({move(kFc1, 10), name(20, "ten")}), kInconsistentName, 2);
  EXPECT_EQ(changes(), (difference{{oper_state(5, 2), move(kFc1, 10), member(10, kFc1)}, {summary(5, kFc1)}}));
}

TEST_F(Fabric, AnInterfaceMovesIntoAVsanThatTheSamePduCreatesBeforeItAndNotAfterIt) {
  EXPECT_SET(set({move(kFc1, 30), row_status(30, kCreateAndGo)}), kInconsistentName, 1);
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(set({row_status(30, kCreateAndGo), move(kFc1, 30)}));
  EXPECT_EQ(get(vsan_cell(kOperState, 30)).integer, 1);
  EXPECT_EQ(get(summary(30, kFc1)), member(30, kFc1));
}

// Switch-wide values.

TEST_F(Fabric, ASwitchWideTimerIsThatOfEveryVsanWithoutAValueOfItsOwn) {
  EXPECT_DONE(set({scalar_gauge(kSwitchRatov, 8000)}));
  EXPECT_EQ(changes(), (difference{{scalar_gauge(kSwitchRatov, 8000), timer(kRatov, 1, 8000), timer(kRatov, 10, 8000),
                                    timer(kRatov, 20, 8000), timer(kRatov, 4093, 8000)},
                                   {}}));
  EXPECT_DONE(set({scalar_gauge(kSwitchDstov, 7000), scalar_gauge(kSwitchEdtov, 1000)}));
  const difference d = changes();
  EXPECT_EQ(d.now.size(), 2u + 4u + 5u) << "VSAN 5 has an E_D_TOV of its own";
  EXPECT_EQ(get(timer_cell(kEdtov, 5)), timer(kEdtov, 5, 2500));
}

TEST_F(Fabric, LatenciesAndInOrderDeliveryOfTheSwitchAreSetAndReadAndKept) {
  const std::vector<varbind> pdu = {scalar_gauge(kNetworkLatency, 60000), scalar_gauge(kSwitchLatency, 0),
                                    integer(switch_wide(kSwitchInorder), 1)};
  EXPECT_DONE(set(pdu));
  EXPECT_EQ(changes(), (difference{pdu, {}}));
  lab::stop(l.switchd, SIGKILL);
  lab::start_switchd(l);
  EXPECT_EQ(changes(), difference{});
}

TEST_F(Fabric, ASwitchWideValueStaysThoughALaterVarbindOfThePduIsRefused) {
  EXPECT_SET(set({scalar_gauge(kSwitchLatency, 1), name(20, "ten")}), kInconsistentName, 2);
  EXPECT_EQ(changes(), (difference{{scalar_gauge(kSwitchLatency, 1)}, {}}));
  EXPECT_SET(set({scalar_gauge(kSwitchLatency, 2), scalar_gauge(kNetworkLatency, 60001)}), kWrongValue, 2);
  EXPECT_EQ(changes(), difference{});
}

// Restricted users: VSANs 10 and 20.

std::vector<name_t> names_of(const std::vector<varbind> &walk) {
  std::vector<name_t> out;
  for (const varbind &v : walk) {
    out.push_back(v.name);
  }
  return out;
}

TEST_F(Fabric, ARestrictedUserReadsAllInterfacesAndMovesThemBetweenItsOwnVsansOnly) {
  snmp::client tenant(l, snmp::user("tenant"), 30);
  EXPECT_EQ(snmp::walk(tenant, if_table()).size(), 10u);
  EXPECT_EQ(snmp::get(tenant, {if_vsan(kFc1)}).varbinds.at(0), move(kFc1, 5));
  EXPECT_SET(snmp::set(tenant, {move(kFc2, 5)}), kGenErr, 1);
  EXPECT_NE(errors().find("the user may not touch this VSAN"), std::string::npos);
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(snmp::set(tenant, {move(kFc2, 20)}));
  changes();
  EXPECT_SET(snmp::set(tenant, {move(kFc1, 10)}), kGenErr, 1);
  EXPECT_EQ(changes(), difference{}) << "where an interface comes from is asked";
}

TEST_F(Fabric, ARestrictedUserWalksTheMembershipsOfItsVsansAndGetsNone) {
  EXPECT_DONE(set({move(kFc5, 20)}));
  snmp::client tenant(l, snmp::user("tenant"), 30);
  const std::vector<name_t> visible = {summary(10, kFc2), summary(10, kFc3), summary(20, kFc5)};
  EXPECT_EQ(names_of(snmp::walk(tenant, summary_table())), visible);
  EXPECT_EQ(names_of(snmp::bulkwalk(tenant, summary_table())), visible);
  for (const name_t &each : visible) {
    EXPECT_EQ(snmp::get(tenant, {each}).varbinds.at(0).type, snmp::kNoSuchInstance) << text(each);
  }
}

TEST(FabricRoles, ARoleOfInterfacesOnlyWalksAllMembershipsAndGetsNone) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRoleInterfaces closeds 16777216\n"});
  snmp::client c(l, snmp::user("closed"), 30);
  EXPECT_EQ(snmp::get(c, {summary(10, kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {summary(5, kFc1)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  const std::vector<varbind> walked = snmp::walk(c, summary_table());
  EXPECT_EQ(walked.size(), 3u);
  EXPECT_NE(std::find(walked.begin(), walked.end(), member(10, kFc2)), walked.end());
}

TEST(FabricRoles, AnInterfaceOutsideTheRoleEndsTheWalkOfItsVsanColumnHidesItsCellAndRefusesTheMove) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRoleInterfaces tenants 16777216,16785408\n"});
  snmp::client c(l, snmp::user("tenant"), 30);
  EXPECT_EQ(snmp::get(c, {if_vsan(kFc1)}).varbinds.at(0), move(kFc1, 5));
  EXPECT_EQ(snmp::get(c, {if_vsan(kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {deny_list(kFc2)}).varbinds.at(0), integer(deny_list(kFc2), 0));
  EXPECT_EQ(names_of(snmp::walk(c, if_column(kIfVsan))), (std::vector<name_t>{if_vsan(kFc1)}))
      << "the column is not walked past a hidden interface";
  EXPECT_EQ(snmp::walk(c, if_column(kIfDenyList)).size(), 5u);
  EXPECT_SET(snmp::set(c, {move(kFc2, 10)}), kGenErr, 1);
  EXPECT_DONE(snmp::set(c, {move(kFc3, 20)}));
}

TEST_F(Fabric, ARestrictedUserReadsAndSetsTheTimersOfItsVsansAndTheSwitchWideOnes) {
  snmp::client tenant(l, snmp::user("tenant"), 30);
  for (const unsigned long column : {kForceFlag, kRatov, kEdtov, kDstov, kFstov}) {
    EXPECT_EQ(names_of(snmp::walk(tenant, timer_column(column))),
              (std::vector<name_t>{timer_cell(column, 10), timer_cell(column, 20)}));
    EXPECT_EQ(snmp::get(tenant, {timer_cell(column, 5)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  }
  for (const unsigned long vsan : {1ul, 5ul, 30ul, 4093ul}) {
    EXPECT_SET(snmp::set(tenant, {force(vsan, '\xe0')}), kGenErr, 1);
    EXPECT_SET(snmp::set(tenant, {timer(kRatov, vsan, 6000)}), kGenErr, 1);
    EXPECT_SET(snmp::set(tenant, {timer(kEdtov, vsan, 1500)}), kGenErr, 1);
    EXPECT_SET(snmp::set(tenant, {timer(kDstov, vsan, 6000)}), kGenErr, 1);
  }
  EXPECT_NE(errors().find("the user may not touch this VSAN"), std::string::npos);
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(snmp::set(tenant, {timer(kRatov, 20, 6000), scalar_gauge(kSwitchDstov, 6000)}));
}

// Silent managers.

class Silent : public FabricTest {
 protected:
  void hang(const std::string &service) { ASSERT_EQ(lab::ctl(l, {"fault", "hang", "--service", service}).status, 0); }

  // One PDU over every table; returns how long it took.
  double ask_everything(snmp::answer *answer) {
    snmp::client c(l, snmp::community("public"), 60);
    const auto start = std::chrono::steady_clock::now();
    *answer = snmp::get(
        c, {summary(10, kFc2), summary(10, kFc3), summary(5, kFc1), vsan_cell(kName, 10), vsan_cell(kName, 20),
            if_vsan(kFc1), if_vsan(kFc2), timer_cell(kRatov, 10), vsan_number(), switch_wide(kSwitchRatov)});
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

constexpr size_t kMemberships = 3, kAsked = 10;

TEST_F(Silent, ASilentPortManagerHidesTheMembershipsOnlyAndCostsOneTimeOutAPdu) {
  hang("port-manager");
  snmp::answer answer;
  const double took = ask_everything(&answer);
  EXPECT_GT(took, 4.5);
  EXPECT_LT(took, 7.0) << "one time-out of 5 s, not three";
  ASSERT_EQ(answer.varbinds.size(), kAsked);
  for (size_t i = 0; i < kAsked; ++i) {
    const bool missing = answer.varbinds[i].type == snmp::kNoSuchInstance;
    EXPECT_EQ(missing, i < kMemberships) << text(answer.varbinds[i].name);
  }
  // SETs go to the VSAN manager and are as fast as ever.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_DONE(set({move(kFc1, 10), name(5, "x")}));
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0);
  ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
  EXPECT_TRUE(lab::wait_until([&] { return get(summary(10, kFc1)) == member(10, kFc1); }, 3));
}

TEST_F(Silent, ASilentVsanManagerLeavesTheMembershipsAndCostsOneTimeOutAPdu) {
  hang("vsan-manager");
  snmp::answer answer;
  const double took = ask_everything(&answer);
  EXPECT_GT(took, 3.5);
  EXPECT_LT(took, 6.0) << "one time-out of 4 s, not seven";
  ASSERT_EQ(answer.varbinds.size(), kAsked);
  for (size_t i = 0; i < kAsked; ++i) {
    const bool missing = answer.varbinds[i].type >= snmp::kNoSuchObject;
    EXPECT_EQ(missing, i >= kMemberships) << text(answer.varbinds[i].name);
  }
  ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
  EXPECT_TRUE(lab::wait_until([&] { return get(if_vsan(kFc1)) == move(kFc1, 5); }, 3));
  EXPECT_EQ(changes(), difference{});
}

TEST_F(Silent, ASetToASilentVsanManagerIsRefusedAfterOneTimeOutAndChangesNothing) {
  const std::string store = lab::settled_dump(l);
  const std::vector<varbind> pdus[] = {
      {name(5, "x"), name(10, "y"), admin_state(20, 2), row_status(30, kCreateAndGo)},
      {timer(kRatov, 20, 6000), timer(kEdtov, 20, 1500), move(kFc1, 10), scalar_gauge(kSwitchRatov, 6000)}};
  for (const auto &pdu : pdus) {
    hang("vsan-manager");
    const auto start = std::chrono::steady_clock::now();
    const snmp::answer answer = set(pdu);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // An interface that cannot be read has no write method.
    EXPECT_EQ(answer.status, &pdu == &pdus[0] ? kGenErr : kNotWritable);
    EXPECT_GT(took, 3.5);
    EXPECT_LT(took, 6.0) << "one time-out of 4 s";
    ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
    EXPECT_TRUE(lab::wait_until([&] { return get(vsan_cell(kName, 5)).octets == "five"; }, 3));
  }
  EXPECT_EQ(lab::settled_dump(l), store);
  EXPECT_DONE(set(pdus[0]));
}

}  // namespace
