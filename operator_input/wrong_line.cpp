#include "wrong_line.h"

#include <string.h>

#include <vector>

#include "arguments.h"

const CLI::App &command_reached(const CLI::App &app) {
  const CLI::App *reached = &app;
  while (!reached->get_subcommands().empty()) {
    reached = reached->get_subcommands().back();
  }
  return *reached;
}

std::string command_words(const CLI::App &app) {
  std::string words;
  for (const CLI::App *reached = &app; !reached->get_subcommands().empty();) {
    reached = reached->get_subcommands().back();
    words += (words.empty() ? "" : " ") + reached->get_name();
  }
  return words;
}

namespace {

std::string commands_of(const CLI::App &command) {
  std::vector<std::string> names;
  for (const CLI::App *each : command.get_subcommands({})) {
    names.push_back(each->get_name());
  }
  return joined(names);
}

std::string options_of(const CLI::App &command) {
  std::vector<std::string> names;
  for (const CLI::Option *each : command.get_options({})) {
    if (!each->get_positional() && each->get_name() != "--help") {
      names.push_back(each->get_name());
    }
  }
  return joined(names);
}

bool is_option(const std::string &word) {
  return word.starts_with("-") && word.size() > 1;
}

// What the library says of an argument that must be there is "NAME is required".
std::string missing_argument(const std::string &said) {
  const size_t end = said.rfind(" is required");
  return end == std::string::npos ? said : said.substr(0, end) + " is missing";
}

struct reworded {
  const char *theirs;
  const char *ours;
};

// The library's text with our words in it.
std::string in_our_words(std::string said, std::initializer_list<reworded> words) {
  for (const reworded &each : words) {
    const size_t at = said.find(each.theirs);
    if (at != std::string::npos) {
      said.replace(at, strlen(each.theirs), each.ours);
    }
  }
  return said;
}

std::string what_was_wrong(const CLI::App &app, const CLI::ParseError &error) {
  const CLI::App &reached = command_reached(app);
  const std::vector<std::string> extra = app.remaining(true);
  if (!extra.empty()) {
    if (is_option(extra[0])) {
      const std::string own = &reached == &app ? "" : options_of(reached);
      return "there is no option " + extra[0] + " here; there are " + own + (own.empty() ? "" : ", ") + options_of(app);
    }
    const std::string commands = commands_of(reached);
    return "\"" + extra[0] + "\" " +
           (commands.empty() ? "is one word too many" : "is no command; there are " + commands);
  }
  if (error.get_name() == "RequiredError") {
    const std::string commands = commands_of(reached);
    return commands.empty() ? missing_argument(error.what()) : "a command is missing; there are " + commands;
  }
  if (error.get_name() == "ArgumentMismatch") {
    const std::string said = error.what();
    const bool twice = said.find("At Most") != std::string::npos;
    return said.substr(0, said.find(':')) + (twice ? ": it is there more than once" : ": a value is missing");
  }
  return in_our_words(error.what(), {{" requires ", " needs "}, {" excludes ", " cannot stand with "}});
}

}  // namespace

std::string wrong_line_text(const CLI::App &app, const CLI::ParseError &error) {
  const std::string words = command_words(app);
  return (words.empty() ? "" : words + ": ") + what_was_wrong(app, error) + "\n  " + app.get_name() + " " + words +
         (words.empty() ? "" : " ") + "--help says more";
}
