// What is made of a description, and what supervisors and agents say.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "agent_probe.h"
#include "child_process.h"
#include "service_files.h"
#include "supervisor.h"

namespace {

fleet_switch named(const std::string &name) {
  fleet_switch each;
  each.name = name;
  each.wwn = 0x200002f100000009;
  return each;
}

TEST(FleetFiles, ATopologyGetsTheSwitchsNames) {
  std::string text, problem;
  ASSERT_EQ(switch_topology("[switch]\nname = \"base\"\nswitch_latency = 7\n[[vsan]]\nid = 5\n", "t.toml",
                            named("edge-9"), text, problem),
            0);
  for (const char *line : {"name = 'edge-9'", "wwn = '20:00:02:f1:00:00:00:09'", "switch_latency = 7", "id = 5"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
  }
  EXPECT_EQ(text.find("base"), std::string::npos);
}

TEST(FleetFiles, ATopologyThatIsNoneIsNamed) {
  std::string text, problem;
  EXPECT_EQ(switch_topology("a = 1\nb =\n", "t.toml", named("a"), text, problem), -1);
  EXPECT_EQ(problem.substr(0, 9), "t.toml:2:");
  EXPECT_EQ(switch_topology("switch = 1\n", "t.toml", named("a"), text, problem), -1);
  EXPECT_EQ(problem, "t.toml: switch: a [table] is wanted");
}

struct FleetFolder : testing::Test {
  std::string folder = std::filesystem::temp_directory_path().string() + "/fleet-files-" + std::to_string(getpid());
  fleet_description fleet;
  std::string problem;
  void SetUp() override {
    fleet.directory = folder + "/fleet";
    fleet.fabric = "lab";
    fleet.fabric_endpoints = "http://h:1";
    fleet.lines = {"trap2sink 127.0.0.1 public"};
    fleet_switch each = named("a");
    each.listen = "127.1.0.1";
    each.port = 1161;
    each.topology = folder + "/base.toml";
    fleet.switches = {each};
    std::filesystem::create_directories(folder);
    std::ofstream(each.topology) << "[switch]\n";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }
  std::string text(const std::string &name) const {
    std::ifstream in(fleet.directory + name);
    return {std::istreambuf_iterator<char>(in), {}};
  }
};

TEST_F(FleetFolder, HasWhatTheProcessesAreStartedWith) {
  ASSERT_EQ(write_fleet_files(fleet, {"/bin/switchd", "/bin/vsanctl", "/lib/v"}, problem), 0) << problem;
  EXPECT_NE(text("/services/a.switchd/run").find(" --fabric lab --fabric-endpoints http://h:1\n"), std::string::npos);
  EXPECT_NE(text("/services/a.agent/run").find(" udp:127.1.0.1:1161\n"), std::string::npos);
  EXPECT_NE(text("/agent.conf").find("dlmod vsan_mib /lib/v/libvsanmib.so\n"), std::string::npos);
  EXPECT_NE(text("/agent.conf").find("trap2sink 127.0.0.1 public\n"), std::string::npos);
  EXPECT_EQ(text("/agent.conf").find("rwcommunity"), std::string::npos);
  EXPECT_NE(text("/switches/a/agent.conf").find("exactEngineID 0x80007ed905200002f100000009\n"), std::string::npos);
  std::ofstream(fleet.directory + "/mine") << "kept";
  EXPECT_EQ(remove_fleet_files(fleet, problem), 0) << problem;
  EXPECT_EQ(text("/mine"), "kept");
  EXPECT_FALSE(std::filesystem::exists(fleet.directory + "/switches"));
}

TEST_F(FleetFolder, NeedsTheTopology) {
  std::filesystem::remove(fleet.switches[0].topology);
  EXPECT_EQ(write_fleet_files(fleet, {"/bin/switchd", "/bin/vsanctl", "/lib/v"}, problem), -1);
  EXPECT_EQ(problem, "topology " + fleet.switches[0].topology + ": No such file or directory");
}

TEST_F(FleetFolder, ThatCannotBeMadeIsNamed) {
  std::ofstream(fleet.directory) << "a file";
  EXPECT_EQ(write_fleet_files(fleet, {"/bin/switchd", "/bin/vsanctl", "/lib/v"}, problem), -1);
  EXPECT_EQ(problem.substr(0, fleet.directory.size()), fleet.directory);
}

TEST(Supervisors, UnitsAreNamedByPath) {
  EXPECT_EQ(unit_path("/srv/fleet-1/services/a_b.switchd"), "srv-fleet\\x2d1-services-a_b.switchd");
  EXPECT_EQ(unit_path("/.hidden//"), "\\x2ehidden");
}

struct told_state {
  const char *status;
  const char *deaths;
  const char *word;
  uint32_t seconds;
  uint32_t restarts;
};

TEST(Supervisors, OfS6SayHowAServiceIs) {
  for (const told_state &each :
       {told_state{"true true true 62\n", "", "up", 62, 0},
        told_state{"true false true 2\n", "@1 signal SIGKILL\n", "starting", 2, 1},
        told_state{"false false true 1\n", "@1 exit 1\n@2 exit 1\n", "starting", 0, 2},
        told_state{"false false false 9\n", "@1 exit 2\n", "failed", 0, 1},
        told_state{"false false false 9\n", "", "down", 0, 0}, told_state{"", "", "down", 0, 0}}) {
    const service_state state = state_of_s6(each.status, each.deaths);
    EXPECT_EQ(state.word, each.word) << each.status;
    EXPECT_EQ(state.seconds, each.seconds) << each.status;
    EXPECT_EQ(state.restarts, each.restarts) << each.status;
  }
}

TEST(Supervisors, OfSystemdSayHowAUnitIs) {
  const service_state up = state_of_properties(
      "NRestarts=2\nActiveEnterTimestampMonotonic=5000000\nActiveState=active\nSubState=running\n", 65'500'000);
  EXPECT_EQ(up.word, "up");
  EXPECT_EQ(up.seconds, 60U);
  EXPECT_EQ(up.restarts, 2U);
  EXPECT_EQ(state_of_properties("ActiveState=activating\nSubState=auto-restart\n", 1).word, "starting");
  EXPECT_EQ(state_of_properties("ActiveState=failed\n", 1).word, "failed");
  EXPECT_EQ(state_of_properties("", 1).word, "down");
}

TEST(Children, SayHowTheyEnded) {
  const child_result said = run_child({"/bin/sh", "-c", "echo out; echo err >&2; exit 3"});
  EXPECT_EQ(said.code, 3);
  EXPECT_EQ(said.out, "out\n");
  EXPECT_EQ(said.err, "err\n");
  EXPECT_EQ(run_child({"/bin/sh", "-c", "kill -9 $$"}).code, 128 + 9);
  const child_result none = run_child({"/nowhere/program"});
  EXPECT_EQ(none.code, -1);
  EXPECT_EQ(none.err, "/nowhere/program: No such file or directory");
}

TEST(Children, AreManyAtOnce) {
  std::vector<int> codes(40);
  for_each_at_once(codes.size(), 8, [&](size_t i) {
    codes[i] = run_child({"/bin/sh", "-c", "exit " + std::to_string(i)}).code;
  });
  for (size_t i = 0; i < codes.size(); ++i) {
    EXPECT_EQ(codes[i], static_cast<int>(i));
  }
}

TEST(AgentProbe, AsksForTheTimeSinceTheStart) {
  const std::string request = uptime_request("public");
  EXPECT_EQ(request.size(), 40U);
  EXPECT_EQ(request.substr(0, 13), std::string("\x30\x26\x02\x01\x01\x04\x06public", 13));
}

TEST(AgentProbe, GivesUp) {
  EXPECT_FALSE(agent_answers("127.0.0.1", 9, "public", 1));
}

}  // namespace
