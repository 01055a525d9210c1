// The line that a shell wants completed, as far as it is typed.
#ifndef VSANCTL_HELP_TYPED_LINE_H
#define VSANCTL_HELP_TYPED_LINE_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// What the line says so far.
struct typed_line {
  const CLI::App *command;            // the command that it got to
  const CLI::Option *open = nullptr;  // an option whose value is being typed
  size_t positionals = 0;             // arguments of the command that are there already
};

// What the words in front of the one that is being typed say.
typed_line read_line(const CLI::App &app, const std::vector<std::string> &words);

// The option of that name, of the command or of the program; null when there is none.
const CLI::Option *find_option(const CLI::App &app, const CLI::App &command, const std::string &word);

// The run directory that the words, or else the environment, name.
std::string run_dir_of(const std::vector<std::string> &words);

// A word as the shell would pass it, but for what it would substitute: the shells give it as it is typed.
std::string as_passed(const std::string &typed);

#endif
