// Which page a command reads: switchd's, or the one in a file that is named.
#ifndef VSANCTL_ASK_PAGE_CHOICE_H
#define VSANCTL_ASK_PAGE_CHOICE_H

#include <CLI/CLI.hpp>

// Puts --page on the command.
void add_page(CLI::App &command);

// Ends the program because the page that is wanted cannot be used. `why` is the `errno` of the attempt.
[[noreturn]] void fail_no_page(int why);

#endif
