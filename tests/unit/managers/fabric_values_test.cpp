// What a fabric's commits do to a switch, and what the engine's later answers do to requests.
#include "configuration.h"
#include "distribution_records.h"
#include "distribution_service.h"
#include "fabric_options.h"
#include "requests.h"
#include "rules/fabric_rules.h"
#include "statuses.h"
#include "switch_under_test.h"

namespace {

struct FabricValues : switch_under_test {
  int apply(uint64_t number, const std::vector<distribution_value> &timers, uint64_t session = 0) {
    fabric_commit commit;
    commit.number = number;
    commit.revision = number * 10;
    commit.session = session;
    commit.timers = timers;
    switch_change change = change_begin(managers.state);
    plan_fabric_commit(managers.state, "lab", "id", commit, change);
    return managers_commit(managers, change);
  }
  void open_session(uint64_t number) {
    switch_change change = change_begin(managers.state);
    change.settings.distribution = {.enabled = 1, .open = 1, .number = number, .owner = "ann"};
    change.pending[{30, 7}] = 3500;
    ASSERT_EQ(managers_commit(managers, change), 0);
  }
  int command(uint32_t which, uint32_t argument = 0) {
    return ask_of(distribution_handle, kOpDistribution, kMsgSet, words({which, argument})).status;
  }
  uint32_t timer(uint32_t vsan, uint32_t key) { return timer_in_force(managers.state, vsan, key); }
};

TEST_F(FabricValues, OfTheSwitchAndOfItsVsansAreInForceAndStored) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {0, 8, 9000}, {30, 7, 3000}}), 0);
  EXPECT_EQ(timer(0, 7), 2500U);
  EXPECT_EQ(timer(20, 8), 9000U);
  EXPECT_EQ(timer(30, 7), 3000U);
  EXPECT_EQ(managers.state.settings.distribution.enabled, 1U);
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(managers.state == before);
  EXPECT_EQ(managers.state.settings.fabric, "lab");
  EXPECT_EQ(managers.state.settings.fabric_revision, 10U);
}

TEST_F(FabricValues, AVsanThatIsKeptOutKeepsItsOwnUntilItIsTakenIn) {
  ASSERT_EQ(command(kDistributionKeepOut, 30), 0);
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {30, 7, 3000}}), 0);
  EXPECT_EQ(timer(30, 7), 2500U) << "the switch-wide one";
  ASSERT_EQ(command(kDistributionTakeIn, 30), 0);
  EXPECT_EQ(timer(30, 7), 3000U);
}

TEST_F(FabricValues, AValueThatTheFabricHasNotGoesWhenItsVsanIsTakenIn) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}}), 0);
  ASSERT_EQ(command(kDistributionKeepOut, 30), 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3900, 1, 0, 30)).status, 0);
  EXPECT_EQ(timer(30, 7), 3900U);
  ASSERT_EQ(command(kDistributionTakeIn, 30), 0);
  EXPECT_EQ(timer(30, 7), 2500U);
}

TEST_F(FabricValues, AVsanThatIsMadeLaterTakesTheFabricsValue) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {50, 7, 3000}}), 0);
  EXPECT_FALSE(managers.state.timers.contains({50, 7}));
  ASSERT_EQ(set_row(new_row(50, "later")), 0);
  EXPECT_EQ(timer(50, 7), 3000U);
  ASSERT_EQ(delete_row(50), 0);
  ASSERT_EQ(set_row(new_row(50, "again")), 0);
  EXPECT_EQ(timer(50, 7), 3000U);
}

TEST_F(FabricValues, AValueThatALaterCommitHasNotGoes) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {30, 7, 3000}, {50, 7, 3100}}), 0);
  ASSERT_EQ(apply(2, {{0, 7, 2500}}), 0);
  EXPECT_EQ(timer(30, 7), 2500U);
  EXPECT_EQ(managers.state.fabric_timers.size(), 1U);
}

TEST_F(FabricValues, TheSessionsOwnCommitEndsItAndAnotherDoesNot) {
  open_session(77);
  ASSERT_EQ(apply(1, {{0, 7, 2500}}, 78), 0);
  EXPECT_EQ(managers.state.settings.distribution.open, 1U);
  EXPECT_EQ(managers.state.pending.size(), 1U);
  ASSERT_EQ(apply(2, {{0, 7, 2500}, {30, 7, 3500}}, 77), 0);
  EXPECT_EQ(managers.state.settings.distribution.open, 0U);
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_EQ(timer(30, 7), 3500U);
}

TEST_F(FabricValues, AfterACommitAreTheFabricsWithThePendingOnesOverThem) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {50, 7, 3100}}), 0);
  open_session(77);
  EXPECT_EQ(listed_values(values_after_commit(managers.state)),
            (std::vector<distribution_value>{{0, 7, 2500}, {30, 7, 3500}, {50, 7, 3100}}));
}

TEST_F(FabricValues, BeforeTheFirstCommitTheyAreTheSwitchsOwnWithoutWhatIsKeptOut) {
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 0, 20)).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3100, 1, 0, 30)).status, 0);
  ASSERT_EQ(command(kDistributionKeepOut, 30), 0);
  const timer_map after = values_after_commit(managers.state);
  EXPECT_EQ(after.size(), 5U);
  EXPECT_EQ(after.at({20, 7}), 3000U);
  EXPECT_FALSE(after.contains({30, 7}));
}

TEST_F(FabricValues, AMembershipWithoutACommitChangesNoTimer) {
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 0, 30)).status, 0);
  ASSERT_EQ(apply(0, {}), 0);
  EXPECT_EQ(timer(30, 7), 3000U);
  EXPECT_TRUE(is_in_fabric(managers.state));
}

TEST_F(FabricValues, WhoLeavesKeepsTheTimersAndDropsTheSession) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {50, 7, 3100}}), 0);
  open_session(77);
  switch_change change = change_begin(managers.state);
  plan_fabric_leave(managers.state, change);
  ASSERT_EQ(managers_commit(managers, change), 0);
  EXPECT_FALSE(is_in_fabric(managers.state));
  EXPECT_EQ(managers.state.settings.fabric_left, 1U);
  EXPECT_EQ(timer(0, 7), 2500U);
  EXPECT_TRUE(managers.state.pending.empty());
  EXPECT_TRUE(managers.state.fabric_timers.empty());
  EXPECT_EQ(managers.state.settings.distribution.open, 0U);
}

TEST_F(FabricValues, AConfigurationLeavesDistributedTimersToTheFabric) {
  ASSERT_EQ(apply(1, {{0, 7, 2500}, {0, 8, 9000}, {30, 7, 3000}}), 0);
  switch_change wanted = small_configuration();
  wanted.timers[{0, 7}] = 1500;
  wanted.timers[{30, 7}] = 1600;
  wanted.timers[{20, 7}] = 1700;
  wanted.kept_out[20] = true;
  ASSERT_EQ(configuration_apply(managers, wanted), 0);
  EXPECT_EQ(timer(0, 7), 2500U);
  EXPECT_EQ(timer(30, 7), 3000U);
  EXPECT_EQ(timer(20, 7), 1700U) << "kept out: the file's";
  EXPECT_EQ(managers.state.settings.distribution.enabled, 1U);
}

// An engine that has to ask others first.
struct LaterEngine : FabricValues {
  int lock_status = kDistributionAgain;
  int commit_status = kDistributionOutcome;

  void SetUp() override {
    FabricValues::SetUp();
    ASSERT_EQ(command(kDistributionEnable, 1), 0);
    managers.engine = {
        this,
        [](void *, const char *) { return std::string(); },
        [](void *context, const char *, distribution_session &session) {
          session.number = 77;
          return static_cast<LaterEngine *>(context)->lock_status;
        },
        [](void *, const char *) {},
        [](void *context, const char *, const std::vector<distribution_value> &,
           const std::vector<distribution_value> &) { return static_cast<LaterEngine *>(context)->commit_status; },
        [](void *) { return int{kStatusInFabric}; },
        [](void *) { return int{kStatusCommitUnknown}; },
    };
  }
  message_reply set_timer(uint32_t value) { return ask(kOpFcTimer, kMsgSet, timer_payload(7, value, 1, 0, 30), "ann"); }
};

TEST_F(LaterEngine, ASetWaitsAndChangesNothingUntilTheLockIsThere) {
  const message_reply reply = set_timer(3000);
  EXPECT_TRUE(reply.later);
  EXPECT_EQ(managers.parked.size(), 1U);
  EXPECT_TRUE(managers.state.pending.empty());
  lock_status = 0;
  EXPECT_FALSE(set_timer(3100).later);
  EXPECT_EQ(managers.state.settings.distribution.number, 77U);
}

TEST_F(LaterEngine, ARequestWhoseClientHasGoneIsForgotten) {
  ASSERT_TRUE(set_timer(3000).later);
  lock_status = 0;
  managers.parked.clear();
  answer_parked(managers, 0);
  EXPECT_TRUE(managers.state.pending.empty());
}

TEST_F(LaterEngine, TooManyThatWaitAreRefused) {
  for (int i = 0; i < 64; ++i) {
    ASSERT_TRUE(set_timer(3000).later) << i;
  }
  const message_reply reply = set_timer(3000);
  EXPECT_FALSE(reply.later);
  EXPECT_EQ(reply.status, kStatusBusy);
}

TEST_F(LaterEngine, ACommitWaitsForItsOutcome) {
  lock_status = 0;
  ASSERT_EQ(set_timer(3000).status, 0);
  const message_reply reply = ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionCommit, 0}));
  EXPECT_TRUE(reply.later);
  ASSERT_EQ(managers.parked.size(), 1U);
  EXPECT_FALSE(managers.parked[0].handled_again);
  EXPECT_EQ(managers.state.settings.distribution.open, 1U);
}

TEST_F(LaterEngine, WhatItHasReasonToRefuseIsRefused) {
  EXPECT_REFUSED(command(kDistributionEnable, 0), kStatusInFabric);
  lock_status = 0;
  ASSERT_EQ(set_timer(3000).status, 0);
  EXPECT_REFUSED(command(kDistributionAbort), kStatusCommitUnknown);
  lock_status = kStatusFabricAway;
  EXPECT_REFUSED(set_timer(3100).status, kStatusFabricAway);
}

TEST_F(LaterEngine, ALostSessionIsNotCommittedAndIsResumedByItsUserOnly) {
  lock_status = 0;
  ASSERT_EQ(set_timer(3000).status, 0);
  switch_change change = change_begin(managers.state);
  change.settings.distribution.lost = 1;
  ASSERT_EQ(managers_commit(managers, change), 0);
  EXPECT_REFUSED(command(kDistributionCommit), kStatusSessionLost);
  EXPECT_REFUSED(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3900, 1, 0, 30), "bob").status, kStatusSessionOther);
  const message_reply lock = ask_of(distribution_handle, kOpDistributionLock, kMsgGet, {});
  EXPECT_EQ(word_at(lock, 0), 1U);
  ASSERT_EQ(command(kDistributionResume), 0);
  EXPECT_EQ(managers.state.settings.distribution.lost, 0U);
  EXPECT_EQ(managers.state.settings.distribution.owner, "ann");
  EXPECT_EQ(managers.state.pending.size(), 1U);
}

TEST(FabricOptions, NamesAndEndpointsAreCheckedByName) {
  EXPECT_EQ(fabric_name_problem("lab-1.a_B"), "");
  for (const std::string &name : {std::string(), std::string("a b"), std::string("a/b"), std::string(65, 'a')}) {
    EXPECT_NE(fabric_name_problem(name).find("\"" + name + "\""), std::string::npos) << name;
  }
  EXPECT_EQ(fabric_endpoint_problem("http://127.0.0.1:2379"), "");
  EXPECT_EQ(fabric_endpoint_problem("https://etcd1:2379"), "");
  for (const char *url : {"", "127.0.0.1:2379", "http://", "ftp://a", "http://a/", "http://a b"}) {
    EXPECT_NE(fabric_endpoint_problem(url), "") << url;
  }
}

TEST(FabricOptions, WhatIsMissingIsSaid) {
  EXPECT_EQ(fabric_options_problem({}), "");
  EXPECT_NE(fabric_options_problem({.endpoints = {"http://a"}}).find("--fabric NAME"), std::string::npos);
  EXPECT_NE(fabric_options_problem({.name = "lab"}).find("--fabric-endpoints"), std::string::npos);
  fabric_options options{.name = "lab", .endpoints = {"http://a"}};
  EXPECT_EQ(fabric_options_problem(options), "");
  options.cert = "c.pem";
  EXPECT_NE(fabric_options_problem(options).find("certificate and its key"), std::string::npos);
  options.key = "k.pem";
  options.user = "switches";
  EXPECT_NE(fabric_options_problem(options).find("password"), std::string::npos);
  options.password_file = "p";
  EXPECT_EQ(fabric_options_problem(options), "");
}

TEST(FabricOptions, TheCommandLineCountsMoreThanTheFile) {
  fabric_options options{.name = "file", .endpoints = {"http://a"}, .ca = "ca.pem"};
  fabric_options_overlay(options, {.name = "line", .endpoints = {"http://b", "http://c"}});
  EXPECT_EQ(options.name, "line");
  EXPECT_EQ(options.endpoints.size(), 2U);
  EXPECT_EQ(options.ca, "ca.pem");
}

}  // namespace
