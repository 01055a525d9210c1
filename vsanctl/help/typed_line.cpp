#include "help/typed_line.h"

#include <stdlib.h>

#include "switchplatform/run_dir.h"

const CLI::Option *find_option(const CLI::App &app, const CLI::App &command, const std::string &word) {
  const CLI::Option *found = command.get_option_no_throw(word);
  return found != nullptr ? found : app.get_option_no_throw(word);
}

namespace {

const CLI::App *find_command(const CLI::App &command, const std::string &word) {
  for (const CLI::App *each : command.get_subcommands({})) {
    if (each->get_name() == word) {
      return each;
    }
  }
  return nullptr;
}

}  // namespace

typed_line read_line(const CLI::App &app, const std::vector<std::string> &words) {
  typed_line line{.command = &app};
  for (const std::string &word : words) {
    if (line.open != nullptr) {
      // bash gives "--option=value" as three words.
      line.open = word == "=" ? line.open : nullptr;
      continue;
    }
    if (word.starts_with("-")) {
      const CLI::Option *option = find_option(app, *line.command, word);
      line.open = option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
      continue;
    }
    const CLI::App *next = find_command(*line.command, word);
    if (next != nullptr) {
      line.command = next;
      line.positionals = 0;
    } else {
      ++line.positionals;
    }
  }
  return line;
}

std::string run_dir_of(const std::vector<std::string> &words) {
  static const std::string kOption = "--run-dir";
  const char *environment = getenv("SWITCHD_RUN_DIR");
  std::string run_dir = environment != nullptr && *environment != '\0' ? environment : platform_run_dir();
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] == kOption) {
      run_dir = words[i + 1] == "=" && i + 2 < words.size() ? words[i + 2] : words[i + 1];
    }
  }
  for (const std::string &word : words) {
    run_dir = word.starts_with(kOption + "=") ? word.substr(kOption.size() + 1) : run_dir;
  }
  return run_dir;
}

std::string as_passed(const std::string &typed) {
  std::string word;
  char quote = 0;
  for (size_t i = 0; i < typed.size(); ++i) {
    const bool is_quote = typed[i] == '"' || typed[i] == '\'';
    if (is_quote && (quote == 0 || quote == typed[i])) {
      quote = quote == 0 ? typed[i] : '\0';
    } else if (typed[i] == '\\' && quote != '\'' && i + 1 < typed.size()) {
      word += typed[++i];
    } else {
      word += typed[i];
    }
  }
  const char *home = getenv("HOME");
  return home != nullptr && typed.starts_with("~/") ? home + word.substr(1) : word;
}
