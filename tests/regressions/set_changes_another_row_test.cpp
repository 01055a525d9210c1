// A SET of a timer of a VSAN that is kept out of distribution answered noError and changed the next VSAN's.
#include "fabric_lab.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

class NamedRow : public FabricTest {
 protected:
  void SetUp() override {
    FabricTest::SetUp();
    ASSERT_EQ(lab::ctl(l, {"kdx", "enable"}).status, 0);
    ASSERT_EQ(lab::ctl(l, {"kdx", "keep-out", "20"}).status, 0);
    before = everything();
  }
  // With the running configuration on show, VSANs kept out of distribution are seen too.
  varbind running(const name_t &cell) {
    EXPECT_EQ(lab::ctl(l, {"kdx", "show-running", "on"}).status, 0);
    const varbind value = get(cell);
    EXPECT_EQ(lab::ctl(l, {"kdx", "show-running", "off"}).status, 0);
    return value;
  }
};

TEST_F(NamedRow, ATimerThatIsNamedIsWrittenAndNoOther) {
  for (const unsigned long column : {kRatov, kDstov}) {
    EXPECT_DONE(set({timer(column, 20, 7000)}));
    EXPECT_EQ(running(timer_cell(column, 20)), timer(column, 20, 7000));
  }
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  EXPECT_EQ(running(timer_cell(kEdtov, 20)), timer(kEdtov, 20, 3000));
  EXPECT_EQ(changes(), difference{}) << "the others are as they were, pending values included";
  EXPECT_EQ(lab::store_rows(l).find("pending"), std::string::npos) << lab::store_rows(l);
}

TEST_F(NamedRow, AForceFlagThatIsNamedIsWrittenAndNoOther) {
  EXPECT_DONE(set({force(20, '\xe0')}));
  EXPECT_EQ(running(timer_cell(kForceFlag, 20)), force(20, '\xe0'));
  EXPECT_EQ(changes(), difference{});
}

TEST_F(NamedRow, SeveralInOnePduAreEachWrittenWhereTheyAreNamed) {
  EXPECT_DONE(set({timer(kRatov, 20, 7000), timer(kRatov, 4093, 8000), timer(kDstov, 20, 6000)}));
  EXPECT_EQ(running(timer_cell(kDstov, 20)), timer(kDstov, 20, 6000));
  EXPECT_EQ(running(timer_cell(kRatov, 20)), timer(kRatov, 20, 7000));
  EXPECT_EQ(changes(), (difference{{timer(kRatov, 4093, 8000)}, {}})) << "pending, for that VSAN takes part";
}

TEST_F(NamedRow, TheChecksAreThoseOfTheRowThatIsNamed) {
  EXPECT_SET(set({timer(kRatov, 20, 4999)}), kWrongValue, 1);
  EXPECT_SET(set({integer(timer_cell(kRatov, 20), 7000)}), kWrongType, 1);
  EXPECT_EQ(changes(), difference{});
}

// The user's role holds some VSANs: the row that is named counts, whatever rows the user may see.
TEST(NamedRowOfARole, OnlyTheVsanThatIsNamedHasToBeAllowed) {
  struct role {
    const char *vsans;
    bool may;
  };
  for (const role &r : {role{"20", true}, role{"20,4093", true}, role{"4093", false}, role{"10", false}}) {
    SCOPED_TRACE(r.vsans);
    lab::lab l;
    lab::start(l, {.agent_lines = std::string("vsanRole closeds ") + r.vsans + "\n"});
    ASSERT_EQ(lab::ctl(l, {"kdx", "enable"}).status, 0);
    ASSERT_EQ(lab::ctl(l, {"kdx", "keep-out", "20"}).status, 0);
    const std::string original = lab::store_rows(l);
    snmp::client c(l, snmp::user("closed"), 10);
    const snmp::answer answer = snmp::set(c, {timer(kRatov, 20, 7000)});
    EXPECT_EQ(outcome_of(answer), (r.may ? outcome{kNoError, 0} : outcome{kGenErr, 1}));
    const std::string now = lab::store_rows(l);
    EXPECT_EQ(now == original, !r.may);
    EXPECT_EQ(now.find("timer 20|8|7000") != std::string::npos, r.may) << now;
    EXPECT_EQ(now.find("pending"), std::string::npos) << now;
  }
}

}  // namespace
