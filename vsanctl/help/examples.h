// Examples in the help of each command.
#ifndef VSANCTL_HELP_EXAMPLES_H
#define VSANCTL_HELP_EXAMPLES_H

#include <CLI/CLI.hpp>

// Gives every command below `app` the examples of it and of its own commands.
void add_examples(CLI::App &app);

#endif
