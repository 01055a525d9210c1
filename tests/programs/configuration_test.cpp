// The configuration of the whole switch as a file: out of the switch, into it, and what is wrong with it.
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "running_switch.h"

namespace {

using nlohmann::json;

struct Configuration : running_switch {
  std::string exported() const {
    const program_result result = run({"export"});
    EXPECT_EQ(result.code, 0) << result.err;
    return result.out;
  }
  std::string written(const std::string &text) const {
    const std::string file = path("import.toml");
    std::ofstream(file) << text;
    return file;
  }
  std::string everything_shown() const {
    std::string all;
    for (const char *each : {"vsan", "interface", "membership", "timers", "kdx", "switch"}) {
      json shown = show({"show", each});
      shown.erase("table_changed");
      all += shown.dump();
    }
    return all;
  }
};

TEST_F(Configuration, ComesBackFromItsFileExactly) {
  for (const std::vector<std::string> &change : std::vector<std::vector<std::string>>{
           {"vsan", "create", "77", "--name", "t\xC3\xA9st\"\\'", "--state", "suspended", "--interop", "3"},
           {"vsan", "set", "20", "--load-balancing", "src-dst", "--inorder", "off", "--drop-latency", "17"},
           {"timer", "set", "e_d_tov", "1234", "--vsan", "77"},
           {"timer", "set", "r_a_tov", "7777", "--vsan", "10", "--force"},
           {"interface", "create", "x/1", "--index", "5", "--vsan", "77", "--down"},
           {"switch", "set", "--name", "my \"switch\"", "--inorder", "on", "--switch-latency", "9"},
           {"kdx", "keep-out", "77"},
           {"kdx", "show-running", "on"},
           {"kdx", "enable"}}) {
    const program_result result = run(change);
    ASSERT_EQ(result.code, 0) << result.err;
  }
  const std::string file = exported();
  const std::string shown = everything_shown();
  EXPECT_EQ(run({"import", "--check", written(file)}).out, "would change: nothing\n");
  ASSERT_EQ(run({"reset", "--yes"}).code, 0);
  EXPECT_NE(everything_shown(), shown);
  const program_result imported = run({"import", written(file)});
  EXPECT_EQ(imported.code, 0) << imported.err;
  EXPECT_EQ(everything_shown(), shown);
  EXPECT_EQ(exported(), file);
  stop();
  start();
  EXPECT_EQ(everything_shown(), shown) << "after a restart";
}

TEST_F(Configuration, OfThousandsOfVsansTravelsWhole) {
  std::string text;
  for (int vsan = 2; vsan <= 4094; ++vsan) {
    text += "[[vsan]]\nid = " + std::to_string(vsan) + "\ntimers = { e_d_tov = 1500 }\n";
  }
  const program_result imported = run({"import", written(text)});
  EXPECT_EQ(imported.code, 0) << imported.err;
  const std::string file = exported();
  EXPECT_GT(file.size(), 500'000U);
  EXPECT_EQ(run({"import", "--check", written(file)}).out, "would change: nothing\n");
}

TEST_F(Configuration, TellsEveryErrorOfAFileAndAppliesNothing) {
  const std::string before = everything_shown();
  const std::string file = written(
      "[switch]\nnam = \"x\"\n[[vsan]]\nid = 7\nmtu = 9\nstate = \"up\"\n"
      "[[interface]]\nname = \"a\"\nindex = 1\nvsan = 99\n");
  for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
           {"import", file}, {"import", "--check", file}, {"topology", "check", file}}) {
    const program_result result = run(command);
    EXPECT_EQ(result.code, 1);
    for (const char *told : {":2: switch.nam: unknown key", ":5: vsan.mtu: ", "256 to 2112", ":6: vsan.state: ",
                             "\"active\" or \"suspended\"", ":10: interface.vsan: there is no VSAN 99"}) {
      EXPECT_NE(result.err.find(file + std::string(told[0] == ':' ? told : "")), std::string::npos);
      EXPECT_NE(result.err.find(told), std::string::npos) << told << " in " << result.err;
    }
  }
  EXPECT_EQ(everything_shown(), before);
  const program_result without_a_switch = run_program(SWITCHD, {"--check", "--topology", file});
  EXPECT_EQ(without_a_switch.code, 3);
  EXPECT_NE(without_a_switch.err.find(":10: interface.vsan"), std::string::npos);
}

TEST_F(Configuration, FilesThatAreNoneAreNamed) {
  EXPECT_NE(run({"import", path("none.toml")}).err.find("none.toml: No such file"), std::string::npos);
  EXPECT_NE(run({"import", directory.path}).err.find(directory.path + ": Is a directory"), std::string::npos);
  EXPECT_NE(run({"import", written("a = \"\xFF\"\n")}).err.find("import.toml: it is no UTF-8 text"), std::string::npos);
  EXPECT_EQ(run_program(SWITCHD, {"--check", "--topology", "."}).err, "topology file .: Is a directory\n");
  EXPECT_EQ(run_program(SWITCHD, {"--check", "--topology", TOPOLOGIES "/small-fabric.toml"}).code, 0);
}

TEST_F(Configuration, OfAFileWhoseNameIsNoTextIsImported) {
  const std::string file = path("n\xFF.toml");
  std::ofstream(file) << run({"export"}).out;
  const program_result checked = run({"import", "--check", file});
  EXPECT_EQ(checked.code, 0) << checked.err;
  std::ofstream(file) << "[switch]\nnmae = 1\n";
  const program_result refused = run({"import", "--json", file});
  EXPECT_EQ(refused.code, 1) << refused.err;
  EXPECT_NE(refused.err.find("n\xEF\xBF\xBD.toml:2"), std::string::npos) << refused.err;
}

TEST_F(Configuration, OfNothingIsNotImported) {
  const std::string before = everything_shown();
  for (const char *text : {"", "\n", "# a comment\n  \t# another\r\n"}) {
    const program_result refused = run({"import", written(text)});
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.err.find("import.toml: there is nothing in it; \"vsanctl reset\""), std::string::npos)
        << refused.err;
  }
  EXPECT_EQ(everything_shown(), before);
}

TEST_F(Configuration, EveryErrorOfARowIsTold) {
  const program_result refused =
      run({"import", written("[[vsan]]\nid = 50\nname = \"a b\"\nmtu = 1\n[[vsan]]\nid = 50\nname = \"c\"\n"
                             "[[interface]]\nindex = 7\nname = \"x\"\nvsan = 50\n"
                             "[[interface]]\nindex = 7\nname = \"x\"\nvsan = 51\n")});
  for (const char *told : {":3: vsan.name: ", ":4: vsan.mtu: ", ":6: vsan.id: VSAN 50 is there twice",
                           ":13: interface.index: 7 is there twice", ":14: interface.name: \"x\" is there twice",
                           ":15: interface.vsan: there is no VSAN 51"}) {
    EXPECT_NE(refused.err.find(told), std::string::npos) << told << " in " << refused.err;
  }
  EXPECT_EQ(std::ranges::count(refused.err, '\n'), 6) << refused.err;
}

TEST_F(Configuration, ErrorsOfAnySizeAreTold) {
  EXPECT_NE(run({"import", written(std::string(200'000, 'k') + " = 1\n")}).err.find("unknown section"),
            std::string::npos);
  std::string many;
  for (int i = 0; i < 60; ++i) {
    many += std::string(3000, 'k') + std::to_string(i) + " = 1\n";
  }
  EXPECT_NE(run({"import", written(many)}).err.find("10 problems more"), std::string::npos);
  EXPECT_NE(run({"import", written(std::string(200'000, '\x01'))}).err.find("import.toml:1: "), std::string::npos);
  EXPECT_NE(run({"import", "/dev/zero"}).err.find("/dev/zero: more than 16777216 bytes"), std::string::npos);
}

TEST_F(Configuration, IsNotImportedIntoAnOpenSession) {
  ASSERT_EQ(run({"kdx", "enable"}).code, 0);
  ASSERT_EQ(run({"timer", "set", "e_d_tov", "1500"}).code, 0);
  const std::string before = everything_shown();
  EXPECT_NE(run({"import", "--check", TOPOLOGIES "/small-fabric.toml"}).out.find("not now"), std::string::npos);
  const program_result result = run({"import", TOPOLOGIES "/small-fabric.toml"});
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("commit or abort it first"), std::string::npos) << result.err;
  EXPECT_EQ(everything_shown(), before);
}

TEST_F(Configuration, ThatAnEditedTopologyFileHasIsNotAppliedAndThatIsTold) {
  stop();
  const std::string edited = written("[switch]\nname = \"other\"\n");
  const timespec later[] = {{time(nullptr) + 5, 0}, {time(nullptr) + 5, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, edited.c_str(), later, 0), 0);
  start(edited);
  const std::string lines = file_text(path("stderr"));
  EXPECT_NE(lines.find("warning " + edited + " is not applied"), std::string::npos) << lines;
  EXPECT_NE(lines.find("vsanctl import --check " + edited), std::string::npos) << lines;
}

TEST_F(Configuration, OfASwitchThatWasChangedSinceIsNoWarning) {
  ASSERT_EQ(run({"vsan", "create", "77"}).code, 0);
  stop();
  start();
  const std::string lines = file_text(path("stderr"));
  const size_t at = lines.find("which was changed since, in 1 VSAN");
  ASSERT_NE(at, std::string::npos) << lines;
  const size_t begin = lines.rfind('\n', at) + 1;
  EXPECT_EQ(lines.substr(begin, at - begin).find("warning"), std::string::npos) << lines;
}

TEST_F(Configuration, ASwapOfNamesIsOneChange) {
  std::string file = exported();
  const auto swap_words = [&file](const std::string &a, const std::string &b) {
    const size_t at_a = file.find("\"" + a + "\"");
    const size_t at_b = file.find("\"" + b + "\"");
    file.replace(std::max(at_a, at_b), (at_a > at_b ? a : b).size() + 2, "\"" + (at_a > at_b ? b : a) + "\"");
    file.replace(std::min(at_a, at_b), (at_a < at_b ? a : b).size() + 2, "\"" + (at_a < at_b ? b : a) + "\"");
  };
  swap_words("production-a", "backup");
  swap_words("fc1/1", "fc1/2");
  const program_result result = run({"import", written(file)});
  EXPECT_EQ(result.out, "changed: 2 VSANs, 2 interfaces\n") << result.err;
  EXPECT_EQ(exported(), file);
  stop();
  start();
  EXPECT_EQ(exported(), file) << "after a restart";
}

}  // namespace
