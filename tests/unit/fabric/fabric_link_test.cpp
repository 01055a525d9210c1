// Switches of a fabric in the test's own process, over an etcd that loses and delays.
#include "fabric_link.h"

#include <event2/event.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <memory>

#include "fake_etcd.h"
#include "monotonic_clock.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

using values = std::vector<distribution_value>;

const values kStandard = {{0, 7, 2000}, {0, 8, 10000}};

constexpr fabric_timings kQuick = {.lease = 1000, .keepalive = 60, .request = 200, .retry = 20};

// A switch as the link sees it; what it stores is kept here.
struct fake_switch {
  fabric_standing standing;
  std::vector<fabric_commit> applied = {};
  std::vector<std::string> log = {};
  std::vector<int> finished = {};
  int store_failures = 0;
  bool lost_told = false;
  fabric_link *link = nullptr;
  distribution_session opened = {};
};

fake_switch &switch_of(void *context) {
  return *static_cast<fake_switch *>(context);
}

int apply(void *context, const std::string &fabric, const std::string &id, const fabric_commit &commit) {
  fake_switch &self = switch_of(context);
  if (self.store_failures > 0) {
    --self.store_failures;
    return kStatusStoreFailed;
  }
  self.standing.fabric = fabric;
  self.standing.fabric_id = id;
  self.standing.revision = commit.revision;
  self.standing.commit = commit.number;
  self.standing.session.enabled = 1;
  if (commit.number != 0) {
    self.standing.values = commit.timers;
    self.standing.has_values = true;
    self.applied.push_back(commit);
  }
  distribution_session &session = self.standing.session;
  if (session.open != 0 && session.number != 0 && session.number == commit.session) {
    session = {.enabled = 1, .owner = {}};
  }
  return 0;
}

const fabric_owner kOwner = {
    nullptr,
    [](void *context) { return switch_of(context).standing; },
    apply,
    [](void *context) {
      switch_of(context).standing.session.lost = 1;
      switch_of(context).lost_told = true;
      return 0;
    },
    [](void *) {},
    // As a request that is handled again: it opens the session.
    [](void *context, fabric_operation operation, int status) {
      fake_switch &self = switch_of(context);
      self.finished.push_back(status);
      if (operation == fabric_operation::lock && status == 0) {
        distribution_session session = self.opened;
        if (fabric_link_lock(self.link, session) == 0) {
          self.standing.session = session;
        }
      }
    },
    [](void *context, bool, const std::string &line) { switch_of(context).log.push_back(line); },
};

struct base_deleter {
  void operator()(event_base *base) const { event_base_free(base); }
};

struct Fabric : testing::Test {
  std::unique_ptr<event_base, base_deleter> base{event_base_new()};
  fake_etcd etcd;
  fake_switch one, two;

  void SetUp() override {
    etcd.base = base.get();
    one.standing = fresh("one", "20:00:00:00:00:00:00:01", 1);
    two.standing = fresh("two", "20:00:00:00:00:00:00:02", 2);
  }

  void TearDown() override {
    stop(one);
    stop(two);
    etcd.timer.reset();
  }

  static fabric_standing fresh(const std::string &name, const std::string &wwn, uint64_t store) {
    fabric_standing standing;
    standing.name = name;
    standing.wwn = wwn;
    standing.store = store;
    standing.version = "test";
    standing.session.enabled = 1;
    standing.values = kStandard;
    standing.vsans = {0};
    return standing;
  }

  void start(fake_switch &self, const etcd_access &access = {{"http://a", "http://b"}, "", "", 60}) {
    fabric_owner owner = kOwner;
    owner.context = &self;
    etcd_client *client = etcd_client_open(base.get(), fake_etcd_transport(&etcd), access);
    self.link = fabric_link_open(base.get(), "lab", client, owner, kQuick);
  }

  static void stop(fake_switch &self) {
    fabric_link_close(self.link);
    self.link = nullptr;
  }

  // Turns the loop until it holds; returns whether it did within the time.
  bool until(const std::function<bool()> &holds, int64_t milliseconds = 3000) const {
    const int64_t ends = monotonic_ms() + milliseconds;
    while (!holds() && monotonic_ms() < ends) {
      event_base_loop(base.get(), EVLOOP_ONCE);
    }
    return holds();
  }

  void turn_for(int64_t milliseconds) const {
    until([] { return false; }, milliseconds);
  }

  static fabric_phase phase(const fake_switch &self) { return fabric_link_view(self.link).phase; }

  void join(fake_switch &self) {
    start(self);
    ASSERT_TRUE(until([&] { return phase(self) == fabric_phase::member; })) << fabric_link_view(self.link).why;
    turn_for(20);
  }

  // Asks for the lock as a SET does. Returns the status that it ends with.
  int open(fake_switch &self) {
    self.opened = self.standing.session;
    self.opened.open = 1;
    self.opened.lost = 0;
    self.opened.owner = "ann";
    const size_t before = self.finished.size();
    distribution_session session = self.opened;
    const int status = fabric_link_lock(self.link, session);
    if (status != kDistributionAgain) {
      return status;
    }
    EXPECT_TRUE(until([&] { return self.finished.size() > before; }));
    return self.finished.back();
  }

  int commit(fake_switch &self, const values &changed) {
    values all = kStandard;
    for (const distribution_value &each : changed) {
      all[each.key - 7] = each;
    }
    const size_t before = self.finished.size();
    const int status = fabric_link_commit(self.link, changed, all);
    if (status != kDistributionOutcome) {
      return status;
    }
    EXPECT_TRUE(until([&] { return self.finished.size() > before; }));
    return self.finished.back();
  }

  static void drop_session(fake_switch &self) {
    self.standing.session = {.enabled = 1, .owner = {}};
    fabric_link_look(self.link);
  }

  static bool said(const fake_switch &self, const std::string &words) {
    return std::ranges::any_of(self.log,
                               [&](const std::string &line) { return line.find(words) != std::string::npos; });
  }

  fabric_lock lock() const {
    const auto found = etcd.values.find("/switch/lab/kdx/fctimer/lock");
    return found == etcd.values.end() ? fabric_lock{} : fabric_lock_of(found->second.value);
  }
};

TEST_F(Fabric, ASessionIsCommittedHereAndAppliedThere) {
  join(one);
  join(two);
  ASSERT_EQ(open(one), 0);
  EXPECT_EQ(one.standing.session.open, 1U);
  EXPECT_EQ(lock().session, one.standing.session.number);
  ASSERT_EQ(commit(one, {{0, 7, 2500}}), 0);
  EXPECT_EQ(one.standing.session.open, 0U);
  ASSERT_TRUE(until([&] { return two.applied.size() == 1; }));
  EXPECT_EQ(two.standing.values, one.standing.values);
  EXPECT_EQ(two.standing.revision, one.standing.revision);
  EXPECT_EQ(two.applied[0].switch_name, "one");
  EXPECT_EQ(lock().session, 0U);
}

TEST_F(Fabric, TheHolderIsKnownAndRefusesTheOthers) {
  join(one);
  join(two);
  ASSERT_EQ(open(one), 0);
  ASSERT_TRUE(until([&] { return fabric_link_holder(two.link) == "one"; }));
  EXPECT_EQ(fabric_link_holder(one.link), "");
  EXPECT_EQ(open(two), kStatusRemoteLock);
  drop_session(one);
  ASSERT_TRUE(until([&] { return fabric_link_holder(two.link).empty(); }));
  EXPECT_EQ(open(two), 0);
}

TEST_F(Fabric, TwoThatAskAtOnceAreOneHolder) {
  join(one);
  join(two);
  for (fake_switch *each : {&one, &two}) {
    each->opened = each->standing.session;
    each->opened.open = 1;
    distribution_session session = each->opened;
    ASSERT_EQ(fabric_link_lock(each->link, session), kDistributionAgain);
  }
  ASSERT_TRUE(until([&] { return one.finished.size() + two.finished.size() == 2; }));
  EXPECT_NE(one.finished[0], two.finished[0]);
  EXPECT_EQ(one.finished[0] + two.finished[0], kStatusRemoteLock);
}

TEST_F(Fabric, ASessionGoesOnWithoutAskingAgain) {
  join(one);
  ASSERT_EQ(open(one), 0);
  const uint64_t asked = etcd.started;
  EXPECT_EQ(open(one), 0);
  EXPECT_EQ(etcd.started, asked);
}

TEST_F(Fabric, ALockWhoseAnswerWasLostIsStillTheSessions) {
  join(one);
  etcd.lost_answers = 1;
  EXPECT_EQ(open(one), 0);
  EXPECT_EQ(lock().session, one.standing.session.number);
}

TEST_F(Fabric, ALockThatCameTooLateIsGivenBack) {
  join(one);
  etcd.late = 400;
  etcd.lost_requests = 9;
  EXPECT_EQ(open(one), kStatusFabricAway);
  etcd.lost_requests = 0;
  ASSERT_TRUE(until([&] { return lock().session != 0; }));
  EXPECT_TRUE(until([&] { return lock().session == 0; }));
  EXPECT_EQ(one.standing.session.open, 0U);
}

TEST_F(Fabric, ACommitWhoseAnswerWasLostIsAcknowledgedOnceItIsKnown) {
  join(one);
  join(two);
  ASSERT_EQ(open(one), 0);
  etcd.lost_answers = 1;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), 0);
  EXPECT_EQ(one.applied.size(), 1U);
  EXPECT_EQ(one.standing.session.open, 0U);
  EXPECT_TRUE(until([&] { return two.applied.size() == 1; }));
}

TEST_F(Fabric, ACommitThatTheWatchTellsOfIsAcknowledgedWithoutItsAnswer) {
  join(one);
  ASSERT_EQ(open(one), 0);
  etcd.lost_answers = 9;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), 0);
  EXPECT_EQ(one.applied.size(), 1U);
  EXPECT_EQ(fabric_link_may_abort(one.link), 0);
}

TEST_F(Fabric, ACommitThatWasNotAnsweredIsLookedForBeforeAnythingElse) {
  join(one);
  ASSERT_EQ(open(one), 0);
  etcd.lost_answers = 9;
  etcd.watch_stands = true;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), kStatusCommitUnknown);
  EXPECT_EQ(fabric_link_may_abort(one.link), kStatusCommitUnknown);
  EXPECT_EQ(open(one), kStatusFabricAway);
  etcd.lost_answers = 0;
  etcd.watch_stands = false;
  ASSERT_TRUE(until([&] { return one.standing.session.open == 0; }));
  EXPECT_EQ(one.applied.size(), 1U);
  EXPECT_FALSE(one.lost_told);
  EXPECT_TRUE(until([&] { return fabric_link_may_abort(one.link) == 0; }));
  EXPECT_TRUE(said(one, "was done at revision")) << testing::PrintToString(one.log);
}

TEST_F(Fabric, ACommitThatNeverArrivedLeavesTheSessionOpen) {
  join(one);
  ASSERT_EQ(open(one), 0);
  etcd.lost_requests = 9;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), kStatusCommitUnknown);
  etcd.lost_requests = 0;
  ASSERT_TRUE(until([&] { return said(one, "was not done"); }));
  EXPECT_EQ(one.standing.session.open, 1U);
  EXPECT_EQ(commit(one, {{0, 7, 2600}}), 0);
  EXPECT_EQ(one.standing.values[0].value, 2600U);
}

// What was read before the commit was done is answered behind it.
TEST_F(Fabric, ACommitThatOvertakesTheReadingOfTheFabricIsNoConflict) {
  join(one);
  ASSERT_EQ(open(one), 0);
  ASSERT_EQ(commit(one, {{0, 7, 2500}}), 0);
  ASSERT_EQ(open(one), 0);
  etcd.slow_write = 120;
  etcd.slow_read = 180;
  const values all = {{0, 7, 2600}, {0, 8, 10000}};
  ASSERT_EQ(fabric_link_commit(one.link, {{0, 7, 2600}}, all), kDistributionOutcome);
  ASSERT_TRUE(fake_end_watch(&etcd)) << "upon which it reads again";
  ASSERT_TRUE(until([&] { return etcd.slow_read == 0; }));
  ASSERT_EQ(one.applied.size(), 1U) << "it was read while the commit was on its way";
  ASSERT_TRUE(until([&] { return one.applied.size() == 2; }));
  turn_for(200);
  EXPECT_EQ(phase(one), fabric_phase::member) << testing::PrintToString(one.log);
  EXPECT_FALSE(said(one, "not joined")) << testing::PrintToString(one.log);
}

// The first attempt is still on its way when the switch has looked for it.
TEST_F(Fabric, ACommitThatArrivesAfterItWasLookedForIsNotDone) {
  join(one);
  ASSERT_EQ(open(one), 0);
  etcd.late = 700;
  etcd.lost_requests = 9;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), kStatusCommitUnknown);
  etcd.lost_requests = 0;
  ASSERT_TRUE(until([&] { return said(one, "was not done"); }));
  ASSERT_TRUE(until([&] { return etcd.later.empty(); }));
  turn_for(50);
  EXPECT_TRUE(one.applied.empty());
  EXPECT_EQ(one.standing.session.open, 1U);
  EXPECT_EQ(commit(one, {{0, 7, 2600}}), 0);
}

TEST_F(Fabric, ALeaseThatIsGoneLosesTheSessionAndKeepsItsValues) {
  join(one);
  join(two);
  ASSERT_EQ(open(one), 0);
  const uint64_t lost = one.standing.session.number;
  etcd.lease_refusals = 2;
  ASSERT_TRUE(until([&] { return one.lost_told; }));
  EXPECT_EQ(one.standing.session.open, 1U);
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::member; }));
  turn_for(50);
  EXPECT_EQ(open(one), 0);
  EXPECT_EQ(one.standing.session.lost, 0U);
  EXPECT_NE(one.standing.session.number, lost);
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), 0);
}

TEST_F(Fabric, NobodyListensRefusesAtOnceAndTheFabricIsFoundAgain) {
  join(one);
  etcd.gone = true;
  EXPECT_EQ(open(one), kStatusFabricAway);
  distribution_session session;
  EXPECT_EQ(fabric_link_lock(one.link, session), kStatusFabricAway);
  EXPECT_EQ(phase(one), fabric_phase::unreachable);
  etcd.gone = false;
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::member; }));
  turn_for(20);
  EXPECT_EQ(open(one), 0);
}

TEST_F(Fabric, OneThatWasAwayAppliesEveryCommitInItsOrder) {
  join(one);
  join(two);
  stop(two);
  for (const uint32_t value : {2100U, 2200U, 2300U}) {
    ASSERT_EQ(open(one), 0);
    ASSERT_EQ(commit(one, {{0, 7, value}}), 0);
  }
  start(two);
  ASSERT_TRUE(until([&] { return two.applied.size() == 3; }));
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(two.applied[i].number, i + 1);
    EXPECT_EQ(two.applied[i].timers[0].value, 2100 + 100 * i);
  }
}

TEST_F(Fabric, WhatWasCompactedAwayIsTakenWhole) {
  join(one);
  join(two);
  stop(two);
  for (const uint32_t value : {2100U, 2200U}) {
    ASSERT_EQ(open(one), 0);
    ASSERT_EQ(commit(one, {{0, 7, value}}), 0);
  }
  etcd.compacted = etcd.revision - 1;
  start(two);
  ASSERT_TRUE(until([&] { return two.standing.commit == 2; }));
  EXPECT_EQ(two.applied.size(), 1U);
  EXPECT_EQ(two.standing.values[0].value, 2200U);
}

TEST_F(Fabric, AStoreThatFailsIsGivenTheCommitAgain) {
  join(one);
  join(two);
  two.store_failures = 2;
  ASSERT_EQ(open(one), 0);
  ASSERT_EQ(commit(one, {{0, 7, 2500}}), 0);
  ASSERT_TRUE(until([&] { return two.standing.commit == 1; }));
  EXPECT_EQ(two.applied.size(), 1U);
}

TEST_F(Fabric, TheCommittersOwnStoreThatFailsAnswersSoAndTheSessionEndsWithTheCommit) {
  join(one);
  ASSERT_EQ(open(one), 0);
  one.store_failures = 1;
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), kStatusStoreFailed);
  ASSERT_TRUE(until([&] { return one.standing.commit == 1; }));
  EXPECT_EQ(one.standing.session.open, 0U);
  EXPECT_FALSE(one.lost_told);
}

TEST_F(Fabric, ARestartGoesOnWithTheSessionUnderItsNewLease) {
  join(one);
  ASSERT_EQ(open(one), 0);
  const uint64_t session = one.standing.session.number;
  stop(one);
  start(one);
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::member; }));
  turn_for(1300);  // the old lease ends
  EXPECT_EQ(lock().session, session);
  EXPECT_FALSE(one.lost_told);
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), 0);
}

TEST_F(Fabric, ALockWithoutASessionAfterARestartIsGivenBack) {
  join(one);
  ASSERT_EQ(open(one), 0);
  stop(one);
  one.standing.session = {.enabled = 1, .owner = {}};
  start(one);
  EXPECT_TRUE(until([&] { return lock().session == 0; }));
}

TEST_F(Fabric, ASessionOfBeforeTheFabricIsToldLost) {
  one.standing.session.open = 1;
  one.standing.session.owner = "ann";
  join(one);
  EXPECT_TRUE(until([&] { return one.lost_told; }));
}

TEST_F(Fabric, TheFirstWithValuesGivesThemAndStandardOnesGiveWay) {
  one.standing.values[0].value = 3000;
  one.standing.has_values = true;
  join(one);
  EXPECT_EQ(one.standing.commit, 1U);
  join(two);
  ASSERT_TRUE(until([&] { return two.standing.commit == 1; }));
  EXPECT_EQ(two.standing.values[0].value, 3000U);
}

struct Merge : Fabric {
  void SetUp() override {
    Fabric::SetUp();
    one.standing.values[0].value = 3000;
    two.standing.values[0].value = 3500;
    one.standing.has_values = two.standing.has_values = true;
    join(one);
    start(two);
    ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::conflict; }));
  }
};

TEST_F(Merge, ValuesThatDifferWaitForAnOperator) {
  EXPECT_EQ(open(two), kStatusNotJoined);
  turn_for(200);
  EXPECT_EQ(phase(two), fabric_phase::conflict);
  EXPECT_EQ(two.standing.values[0].value, 3500U);
  EXPECT_EQ(etcd.values.count("/switch/lab/switches/" + two.standing.wwn), 0U);
}

TEST_F(Merge, TheirsAreTaken) {
  fabric_link_join(two.link, fabric_take::theirs);
  ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::member; }));
  EXPECT_EQ(two.standing.values[0].value, 3000U);
}

TEST_F(Merge, OursAreGivenToAll) {
  fabric_link_join(two.link, fabric_take::ours);
  ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::member; }));
  ASSERT_TRUE(until([&] { return one.standing.commit == 2; }));
  EXPECT_EQ(one.standing.values[0].value, 3500U);
}

TEST_F(Merge, OursWaitForTheEndOfASession) {
  ASSERT_EQ(open(one), 0);
  fabric_link_join(two.link, fabric_take::ours);
  EXPECT_TRUE(until([&] { return fabric_link_view(two.link).why.find("holds the lock") != std::string::npos; }));
  EXPECT_EQ(phase(two), fabric_phase::conflict);
  EXPECT_EQ(one.standing.values[0].value, 3000U);
}

TEST_F(Merge, EqualValuesAreNoConflict) {
  two.standing.values[0].value = 3000;
  EXPECT_TRUE(until([&] { return phase(two) == fabric_phase::member; }));
}

TEST_F(Fabric, OneThatWasMadeAnewMeetsItsSwitchesAgain) {
  join(one);
  ASSERT_EQ(open(one), 0);
  ASSERT_EQ(commit(one, {{0, 7, 2500}}), 0);
  etcd.gone = true;
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::unreachable; }));
  etcd.values.clear();
  etcd.history.clear();
  etcd.leases.clear();
  etcd.revision = 1;
  etcd.gone = false;
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::member; }));
  EXPECT_EQ(one.standing.values[0].value, 2500U) << "its values are the new fabric's";
  EXPECT_EQ(etcd.values.count("/switch/lab/kdx/fctimer/values"), 1U);
}

TEST_F(Fabric, ANamesakeIsNotLetIn) {
  join(one);
  two.standing.wwn = one.standing.wwn;
  start(two);
  ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::conflict; }));
  EXPECT_NE(fabric_link_view(two.link).why.find("one lives under the same world wide name"), std::string::npos);
}

TEST_F(Fabric, AnotherWorldWideNameIsJoinedUnderAndTheOldOneGone) {
  join(one);
  const std::string before = one.standing.wwn;
  ASSERT_TRUE(until([&] { return etcd.values.count("/switch/lab/switches/" + before) == 1; }));
  turn_for(20);
  ASSERT_EQ(open(one), 0);
  one.standing.wwn = "20:00:00:00:00:00:00:09";
  fabric_link_look(one.link);
  turn_for(100);
  EXPECT_EQ(commit(one, {{0, 7, 2500}}), 0) << "the lock is the old name's";
  ASSERT_TRUE(until([&] { return etcd.values.count("/switch/lab/switches/" + one.standing.wwn) == 1; }));
  EXPECT_TRUE(until([&] { return etcd.values.count("/switch/lab/members/" + before) == 0; }));
  EXPECT_EQ(open(one), 0);
}

TEST_F(Fabric, ANameThatIsTakenKeepsTheSwitchOutAndItsOwnerIn) {
  join(one);
  join(two);
  two.standing.wwn = one.standing.wwn;
  fabric_link_look(two.link);
  ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::conflict; }));
  bool left = false;
  fabric_link_leave(
      two.link, [](void *caller, bool done) { *static_cast<bool *>(caller) = done; }, &left);
  ASSERT_TRUE(until([&] { return left; }));
  EXPECT_EQ(fabric_switch_of(etcd.values["/switch/lab/switches/" + one.standing.wwn].value).name, "one");
}

TEST_F(Fabric, ASwitchThatStoodStillForLongerThanItsLeaseGoesOnInANewSessionAndSaysSo) {
  join(one);
  ASSERT_EQ(open(one), 0);
  const uint64_t before = one.standing.session.number;
  usleep(1200 * 1000);
  ASSERT_EQ(open(one), 0);
  EXPECT_NE(one.standing.session.number, before);
  EXPECT_TRUE(said(one, "its values go on in the next one"));
}

TEST_F(Fabric, ValuesThatSomebodyElseSpoiledChangeNothing) {
  join(one);
  ++etcd.revision;
  fake_put(&etcd, "/switch/lab/kdx/fctimer/values", R"({"commit":9,"timers":[[0,7,1]]})");
  ASSERT_TRUE(until([&] { return said(one, "written unreadably"); }));
  ++etcd.revision;
  fake_delete(&etcd, "/switch/lab/kdx/fctimer/values");
  ASSERT_TRUE(until([&] { return said(one, "removed by somebody else"); }));
  EXPECT_TRUE(one.applied.empty());
  EXPECT_EQ(phase(one), fabric_phase::member);
}

TEST_F(Fabric, AUserIsAuthenticatedAndAWrongPasswordSaid) {
  etcd.user = "switches";
  etcd.password = "secret";
  start(one, {{"http://a"}, "switches", "secret", 60});
  ASSERT_TRUE(until([&] { return phase(one) == fabric_phase::member; }));
  EXPECT_GE(etcd.authentications, 1);
  start(two, {{"http://a"}, "switches", "wrong", 60});
  ASSERT_TRUE(until([&] { return phase(two) == fabric_phase::unreachable; }));
  EXPECT_NE(fabric_link_view(two.link).why.find("authentication failed"), std::string::npos);
}

TEST_F(Fabric, SwitchesAndCommitsAreListedTheDeadOnesToo) {
  join(one);
  join(two);
  ASSERT_EQ(open(one), 0);
  ASSERT_EQ(commit(one, {{0, 7, 2500}}), 0);
  stop(two);
  ASSERT_TRUE(until([&] { return etcd.values.count("/switch/lab/switches/" + two.standing.wwn) == 0; }));
  nlohmann::json lists;
  fabric_link_show(
      one.link, [](void *caller, const nlohmann::json &got) { *static_cast<nlohmann::json *>(caller) = got; }, &lists);
  ASSERT_TRUE(until([&] { return lists.is_object(); }));
  ASSERT_EQ(lists.at("switches").size(), 2U);
  EXPECT_EQ(lists.at("switches")[0].at("alive"), true);
  EXPECT_EQ(lists.at("switches")[1].at("name"), "two");
  EXPECT_EQ(lists.at("switches")[1].at("alive"), false);
  ASSERT_EQ(lists.at("commits").size(), 1U);
  EXPECT_EQ(lists.at("commits")[0].at("changed")[0].at("value"), 2500);
}

TEST_F(Fabric, OneThatLeavesIsListedNoMoreAndItsLockIsFree) {
  join(one);
  ASSERT_EQ(open(one), 0);
  bool left = false;
  fabric_link_leave(
      one.link, [](void *caller, bool done) { *static_cast<bool *>(caller) = done; }, &left);
  ASSERT_TRUE(until([&] { return left; }));
  EXPECT_EQ(lock().session, 0U);
  EXPECT_EQ(etcd.values.count("/switch/lab/members/" + one.standing.wwn), 0U);
}

TEST_F(Fabric, OfManyCommitsTheLast64AreKept) {
  join(one);
  for (uint32_t i = 0; i < 66; ++i) {
    ASSERT_EQ(open(one), 0);
    ASSERT_EQ(commit(one, {{0, 7, 2000 + i}}), 0);
  }
  const fabric_keys keys = fabric_keys_of("lab");
  EXPECT_EQ(etcd.values.count(fabric_commit_key(keys, 2)), 0U);
  EXPECT_EQ(etcd.values.count(fabric_commit_key(keys, 3)), 1U);
}

TEST(EtcdJson, Base64GoesThereAndBackWithAnyOctets) {
  std::string all;
  for (int octet = 0; octet < 256; ++octet) {
    all += static_cast<char>(octet);
    EXPECT_EQ(bytes_of_base64(base64_of(all)), all);
  }
  EXPECT_EQ(base64_of("foob"), "Zm9vYg==");
  EXPECT_EQ(bytes_of_base64("no*base64"), "");
}

TEST(EtcdJson, NumbersComeAsTextsAndAsNumbers) {
  const nlohmann::json object = {{"a", "12"}, {"b", 13}, {"c", nlohmann::json::array()}};
  EXPECT_EQ(json_number(object, "a"), 12);
  EXPECT_EQ(json_number(object, "b"), 13);
  EXPECT_EQ(json_number(object, "c"), 0);
  EXPECT_EQ(json_number("no object", "a"), 0);
  EXPECT_EQ(json_text(object, "b"), "");
}

TEST(FabricRecords, ACommitThatNoSwitchCouldHoldIsUnreadable) {
  fabric_commit commit;
  EXPECT_TRUE(fabric_commit_of(R"({"commit":1,"timers":[[0,7,2500],[20,8,9000]]})", commit));
  EXPECT_EQ(commit.timers.size(), 2U);
  for (const char *text :
       {"", "[]", "{}", R"({"commit":1})", R"({"commit":0,"timers":[]})", R"({"commit":1,"timers":[[0,7]]})",
        R"({"commit":1,"timers":[[0,7,-1]]})", R"({"commit":1,"timers":[[0,6,2500]]})",
        R"({"commit":1,"timers":[[4095,7,2500]]})", R"({"commit":1,"timers":[[0,7,1]]})",
        R"({"commit":1,"timers":[[0,7,99999]]})", R"({"commit":1,"timers":[[4294967296,7,2500]]})"}) {
    EXPECT_FALSE(fabric_commit_of(text, commit)) << text;
  }
}

TEST(FabricRecords, LocksAndSwitchesReadBackAsTheyWereWritten) {
  const fabric_lock lock = {"20:00:00:00:00:00:00:01", "core \"a\"", "ann", 0xFEDCBA9876543210, 0, 0};
  EXPECT_EQ(fabric_lock_of(fabric_lock_text(lock)), lock);
  const fabric_switch member = {"core", "20:00:00:00:00:00:00:01", "1.0", 42, 7, 99, 3, 1234567890123};
  EXPECT_EQ(fabric_switch_of(fabric_switch_text(member)), member);
}

}  // namespace
