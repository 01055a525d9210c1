// Completion for shells: which words could stand at the end of a line that is being typed. The scripts for the shells
// ask the program, so that they know what it knows.
#ifndef VSANCTL_HELP_COMPLETION_H
#define VSANCTL_HELP_COMPLETION_H

#include <CLI/CLI.hpp>

// Whether this is the call of a shell: `vsanctl --complete WORD...`, the last word being the one that is typed.
bool is_completion(int argc, char **argv);

// Prints the words, one a line. Ends the program without all of them when the switch does not answer.
void complete(const CLI::App &app, int argc, char **argv);

#endif
