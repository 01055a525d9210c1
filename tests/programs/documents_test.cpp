// What is written about vsanctl is what it does: the schema of its JSON, its man page, the completion scripts.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "platform/sdwrap.h"
#include "running_switch.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

struct Documents : running_switch {
  void expect_schema(const std::string &name, const std::string &text) const {
    const std::string file = directory.path + "/document.json";
    std::ofstream(file) << text;
    const program_result result = run_program("/usr/bin/python3", {SOURCE "/tests/programs/matches_schema.py",
                                                                   SOURCE "/docs/vsanctl.schema.json", name, file});
    EXPECT_EQ(result.code, 0) << name << ": " << result.err << text;
  }
};

std::vector<std::string> split(const std::string &text, char at) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, at);) {
    parts.push_back(part);
  }
  return parts;
}

std::string read_text(const std::string &file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST_F(Documents, TheSchemaIsWhatIsPrinted) {
  for (const std::vector<std::string> &command :
       std::vector<std::vector<std::string>>{{"interface", "move", "fc1/1", "30"},
                                             {"kdx", "enable"},
                                             {"timer", "set", "e_d_tov", "1500"},
                                             {"fault", "delay", "1", "--object", "vsanName", "--for", "60"},
                                             {"fault", "drop", "--count", "3", "--opcode", "1"}}) {
    ASSERT_EQ(run(command).code, 0);
  }
  for (const char *command :
       {"show vsan", "show interface", "show membership", "show timers", "show timers --pending", "show switch",
        "show kdx", "show fabric", "show errors", "show notifications", "show levels", "show status", "fault list"}) {
    std::vector<std::string> words = split(command, ' ');
    words.emplace_back("--json");
    expect_schema(command, run(words).out);
  }
  ASSERT_EQ(run({"kdx", "abort"}).code, 0);
  std::ofstream(path("s.toml")) << "[[step]]\ndo = \"vsan delete 30\"\n";
  expect_schema("scenario", run({"scenario", "--json", "--check", path("s.toml")}).out);
  expect_schema("scenario", run({"scenario", "--json", path("s.toml")}).out);
  expect_schema("import", run({"--json", "import", "--check", TOPOLOGIES "/small-fabric.toml"}).out);
  expect_schema("error", run({"--json", "vsan", "set", "77", "--mtu", "2000"}).err);
  expect_schema("export", run({"--json", "export"}).out);
}

// Lines that start with `mark`, without it.
std::string lines_with(const std::string &text, const std::string &mark) {
  std::string lines;
  for (const std::string &line : split(text, '\n')) {
    if (line.starts_with(mark)) {
      lines += line.substr(mark.size()) + "\n";
    }
  }
  return lines;
}

std::string words_of(const std::vector<std::string> &command) {
  std::string text;
  for (const std::string &word : command) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// Every command that completion knows, as its words.
void collect_commands(const std::vector<std::string> &words, std::vector<std::vector<std::string>> &commands) {
  commands.push_back(words);
  std::vector<std::string> arguments{"--complete"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  arguments.emplace_back("");
  for (const std::string &word : split(run_program(VSANCTL, arguments).out, '\n')) {
    std::vector<std::string> longer = words;
    longer.push_back(word);
    // What completes to itself again is a value, and no command.
    const program_result help = run_program(VSANCTL, [&] {
      std::vector<std::string> line = longer;
      line.emplace_back("--help");
      return line;
    }());
    if (longer.size() <= 2 && help.out.find("Usage: vsanctl " + longer[0] +
                                            (longer.size() > 1 ? " " + longer[1] : "")) != std::string::npos) {
      collect_commands(longer, commands);
    }
  }
}

// Those that are no group of others.
std::vector<std::string> single_commands(const std::vector<std::vector<std::string>> &commands) {
  std::vector<std::string> single;
  for (const std::vector<std::string> &each : commands) {
    const bool is_group = std::ranges::any_of(
        commands, [&](const auto &other) { return words_of(other).starts_with(words_of(each) + " "); });
    if (!is_group && !each.empty()) {
      single.push_back(words_of(each));
    }
  }
  return single;
}

struct ExamplesWork : Documents {
  // Types the lines on a new switch, as an operator would in a folder of files.
  void expect_work(const std::string &examples) const {
    const std::string bin = std::string(VSANCTL).substr(0, std::string(VSANCTL).rfind('/'));
    std::ofstream(path("evening.toml")) << "[[step]]\ndo = \"show vsan\"\n";
    std::string script = "set -e; cd " + directory.path + "; vsanctl reset --yes; vsanctl export >switch.toml\n";
    for (const std::string &line : split(examples, '\n')) {
      // A session to be ended; and a reader that goes on until it is stopped.
      script +=
          line == "kdx commit" || line == "kdx abort" || line == "kdx resume" ? "vsanctl timer set e_d_tov 1500\n" : "";
      script += line.find("--follow") != std::string::npos ? "timeout 1 vsanctl " + line + " || [ $? = 124 ]\n"
                                                           : "vsanctl " + line + "\n";
    }
    const program_result result = run_program(
        "/usr/bin/env", {"SWITCHD_RUN_DIR=" + run_dir(), "PATH=" + bin + ":/usr/bin:/bin", "/bin/bash", "-c", script});
    EXPECT_EQ(result.code, 0) << result.err << script;
  }
};

TEST_F(ExamplesWork, OfTheManPageAndOfTheHelp) {
  for (const std::string &examples : {lines_with(read_text(SOURCE "/docs/man/vsanctl.1"), ".Dl vsanctl "),
                                      lines_with(run({"--help"}).out, "  vsanctl ")}) {
    EXPECT_GE(std::ranges::count(examples, '\n'), 6) << examples;
    expect_work(examples);
  }
}

TEST_F(ExamplesWork, OfTheHelpOfEachCommand) {
  std::vector<std::vector<std::string>> commands;
  collect_commands({}, commands);
  for (const std::string &command : single_commands(commands)) {
    std::vector<std::string> words = split(command, ' ');
    words.emplace_back("--help");
    const std::string examples = lines_with(run(words).out, "  vsanctl ");
    EXPECT_TRUE(examples.starts_with(command)) << command << " has no example of its own, but " << examples;
  }
  // Those of a group, one after the other.
  for (const std::string &group : split(run_program(VSANCTL, {"--complete", ""}).out, '\n')) {
    if (group != "fabric") {  // needs one: see the tests of a fabric
      expect_work(lines_with(run({group, "--help"}).out, "  vsanctl "));
    }
  }
}

void expect_described(const std::string &titles, const std::string &command) {
  const size_t blank = command.find(' ');
  const std::string first = command.substr(0, blank);
  const std::string second = blank == std::string::npos ? "" : command.substr(blank + 1);
  // "kdx enable | disable" has two.
  const std::regex title("(^|\n)" + first + (second.empty() ? "" : " (\\w+ \\| )?" + second) + "(?![\\w-])");
  EXPECT_TRUE(std::regex_search(titles, title)) << command;
}

TEST_F(Documents, TheManPageHasEveryCommandAndOption) {
  const std::string page = read_text(SOURCE "/docs/man/vsanctl.1");
  std::vector<std::vector<std::string>> commands;
  collect_commands({}, commands);
  EXPECT_GT(commands.size(), 40U);
  for (const std::string &command : single_commands(commands)) {
    expect_described(lines_with(page, ".It Cm "), command);
  }
  for (const std::vector<std::string> &words : commands) {
    std::vector<std::string> arguments{"--complete"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    arguments.emplace_back("--");
    for (const std::string &option : split(run_program(VSANCTL, arguments).out, '\n')) {
      const std::string name = option.substr(2);
      EXPECT_TRUE(page.find("Fl -" + name) != std::string::npos || page.find(", -" + name) != std::string::npos)
          << option;
    }
  }
}

struct History : Documents {
  // As the agent's module does.
  void write_event(const std::string &text) const {
    struct {
      uint32_t level = 101;
      char text[64] = {};
    } record;
    text.copy(record.text, sizeof record.text - 1);
    ASSERT_EQ(sdwrap_hist_event(7, static_cast<int>(sizeof record.level + text.size() + 1), &record), 0);
  }
  void SetUp() override {
    running_switch::SetUp();
    ASSERT_EQ(platform_set_run_dir(run_dir().c_str()), 0);
    write_event("first");
  }
  void TearDown() override {
    platform_page_close();
    running_switch::TearDown();
  }
};

TEST_F(History, ThatIsLostOnItsWayIsAnError) {
  const program_result result = run_program(
      "/usr/bin/timeout",
      {"20", "/bin/sh", "-c", "exec " VSANCTL " --json --run-dir " + run_dir() + " history --follow >/dev/full"});
  EXPECT_EQ(result.code, 4);
  expect_schema("error", result.err);
}

TEST_F(History, InWordsCountsAndFiltersWhatIsShown) {
  write_event("set_vsanName(3) : In the RESERVE1 phase");
  write_event("found the entry for vsan 20 in the cache");
  write_event("says nothing to an operator");
  const std::string last = run({"history", "--explain", "-n", "1"}).out;
  EXPECT_NE(last.find("VSAN 20 is known from this request already"), std::string::npos) << last;
  EXPECT_EQ(std::ranges::count(last, '\n'), 1) << last;
  EXPECT_NE(run({"history", "--explain", "--text", "checks the value"}).out.find("set to vsanName"), std::string::npos);
  EXPECT_EQ(run({"history", "--explain", "--text", "RESERVE1"}).out, "");
  EXPECT_NE(run({"history", "--text", "RESERVE1"}).out.find("RESERVE1 phase"), std::string::npos);
}

TEST_F(History, ThatIsOverwrittenBeforeItIsReadIsWarnedOf) {
  std::string printed;
  const pid_t reader =
      start_program(VSANCTL, {"--json", "--run-dir", run_dir(), "history", "--follow"}, path("warning"), &printed);
  ASSERT_EQ(kill(reader, SIGSTOP), 0);
  for (int i = 0; i < 20000; ++i) {
    write_event("event " + std::to_string(i));
  }
  ASSERT_EQ(kill(reader, SIGCONT), 0);
  std::string warning;
  for (int i = 0; i < 200 && warning.empty(); ++i) {
    usleep(50'000);
    warning = file_text(path("warning"));
  }
  kill(reader, SIGKILL);
  wait_for_exit(reader);
  expect_schema("warning", warning);
  EXPECT_NE(warning.find("events were lost"), std::string::npos);
}

TEST(ManPages, AreSoundForTheirFormatter) {
  for (const char *page :
       {"vsanctl.1", "vsanfleet.1", "vsanfleet.toml.5", "switchd.8", "switchd.toml.5", "vsanmib.conf.5"}) {
    const program_result result =
        run_program("/usr/bin/mandoc", {"-T", "lint", "-W", "warning", std::string(SOURCE "/docs/man/") + page});
    EXPECT_EQ(result.code, 0) << result.out << result.err;
  }
}

TEST_F(Documents, TheManPageOfTheTopologyFileHasEveryKeyAndItsExampleIsSound) {
  const std::string page = read_text(SOURCE "/docs/man/switchd.toml.5");
  const std::string described = lines_with(page, ".It Li ");
  // A switch that is exported has every key.
  const std::string exported = run({"export"}).out;
  std::set<std::string> keys;
  const std::regex key("(?:^|\n|\\{ ?|, )(\\w+) = ");
  for (std::sregex_iterator at(exported.begin(), exported.end(), key); at != std::sregex_iterator(); ++at) {
    keys.insert((*at)[1]);
  }
  EXPECT_GT(keys.size(), 20U) << exported;
  for (const std::string &each : keys) {
    EXPECT_TRUE(std::regex_search(described, std::regex("\\b" + each + "\\b"))) << each;
  }
  const size_t start = page.rfind("[switch]\n");
  std::ofstream(directory.path + "/e.toml") << page.substr(start, page.find(".Ed", start) - start);
  const program_result result = run_program(SWITCHD, {"--check", "--topology", directory.path + "/e.toml"});
  EXPECT_EQ(result.code, 0) << result.err;
}

struct completed_line {
  const char *typed;  // behind "vsanctl "
  std::vector<std::string> words;
};

struct Completion : running_switch, testing::WithParamInterface<const char *> {};

TEST_P(Completion, InAShellGivesTheWordsThatFit) {
  for (const char *name : {"a b", "x*y", "q\"q"}) {
    ASSERT_EQ(run({"interface", "create", name, "--index", std::to_string(900 + name[0])}).code, 0);
  }
  std::ofstream(path("switch.toml")) << "";
  const std::string quoted = "--run-dir \"" + run_dir() + "\" show vsan 9";
  const completed_line lines[] = {
      {"vsan set 20 --state a", {"vsan", "set", "20", "--state", "active"}},
      {"vsan set 20 --state \"a", {"vsan", "set", "20", "--state", "active"}},
      {"vsan set 20 --state 'a", {"vsan", "set", "20", "--state", "active"}},
      {"vsan set 20 --state=a", {"vsan", "set", "20", "--state=active"}},
      {"vsan delete 9", {"vsan", "delete", "900"}},
      {"vsan create 9", {"vsan", "create", "9"}},
      {"interface delete a", {"interface", "delete", "a b"}},
      {"interface delete \"a", {"interface", "delete", "a b"}},
      {"interface delete x", {"interface", "delete", "x*y"}},
      {"interface delete q", {"interface", "delete", "q\"q"}},
      {"import sw", {"import", "switch.toml"}},
      {"import --ch", {"import", "--check"}},
      {"history --pa", {"history", "--page"}},
      {"show errors --page sw", {"show", "errors", "--page", "switch.toml"}},
      {"--run-dir ~/run show vsan 9", {"--run-dir", run_dir(), "show", "vsan", "900"}},
      {quoted.c_str(), {"--run-dir", run_dir(), "show", "vsan", "900"}},
  };
  const std::string bin = std::string(VSANCTL).substr(0, std::string(VSANCTL).rfind('/'));
  std::vector<std::string> command = {"-C",
                                      directory.path,
                                      "HOME=" + directory.path,
                                      "SWITCHD_RUN_DIR=" + run_dir(),
                                      "PATH=" + bin + ":/usr/bin:/bin",
                                      "/usr/bin/python3",
                                      SOURCE "/tests/programs/press_tab.py",
                                      GetParam()};
  for (const completed_line &line : lines) {
    command.push_back(std::string("vsanctl ") + line.typed);
  }
  const program_result result = run_program("/usr/bin/env", command);
  ASSERT_EQ(result.code, 0) << result.err;
  std::istringstream out(result.out);
  for (const completed_line &line : lines) {
    std::string words;
    std::getline(out, words);
    EXPECT_EQ(nlohmann::json::parse(words, nullptr, false), nlohmann::json(line.words)) << line.typed;
  }
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh"));

TEST_F(Documents, CompletionAsksTheSwitchThatTheLineIsAbout) {
  const auto offered = [](std::vector<std::string> words) {
    words.insert(words.begin(), "--complete");
    return run_program(VSANCTL, words);
  };
  for (const std::vector<std::string> &run_dir_words : std::vector<std::vector<std::string>>{
           {"--run-dir", run_dir()}, {"--run-dir", "=", run_dir()}, {"--run-dir=" + run_dir()}}) {
    std::vector<std::string> words = run_dir_words;
    words.insert(words.end(), {"show", "vsan", "1"});
    EXPECT_EQ(offered(words).out, "1\n10\n100\n");
  }
  EXPECT_EQ(offered({"--run-dir", run_dir(), "vsan", "create", ""}).out, "");
  EXPECT_EQ(offered({"--run-dir", path("none"), "vsan", "delete", ""}).code, 3);
  ASSERT_EQ(run({"fault", "hang", "--opcode", "149"}).code, 0);
  const program_result hung = offered({"--run-dir", run_dir(), "vsan", "delete", ""});
  EXPECT_EQ(hung.code, 3);
  EXPECT_EQ(hung.err, "");
}

// The lines of every block of a guide, in order.
std::string commands_of(const std::string &guide) {
  const std::string text = read_text(guide);
  std::string commands;
  for (size_t at = text.find("\n```\n"); at != std::string::npos; at = text.find("\n```\n", at)) {
    const size_t end = text.find("\n```\n", at + 5);
    commands += text.substr(at + 5, end - at - 4);
    at = end + 5;
  }
  return commands;
}

TEST(Guides, OfTestersDoesWhatItSays) {
  const temporary_directory directory;
  const std::string bin = std::string(VSANCTL).substr(0, std::string(VSANCTL).rfind('/'));
  std::string commands = commands_of(SOURCE "/docs/testing-an-nms.md");
  for (size_t at = 0; (at = commands.find("/tmp/", at)) != std::string::npos;) {
    commands.replace(at, 5, directory.path + "/");
    at += directory.path.size();
  }
  const std::string script = "set -e\ntrap 'kill %1; wait' EXIT\nPATH=" + bin + ":$PATH\ncd " SOURCE "\n" + commands;
  std::ofstream(directory.path + "/script") << script;
  const program_result result = run_program("/usr/bin/timeout", {"60", "/bin/bash", directory.path + "/script"});
  EXPECT_EQ(result.code, 0) << result.err << result.out;
  for (const char *shown : {"core-a", "production-a", "fc1/3 moved from VSAN", "VSAN 50 was created",
                            "would change: nothing", "rows of vsanTable", "fault hang --spare-vsanctl --for 8"}) {
    EXPECT_NE(result.out.find(shown), std::string::npos) << shown;
  }
}

}  // namespace
