// An agent that does not share switchd's page: its run directory has the sockets only, or a page of the other byte
// order.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "unshared_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using nlohmann::json;
namespace fs = std::filesystem;

constexpr char kBack[] = "is shared again";
constexpr char kNone[] = "cannot be used: there is none; events and errors are kept in ";

// As a host of the other byte order would have made it: words the other way round.
std::string other_order(std::string page) {
  for (size_t at = 0; at + 4 <= page.size(); at += 4) {
    std::swap(page[at], page[at + 3]);
    std::swap(page[at + 1], page[at + 2]);
  }
  return page;
}

class UnsharedPage : public unshared_lab::UnsharedTest {};

TEST_F(UnsharedPage, APendingTimerIsReadAsPendingAndTheRunningOneAsRunning) {
  restart_agent();
  expect_pending_is_never_running();
}

TEST_F(UnsharedPage, HistoryAndErrorsAreInThePageThatTheAgentMakes) {
  restart_agent();
  expect_history_and_errors_in_own_page();
  expect_told("there is none");
  EXPECT_NE(ctl({"show", "status"}).find(own), std::string::npos);
}

TEST_F(UnsharedPage, LevelsAreSwitchedInThePageThatIsNamed) {
  restart_agent();
  ctl({"debug", "off", "--level", "101", "--record", "--page", own});
  const json levels = json::parse(ctl({"show", "levels", "--page", own, "--json"}), nullptr, false)["levels"];
  EXPECT_EQ(levels, (json{{{"level", 100}, {"recorded", true}, {"printed", false}},
                          {{"level", 102}, {"recorded", true}, {"printed", false}}}));
  EXPECT_DONE(set({name(20, "renamed")}));
  EXPECT_EQ(ctl({"history", "--page", own, "--level", "101"}).find("renamed"), std::string::npos);
}

// The agent as it was started first, in switchd's own directory.
TEST_F(UnsharedPage, TheSwitchsOwnIsSharedUnlessItWasMadeOnAHostOfTheOtherByteOrder) {
  if (getenv("LAB_PAGE_READER") != nullptr) {
    expect_told("it was made on a host of the other byte order");
  } else {
    lab::wait_until([] { return false; }, 2);  // the agent looks once a second
    without_page(0);
    EXPECT_EQ(log_lines("cannot be used"), 0U) << agent_log();
  }
}

// A directory that had a switch of its own, and then another's sockets.
TEST_F(UnsharedPage, ThatWasLeftByASwitchThatIsGoneIsNotTakenForTheOtherOnes) {
  const std::string left = links + "/switch.page";
  fs::copy_file(l.dir + "/run/switch.page", left);
  lab::stop(l.switchd);
  lab::start_switchd(l);
  lab::stop(l.snmpd);
  lab::start_snmpd(l);
  expect_pending_is_never_running();
  const char *why = "it is another process's than the one that answers";
  EXPECT_EQ(without_page(1)[0], (json{{"pid", l.snmpd.pid}, {"page", left}, {"why", why}}));
  EXPECT_EQ(log_lines("the page in " + links + " is another process's than the one that answers"), 1U) << agent_log();
}

TEST_F(UnsharedPage, OneOfTheOtherByteOrderIsLikeNone) {
  const std::string page = other_order(lab::read_file(l.dir + "/run/switch.page"));
  lab::write_file(links + "/switch.page", page);
  restart_agent();
  expect_pending_is_never_running();
  expect_history_and_errors_in_own_page();
  expect_told("it was made on a host of the other byte order");
  EXPECT_TRUE(lab::read_file(links + "/switch.page") == page) << "it is another's";
}

TEST_F(UnsharedPage, OneThatComesLaterIsTakenAndSaidAndOneThatGoesToo) {
  restart_agent();
  without_page(1);
  fs::create_hard_link(l.dir + "/run/switch.page", links + "/switch.page");
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(kBack) == 1; })) << agent_log();
  without_page(0);
  EXPECT_DONE(set({name(20, "renamed")}));
  EXPECT_NE(ctl({"history"}).find("renamed"), std::string::npos);
  EXPECT_EQ(ctl({"history", "--page", own}).find("renamed"), std::string::npos);
  fs::remove(links + "/switch.page");
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(kNone + own) == 2; })) << agent_log();
  EXPECT_EQ(without_page(1)[0]["page"], own);
  EXPECT_EQ(log_lines(kBack), 1U);
}

TEST_F(UnsharedPage, TheStateIsAskedOnceAPduAndNotAtAllWhileThePageIsShared) {
  restart_agent();
  snmp::client reader(l, snmp::community("public"), 30);
  const unsigned before = asked_of_distribution();
  EXPECT_EQ(snmp::getbulk(reader, {timer_table()}, 20).varbinds.size(), 20U);
  EXPECT_EQ(asked_of_distribution(), before + 1);
  EXPECT_EQ(get(vsan_cell(kName, 20)).octets, "twenty");
  EXPECT_EQ(asked_of_distribution(), before + 1) << "a PDU without timers asks for nothing";
  fs::create_hard_link(l.dir + "/run/switch.page", links + "/switch.page");
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(kBack) == 1; })) << agent_log();
  EXPECT_EQ(snmp::getbulk(reader, {timer_table()}, 20).varbinds.size(), 20U);
  EXPECT_EQ(asked_of_distribution(), before + 1);
}

TEST_F(UnsharedPage, ARestartedSwitchdIsToldAnew) {
  restart_agent();
  without_page(1);
  lab::stop(l.switchd, SIGKILL);
  lab::start_switchd(l);
  EXPECT_EQ(without_page(1)[0]["pid"], l.snmpd.pid);
  EXPECT_EQ(edtov(), timer(kEdtov, 20, 2000));
}

TEST_F(UnsharedPage, AnAgentThatIsGoneIsForgotten) {
  restart_agent();
  without_page(1);
  lab::stop(l.snmpd);
  without_page(0);
}

// The page is switchd's still, and the connection that the agent had is the one to the process before.
TEST_F(UnsharedPage, ThatIsSharedIsSharedAfterARestartOfSwitchdAndNothingIsSaid) {
  lab::stop(l.snmpd);
  l.how.agent_lines.clear();
  lab::start_snmpd(l);
  EXPECT_EQ(edtov(), timer(kEdtov, 20, 2000));
  lab::stop(l.switchd);
  lab::start_switchd(l);
  EXPECT_EQ(edtov(), timer(kEdtov, 20, 2000));
  EXPECT_EQ(asked_of_distribution(), 0U);
  lab::wait_until([] { return false; }, 2);  // the agent looks once a second
  EXPECT_EQ(log_lines("the page"), 0U) << agent_log();
  without_page(0);
}

// The file that switchd has no more says what was.
TEST_F(UnsharedPage, ThatSwitchdHasReplacedIsNotBelieved) {
  restart_agent();
  fs::create_hard_link(l.dir + "/run/switch.page", links + "/switch.page");
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(kBack) == 1; })) << agent_log();
  fs::remove(l.dir + "/run/switch.page");
  ASSERT_TRUE(lab::wait_until([&] { return fs::exists(l.dir + "/run/switch.page"); }));
  expect_pending_is_never_running();
}

TEST_F(UnsharedPage, AHungSwitchdDoesNotHoldUpTheAgentThatTellsIt) {
  restart_agent();
  without_page(1);
  lab::signal(l.switchd, SIGSTOP);
  fs::create_hard_link(l.dir + "/run/switch.page", links + "/switch.page");
  EXPECT_TRUE(lab::wait_until([&] { return log_lines(kBack) == 1; })) << agent_log();
  // An object of the agent's own is answered at once.
  snmp::client reader(l, snmp::community("public"), 30);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 30; ++i) {
    EXPECT_TRUE(snmp::get(reader, {{1, 3, 6, 1, 2, 1, 1, 3, 0}}).sent_back);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  lab::signal(l.switchd, SIGCONT);
  without_page(0);
}

// The first agent has the subscription to notifications; the second does not share the page.
TEST_F(UnsharedPage, ASecondAgentTellsThoughItsSubscriptionIsRefused) {
  lab::process first = l.snmpd;
  l.snmpd = {};
  l.snmp_port = lab::free_udp_port();
  restart_agent();
  ASSERT_TRUE(lab::wait_until([&] { return log_lines("no notifications for now") > 0; })) << agent_log();
  EXPECT_EQ(without_page(1)[0]["pid"], l.snmpd.pid);
  lab::stop(first);
}

TEST_F(UnsharedPage, TheFileIsTheOneThatTheConfigurationNames) {
  own = l.dir + "/agent/elsewhere.page";
  restart_agent("switchOwnPage " + own + "\n");
  expect_history_and_errors_in_own_page();
  expect_told("there is none");
  EXPECT_FALSE(fs::exists(l.dir + "/agent/switch_agent.page"));
}

TEST_F(UnsharedPage, AFileThatIsNoPageIsLeftAsItIsAndTheAgentGoesOnWithout) {
  own = l.dir + "/precious";
  lab::write_file(own, "precious");
  restart_agent("switchOwnPage " + own + "\nswitchOwnPage relative\n");
  EXPECT_EQ(
      log_lines("events and errors are not kept: " + own + ": a file is there that is no page, and is left as it is"),
      1U)
      << agent_log();
  EXPECT_NE((agent_log() + lab::read_file(l.dir + "/snmpd.log")).find("an absolute path is wanted"), std::string::npos);
  EXPECT_EQ(lab::read_file(own), "precious");
  EXPECT_EQ(without_page(1)[0]["page"], "");
  expect_pending_is_never_running();
  const lab::result refused = lab::ctl(l, {"history", "--page", own});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.output.find(own + ": it is no page of this version"), std::string::npos) << refused.output;
}

TEST_F(UnsharedPage, AReloadOfTheConfigurationKeepsThePageAndSaysNothingTwice) {
  restart_agent();
  EXPECT_DONE(set({name(20, "before")}));
  lab::signal(l.snmpd, SIGHUP);
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(" restarted") > 0; })) << agent_log();
  ASSERT_TRUE(lab::wait_until([&] { return get(vsan_cell(kName, 20)).octets == "before"; }));
  ASSERT_TRUE(lab::wait_until([&] {
    return set({name(20, "after")}).status == kNoError &&
           ctl({"history", "--page", own}).find("after") != std::string::npos;
  }));
  EXPECT_NE(ctl({"history", "--page", own}).find("before"), std::string::npos);
  EXPECT_EQ(log_lines(kNone + own), 1U) << agent_log();
  EXPECT_EQ(without_page(1)[0]["pid"], l.snmpd.pid);
}

// As Debian's, which reads its configuration as root and then gives that up.
class UnsharedPageOfAnotherUser : public UnsharedPage {
 protected:
  UnsharedPageOfAnotherUser() { how.agent_user = "Debian-snmp"; }
};

TEST_F(UnsharedPageOfAnotherUser, IsThatUsersAndIsFoundAgainAfterAReload) {
  restart_agent();
  expect_history_and_errors_in_own_page();
  expect_told("there is none");
  struct stat page = {}, folder = {};
  ASSERT_EQ(stat(own.c_str(), &page), 0);
  ASSERT_EQ(stat((l.dir + "/agent").c_str(), &folder), 0);
  EXPECT_NE(page.st_uid, 0U);
  EXPECT_EQ(page.st_uid, folder.st_uid);
  EXPECT_EQ(page.st_mode & 07777, 0660U);
  ASSERT_EQ(chown((l.dir + "/agent.log").c_str(), folder.st_uid, folder.st_gid), 0);  // it is opened anew
  lab::signal(l.snmpd, SIGHUP);
  ASSERT_TRUE(lab::wait_until([&] { return log_lines(" restarted") > 0; })) << agent_log();
  ASSERT_TRUE(lab::wait_until([&] {
    return set({name(20, "after")}).status == kNoError &&
           ctl({"history", "--page", own}).find("after") != std::string::npos;
  }));
  expect_told("there is none");
}

// Faults of the distribution service.

struct distribution_fault {
  const char *name;
  std::vector<std::string> words;
  double longest;  // seconds that a PDU may take
};

class DistributionFault : public UnsharedPage, public ::testing::WithParamInterface<distribution_fault> {};

TEST_P(DistributionFault, ReadsOfTimersFailAndTellNoRunningValueAndTheRestIsServed) {
  restart_agent();
  ctl({"kdx", "enable"});
  EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
  std::vector<std::string> fault = GetParam().words;
  fault.insert(fault.begin(), "fault");
  fault.insert(fault.end(), {"--service", "distribution", "--spare-vsanctl"});
  ctl(fault);

  snmp::client reader(l, snmp::community("public"), 30);
  const auto start = std::chrono::steady_clock::now();
  const snmp::answer row = snmp::get(reader, {timer_cell(kEdtov, 20), timer_cell(kRatov, 20), timer_cell(kEdtov, 5),
                                              switch_wide(kSwitchEdtov), vsan_cell(kName, 20), if_vsan(kFc1)});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_LT(took.count(), GetParam().longest);
  ASSERT_EQ(row.varbinds.size(), 6U);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(row.varbinds[i].type, snmp::kNoSuchInstance) << i;
  }
  EXPECT_EQ(row.varbinds[4].octets, "twenty");
  EXPECT_EQ(row.varbinds[5], integer(if_vsan(kFc1), 5));
  const auto next = snmp::getnext(reader, {timer_table()});
  ASSERT_TRUE(next.sent_back);
  EXPECT_FALSE(is_under(next.varbinds.at(0).name, timer_table())) << text(next.varbinds[0].name);

  ctl({"fault", "clear"});
  EXPECT_TRUE(lab::wait_until([&] { return edtov() == timer(kEdtov, 20, 3000); })) << "pending as before";
}

INSTANTIATE_TEST_SUITE_P(Each, DistributionFault,
                         ::testing::Values(distribution_fault{"Hangs", {"hang"}, 7},
                                           distribution_fault{"Refuses", {"status", "0x40190004"}, 3},
                                           distribution_fault{"Drops", {"drop"}, 3},
                                           distribution_fault{"IsShort", {"short-answer", "8"}, 3}),
                         [](const auto &each) { return std::string(each.param.name); });

// vsanctl.

TEST_F(UnsharedPage, VsanctlSaysThatAPageIsOfTheOtherByteOrder) {
  lab::write_file(links + "/switch.page", other_order(lab::read_file(l.dir + "/run/switch.page")));
  const std::string complaint =
      links + "/switch.page was made on a host of the other byte order: use vsanctl of that host";
  for (const std::vector<std::string> &words :
       std::vector<std::vector<std::string>>{{"show", "errors"}, {"show", "levels"}, {"history"}, {"debug", "on"}}) {
    std::vector<std::string> named = words;
    named.insert(named.end(), {"--page", links + "/switch.page"});
    const lab::result by_name = lab::ctl(l, named);
    EXPECT_EQ(by_name.status, 3) << words[0];
    EXPECT_NE(by_name.output.find(complaint), std::string::npos) << by_name.output;
    std::vector<std::string> there = {lab::program("vsanctl"), "--run-dir", links};
    there.insert(there.end(), words.begin(), words.end());
    const lab::result by_directory = lab::run(there);
    EXPECT_EQ(by_directory.status, 3) << words[0];
    EXPECT_NE(by_directory.output.find(complaint), std::string::npos) << by_directory.output;
  }
}

TEST_F(UnsharedPage, VsanctlMakesNoPage) {
  const lab::result absent = lab::ctl(l, {"history", "--page", links + "/none.page"});
  EXPECT_EQ(absent.status, 3);
  EXPECT_NE(absent.output.find(links + "/none.page: No such file"), std::string::npos) << absent.output;
  EXPECT_FALSE(fs::exists(links + "/none.page"));
  EXPECT_EQ(lab::ctl(l, {"history", "--page", ""}).status, 2);
}

}  // namespace
