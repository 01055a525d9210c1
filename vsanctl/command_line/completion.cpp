#include "command_line/completion.h"

#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "mib_names.h"

namespace {

// What the line says so far.
struct typed_line {
  const CLI::App *command;            // the command that it got to
  const CLI::Option *open = nullptr;  // an option whose value is being typed
  size_t positionals = 0;             // arguments of the command that are there already
};

const CLI::Option *find_option(const CLI::App &app, const CLI::App &command, const std::string &word) {
  const CLI::Option *found = command.get_option_no_throw(word);
  return found != nullptr ? found : app.get_option_no_throw(word);
}

const CLI::App *find_command(const CLI::App &command, const std::string &word) {
  for (const CLI::App *each : command.get_subcommands({})) {
    if (each->get_name() == word) {
      return each;
    }
  }
  return nullptr;
}

typed_line read_line(const CLI::App &app, const std::vector<std::string> &words) {
  typed_line line{.command = &app};
  for (const std::string &word : words) {
    if (line.open != nullptr) {
      line.open = nullptr;
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

void print_if(const std::string &word, const std::string &start) {
  if (word.starts_with(start)) {
    printf("%s\n", word.c_str());
  }
}

// The choices of an option are in what stands for its value in the help.
void print_values(const CLI::Option &option, const std::string &start) {
  const std::string typed = option.get_type_name();
  if (typed == "OBJECT") {
    for (const mib_name &each : kMibNames) {
      print_if(each.name, start);
    }
    return;
  }
  if (typed.find('|') == std::string::npos) {
    return;
  }
  for (size_t at = 0; at <= typed.size();) {
    const size_t end = std::min(typed.find('|', at), typed.size());
    print_if(typed.substr(at, end - at), start);
    at = end + 1;
  }
}

void print_options(const CLI::App &command, const std::string &start) {
  for (const CLI::Option *each : command.get_options()) {
    for (const std::string &name : each->get_lnames()) {
      print_if("--" + name, start);
    }
  }
}

void print_positional(const typed_line &line, const std::string &start) {
  size_t at = 0;
  for (const CLI::Option *each : line.command->get_options()) {
    if (each->get_positional() && at++ == line.positionals) {
      print_values(*each, start);
    }
  }
}

}  // namespace

bool is_completion(int argc, char **argv) {
  return argc >= 3 && strcmp(argv[1], "--complete") == 0;
}

void complete(const CLI::App &app, int argc, char **argv) {
  const std::vector<std::string> words(argv + 2, argv + argc - 1);
  const std::string start = argv[argc - 1];
  const typed_line line = read_line(app, words);
  if (line.open != nullptr) {
    return print_values(*line.open, start);
  }
  if (start.starts_with("-")) {
    print_options(*line.command, start);
    return line.command == &app ? void() : print_options(app, start);
  }
  for (const CLI::App *each : line.command->get_subcommands({})) {
    print_if(each->get_name(), start);
  }
  print_positional(line, start);
}
