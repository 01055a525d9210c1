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
    ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 1, 10)).status, 0);
    ASSERT_EQ(ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionKeepOut, 10})).status, 0);
    vsanEntry row = row_of(10);
    row.vsanInorderDelivery = 1;
    row.vsanNetworkDropLatency = 777;
    ASSERT_EQ(set_row(row), 0);
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
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_FALSE(before == configuration());
  ASSERT_EQ(set_row(row), 0);
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
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(set_row(row), 0);
  EXPECT_TRUE(expected == configuration());
}

TEST_F(UndoneDestroy, PendingTimersComeBackWhileTheirSessionIsOpen) {
  ASSERT_EQ(ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionEnable, 1})).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(8, 7000, 1, 1, 30)).status, 0);
  const vsanEntry row = row_of(30);
  const timer_map pending = managers.state.pending;
  ASSERT_EQ(pending.size(), 1U);
  ASSERT_EQ(delete_row(30), 0);
  ASSERT_TRUE(managers.state.pending.empty());
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(managers.state.pending, pending);

  ASSERT_EQ(delete_row(30), 0);
  ASSERT_EQ(ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionAbort, 0})).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(8, 6000, 0, 0, 0)).status, 0);  // another session
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(managers.state.pending, (timer_map{{{0, 8}, 6000}}));
}

TEST_F(UndoneDestroy, InterfacesThatWereMovedSinceStayWhereTheyAre) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 1), "other").status, 0);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(102, 30), "other").status, 0);
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(find_interface(managers.state, 101)->vsan, 1U);
  EXPECT_EQ(find_interface(managers.state, 102)->vsan, 30U);
  EXPECT_EQ(find_interface(managers.state, 103)->vsan, 10U);
}

TEST_F(UndoneDestroy, AnInterfaceThatWentHomeOnceMoreIsNotGivenToTheVsanThatItLeftBefore) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 30), "other").status, 0);
  ASSERT_EQ(delete_row(30), 0);
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(find_interface(managers.state, 101)->vsan, 1U);
  EXPECT_EQ(find_interface(managers.state, 102)->vsan, 10U);
}

TEST_F(UndoneDestroy, AFreshRowCreatesABareVsan) {
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(set_row(new_row(10, "alpha")), 0);
  EXPECT_EQ(find_interface(managers.state, 101)->vsan, 1U);
  EXPECT_EQ(row_of(10).vsanNetworkDropLatency, 2000U);
  EXPECT_FALSE(managers.state.kept_out.contains(10));
}

TEST_F(UndoneDestroy, SomebodyElsesRowDoesNotBringADeletedVsanBack) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_REFUSED(set_row_as(row, "other"), kStatusNoVsan);
  ASSERT_EQ(set_row(row), 0);  // the one who deleted it may
  EXPECT_EQ(find_interface(managers.state, 101)->vsan, 10U);
}

TEST_F(UndoneDestroy, ANameThatIsTakenMeanwhileRefusesAllOfIt) {
  const vsanEntry row = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(set_row(new_row(50, "alpha")), 0);
  EXPECT_REFUSED(set_row(row), kStatusVsanConflict);
}

}  // namespace
