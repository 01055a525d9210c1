// vsanctl export, import, reset and topology check: the configuration of the whole switch as a TOML file.
#include <stdio.h>

#include <nlohmann/json.hpp>

#include "arguments.h"
#include "ask/control.h"
#include "ask/text_file.h"
#include "commands.h"
#include "output/failure.h"
#include "requests.h"
#include "text_pieces.h"

namespace {

using nlohmann::json;

void export_configuration(bool as_json) {
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
  if (as_json) {
    text = json{{"toml", text}}.dump(2) + "\n";
  }
  fwrite(text.data(), 1, text.size(), stdout);
}

void check_encoding(const std::string &name, const std::string &text) {
  try {
    static_cast<void>(json(text).dump());
  } catch (const json::exception &) {
    fail(kExitRefused, name + ": it is no UTF-8 text");
  }
}

// The largest piece of the file that fits a message, whatever of it must be escaped.
json piece_of(const std::string &text, size_t offset, const std::string &name, bool apply) {
  for (size_t size = kConfigurationPiece;; size /= 2) {
    const size_t end = piece_end(text, offset, size);
    json piece{{"offset", offset},
               {"total", text.size()},
               {"text", text.substr(offset, end - offset)},
               {"name", name == "-" ? "standard input" : name},
               {"apply", apply}};
    if (piece.dump(-1, ' ', false, json::error_handler_t::replace).size() <= size_t{2} * kConfigurationPiece) {
      return piece;
    }
  }
}

// Seconds. The last piece of a file is read, compared and made durable before it is answered: some thousands of VSANs
// on a busy machine take longer than any other request.
constexpr int kWaitForAll = 60;

// Sends the file and returns what switchd makes of it.
json send_file(const std::string &name, bool apply) {
  std::string text;
  std::string problem;
  if (read_text_file(name, text, problem) != 0) {
    fail(kExitUsage, problem);
  }
  check_encoding(name, text);
  const std::string what = name + " was not applied";
  json answer;
  size_t offset = 0;
  do {
    const json piece = piece_of(text, offset, name, apply);
    offset += piece["text"].get_ref<const std::string &>().size();
    answer = ask_control(what.c_str(), kOpConfiguration, kMsgSet, piece, offset < text.size() ? 0 : kWaitForAll);
  } while (offset < text.size());
  return answer;
}

void fail_on_problems(const json &answer) {
  const std::string problems = answer.at("problems").get<std::string>();
  if (!problems.empty()) {
    fail(kExitRefused, problems);
  }
}

void print_extent(const json &answer, bool changed, bool as_json) {
  const auto extent = answer.at("extent").get<std::string>();
  if (as_json) {
    printf("%s\n", nlohmann::ordered_json{{"changed", changed}, {"extent", extent}}.dump(2).c_str());
  } else {
    printf("%s %s\n", changed ? "changed:" : "would change:", extent.c_str());
  }
}

void import_configuration(const std::string &name, bool check, bool as_json) {
  const json answer = send_file(name, !check);
  fail_on_problems(answer);
  print_extent(answer, !check, as_json);
}

void check_topology(const std::string &name) {
  fail_on_problems(send_file(name, false));
}

void reset_configuration(bool sure, bool as_json) {
  if (!sure) {
    fail(kExitUsage,
         "reset: all VSANs, interfaces and settings are lost; --yes says that this is meant, and \"vsanctl "
         "export\" keeps them");
  }
  const json answer = ask_control("the switch was not reset", kOpConfiguration, kMsgDelete);
  fail_on_problems(answer);
  print_extent(answer, true, as_json);
}

}  // namespace

void add_configuration_commands(CLI::App &app, const common_options &common) {
  static std::string file;
  static bool check = false;
  static bool sure = false;
  const char *about = "the file; - is standard input";
  CLI::App *exported = app.add_subcommand("export", "print the configuration of the whole switch, as TOML");
  exported->callback([&common] { export_configuration(common.json); });
  CLI::App *imported = app.add_subcommand("import", "make the switch what a file says, in one step or not at all");
  add_text(*imported, "file", file, "FILE", about)->required();
  imported->add_flag("--check", check, "change nothing; say what would change, or what is wrong in the file");
  imported->callback([&common] { import_configuration(file, check, common.json); });
  CLI::App *topology = app.add_subcommand("topology", "look at topology files")->require_subcommand(1);
  CLI::App *checked = topology->add_subcommand("check", "say what is wrong in a file; nothing when nothing is");
  add_text(*checked, "file", file, "FILE", about)->required();
  checked->callback([] { check_topology(file); });
  CLI::App *reset = app.add_subcommand("reset", "make the switch what it was when it was new");
  reset->add_flag("--yes", sure, "although everything that was configured is lost");
  reset->callback([&common] { reset_configuration(sure, common.json); });
}
