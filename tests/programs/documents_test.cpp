// What is written about vsanctl is what it does: the schema of its JSON, its man page, the completion scripts.

#include <fstream>
#include <iterator>

#include "running_switch.h"

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
        "show kdx", "show errors", "show notifications", "show levels", "show status", "fault list"}) {
    std::vector<std::string> words = split(command, ' ');
    words.emplace_back("--json");
    expect_schema(command, run(words).out);
  }
  ASSERT_EQ(run({"kdx", "abort"}).code, 0);
  expect_schema("import", run({"--json", "import", "--check", TOPOLOGIES "/small-fabric.toml"}).out);
  expect_schema("error", run({"--json", "vsan", "set", "77", "--mtu", "2000"}).err);
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

TEST_F(Documents, TheExamplesOfTheManPageAndOfTheHelpWork) {
  const std::string bin = std::string(VSANCTL).substr(0, std::string(VSANCTL).rfind('/'));
  for (const std::string &examples : {lines_with(read_text(SOURCE "/docs/man/vsanctl.1"), ".Dl vsanctl "),
                                      lines_with(run({"--help"}).out, "  vsanctl ")}) {
    std::string script = "set -e; cd " + directory.path + "; vsanctl reset --yes\n";
    for (const std::string &line : split(examples, '\n')) {
      script += "vsanctl " + line + "\n";
    }
    EXPECT_GE(std::count(script.begin(), script.end(), '\n'), 7) << script;
    const program_result result = run_program(
        "/usr/bin/env",
        {"SWITCHD_RUN_DIR=" + directory.path + "/run", "PATH=" + bin + ":/usr/bin:/bin", "/bin/bash", "-c", script});
    EXPECT_EQ(result.code, 0) << result.err << script;
  }
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

TEST_F(Documents, TheManPageHasEveryCommandAndOption) {
  const std::string page = read_text(SOURCE "/docs/man/vsanctl.1");
  std::vector<std::vector<std::string>> commands;
  collect_commands({}, commands);
  EXPECT_GT(commands.size(), 40U);
  for (const std::vector<std::string> &words : commands) {
    std::vector<std::string> arguments{"--complete"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    for (const std::string &word : words) {
      EXPECT_NE(page.find(word), std::string::npos) << word;
    }
    arguments.emplace_back("--");
    for (const std::string &option : split(run_program(VSANCTL, arguments).out, '\n')) {
      const std::string name = option.substr(2);
      EXPECT_TRUE(page.find("Fl -" + name) != std::string::npos || page.find(", -" + name) != std::string::npos)
          << option;
    }
  }
}

TEST(ManPages, AreSoundForTheirFormatter) {
  for (const char *page : {"vsanctl.1", "switchd.8", "switchd.toml.5", "vsanmib.conf.5"}) {
    const program_result result =
        run_program("/usr/bin/mandoc", {"-T", "lint", "-W", "warning", std::string(SOURCE "/docs/man/") + page});
    EXPECT_EQ(result.code, 0) << result.out << result.err;
  }
}

TEST(ManPages, OfTheTopologyFileHasEveryKeyAndItsExampleIsSound) {
  const std::string page = read_text(SOURCE "/docs/man/switchd.toml.5");
  for (const char *key : {"name",
                          "wwn",
                          "inorder_delivery",
                          "switch_latency",
                          "network_latency",
                          "notifications",
                          "e_d_tov",
                          "r_a_tov",
                          "d_s_tov",
                          "f_s_tov",
                          "enabled",
                          "show_running",
                          "kept_out",
                          "id",
                          "state",
                          "media",
                          "mtu",
                          "load_balancing",
                          "interop",
                          "drop_latency",
                          "timers",
                          "index",
                          "vsan",
                          "up"}) {
    EXPECT_NE(page.find(key), std::string::npos) << key;
  }
  const size_t start = page.rfind("[switch]\n");
  const temporary_directory directory;
  std::ofstream(directory.path + "/e.toml") << page.substr(start, page.find(".Ed", start) - start);
  const program_result result = run_program(SWITCHD, {"--check", "--topology", directory.path + "/e.toml"});
  EXPECT_EQ(result.code, 0) << result.err;
}

TEST(Completion, OfBashOffersWhatTheProgramKnows) {
  const std::string vsanctl = VSANCTL;
  const program_result result = run_program(
      "/bin/bash",
      {"-c", "PATH=" + vsanctl.substr(0, vsanctl.rfind('/')) +
                 ":$PATH; . " SOURCE
                 "/packaging/completion/vsanctl.bash; COMP_WORDS=(vsanctl vsan set 20 --state ''); COMP_CWORD=5; "
                 "_vsanctl; echo \"${COMPREPLY[@]}\""});
  EXPECT_EQ(result.out, "active suspended\n") << result.err;
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
  const std::string script = "set -e\ntrap 'kill %1' EXIT\nPATH=" + bin + ":$PATH\ncd " SOURCE "\n" + commands;
  std::ofstream(directory.path + "/script") << script;
  const program_result result = run_program("/usr/bin/timeout", {"60", "/bin/bash", directory.path + "/script"});
  EXPECT_EQ(result.code, 0) << result.err << result.out;
  for (const char *shown : {"core-a", "production-a", "fc1/3 moved from VSAN", "VSAN 50 was created",
                            "would change: nothing", "rows of vsanTable", "fault hang --spare-vsanctl --for 8"}) {
    EXPECT_NE(result.out.find(shown), std::string::npos) << shown;
  }
}

}  // namespace
