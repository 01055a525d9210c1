// Timers of the switch and of its VSANs, and their distribution.
#include "distribution_records.h"
#include "distribution_service.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"

struct Timers : switch_under_test {
  int set(uint32_t type, uint32_t value, uint32_t vsan = 0, bool force = false, const std::string &user = "operator") {
    return ask(kOpFcTimer, kMsgSet, timer_payload(type, value, vsan != 0 ? 1 : 0, force ? 1 : 0, vsan), user).status;
  }
  uint32_t get(uint32_t type, uint32_t vsan = 0, int msg_type = kMsgGet) {
    return word_at(ask(kOpFcTimer, msg_type, timer_payload(type, 0, vsan != 0 ? 1 : 0, 0, vsan)), 4);
  }
  int command(uint32_t which, uint32_t argument = 0, const std::string &user = "operator") {
    return ask_of(distribution_handle, kOpDistribution, kMsgSet, words({which, argument}), user).status;
  }
};

TEST_F(Timers, TheSwitchHasItsStandardValues) {
  EXPECT_EQ(2000U, get(7));
  EXPECT_EQ(10000U, get(8));
  EXPECT_EQ(5000U, get(9));
  EXPECT_EQ(5000U, get(10));
}

TEST_F(Timers, AVsanWithoutAValueOfItsOwnHasTheSwitchWideOne) {
  ASSERT_EQ(0, set(7, 1500));
  EXPECT_EQ(1500U, get(7, 30));
  ASSERT_EQ(0, set(7, 3000, 30));
  ASSERT_EQ(0, set(7, 1600));
  EXPECT_EQ(3000U, get(7, 30));
  EXPECT_EQ(1600U, get(7, 20));
}

TEST_F(Timers, TheAnswerIsTheRecordThatWasAskedWith) {
  EXPECT_EQ(timer_payload(8, 10000, 1, 0, 30), ask(kOpFcTimer, kMsgGet, timer_payload(8, 0, 1, 0, 30)).payload);
}

TEST_F(Timers, TypeZeroOfAVsanAnswersZeroAndOfTheSwitchIsRefused) {
  EXPECT_EQ(timer_payload(0, 0, 1, 0, 30), ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 1, 0, 30)).payload);
  EXPECT_EQ(kStatusTimerType, ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 0, 0, 0)).status);
  EXPECT_EQ(kStatusNoVsan, ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 1, 0, 31)).status);
}

TEST_F(Timers, RangesAreThoseOfTheirTimer) {
  for (const auto &[type, low, high] : {std::tuple{7U, 1000U, 4000U}, std::tuple{8U, 5000U, 10000U},
                                        std::tuple{9U, 5000U, 10000U}, std::tuple{10U, 5000U, 10000U}}) {
    EXPECT_EQ(0, set(type, low));
    EXPECT_EQ(0, set(type, high));
    EXPECT_REFUSED(kStatusTimerRange, set(type, low - 1));
    EXPECT_REFUSED(kStatusTimerRange, set(type, high + 1));
    EXPECT_REFUSED(kStatusTimerRange, set(type, 0));
  }
  EXPECT_REFUSED(kStatusTimerType, set(6, 5000));
  EXPECT_REFUSED(kStatusTimerType, set(11, 5000));
  EXPECT_REFUSED(kStatusTimerType, set(0, 5000, 30));
}

TEST_F(Timers, FlagAndForceBytesAreZeroOrOne) {
  EXPECT_REFUSED(kStatusTimerFlags, ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 2, 0, 30)).status);
  EXPECT_REFUSED(kStatusTimerFlags, ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 2, 30)).status);
  EXPECT_EQ(kStatusTimerFlags, ask(kOpFcTimer, kMsgGet, timer_payload(7, 0, 255, 0, 30)).status);
}

TEST_F(Timers, ATimerOfAnOperationalVsanMustBeForced) {
  EXPECT_REFUSED(kStatusTimerMustForce, set(7, 3000, 10));
  EXPECT_EQ(0, set(7, 3000, 10, true));
  EXPECT_EQ(3000U, get(7, 10));
  EXPECT_EQ(0, set(7, 3000, 20));  // suspended: no force needed
}

TEST_F(Timers, ATimerOfAnAbsentVsanIsNoSuchVsan) {
  EXPECT_REFUSED(kStatusNoVsan, set(7, 3000, 31));
  EXPECT_REFUSED(kStatusNoVsan, ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 0, 0)).status);
  EXPECT_EQ(kStatusNoVsan, ask(kOpFcTimer, kMsgGet, timer_payload(7, 0, 1, 0, 31)).status);
}

using Distribution = Timers;

TEST_F(Distribution, WhileItIsOffAPendingReadAnswersTheRunningValue) {
  EXPECT_EQ(2000U, get(7, 0, kMsgKdxGet));
  EXPECT_EQ(2000U, get(7, 30, kMsgKdxGet));
}

TEST_F(Distribution, ASetOpensASessionAndOnlyACommitBringsItIntoForce) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30, false, "ann"));
  EXPECT_EQ("ann", managers.state.settings.distribution.owner);
  EXPECT_EQ(2000U, get(7, 30));
  EXPECT_EQ(3000U, get(7, 30, kMsgKdxGet));
  EXPECT_EQ(2000U, get(7, 20, kMsgKdxGet));
  ASSERT_EQ(0, command(kDistributionCommit));
  EXPECT_EQ(3000U, get(7, 30));
  EXPECT_EQ(0U, managers.state.settings.distribution.open);
  EXPECT_TRUE(managers.state.pending.empty());
}

TEST_F(Distribution, APendingReadShowsWhatACommitWouldLeave) {
  ASSERT_EQ(0, set(7, 2500, 30));
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 1500));
  EXPECT_EQ(2500U, get(7, 30, kMsgKdxGet));  // a value of its own stays
  EXPECT_EQ(1500U, get(7, 20, kMsgKdxGet));
  ASSERT_EQ(0, command(kDistributionCommit));
  EXPECT_EQ(2500U, get(7, 30));
  EXPECT_EQ(1500U, get(7, 20));
}

TEST_F(Distribution, AnAbortDropsTheSessionsValues) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30));
  ASSERT_EQ(0, command(kDistributionAbort));
  EXPECT_EQ(2000U, get(7, 30, kMsgKdxGet));
  EXPECT_REFUSED(kStatusNoSession, command(kDistributionAbort));
  EXPECT_REFUSED(kStatusNoSession, command(kDistributionCommit));
}

TEST_F(Distribution, AnotherUsersSessionIsNotWrittenTo) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30, false, "ann"));
  EXPECT_REFUSED(kStatusSessionOther, set(7, 3500, 30, false, "bob"));
  EXPECT_EQ(0, set(7, 3500, 30, false, "ann"));
}

TEST_F(Distribution, AnOpenSessionKeepsItOn) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30));
  EXPECT_REFUSED(kStatusSessionOpen, command(kDistributionEnable, 0));
  ASSERT_EQ(0, command(kDistributionAbort));
  EXPECT_EQ(0, command(kDistributionEnable, 0));
  EXPECT_EQ(0, set(7, 3000, 30));
  EXPECT_EQ(3000U, get(7, 30));
}

TEST_F(Distribution, AVsanThatIsKeptOutHasNoPendingValueAndIsSetAtOnce) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30));
  ASSERT_EQ(0, command(kDistributionKeepOut, 30));
  for (const uint32_t type : {0U, 7U}) {
    EXPECT_EQ(kStatusNotInDistribution, ask(kOpFcTimer, kMsgKdxGet, timer_payload(type, 0, 1, 0, 30)).status);
  }
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_EQ(2000U, get(7, 30));
  EXPECT_EQ(0, set(7, 3100, 30));
  EXPECT_EQ(3100U, get(7, 30));
  ASSERT_EQ(0, command(kDistributionTakeIn, 30));
  EXPECT_EQ(3100U, get(7, 30, kMsgKdxGet));
  EXPECT_REFUSED(kStatusNoVsan, command(kDistributionKeepOut, 31));
}

TEST_F(Distribution, WhileAnotherSwitchHoldsTheLockPendingReadsAndSetsAreRefused) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, command(kDistributionRemoteLock, 1));
  EXPECT_EQ(kStatusRemoteLock, ask(kOpFcTimer, kMsgKdxGet, timer_payload(7, 0, 1, 0, 30)).status);
  EXPECT_EQ(2000U, get(7, 30));
  EXPECT_REFUSED(kStatusRemoteLock, set(7, 3000, 30));
  ASSERT_EQ(0, command(kDistributionRemoteLock, 0));
  EXPECT_EQ(0, set(7, 3000, 30));
  EXPECT_REFUSED(kStatusSessionOpen, command(kDistributionRemoteLock, 1));
}

TEST_F(Distribution, APendingTimerOfAnOperationalVsanMustBeForcedToo) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  EXPECT_REFUSED(kStatusTimerMustForce, set(7, 3000, 10));
  EXPECT_EQ(0, set(7, 3000, 10, true));
}

TEST_F(Distribution, ADeletedVsanLeavesTheSession) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30));
  ASSERT_EQ(0, command(kDistributionKeepOut, 20));
  ASSERT_EQ(0, delete_row(30));
  ASSERT_EQ(0, delete_row(20));
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_TRUE(managers.state.kept_out.empty());
  EXPECT_EQ(0, command(kDistributionCommit));
}

TEST_F(Distribution, TheSessionSurvivesARestart) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, command(kDistributionShowRunning, 1));
  ASSERT_EQ(0, set(7, 3000, 30, false, "ann"));
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(before == managers.state);
  EXPECT_EQ(kStatusSessionOther, set(7, 3500, 30, false, "bob"));
  EXPECT_EQ(0, command(kDistributionCommit));
  EXPECT_EQ(3000U, get(7, 30));
}

TEST_F(Distribution, StateAndListsAreReadableAndUnknownCommandsRefused) {
  ASSERT_EQ(0, command(kDistributionEnable, 1));
  ASSERT_EQ(0, set(7, 3000, 30, false, "ann"));
  ASSERT_EQ(0, command(kDistributionKeepOut, 20));
  const message_reply state = ask_of(distribution_handle, kOpDistribution, kMsgGet, {});
  ASSERT_EQ(size_t{84}, state.payload.size());
  EXPECT_EQ(words({1, 0, 1, 1, 0}), bytes(state.payload.begin(), state.payload.begin() + 20));
  EXPECT_STREQ("ann", reinterpret_cast<const char *>(state.payload.data()) + 20);
  EXPECT_EQ(words({30, 7, 3000}), ask_of(distribution_handle, kOpPendingTimer, kMsgGetNext, words({0, 0, 0})).payload);
  EXPECT_EQ(kStatusNoEntry, ask_of(distribution_handle, kOpPendingTimer, kMsgGetNext, words({30, 7, 0})).status);
  EXPECT_EQ(words({20}), ask_of(distribution_handle, kOpKeptOut, kMsgGetNext, words({0})).payload);
  EXPECT_EQ(kStatusNoEntry, ask_of(distribution_handle, kOpKeptOut, kMsgGetNext, words({20})).status);
  EXPECT_REFUSED(kStatusUnknownOpcode, command(99));
}
