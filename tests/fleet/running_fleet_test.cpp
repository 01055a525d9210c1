// A fleet of three: started, asked, disturbed, stopped.
#include <arpa/inet.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "programs.h"
#include "switch_under_test.h"

namespace {

using nlohmann::json;

constexpr const char *kSysName = ".1.3.6.1.2.1.1.5.0";
constexpr const char *kEngineId = ".1.3.6.1.6.3.10.2.1.1.0";
constexpr const char *kVsanNumber = ".1.3.6.1.4.1.32473.9.282.1.1.1.0";

struct RunningFleet : testing::Test {
  temporary_directory directory;
  // Tests that run beside each other have networks of their own.
  std::string network = "127." + std::to_string(100 + getpid() % 100) + "." + "0";

  std::string file() const { return directory.path + "/fleet.toml"; }

  void SetUp() override {
    // Without systemd's machine or with it: the test is about s6.
    std::ofstream(file())
        << "[fleet]\nname = \"three\"\ndirectory = \"three\"\nsupervisor = \"s6\"\n"
        << "topology = \"" TOPOLOGIES "/small-fabric.toml\"\n"
        << "[snmp]\nnetwork = \"" << network << ".0\"\nport = " << 20000 + getpid() % 10000 << "\n"
        << "[[group]]\nname = \"core\"\nnames = [\"core-a\"]\n[[group]]\nname = \"edge\"\ncount = 2\n";
  }
  void TearDown() override { run_program(VSANFLEET, {"stop", "--remove", file()}); }

  program_result fleet(std::vector<std::string> words) const {
    words.insert(words.begin() + 1, file());
    return run_program(VSANFLEET, words);
  }
  json switches() const { return json::parse(fleet({"status", "--json"}).out)["switches"]; }
  std::string get(const json &each, const char *name) const {
    return run_program("/usr/bin/snmpget", {"-v2c", "-c", "public", "-m", "", "-Onqv", "-t", "5",
                                            each["address"].get<std::string>() + ":" + each["port"].dump(), name})
        .out;
  }
};

// Processes that are not zombies and have the text in their command line, or run below the folder.
std::vector<pid_t> processes_of(const std::string &folder) {
  std::vector<pid_t> found;
  for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream line(entry.path() / "cmdline");
    const std::string words{std::istreambuf_iterator<char>(line), {}};
    std::error_code why;
    const std::string at = std::filesystem::read_symlink(entry.path() / "cwd", why).string();
    const pid_t pid = static_cast<pid_t>(atoi(entry.path().filename().c_str()));
    if (pid > 0 && pid != getpid() && (words.find(folder) != std::string::npos || at.starts_with(folder))) {
      found.push_back(pid);
    }
  }
  return found;
}

template <typename Condition>
bool comes_true(const Condition &condition) {
  for (int naps = 0; naps < 500; ++naps) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

void expect_all_answer(const RunningFleet &test) {
  const json switches = test.switches();
  ASSERT_EQ(switches.size(), 3U);
  const char *const kNames[] = {"core-a", "edge-1", "edge-2"};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(switches[i]["switchd"]["state"], "up");
    EXPECT_EQ(switches[i]["agent"]["state"], "up");
    EXPECT_EQ(test.get(switches[i], kSysName), "\"" + std::string(kNames[i]) + "\"\n");
    EXPECT_NE(test.get(switches[i], kEngineId).find("F1 00 00 00 0" + std::to_string(i + 1)), std::string::npos);
    EXPECT_EQ(test.get(switches[i], kVsanNumber), "6\n");
  }
}

TEST_F(RunningFleet, IsStartedAskedDisturbedAndStopped) {
  const program_result started = fleet({"start"});
  ASSERT_EQ(started.code, 0) << started.err << started.out;
  EXPECT_NE(started.out.find("3 of 3 switches"), std::string::npos) << started.out;
  expect_all_answer(*this);

  const program_result shown = fleet({"exec", "--switches", "edge", "--json", "--", "--json", "show", "switch"});
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_NE(shown.out.find("20:00:02:f1:00:00:00:02"), std::string::npos) << shown.out;
  EXPECT_EQ(shown.out.find("core-a"), std::string::npos) << shown.out;

  // One that dies is there again, with what it had.
  std::ofstream(directory.path + "/s.toml") << "[[step]]\ndo = \"vsan create 50 --name made\"\n";
  const program_result played = fleet({"scenario", directory.path + "/s.toml", "--switches", "1,edge-2"});
  EXPECT_EQ(played.code, 0) << played.err;
  EXPECT_NE(played.out.find("done by 2 of 2 switches"), std::string::npos) << played.out;
  const std::vector<pid_t> killed = processes_of(directory.path + "/three/switches/edge-2/run");
  ASSERT_EQ(killed.size(), 1U);
  kill(killed[0], SIGKILL);
  ASSERT_TRUE(comes_true([&] {
    const json state = switches()[2]["switchd"];
    return state["state"] == "up" && state["restarts"] == 1;
  }));
  EXPECT_EQ(get(switches()[2], kVsanNumber), "7\n");
  EXPECT_EQ(get(switches()[1], kVsanNumber), "6\n");

  // A scenario that is broken off takes back what it did, everywhere.
  std::ofstream(directory.path + "/long.toml")
      << "[[step]]\ndo = \"vsan create 60 --name long\"\nfor = 60\nundo = \"vsan delete 60\"\n";
  const std::string command =
      "exec " VSANFLEET " scenario " + file() + " " + directory.path + "/long.toml >" + directory.path + "/played 2>&1";
  const pid_t plays = start_program("/bin/sh", {"-c", command}, directory.path + "/err", nullptr);
  EXPECT_TRUE(comes_true([&] { return get(switches()[1], kVsanNumber) == "7\n"; }));
  kill(plays, SIGINT);
  EXPECT_EQ(wait_for_exit(plays), 1);
  EXPECT_EQ(get(switches()[1], kVsanNumber), "6\n");

  // What fails for some is told for those.
  const program_result some = fleet({"exec", "--", "vsan", "delete", "50"});
  EXPECT_EQ(some.code, 1);
  EXPECT_NE(some.err.find("edge-1: exit code 1"), std::string::npos) << some.err;
  EXPECT_NE(some.err.find("1 of 3 switches failed"), std::string::npos) << some.err;

  EXPECT_EQ(fleet({"start"}).code, 0);  // what runs is left alone
  EXPECT_EQ(fleet({"stop"}).code, 0);
  EXPECT_TRUE(processes_of(directory.path).empty());
  EXPECT_EQ(fleet({"status"}).code, 1);
}

TEST_F(RunningFleet, StaysAndStopsWhereASignalEndsIt) {
  const std::string command = "exec " VSANFLEET " start --foreground " + file() + " >" + directory.path + "/out";
  const pid_t stays = start_program("/bin/sh", {"-c", command}, directory.path + "/err", nullptr);
  ASSERT_TRUE(comes_true([&] { return fleet({"status"}).code == 0; }));
  kill(stays, SIGTERM);
  EXPECT_EQ(wait_for_exit(stays), 0);
  EXPECT_TRUE(processes_of(directory.path).empty());
}

TEST_F(RunningFleet, ASwitchThatCannotStartIsNamedAndTheOthersRun) {
  std::ofstream(directory.path + "/wrong.toml") << "[[vsan]]\nid = 5000\n";
  std::ofstream(file(), std::ios::app) << "[[group]]\nname = \"wrong\"\ncount = 1\ntopology = \"wrong.toml\"\n";
  const program_result started = fleet({"start"});
  EXPECT_EQ(started.code, 1);
  EXPECT_NE(started.err.find("wrong-1: switchd was not started, see "), std::string::npos) << started.err;
  // The supervisor writes down that it gave up after it has said so.
  EXPECT_TRUE(comes_true([&] { return switches()[3]["switchd"]["state"] == "failed"; })) << switches()[3];
  EXPECT_EQ(switches()[0]["agent"]["state"], "up");
}

}  // namespace
