// A VSAN whose deletion is undone by the row that was read before comes back without its interfaces, its timers and
// its mark of being kept out of distribution.
#include <string.h>

#include "distribution_records.h"
#include "distribution_service.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"
#include "vsan_records.h"

namespace {

struct UndoneDestroy : switch_under_test {
  void SetUp() override {
    switch_under_test::SetUp();
    ASSERT_EQ(0, ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 1, 10)).status);
    ASSERT_EQ(0, ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionKeepOut, 10})).status);
    vsanEntry row = row_of(10);
    row.vsanInorderDelivery = 1;
    row.vsanNetworkDropLatency = 777;
    ASSERT_EQ(0, set_row(row));
  }
  int set_row_as(const vsanEntry &row, const std::string &user) {
    return ask(kOpVsanRow, kMsgSet, row_payload(row), user).status;
  }
  // The configuration, without what a change raises.
  switch_state configuration() const {
    switch_state state = managers.state;
    state.notifications.clear();
    state.settings = {};
    return state;
  }
};

TEST_F(UndoneDestroy, TheRowBringsEverythingBackAndTheStoreHasItToo) {
  const vsanEntry row = row_of(10);
  const switch_state before = configuration();
  ASSERT_EQ(0, delete_row(10));
  ASSERT_FALSE(before == configuration());
  ASSERT_EQ(0, set_row(row));
  EXPECT_TRUE(before == configuration());
  close();
  open();
  EXPECT_TRUE(before == configuration());
}

TEST_F(UndoneDestroy, AColumnWrittenAfterTheDeleteInTheSameRequestIsTheOnlyChange) {
  vsanEntry row = row_of(10);
  switch_state expected = configuration();
  expected.vsans[10].name = "x";
  expected.vsan_of_name.erase("alpha");
  expected.vsan_of_name["x"] = 10;
  strcpy(row.vsanName, "x");
  row.vsanInorderDelivery = 0;
  row.vsanNetworkDropLatency = 0;
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, set_row(row));
  EXPECT_TRUE(expected == configuration());
}

TEST_F(UndoneDestroy, PendingTimersComeBackWhileTheirSessionIsOpen) {
  ASSERT_EQ(0, ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionEnable, 1})).status);
  ASSERT_EQ(0, ask(kOpFcTimer, kMsgSet, timer_payload(8, 7000, 1, 1, 30)).status);
  const vsanEntry row = row_of(30);
  const timer_map pending = managers.state.pending;
  ASSERT_EQ(1U, pending.size());
  ASSERT_EQ(0, delete_row(30));
  ASSERT_TRUE(managers.state.pending.empty());
  ASSERT_EQ(0, set_row(row));
  EXPECT_EQ(pending, managers.state.pending);

  ASSERT_EQ(0, delete_row(30));
  ASSERT_EQ(0, ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionAbort, 0})).status);
  ASSERT_EQ(0, ask(kOpFcTimer, kMsgSet, timer_payload(8, 6000, 0, 0, 0)).status);  // another session
  ASSERT_EQ(0, set_row(row));
  EXPECT_EQ((timer_map{{{0, 8}, 6000}}), managers.state.pending);
}

TEST_F(UndoneDestroy, InterfacesThatWereMovedSinceStayWhereTheyAre) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 1), "other").status);
  ASSERT_EQ(0, ask(kOpInterfaceVsan, kMsgSet, interface_payload(102, 30), "other").status);
  ASSERT_EQ(0, set_row(row));
  EXPECT_EQ(1U, find_interface(managers.state, 101)->vsan);
  EXPECT_EQ(30U, find_interface(managers.state, 102)->vsan);
  EXPECT_EQ(10U, find_interface(managers.state, 103)->vsan);
}

TEST_F(UndoneDestroy, AnInterfaceThatWentHomeOnceMoreIsNotGivenToTheVsanThatItLeftBefore) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 30), "other").status);
  ASSERT_EQ(0, delete_row(30));
  ASSERT_EQ(0, set_row(row));
  EXPECT_EQ(1U, find_interface(managers.state, 101)->vsan);
  EXPECT_EQ(10U, find_interface(managers.state, 102)->vsan);
}

TEST_F(UndoneDestroy, AFreshRowCreatesABareVsan) {
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, set_row(new_row(10, "alpha")));
  EXPECT_EQ(1U, find_interface(managers.state, 101)->vsan);
  EXPECT_EQ(2000U, row_of(10).vsanNetworkDropLatency);
  EXPECT_FALSE(managers.state.kept_out.contains(10));
}

TEST_F(UndoneDestroy, SomebodyElsesRowDoesNotBringADeletedVsanBack) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  EXPECT_REFUSED(kStatusNoVsan, set_row_as(row, "other"));
  ASSERT_EQ(0, set_row(row));  // the one who deleted it may
  EXPECT_EQ(10U, find_interface(managers.state, 101)->vsan);
}

TEST_F(UndoneDestroy, ANameThatIsTakenMeanwhileRefusesAllOfIt) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, set_row(new_row(50, "alpha")));
  EXPECT_REFUSED(kStatusVsanConflict, set_row(row));
}

}  // namespace
