// Completion for shells: which words could stand at the end of a line that is being typed. The scripts for the shells
// ask the program, so that they know what it knows.
#ifndef VSANCTL_HELP_COMPLETION_H
#define VSANCTL_HELP_COMPLETION_H

#include <CLI/CLI.hpp>

// Whether this is the call of a shell: `vsanctl --complete WORD...`, the last word being the one that is typed.
bool is_completion(int argc, char **argv);

// What the program exits with when a file's name could stand there, which the shell knows better.
inline constexpr int kCompletesToFile = 5;

// Prints the words, one a line. Ends the program without all of them when the switch does not answer. Returns what to
// exit with.
int complete(const CLI::App &app, int argc, char **argv);

#endif
