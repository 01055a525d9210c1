// vsanctl export, import, reset and topology check: the configuration of the whole switch as a TOML file.
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "ask/control.h"
#include "command_line/arguments.h"
#include "commands.h"
#include "output/failure.h"
#include "requests.h"

namespace {

using nlohmann::json;

void export_configuration() {
  std::string text;
  uint64_t total = 0;
  do {
    const json piece =
        ask_control("the configuration was not exported", kOpConfiguration, kMsgGet, {{"offset", text.size()}});
    if (piece.contains("problems")) {
      fail(kExitRefused, "the configuration was not exported: " + piece["problems"].get<std::string>());
    }
    text += piece.at("text").get<std::string>();
    total = piece.at("total").get<uint64_t>();
  } while (text.size() < total);
  fwrite(text.data(), 1, text.size(), stdout);
}

// "-" is standard input.
std::string read_file(const std::string &name) {
  std::string text;
  if (name == "-") {
    char part[65536];
    size_t got = 0;
    while ((got = fread(part, 1, sizeof part, stdin)) > 0) {
      text.append(part, got);
    }
    return text;
  }
  errno = 0;
  if (std::filesystem::is_directory(name)) {
    fail(kExitUsage, name + ": " + strerror(EISDIR));
  }
  std::ifstream file(name, std::ios::binary);
  text.assign(std::istreambuf_iterator<char>(file), {});
  if (!file.good() && !file.eof()) {
    fail(kExitUsage, name + ": " + strerror(errno != 0 ? errno : EIO));
  }
  return text;
}

// No character is cut in two.
size_t piece_end(const std::string &text, size_t offset) {
  size_t end = std::min(text.size(), offset + kConfigurationPiece);
  while (end < text.size() && end > offset && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
  }
  return end;
}

void check_encoding(const std::string &name, const std::string &text) {
  try {
    static_cast<void>(json(text).dump());
  } catch (const json::exception &) {
    fail(kExitRefused, name + ": it is no UTF-8 text");
  }
}

// Sends the file and returns what switchd makes of it.
json send_file(const std::string &name, bool apply) {
  const std::string text = read_file(name);
  check_encoding(name, text);
  const std::string what = name + " was not applied";
  json answer;
  size_t offset = 0;
  do {
    const size_t end = piece_end(text, offset);
    answer = ask_control(what.c_str(), kOpConfiguration, kMsgSet,
                         {{"offset", offset},
                          {"total", text.size()},
                          {"text", text.substr(offset, end - offset)},
                          {"name", name == "-" ? "standard input" : name},
                          {"apply", apply}});
    offset = end;
  } while (offset < text.size());
  return answer;
}

void fail_on_problems(const json &answer) {
  const std::string problems = answer.at("problems").get<std::string>();
  if (!problems.empty()) {
    fail(kExitRefused, problems);
  }
}

void import_configuration(const std::string &name, bool check) {
  const json answer = send_file(name, !check);
  fail_on_problems(answer);
  printf("%s %s\n", check ? "would change:" : "changed:", answer.at("extent").get<std::string>().c_str());
}

void check_topology(const std::string &name) {
  fail_on_problems(send_file(name, false));
}

void reset_configuration(bool sure) {
  if (!sure) {
    fail(kExitUsage,
         "reset: all VSANs, interfaces and settings are lost; --yes says that this is meant, and \"vsanctl "
         "export\" keeps them");
  }
  const json answer = ask_control("the switch was not reset", kOpConfiguration, kMsgDelete);
  fail_on_problems(answer);
  printf("changed: %s\n", answer.at("extent").get<std::string>().c_str());
}

}  // namespace

void add_configuration_commands(CLI::App &app) {
  static std::string file;
  static bool check = false;
  static bool sure = false;
  const char *about = "the file; - is standard input";
  app.add_subcommand("export", "print the configuration of the whole switch, as TOML")->callback(export_configuration);
  CLI::App *import = app.add_subcommand("import", "make the switch what a file says, in one step or not at all");
  add_text(*import, "file", file, "FILE", about)->required();
  import->add_flag("--check", check, "change nothing; say what would change, or what is wrong in the file");
  import->callback([] { import_configuration(file, check);
});
CLI::App *topology = app.add_subcommand("topology", "look at topology files")->require_subcommand(1);
CLI::App *checked = topology->add_subcommand("check", "say what is wrong in a file; nothing when nothing is");
add_text(*checked, "file", file, "FILE", about)->required();
checked->callback([] { check_topology(file); });
CLI::App *reset = app.add_subcommand("reset", "make the switch what it was when it was new");
reset->add_flag("--yes", sure, "although everything that was configured is lost");
reset->callback([] { reset_configuration(sure); });
}
