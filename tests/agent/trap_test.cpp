// Notifications through a real snmpd: what receivers that no one here wrote decode, and what arrives when programs
// die in a burst. What is promised: every notification reaches the agent at least once and in order, at most one of
// them twice for each time that the agent is killed; at most 1,024 are kept for an agent that is away, the oldest
// go first and are counted. From the agent on it is SNMP: a trap that nobody hears is gone, an inform is repeated
// for some seconds.
#include "trap_lab.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <thread>

namespace {

using namespace mib;

using trap_lab::client;
using trap_lab::heard;
using trap_lab::move;

const name_t kStatus = status_change(), kMembership = membership_change();
constexpr char kIfIndex[] = ".1.3.6.1.2.1.2.2.1.1.";

// By receiver and kind.

enum class sending { trap_v2c, inform_v2c, inform_v3 };

std::string sink_line(sending how, int port) {
  const std::string at = "127.0.0.1:" + std::to_string(port);
  switch (how) {
    case sending::trap_v2c:
      return "trap2sink " + at + " public\n";
    case sending::inform_v2c:
      return "informsink " + at + " public\n";
    default:
      return "trapsess -Ci -v 3 -l authPriv -u operator -a SHA-256 -A operator-auth-key -x AES -X operator-priv-key "
             "udp:" +
             at + "\n";
  }
}

struct Receivers : ::testing::TestWithParam<std::tuple<client, sending>> {
  lab::lab l;
  trap_lab::receiver r;

  void SetUp() override {
    char name[] = "/tmp/lab-heard.XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    dir = name;
    trap_lab::start(r, std::get<0>(GetParam()), dir);
    lab::start(l, {.agent_lines = sink_line(std::get<1>(GetParam()), r.port)});
  }
  void TearDown() override { lab::run({"rm", "-rf", dir}); }

  heard wait_for_one(const name_t &trap) {
    std::vector<heard> found;
    lab::wait_until([&] { return !(found = trap_lab::heard_of(r, trap)).empty(); });
    return found.empty() ? heard{} : found[0];
  }
  std::string dir;
};

using varbinds = std::vector<std::pair<std::string, std::string>>;
varbinds after_the_name(const heard &h) {
  return h.varbinds.size() < 2 ? varbinds{} : varbinds(h.varbinds.begin() + 2, h.varbinds.end());
}

std::string value_of(snmp::client &c, const name_t &name) {
  return std::to_string(snmp::get(c, {name}).varbinds.at(0).integer);
}

TEST_P(Receivers, BothTrapsAreDecodedInOrderWithTheValuesThatAGetGivesRightAfter) {
  snmp::client c(l, snmp::community("public"));
  ASSERT_EQ(lab::ctl(l, {"interface", "move", "fc1/1", "20"}).status, 0);
  const bool informs = std::get<1>(GetParam()) != sending::trap_v2c;

  const heard membership = wait_for_one(kMembership);
  EXPECT_EQ(membership.inform, informs);
  const std::string vsan = value_of(c, if_vsan(16777216));
  EXPECT_EQ(vsan, "20");
  EXPECT_EQ(after_the_name(membership), (varbinds{{text(switch_wwn()), "2000025a103c0001"},
                                                  {std::string(kIfIndex) + "16777216", "16777216"},
                                                  {text(notified_vsan()), vsan}}));

  ASSERT_TRUE(lab::wait_until([&] { return trap_lab::heard_of(r, kStatus).size() == 2; })) << "VSANs 5 and 20 changed";
  std::set<std::string> told;
  for (const heard &h : trap_lab::heard_of(r, kStatus)) {
    const varbinds v = after_the_name(h);
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(h.inform, informs);
    EXPECT_EQ(v[0].first, text(notified_vsan()));
    const unsigned long id = std::stoul(v[0].second);
    told.insert(v[0].second);
    const name_t admin = vsan_cell(kAdminState, id), oper = vsan_cell(kOperState, id);
    EXPECT_EQ(v[1], std::make_pair(text(admin), value_of(c, admin)));
    EXPECT_EQ(v[2], std::make_pair(text(oper), value_of(c, oper)));
  }
  EXPECT_EQ(told, (std::set<std::string>{"5", "20"}));
}

std::string name_of(const ::testing::TestParamInfo<std::tuple<client, sending>> &info) {
  const char *const clients[] = {"Snmptrapd", "Pysnmp", "Npm"};
  const char *const kinds[] = {"V2cTrap", "V2cInform", "V3Inform"};
  const auto &[who, how] = info.param;
  return std::string(clients[static_cast<int>(who)]) + kinds[static_cast<int>(how)];
}

INSTANTIATE_TEST_SUITE_P(Each, Receivers,
                         ::testing::Combine(::testing::Values(client::snmptrapd, client::pysnmp, client::npm),
                                            ::testing::Values(sending::trap_v2c, sending::inform_v2c,
                                                              sending::inform_v3)),
                         name_of);

// Bursts. The sink is inside the test, with a socket buffer for all of it: what is tested is what was sent.

constexpr int kInterfaces = 500;

// A process's own memory in KiB, without the shared page of the event history, which fills as it is used.
long own_kib(const lab::process &p) {
  const std::string status = lab::read_file("/proc/" + std::to_string(p.pid) + "/status");
  return std::stol(status.substr(status.find("RssAnon:") + 8));
}

// How much a thousand notifications may add. The sanitizers keep freed memory for a while: 8 MiB of quarantine,
// and its books.
constexpr long kGrowthKib = LAB_PRELOAD[0] == '\0' ? 512 : 12 * 1024;

class Burst : public ::testing::Test {
 protected:
  void begin(const std::string &sink_word = "trap2sink") {
    lab::start(l, {.topology = trap_lab::quiet_topology(kInterfaces, 30),
                   .agent_lines = sink_word + " 127.0.0.1:" + std::to_string(s->port) + " public\n"});
  }
  // Makes the moves `from` to `to` - 1; all are to be taken.
  void raise(int from, int to) {
    for (int n = from; n < to; ++n) {
      const move m = trap_lab::nth_move(n, kInterfaces);
      ASSERT_EQ(trap_lab::make_move(l, m), 0) << n;
      made.push_back(m);
    }
  }
  // Raises them while the agent stands still, lets it go on, and returns once it has sent a part of them.
  void raise_and_catch_in_the_middle(int from, int to) {
    lab::signal(l.snmpd, SIGSTOP);
    raise(from, to);
    const size_t before = s->count();
    lab::signal(l.snmpd, SIGCONT);
    while (s->count() < before + 40) {
      usleep(100);
    }
  }
  // What arrived, once the agent has taken everything.
  std::vector<move> arrived() {
    EXPECT_TRUE(trap_lab::wait_until_taken(l));
    size_t before = 0;
    do {
      before = s->count();
      usleep(200000);
    } while (s->count() != before);
    EXPECT_EQ(s->drops(), 0u) << "the test's own socket lost some";
    return trap_lab::moves_of(s->entries());
  }
  // Fails unless `got` is `made` in its order, but for at most `repeats` that are there twice, right after each other
  // or later.
  void expect_all(const std::vector<move> &got, size_t repeats) {
    RecordProperty("repeats", static_cast<int>(got.size()) - static_cast<int>(made.size()));
    std::vector<move> first;
    std::set<move> seen;
    for (const move &m : got) {
      if (seen.insert(m).second) {
        first.push_back(m);
      }
    }
    EXPECT_TRUE(first == made) << first.size() << " of " << made.size();
    EXPECT_LE(got.size() - first.size(), repeats);
  }
  // Whether `got` is what is left of `made` when some are taken away.
  bool is_in_order(const std::vector<move> &got) const {
    auto at = made.begin();
    for (const move &m : got) {
      at = std::find(at, made.end(), m);
      if (at == made.end()) {
        return false;
      }
      ++at;
    }
    return true;
  }
  std::unique_ptr<trap_lab::sink> s = std::make_unique<trap_lab::sink>();
  lab::lab l;
  std::vector<move> made;
};

TEST_F(Burst, TenThousandDuringAWalkArriveOnceAndInOrderOrAreCountedAsDroppedAndMemoryIsFlat) {
  begin();
  // The agent keeps the last 1,000 notifications in a log of its own, which is full after these.
  raise(0, 500);
  ASSERT_TRUE(trap_lab::wait_until_taken(l));
  raise(500, 1200);
  ASSERT_EQ(arrived().size(), 1200u);
  snmp::client warm(l, snmp::community("public"), 5);
  const size_t rows = snmp::bulkwalk(warm, root(), 20).size();
  const long memory = own_kib(l.snmpd);
  std::atomic<bool> done = false;
  size_t walks = 0;
  std::vector<size_t> sizes;
  std::thread walker([&] {
    snmp::client c(l, snmp::community("public"), 5);
    do {
      sizes.push_back(snmp::bulkwalk(c, root(), 20).size());
      ++walks;
    } while (!done);
  });
  raise(1200, 10000);
  done = true;
  walker.join();
  const std::vector<move> got = arrived();
  // The count is right once the last acknowledgements are stored.
  lab::wait_until([&] { return static_cast<long>(got.size()) + trap_lab::queue_counters(l).dropped == 10000; }, 2);
  const trap_lab::counters c = trap_lab::queue_counters(l);
  EXPECT_EQ(c.raised, 10000);
  EXPECT_EQ(got.size() + static_cast<size_t>(c.dropped), 10000u);
  EXPECT_EQ(std::set<move>(got.begin(), got.end()).size(), got.size()) << "none twice";
  EXPECT_TRUE(is_in_order(got));
  EXPECT_GE(walks, 1u);
  for (size_t size : sizes) {
    EXPECT_EQ(size, rows) << "every walk came to its end";
  }
  EXPECT_LT(own_kib(l.snmpd) - memory, kGrowthKib);
}

TEST_F(Burst, AnAgentThatStandsStillGetsTheLast1024AndTheOthersAreCounted) {
  begin();
  lab::signal(l.snmpd, SIGSTOP);
  raise(0, 3000);
  const trap_lab::counters c = trap_lab::queue_counters(l);
  EXPECT_EQ(c.queued, 1024);
  EXPECT_EQ(c.dropped, 3000 - 1024);
  lab::signal(l.snmpd, SIGCONT);
  const std::vector<move> got = arrived();
  // The agent's socket held up to a window of 32 of those that were dropped later.
  ASSERT_GE(got.size(), 1024u);
  EXPECT_LE(got.size(), 1024u + 32);
  EXPECT_EQ(static_cast<long>(got.size()) + trap_lab::queue_counters(l).dropped, 3000)
      << "those are not counted any more";
  EXPECT_TRUE(std::equal(made.end() - 1024, made.end(), got.end() - 1024));
  EXPECT_TRUE(std::equal(got.begin(), got.end() - 1024, made.begin()));
}

TEST_F(Burst, AgentKilledFiveTimesInTheBurstEveryNotificationArrivesAndAtMostOneAKillTwice) {
  begin();
  for (int kill = 0; kill < 5; ++kill) {
    raise_and_catch_in_the_middle(kill * 300, kill * 300 + 250);
    lab::stop(l.snmpd, SIGKILL);
    raise(kill * 300 + 250, kill * 300 + 300);
    lab::start_snmpd(l);
    ASSERT_TRUE(trap_lab::wait_until_taken(l));
  }
  expect_all(arrived(), 5);
  EXPECT_EQ(trap_lab::queue_counters(l).dropped, 0);
}

TEST_F(Burst, AgentKilledBeforeItsAcknowledgementsAreReadIsSucceededByOneThatGetsAtMostOneAgain) {
  begin();
  raise(0, 1);
  ASSERT_EQ(arrived().size(), 1u) << "it has subscribed";
  lab::signal(l.snmpd, SIGSTOP);
  raise(1, 100);
  lab::signal(l.switchd, SIGSTOP);
  lab::signal(l.snmpd, SIGCONT);
  ASSERT_TRUE(lab::wait_until([&] { return s->count() >= 8; })) << "some were under way";
  usleep(200000);
  lab::stop(l.snmpd, SIGKILL);
  lab::signal(l.switchd, SIGCONT);
  lab::start_snmpd(l);
  expect_all(arrived(), 1);
}

TEST_F(Burst, AgentStoppedAndStartedInTheBurstEveryNotificationArrivesOnce) {
  begin();
  for (int round = 0; round < 3; ++round) {
    raise_and_catch_in_the_middle(round * 300, round * 300 + 250);
    lab::stop(l.snmpd, SIGTERM);
    raise(round * 300 + 250, round * 300 + 300);
    lab::start_snmpd(l);
    ASSERT_TRUE(trap_lab::wait_until_taken(l));
  }
  expect_all(arrived(), 0);
}

TEST_F(Burst, SwitchdKilledFiveTimesInTheBurstEveryNotificationOfAnAnsweredChangeArrivesOnce) {
  begin();
  for (int kill = 0; kill < 5; ++kill) {
    raise_and_catch_in_the_middle(kill * 300, kill * 300 + 250);
    lab::stop(l.switchd, SIGKILL);
    lab::start_switchd(l);
    raise(kill * 300 + 250, kill * 300 + 300);
    ASSERT_TRUE(trap_lab::wait_until_taken(l));
  }
  expect_all(arrived(), 0);
  const trap_lab::counters c = trap_lab::queue_counters(l);
  EXPECT_EQ(c.raised, 1500);
  EXPECT_EQ(c.dropped, 0);
}

TEST_F(Burst, BothKilledTogetherEveryNotificationOfAnAnsweredChangeArrivesAndTheLastOnesMayComeTwice) {
  begin();
  raise_and_catch_in_the_middle(0, 300);
  lab::stop(l.switchd, SIGKILL);
  lab::stop(l.snmpd, SIGKILL);
  lab::start_switchd(l);
  lab::start_snmpd(l);
  raise(300, 400);
  // Acknowledgements are stored every 50 ms; those of the last 50 ms are forgotten together with the agent's
  // memory of them.
  expect_all(arrived(), 300);
}

TEST_F(Burst, TrapsSentWhileTheSinkIsAwayAreGoneAndThoseAfterItIsBackArrive) {
  begin();
  raise(0, 10);
  ASSERT_EQ(arrived().size(), 10u);
  const int port = s->port;
  s.reset();
  raise(10, 100);
  ASSERT_TRUE(trap_lab::wait_until_taken(l)) << "the agent goes on";
  s = std::make_unique<trap_lab::sink>(port);
  made.clear();
  raise(100, 120);
  expect_all(arrived(), 0);
}

TEST_F(Burst, InformsSentWhileTheSinkIsAwayForTwoSecondsArriveWhenItIsBack) {
  begin("informsink");
  raise(0, 10);
  const int port = s->port;
  ASSERT_TRUE(lab::wait_until([&] { return s->count() >= 10; }));
  s.reset();
  made.clear();
  raise(10, 60);
  sleep(2);
  s = std::make_unique<trap_lab::sink>(port);
  ASSERT_TRUE(lab::wait_until([&] { return s->count() >= 50; }, 15)) << s->count();
  const std::vector<move> got = trap_lab::moves_of(s->entries());
  EXPECT_EQ(std::set<move>(got.begin(), got.end()), std::set<move>(made.begin(), made.end())) << "in any order";
}

TEST_F(Burst, AnInformSinkThatNeverAnswersCostsTheAgentNoRequestAndNoMemoryForGood) {
  begin("informsink");
  raise(0, 200);
  ASSERT_EQ(arrived().size(), 200u);
  s.reset();
  raise(200, 1200);  // fills the agent's own log of notifications, too
  ASSERT_TRUE(trap_lab::wait_until_taken(l));
  sleep(8);  // the last ones are given up
  const long memory = own_kib(l.snmpd);
  raise(1200, 2200);
  ASSERT_TRUE(trap_lab::wait_until_taken(l));
  snmp::client c(l, snmp::community("public"), 2);
  EXPECT_TRUE(snmp::get(c, {vsan_number()}).sent_back);
  sleep(8);
  EXPECT_LT(own_kib(l.snmpd) - memory, kGrowthKib);
}

// Switched off and on.

TEST_F(Burst, NothingIsRaisedWhileNotificationsAreOffAndWhatFollowsArrivesWhenTheyAreOnAgain) {
  begin();
  raise(0, 5);
  ASSERT_EQ(lab::ctl(l, {"switch", "set", "--notifications", "off"}).status, 0);
  raise(5, 10);
  EXPECT_EQ(trap_lab::queue_counters(l).raised, 5);
  ASSERT_EQ(lab::ctl(l, {"switch", "set", "--notifications", "on"}).status, 0);
  made.resize(5);
  raise(10, 15);
  expect_all(arrived(), 0);
}

TEST_F(Burst, TheNotificationControlRequestTakes1And2AndRefusesOthersWithoutAChange) {
  begin();
  EXPECT_EQ(trap_lab::control_notifications(l, 2), 0);
  EXPECT_NE(trap_lab::control_notifications(l, 0), 0);
  EXPECT_NE(trap_lab::control_notifications(l, 3), 0);
  raise(0, 1);
  EXPECT_EQ(trap_lab::queue_counters(l).raised, 0);
  EXPECT_EQ(trap_lab::control_notifications(l, 1), 0);
  made.clear();
  raise(1, 3);
  expect_all(arrived(), 0);
}

}  // namespace
