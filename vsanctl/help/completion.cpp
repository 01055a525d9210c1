#include "help/completion.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ask/rows.h"
#include "help/typed_line.h"
#include "mib_names.h"
#include "output/failure.h"
#include "show/history_filter.h"
#include "switchplatform/run_dir.h"

namespace {

// Words that are offered if they start as the word that is typed does, with what stands before each.
struct offer {
  std::string before;  // "--state=", where a shell takes it for part of the word
  std::string start;
};

void print_if(const offer &to, const std::string &word) {
  if (word.starts_with(to.start)) {
    printf("%s%s\n", to.before.c_str(), word.c_str());
  }
}

void offer_objects(const offer &to) {
  for (const mib_name &each : kMibNames) {
    print_if(to, each.name);
  }
}

void offer_vsans(const offer &to) {
  for (const vsanEntry &row : read_vsans()) {
    print_if(to, std::to_string(row.vsanIndex));
  }
}

void offer_interfaces(const offer &to) {
  for (const shown_interface &row : read_interfaces()) {
    print_if(to, row.name);
  }
}

void offer_users(const offer &to) {
  for (const std::string &user : users_in_history()) {
    print_if(to, user);
  }
}

// What stands for a value in the help says what could be typed. The switch is asked for what it has.
struct offered_values {
  const char *typed;
  void (*offer_them)(const offer &to);
};
constexpr offered_values kOfferedValues[] = {
    {"OBJECT", offer_objects},
    {"VSAN", offer_vsans},
    {"INTERFACE", offer_interfaces},
    {"USER", offer_users},
};

// Who presses a key does not wait for a switch that hangs.
void give_up_soon() {
  fflush(stdout);
  signal(SIGALRM, [](int) { _exit(kExitNoSwitch); });
  alarm(1);
}

// Returns what to exit with.
int offer_values(const CLI::Option &option, const offer &to) {
  const std::string typed = option.get_type_name();
  if (typed == "FILE" || typed == "DIR") {
    return kCompletesToFile;
  }
  const auto known = std::ranges::find(kOfferedValues, typed, &offered_values::typed);
  if (known != std::end(kOfferedValues)) {
    give_up_soon();
    known->offer_them(to);
    return kExitOk;
  }
  for (size_t at = 0; typed.find('|') != std::string::npos && at <= typed.size();) {
    const size_t end = std::min(typed.find('|', at), typed.size());
    print_if(to, typed.substr(at, end - at));
    at = end + 1;
  }
  return kExitOk;
}

void offer_options(const CLI::App &command, const offer &to) {
  for (const CLI::Option *each : command.get_options()) {
    for (const std::string &name : each->get_lnames()) {
      if (name != "help") {
        print_if(to, "--" + name);
      }
    }
  }
}

int offer_positional(const typed_line &line, const offer &to) {
  size_t at = 0;
  for (const CLI::Option *each : line.command->get_options()) {
    if (each->get_positional() && at++ == line.positionals) {
      return offer_values(*each, to);
    }
  }
  return kExitOk;
}

// The value of "--option=val".
int offer_value_after_equals(const CLI::App &app, const typed_line &line, const std::string &word) {
  const size_t equals = word.find('=');
  const CLI::Option *option = find_option(app, *line.command, word.substr(0, equals));
  return option == nullptr ? kExitOk : offer_values(*option, {word.substr(0, equals + 1), word.substr(equals + 1)});
}

}  // namespace

bool is_completion(int argc, char **argv) {
  return argc >= 3 && strcmp(argv[1], "--complete") == 0;
}

int complete(const CLI::App &app, int argc, char **argv) {
  std::vector<std::string> words(argv + 2, argv + argc);
  std::ranges::transform(words, words.begin(), as_passed);
  const std::string start = words.back();
  words.pop_back();
  const std::string run_dir = run_dir_of(words);
  if (platform_set_run_dir(run_dir.c_str()) != 0) {
    fail(kExitUsage, "--run-dir " + run_dir + ": " + strerror(errno));
  }
  const typed_line line = read_line(app, words);
  if (line.open != nullptr) {
    return offer_values(*line.open, {"", start == "=" ? "" : start});
  }
  if (start.starts_with("--") && start.find('=') != std::string::npos) {
    return offer_value_after_equals(app, line, start);
  }
  if (start.starts_with("-")) {
    offer_options(*line.command, {"", start});
    if (line.command != &app) {
      offer_options(app, {"", start});
    }
    return kExitOk;
  }
  for (const CLI::App *each : line.command->get_subcommands({})) {
    print_if({"", start}, each->get_name());
  }
  return offer_positional(line, {"", start});
}
