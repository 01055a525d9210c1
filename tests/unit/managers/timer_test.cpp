// Timers of the switch and of its VSANs, and their distribution.
#include "distribution_records.h"
#include "distribution_service.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"

namespace {

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
  EXPECT_EQ(get(7), 2000U);
  EXPECT_EQ(get(8), 10000U);
  EXPECT_EQ(get(9), 5000U);
  EXPECT_EQ(get(10), 5000U);
}

TEST_F(Timers, AVsanWithoutAValueOfItsOwnHasTheSwitchWideOne) {
  ASSERT_EQ(set(7, 1500), 0);
  EXPECT_EQ(get(7, 30), 1500U);
  ASSERT_EQ(set(7, 3000, 30), 0);
  ASSERT_EQ(set(7, 1600), 0);
  EXPECT_EQ(get(7, 30), 3000U);
  EXPECT_EQ(get(7, 20), 1600U);
}

TEST_F(Timers, TheAnswerIsTheRecordThatWasAskedWith) {
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(8, 0, 1, 0, 30)).payload, timer_payload(8, 10000, 1, 0, 30));
}

TEST_F(Timers, TypeZeroOfAVsanAnswersZeroAndOfTheSwitchIsRefused) {
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 1, 0, 30)).payload, timer_payload(0, 0, 1, 0, 30));
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 0, 0, 0)).status, kStatusTimerType);
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(0, 0, 1, 0, 31)).status, kStatusNoVsan);
}

TEST_F(Timers, RangesAreThoseOfTheirTimer) {
  for (const auto &[type, low, high] : {std::tuple{7U, 1000U, 4000U}, std::tuple{8U, 5000U, 10000U},
                                        std::tuple{9U, 5000U, 10000U}, std::tuple{10U, 5000U, 10000U}}) {
    EXPECT_EQ(set(type, low), 0);
    EXPECT_EQ(set(type, high), 0);
    EXPECT_REFUSED(set(type, low - 1), kStatusTimerRange);
    EXPECT_REFUSED(set(type, high + 1), kStatusTimerRange);
    EXPECT_REFUSED(set(type, 0), kStatusTimerRange);
  }
  EXPECT_REFUSED(set(6, 5000), kStatusTimerType);
  EXPECT_REFUSED(set(11, 5000), kStatusTimerType);
  EXPECT_REFUSED(set(0, 5000, 30), kStatusTimerType);
}

TEST_F(Timers, FlagAndForceBytesAreZeroOrOne) {
  EXPECT_REFUSED(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 2, 0, 30)).status, kStatusTimerFlags);
  EXPECT_REFUSED(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 2, 30)).status, kStatusTimerFlags);
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(7, 0, 255, 0, 30)).status, kStatusTimerFlags);
}

TEST_F(Timers, ATimerOfAnOperationalVsanMustBeForced) {
  EXPECT_REFUSED(set(7, 3000, 10), kStatusTimerMustForce);
  EXPECT_EQ(set(7, 3000, 10, true), 0);
  EXPECT_EQ(get(7, 10), 3000U);
  EXPECT_EQ(set(7, 3000, 20), 0);  // suspended: no force needed
}

TEST_F(Timers, ATimerOfAnAbsentVsanIsNoSuchVsan) {
  EXPECT_REFUSED(set(7, 3000, 31), kStatusNoVsan);
  EXPECT_REFUSED(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 0, 0)).status, kStatusNoVsan);
  EXPECT_EQ(ask(kOpFcTimer, kMsgGet, timer_payload(7, 0, 1, 0, 31)).status, kStatusNoVsan);
}

using Distribution = Timers;

TEST_F(Distribution, WhileItIsOffAPendingReadAnswersTheRunningValue) {
  EXPECT_EQ(get(7, 0, kMsgKdxGet), 2000U);
  EXPECT_EQ(get(7, 30, kMsgKdxGet), 2000U);
}

TEST_F(Distribution, ASetOpensASessionAndOnlyACommitBringsItIntoForce) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30, false, "ann"), 0);
  EXPECT_EQ(managers.state.settings.distribution.owner, "ann");
  EXPECT_EQ(get(7, 30), 2000U);
  EXPECT_EQ(get(7, 30, kMsgKdxGet), 3000U);
  EXPECT_EQ(get(7, 20, kMsgKdxGet), 2000U);
  ASSERT_EQ(command(kDistributionCommit), 0);
  EXPECT_EQ(get(7, 30), 3000U);
  EXPECT_EQ(managers.state.settings.distribution.open, 0U);
  EXPECT_TRUE(managers.state.pending.empty());
}

TEST_F(Distribution, APendingReadShowsWhatACommitWouldLeave) {
  ASSERT_EQ(set(7, 2500, 30), 0);
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 1500), 0);
  EXPECT_EQ(get(7, 30, kMsgKdxGet), 2500U);  // a value of its own stays
  EXPECT_EQ(get(7, 20, kMsgKdxGet), 1500U);
  ASSERT_EQ(command(kDistributionCommit), 0);
  EXPECT_EQ(get(7, 30), 2500U);
  EXPECT_EQ(get(7, 20), 1500U);
}

TEST_F(Distribution, AnAbortDropsTheSessionsValues) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30), 0);
  ASSERT_EQ(command(kDistributionAbort), 0);
  EXPECT_EQ(get(7, 30, kMsgKdxGet), 2000U);
  EXPECT_REFUSED(command(kDistributionAbort), kStatusNoSession);
  EXPECT_REFUSED(command(kDistributionCommit), kStatusNoSession);
}

TEST_F(Distribution, AnotherUsersSessionIsNotWrittenTo) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30, false, "ann"), 0);
  EXPECT_REFUSED(set(7, 3500, 30, false, "bob"), kStatusSessionOther);
  EXPECT_EQ(set(7, 3500, 30, false, "ann"), 0);
}

TEST_F(Distribution, AnOpenSessionKeepsItOn) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30), 0);
  EXPECT_REFUSED(command(kDistributionEnable, 0), kStatusSessionOpen);
  ASSERT_EQ(command(kDistributionAbort), 0);
  EXPECT_EQ(command(kDistributionEnable, 0), 0);
  EXPECT_EQ(set(7, 3000, 30), 0);
  EXPECT_EQ(get(7, 30), 3000U);
}

TEST_F(Distribution, AVsanThatIsKeptOutHasNoPendingValueAndIsSetAtOnce) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30), 0);
  ASSERT_EQ(command(kDistributionKeepOut, 30), 0);
  for (const uint32_t type : {0U, 7U}) {
    EXPECT_EQ(ask(kOpFcTimer, kMsgKdxGet, timer_payload(type, 0, 1, 0, 30)).status, kStatusNotInDistribution);
  }
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_EQ(get(7, 30), 2000U);
  EXPECT_EQ(set(7, 3100, 30), 0);
  EXPECT_EQ(get(7, 30), 3100U);
  ASSERT_EQ(command(kDistributionTakeIn, 30), 0);
  EXPECT_EQ(get(7, 30, kMsgKdxGet), 3100U);
  EXPECT_REFUSED(command(kDistributionKeepOut, 31), kStatusNoVsan);
}

TEST_F(Distribution, WhileAnotherSwitchHoldsTheLockPendingReadsAndSetsAreRefused) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(command(kDistributionRemoteLock, 1), 0);
  EXPECT_EQ(ask(kOpFcTimer, kMsgKdxGet, timer_payload(7, 0, 1, 0, 30)).status, kStatusRemoteLock);
  EXPECT_EQ(get(7, 30), 2000U);
  EXPECT_REFUSED(set(7, 3000, 30), kStatusRemoteLock);
  ASSERT_EQ(command(kDistributionRemoteLock, 0), 0);
  EXPECT_EQ(set(7, 3000, 30), 0);
  EXPECT_REFUSED(command(kDistributionRemoteLock, 1), kStatusSessionOpen);
}

TEST_F(Distribution, APendingTimerOfAnOperationalVsanMustBeForcedToo) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  EXPECT_REFUSED(set(7, 3000, 10), kStatusTimerMustForce);
  EXPECT_EQ(set(7, 3000, 10, true), 0);
}

TEST_F(Distribution, ADeletedVsanLeavesTheSession) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30), 0);
  ASSERT_EQ(command(kDistributionKeepOut, 20), 0);
  ASSERT_EQ(delete_row(30), 0);
  ASSERT_EQ(delete_row(20), 0);
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_TRUE(managers.state.kept_out.empty());
  EXPECT_EQ(command(kDistributionCommit), 0);
}

TEST_F(Distribution, TheSessionSurvivesARestart) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(command(kDistributionShowRunning, 1), 0);
  ASSERT_EQ(set(7, 3000, 30, false, "ann"), 0);
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(before == managers.state);
  EXPECT_EQ(set(7, 3500, 30, false, "bob"), kStatusSessionOther);
  EXPECT_EQ(command(kDistributionCommit), 0);
  EXPECT_EQ(get(7, 30), 3000U);
}

TEST_F(Distribution, StateAndListsAreReadableAndUnknownCommandsRefused) {
  ASSERT_EQ(command(kDistributionEnable, 1), 0);
  ASSERT_EQ(set(7, 3000, 30, false, "ann"), 0);
  ASSERT_EQ(command(kDistributionKeepOut, 20), 0);
  const message_reply state = ask_of(distribution_handle, kOpDistribution, kMsgGet, {});
  ASSERT_EQ(state.payload.size(), size_t{84});
  EXPECT_EQ(bytes(state.payload.begin(), state.payload.begin() + 20), words({1, 0, 1, 1, 0}));
  EXPECT_STREQ(reinterpret_cast<const char *>(state.payload.data()) + 20, "ann");
  EXPECT_EQ(ask_of(distribution_handle, kOpPendingTimer, kMsgGetNext, words({0, 0, 0})).payload, words({30, 7, 3000}));
  EXPECT_EQ(ask_of(distribution_handle, kOpPendingTimer, kMsgGetNext, words({30, 7, 0})).status, kStatusNoEntry);
  EXPECT_EQ(ask_of(distribution_handle, kOpKeptOut, kMsgGetNext, words({0})).payload, words({20}));
  EXPECT_EQ(ask_of(distribution_handle, kOpKeptOut, kMsgGetNext, words({20})).status, kStatusNoEntry);
  EXPECT_REFUSED(command(99), kStatusUnknownOpcode);
}

}  // namespace
