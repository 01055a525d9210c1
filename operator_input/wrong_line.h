// A command line that is none: what was wrong with it, and what could stand there.
#ifndef OPERATOR_INPUT_WRONG_LINE_H
#define OPERATOR_INPUT_WRONG_LINE_H

#include <CLI/CLI.hpp>
#include <string>

// The command that the line got to: `app` itself, or a subcommand of it.
const CLI::App &command_reached(const CLI::App &app);

// The words of that command after the program's name: "vsan set".
std::string command_words(const CLI::App &app);

// The text for people: which word was wrong, which ones could stand there, and where help is.
std::string wrong_line_text(const CLI::App &app, const CLI::ParseError &error);

#endif
