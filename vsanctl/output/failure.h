// How vsanctl ends when something is wrong, and what it exits with.
#ifndef VSANCTL_OUTPUT_FAILURE_H
#define VSANCTL_OUTPUT_FAILURE_H

#include <string>

// Exit codes. kExitOutput: what was to be shown could not be written.
enum { kExitOk = 0, kExitRefused = 1, kExitUsage = 2, kExitNoSwitch = 3, kExitOutput = 4 };

// From now on failures and warnings are printed as one line of JSON each.
void messages_as_json();

// Prints "vsanctl: TEXT" on standard error, or {"error": {"text", "exit_code", "status"}}, and ends the program.
// `status` is that of the manager that refused; 0 when none did.
[[noreturn]] void fail(int exit_code, const std::string &text, int status = 0);

// Prints "vsanctl: TEXT" on standard error, or {"warning": {"text"}}.
void warn(const std::string &text);

// Ends the program when standard output did not take what was printed so far, such as a full disk.
void check_output();

#endif
