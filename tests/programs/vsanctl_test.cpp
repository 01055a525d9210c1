// The program vsanctl against a running switchd: what it prints, and how it ends.
#include <signal.h>
#include <sys/wait.h>

#include <nlohmann/json.hpp>

#include "platform/kdx.h"
#include "platform/run_dir.h"
#include "platform/shared_page.h"
#include "programs.h"
#include "switch_under_test.h"

using nlohmann::json;

struct Vsanctl : testing::Test {
  temporary_directory directory;
  pid_t switchd = -1;

  void SetUp() override {
    std::string printed;
    switchd = start_program(
        SWITCHD,
        {"--run-dir", run_dir(), "--state", directory.path + "/s.db", "--topology", TOPOLOGIES "/small-fabric.toml"},
        directory.path + "/stderr", &printed);
    ASSERT_EQ("ready\n", printed);
  }
  void TearDown() override {
    if (switchd > 0) {
      kill(switchd, SIGTERM);
      EXPECT_EQ(0, wait_for_exit(switchd));
    }
  }
  std::string run_dir() const { return directory.path + "/run"; }
  program_result run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--run-dir", run_dir()});
    return run_program(VSANCTL, arguments);
  }
  // What a command that must succeed shows, as JSON.
  json show(std::vector<std::string> arguments) const {
    arguments.push_back("--json");
    const program_result result = run(arguments);
    EXPECT_EQ(0, result.code) << result.err;
    return json::parse(result.out, nullptr, false);
  }
  void expect_done(const std::vector<std::string> &arguments) const {
    const program_result result = run(arguments);
    EXPECT_EQ(0, result.code) << result.err;
    EXPECT_EQ("", result.out);
    EXPECT_EQ("", result.err);
  }
  // A refusal that names each of the words, and changes nothing that is shown.
  void expect_refused(const std::vector<std::string> &arguments, const std::vector<std::string> &named) const {
    const json before = show({"show", "vsan"});
    const program_result result = run(arguments);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.out);
    for (const std::string &each : named) {
      EXPECT_NE(std::string::npos, result.err.find(each)) << each << " in " << result.err;
    }
    EXPECT_EQ(before, show({"show", "vsan"}));
  }
};

TEST_F(Vsanctl, ShowsVsansAsATableAndAsJson) {
  const program_result table = run({"show", "vsan"});
  EXPECT_EQ(0, table.code);
  EXPECT_EQ(0U, table.out.find("vsan  name"));
  EXPECT_NE(std::string::npos, table.out.find("\n  20  backup"));
  const json vsans = show({"show", "vsan"})["vsans"];
  ASSERT_EQ(6U, vsans.size());
  EXPECT_EQ(json::parse(R"({"vsan":20,"name":"backup","admin":"active","oper":"up","media":"fibre-channel",
    "mtu":2112,"load_balancing":"src-dst","interop":"default","inorder":"on","drop_latency":3000})"),
            vsans[2]);
  EXPECT_EQ(vsans[2], show({"show", "vsan", "20"})["vsans"][0]);
}

TEST_F(Vsanctl, ShowsInterfacesMembershipsTimersAndStatus) {
  EXPECT_EQ(12U, show({"show", "interface"})["interfaces"].size());
  EXPECT_EQ(7U, show({"show", "membership"})["memberships"].size());
  const json timers = show({"show", "timers"})["timers"];
  ASSERT_EQ(7U, timers.size());
  EXPECT_EQ("switch", timers[0]["vsan"]);
  EXPECT_EQ(9000, show({"show", "timers", "20"})["timers"][0]["r_a_tov"]);
  const json status = show({"show", "status"});
  EXPECT_EQ("20:00:02:5a:10:3c:00:01", status["wwn"]);
  EXPECT_EQ(7, status["active_memberships"]);
  EXPECT_EQ(0, status["notifications_dropped"]);
  EXPECT_EQ(5U, status["services"].size());
  EXPECT_TRUE(show({"show", "errors"})["errors"].empty());
}

TEST_F(Vsanctl, CreatesChangesAndDeletesAVsan) {
  expect_done({"vsan", "create", "50", "--name", "web", "--state", "suspended", "--mtu", "2000"});
  expect_done({"vsan", "set", "50", "--name", "web-2", "--interop", "4", "--inorder", "on", "--drop-latency", "1"});
  EXPECT_EQ(json::parse(R"({"vsan":50,"name":"web-2","admin":"suspended","oper":"down","media":"fibre-channel",
    "mtu":2000,"load_balancing":"src-dst-ox","interop":"4","inorder":"on","drop_latency":1})"),
            show({"show", "vsan", "50"})["vsans"][0]);
  EXPECT_EQ(1, show({"show", "notifications"})["queued"]);  // its creation
  expect_done({"vsan", "delete", "50"});
  EXPECT_EQ(1, run({"show", "vsan", "50"}).code);
}

TEST_F(Vsanctl, RefusalsNameTheFieldAndTheValue) {
  expect_refused({"vsan", "create", "20"}, {"vsan 20", "exists"});
  expect_refused({"vsan", "create", "4095"}, {"vsan 4095", "reserved"});
  expect_refused({"vsan", "create", "77", "--name", "backup"}, {"name \"backup\"", "in use"});
  expect_refused({"vsan", "set", "20", "--mtu", "99999"}, {"mtu 99999", "256 to 2112"});
  expect_refused({"vsan", "set", "20", "--name", "two words"}, {"name \"two words\"", "blank"});
  expect_refused({"vsan", "set", "20", "--name", std::string(33, 'n')}, {"name \"nnn", "32 octets"});
  expect_refused({"vsan", "set", "20", "--name", std::string(40, 'n')}, {"name \"nnn", "32 octets"});
  expect_refused({"vsan", "set", "20", "--drop-latency", "0"}, {"drop-latency 0"});
  expect_refused({"vsan", "set", "77", "--mtu", "2000"}, {"vsan 77", "no such VSAN"});
  expect_refused({"vsan", "delete", "1"}, {"VSAN 1", "must stay"});
  expect_refused({"interface", "move", "fc1/1", "77"}, {"fc1/1", "vsan 77", "no such VSAN"});
  expect_refused({"interface", "down", "fc7/7"}, {"fc7/7"});
  expect_refused({"timer", "set", "e_d_tov", "4001"}, {"E_D_TOV", "value 4001", "1000 to 4000"});
  expect_refused({"timer", "set", "e_d_tov", "3000", "--vsan", "20"}, {"vsan 20", "forced"});
  expect_refused({"kdx", "commit"}, {"no distribution session"});
  expect_refused({"kdx", "keep-out", "77"}, {"vsan 77"});
}

TEST_F(Vsanctl, WrongCommandLinesAreTold) {
  EXPECT_EQ(2, run({}).code);
  EXPECT_EQ(2, run({"show"}).code);
  EXPECT_EQ(2, run({"show", "vsan", "ten"}).code);
  EXPECT_EQ(2, run({"vsan", "set", "20", "--state", "up"}).code);
  EXPECT_EQ(2, run({"fault", "explode"}).code);
  EXPECT_EQ(2, run({"debug", "on", "--level", "256"}).code);
  EXPECT_EQ(0, run({"--help"}).code);
}

TEST_F(Vsanctl, AnInterfaceMovesByNameAndByIndex) {
  expect_done({"interface", "move", "fc1/1", "30"});
  expect_done({"interface", "move", "16781312", "30"});
  EXPECT_EQ("down", show({"show", "vsan", "10"})["vsans"][0]["oper"]);
  expect_done({"interface", "up", "fc1/3"});
  EXPECT_EQ("up", show({"show", "vsan", "10"})["vsans"][0]["oper"]);
  expect_done({"interface", "down", "fc1/3"});
  EXPECT_EQ("down", show({"show", "vsan", "10"})["vsans"][0]["oper"]);
}

TEST_F(Vsanctl, ADistributionSessionFromStartToEnd) {
  ASSERT_EQ(0, platform_set_run_dir(run_dir().c_str()));
  int enabled = -1;
  int mode = -1;
  EXPECT_EQ(0, is_kdx_enabled("fctimer", &enabled));
  EXPECT_EQ(0, enabled);
  expect_done({"kdx", "enable"});
  expect_done({"kdx", "show-running", "on"});
  EXPECT_EQ(0, is_kdx_enabled("fctimer", &enabled));
  EXPECT_EQ(0, get_kdx_show_run_mode("fctimer", &mode));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(1, mode);
  platform_page_close();
  expect_done({"timer", "set", "e_d_tov", "1500"});
  const json kdx = show({"show", "kdx"});
  EXPECT_EQ(true, kdx["session"]);
  EXPECT_EQ(json::parse(R"([{"vsan":"switch","timer":"e_d_tov","value":1500}])"), kdx["pending"]);
  EXPECT_EQ(json::parse(R"([{"vsan":900}])"), kdx["kept_out"]);
  EXPECT_EQ(2000, show({"show", "timers", "10"})["timers"][0]["e_d_tov"]);
  EXPECT_EQ(1500, show({"show", "timers", "10", "--pending"})["pending_timers"][0]["e_d_tov"]);
  expect_done({"kdx", "commit"});
  EXPECT_EQ(1500, show({"show", "timers", "10"})["timers"][0]["e_d_tov"]);
  expect_done({"kdx", "disable"});
}

TEST_F(Vsanctl, FaultsHitTheirOpcodeAndCountAndCanBeListedAndCleared) {
  expect_done({"fault", "status", "0x40190004", "--opcode", "149", "--count", "1"});
  expect_done({"fault", "short-answer", "8", "--service", "port-manager"});
  EXPECT_EQ(2U, show({"fault", "list"})["faults"].size());
  EXPECT_EQ(1, run({"show", "vsan"}).code);
  EXPECT_EQ(0, run({"show", "vsan"}).code);
  EXPECT_EQ(3, run({"show", "interface"}).code);
  expect_done({"fault", "clear"});
  EXPECT_EQ(0, run({"show", "interface"}).code);
  EXPECT_TRUE(show({"fault", "list"})["faults"].empty());
}

TEST_F(Vsanctl, WithoutASwitchItSaysSo) {
  kill(switchd, SIGTERM);
  EXPECT_EQ(0, wait_for_exit(switchd));
  switchd = -1;
  const program_result result = run({"show", "vsan"});
  EXPECT_EQ(3, result.code);
  EXPECT_NE(std::string::npos, result.err.find(run_dir())) << result.err;
}

TEST_F(Vsanctl, AHungManagerIsToldAfterTheTimeOut) {
  expect_done({"fault", "hang", "--opcode", "149"});
  const program_result result = run({"show", "vsan"});
  EXPECT_EQ(3, result.code);
  EXPECT_NE(std::string::npos, result.err.find("timed out")) << result.err;
}

TEST_F(Vsanctl, DeletesAVsanThatSomebodyElseMade) {
  expect_done({"vsan", "create", "50"});  // each command is a session of its own
  expect_done({"vsan", "delete", "50"});
  expect_refused({"vsan", "delete", "50"}, {"VSAN 50", "no such VSAN"});
}
