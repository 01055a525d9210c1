// Scenarios: what is played, when, and what is wrong with a file.
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "running_switch.h"

namespace {

using nlohmann::json;

struct Scenario : running_switch {
  std::string written(const std::string &text) const {
    std::ofstream(path("s.toml")) << text;
    return path("s.toml");
  }
  json status() const { return show({"show", "status"}); }
};

TEST_F(Scenario, PlaysFaultsChangesAndBurstsAndTakesThemBack) {
  const std::string file = written(
      "[[step]]\ndo = \"interface down fc1/8\"\nfor = 0.1\nundo = \"interface up fc1/8\"\ntimes = 3\nevery = 0.2\n"
      "[[step]]\nat = 0.1\ndo = [\"vsan\", \"set\", \"20\", \"--name\", \"renamed\"]\n"
      "[[step]]\nat = 0.2\ndo = \"fault hang --object vsanMtu --spare-vsanctl\"\nfor = 60\n");
  const program_result played = run({"scenario", file});
  EXPECT_EQ(played.code, 0) << played.err;
  EXPECT_EQ(std::count(played.out.begin(), played.out.end(), '\n'), 8);
  EXPECT_EQ(status()["notifications_raised"], 6);  // VSAN 100 went down and up three times
  EXPECT_EQ(show({"fault", "list"})["faults"].size(), 1U);
  EXPECT_NE(run({"show", "vsan", "20"}).out.find("renamed"), std::string::npos);
}

TEST_F(Scenario, ACheckPrintsThePlanAndDoesNothing) {
  const program_result planned =
      run({"scenario", "--check",
           written("[[step]]\nat = 2\ndo = \"vsan delete 20\"\n[[step]]\nat = 1\ndo = \"vsan delete 10\"\n")});
  EXPECT_EQ(planned.out, "    1.00 s  vsan delete 10\n    2.00 s  vsan delete 20\n");
  EXPECT_EQ(status()["vsans"], 6);
}

TEST_F(Scenario, AFailedCommandFailsIt) {
  const program_result played = run({"scenario", written("[[step]]\ndo = \"vsan delete 77\"\n")});
  EXPECT_EQ(played.code, 1);
  EXPECT_NE(played.err.find("1 of 1 commands failed"), std::string::npos) << played.err;
}

TEST_F(Scenario, EveryErrorOfAFileIsTold) {
  const program_result played =
      run({"scenario", written("[[step]]\nat = \"x\"\n[[step]]\ndo = \"interface down fc1/1\"\nfor = 3\n"
                               "[[step]]\ndo = \"show vsan\"\ntimes = 3\n[[step]]\nwhat = 1\n[[stop]]\n")});
  EXPECT_EQ(played.code, 2);
  for (const char *told :
       {"s.toml:2: at: seconds from 0", "s.toml:3: for: undo is missing", "s.toml:6: every is missing",
        "s.toml:10: what: unknown key", "s.toml:11: stop: only [[step]]"}) {
    EXPECT_NE(played.err.find(told), std::string::npos) << told << " in " << played.err;
  }
}

TEST_F(Scenario, WhatWasRefusedIsNotUndone) {
  const program_result played = run(
      {"scenario", written("[[step]]\ndo = \"vsan create 10 --name mine\"\nfor = 0.1\nundo = \"vsan delete 10\"\n")});
  EXPECT_EQ(played.code, 1);
  EXPECT_EQ(played.out.find("delete"), std::string::npos) << played.out;
  EXPECT_EQ(run({"show", "vsan", "10"}).code, 0);
}

TEST_F(Scenario, ACommandThatWouldNotEndIsRefused) {
  for (const char *command : {"history --follow", "history -f", "history -fn3"}) {
    const program_result refused =
        run({"scenario", "--check", written(std::string("[[step]]\ndo = \"") + command + "\"\n")});
    EXPECT_EQ(refused.code, 2) << command;
    EXPECT_NE(refused.err.find("does not end"), std::string::npos) << refused.err;
  }
  const program_result played = run({"scenario", written("[[step]]\ndo = \"import -\"\n")});
  EXPECT_EQ(played.code, 1);
  EXPECT_NE(played.err.find("there is nothing in it"), std::string::npos) << played.err;
}

TEST_F(Scenario, OneThatIsBrokenOffUndoesWhatItDid) {
  const std::string file =
      written("[[step]]\ndo = \"interface down fc1/8\"\nfor = 60\nundo = \"interface up fc1/8\"\n");
  std::string printed;
  const pid_t played = start_program(VSANCTL, {"--run-dir", directory.path + "/run", "scenario", file},
                                     directory.path + "/scenario.err", &printed);
  usleep(300'000);
  kill(played, SIGINT);
  EXPECT_EQ(wait_for_exit(played), 1);
  EXPECT_EQ(status()["notifications_raised"], 2);
  EXPECT_EQ(show({"show", "vsan", "100"})["vsans"][0]["oper"], "up");
}

TEST_F(Scenario, OneThatIsBrokenOffUndoesNothingThatItDidNotDo) {
  ASSERT_EQ(run({"vsan", "set", "20", "--state", "suspended"}).code, 0);
  const std::string file = written(
      "[[step]]\ndo = \"show vsan\"\n[[step]]\nat = 30\ndo = \"vsan set 20 --state suspended\"\nfor = 5\n"
      "undo = \"vsan set 20 --state active\"\n");
  std::string printed;
  const pid_t played =
      start_program(VSANCTL, {"--run-dir", run_dir(), "scenario", file}, path("scenario.err"), &printed);
  usleep(300'000);
  kill(played, SIGINT);
  EXPECT_EQ(wait_for_exit(played), 1);
  EXPECT_EQ(show({"show", "vsan", "20"})["vsans"][0]["admin"], "suspended");
}

TEST_F(Scenario, FilesThatAreNoneAndCommandsThatAreNoneAreTold) {
  EXPECT_NE(run({"scenario", "--check", directory.path}).err.find("Is a directory"), std::string::npos);
  EXPECT_NE(run({"scenario", "--check", "/dev/null"}).err.find("there is no [[step]] in it"), std::string::npos);
  EXPECT_NE(run({"scenario", "--check", written("[[step]]\ndo = \"frobnicate x\"\n")})
                .err.find("\"frobnicate\" is no command"),
            std::string::npos);
  EXPECT_EQ(run({"scenario", "--check", written("[[step]]\ndo = [\"vsan\", 20]\n")}).code, 2);
}

TEST_F(Scenario, TheExampleIsSound) {
  const program_result planned = run({"scenario", "--check", EXAMPLES "/scenarios/bad-evening.toml"});
  EXPECT_EQ(planned.code, 0) << planned.err;
  EXPECT_NE(planned.out.find("fault hang"), std::string::npos);
}

}  // namespace
