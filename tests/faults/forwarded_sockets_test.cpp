// An agent whose sockets are forwarded, as from another host: each connection to switchd is another process's, which
// passes frames, and neither descriptors nor who is behind it.
#include <unistd.h>

#include <memory>
#include <vector>

#include "fault_lab.h"
#include "relay.h"
#include "trap_lab.h"
#include "unshared_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
namespace fs = std::filesystem;

class ForwardedSockets : public unshared_lab::UnsharedTest {
 protected:
  void SetUp() override {
    how.agent_lines = "trap2sink 127.0.0.1:" + std::to_string(traps.port) + " public\n";
    UnsharedTest::SetUp();
    forward();
  }
  // Takes the place of each link.
  void forward() {
    std::vector<std::string> sockets;
    for (const auto &entry : fs::directory_iterator(links)) {
      if (entry.is_socket()) {
        sockets.push_back(entry.path());
      }
    }
    for (const std::string &socket : sockets) {
      forwarder.push_back(std::make_unique<relay::relay>(socket));
    }
    ASSERT_GE(forwarder.size(), 6U);
  }
  std::vector<varbind> everything() {
    snmp::client reader(l, snmp::community("public"), 30);
    std::vector<varbind> walk = snmp::bulkwalk(reader, root());
    std::erase_if(walk, [](const varbind &each) { return each.name == last_change(); });  // counts from the start
    return walk;
  }

  trap_lab::sink traps;
  std::vector<std::unique_ptr<relay::relay>> forwarder;
};

TEST_F(ForwardedSockets, EveryValueIsTheOneThatIsServedWithoutThem) {
  const auto direct = everything();
  restart_agent();
  EXPECT_GT(direct.size(), 80U);
  EXPECT_EQ(everything(), direct);
}

TEST_F(ForwardedSockets, ReadsAreExchanges) {
  restart_agent();
  const unsigned before = asked_of("vsan-manager");
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(get(vsan_cell(kName, 20)).octets, "twenty");
  }
  EXPECT_GE(asked_of("vsan-manager"), before + 10);
}

TEST_F(ForwardedSockets, ACreationThatFailsLeavesNoHalfVsan) {
  restart_agent();
  const std::string rows = lab::store_rows(l);
  fault_lab::fault_at(l, 7, {"drop"});  // the new row, after three look-ups, its fetch and the other row
  EXPECT_SET(set({name(30, "n30"), name(5, "p5"), row_status(30, kCreateAndGo)}), kGenErr, 3);
  fault_lab::clear_faults(l);
  EXPECT_EQ(vsan_line(l, 30), "");
  EXPECT_DONE(set({name(5, "five")}));
  EXPECT_EQ(lab::store_rows(l), rows);
}

TEST_F(ForwardedSockets, APendingTimerIsReadAsPendingAndTheRunningOneAsRunning) {
  restart_agent();
  expect_pending_is_never_running();
}

TEST_F(ForwardedSockets, HistoryAndErrorsAreInThePageThatTheAgentMakes) {
  restart_agent();
  expect_history_and_errors_in_own_page();
  expect_told("there is none", getpid());
}

TEST_F(ForwardedSockets, EachMembershipThatChangesIsTrappedOnceThoughTheForwarderIsStartedAnew) {
  restart_agent();
  const std::vector<trap_lab::move> moves = {{kFc1, 10}, {kFc2, 20}};
  EXPECT_DONE(set({move(kFc1, 10)}));
  EXPECT_TRUE(lab::wait_until([&] { return trap_lab::moves_of(traps.entries()).size() == 1; }));
  for (const auto &each : forwarder) {
    each->leave();
  }
  for (const auto &each : forwarder) {
    each->plan(0, relay::breakage::none);
  }
  EXPECT_TRUE(lab::wait_until([&] { return get(if_vsan(kFc2)) == integer(if_vsan(kFc2), 10); }));
  EXPECT_DONE(set({move(kFc2, 20)}));
  EXPECT_TRUE(lab::wait_until([&] { return trap_lab::moves_of(traps.entries()).size() >= 2; }));
  EXPECT_TRUE(trap_lab::wait_until_taken(l));
  EXPECT_EQ(trap_lab::moves_of(traps.entries()), moves);
  expect_told("there is none", getpid());
}

TEST_F(ForwardedSockets, OfTwoAgentsBehindOneForwarderBothAreShownUntilTheyEnd) {
  restart_agent();
  lab::process first = l.snmpd;
  l.snmpd = {};
  l.snmp_port = lab::free_udp_port();
  restart_agent("switchOwnPage " + l.dir + "/agent/second.page\n");
  const auto known = without_page(2);
  EXPECT_EQ(known.at(0).value("page", ""), own);
  EXPECT_EQ(known.at(1).value("page", ""), l.dir + "/agent/second.page");
  lab::stop(first);
  EXPECT_EQ(without_page(1).at(0).value("page", ""), l.dir + "/agent/second.page");
  lab::stop(l.snmpd);
  without_page(0);
}

TEST_F(ForwardedSockets, OfTwoAgentsBehindOneForwarderTheFirstTrapsAndTheSecondOnceItHasEnded) {
  restart_agent();
  lab::process first = l.snmpd;
  trap_lab::sink of_second;
  l.snmpd = {};
  l.snmp_port = lab::free_udp_port();
  std::string &lines = l.how.agent_lines;
  lines.replace(lines.find(std::to_string(traps.port)), std::to_string(traps.port).size(),
                std::to_string(of_second.port));
  restart_agent("switchOwnPage " + l.dir + "/agent/second.page\n");
  EXPECT_TRUE(lab::wait_until([&] { return log_lines("has the subscription to notifications") == 1; }));
  EXPECT_DONE(set({move(kFc1, 10)}));
  EXPECT_TRUE(lab::wait_until([&] { return trap_lab::moves_of(traps.entries()).size() == 1; }));
  lab::stop(first);
  EXPECT_DONE(set({move(kFc2, 20)}));
  EXPECT_TRUE(lab::wait_until([&] { return trap_lab::moves_of(of_second.entries()).size() == 1; }));
  EXPECT_TRUE(trap_lab::wait_until_taken(l));
  EXPECT_EQ(trap_lab::moves_of(traps.entries()).size(), 1U);
}

TEST_F(ForwardedSockets, APageThatIsThereIsNotBelievedSinceNobodyKnowsWhoAnswers) {
  fs::create_hard_link(l.dir + "/run/switch.page", links + "/switch.page");
  lab::stop(l.snmpd);
  lab::start_snmpd(l);
  expect_pending_is_never_running();
  const std::string said = "the page in " + links + " is another process's than the one that answers";
  EXPECT_TRUE(lab::wait_until([&] { return log_lines(said) == 1; })) << agent_log();
}

}  // namespace
