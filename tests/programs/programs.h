// Starting the programs under test and collecting what they print.
#ifndef TESTS_PROGRAMS_PROGRAMS_H
#define TESTS_PROGRAMS_PROGRAMS_H

#include <sys/types.h>

#include <string>
#include <vector>

struct program_result {
  int code;  // exit code; -1 when a signal ended it
  std::string out;
  std::string err;
};

// Runs the program to its end.
program_result run_program(const std::string &program, const std::vector<std::string> &arguments);

// Starts the program, its standard error going to the file, and waits until it has printed something or ended, 20
// seconds at most. `printed` gets what it printed so far; null when that is not wanted.
pid_t start_program(const std::string &program, const std::vector<std::string> &arguments, const std::string &err_file,
                    std::string *printed);

// Waits for the end of a started program. Returns its exit code, or -1 when a signal ended it.
int wait_for_exit(pid_t child);

#endif
