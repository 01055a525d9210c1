// Programs that the fleet's command starts, and work that is done for several switches at once.
#ifndef FLEET_CHILD_PROCESS_H
#define FLEET_CHILD_PROCESS_H

#include <stddef.h>

#include <functional>
#include <string>
#include <vector>

// How a program ended and what it wrote.
struct child_result {
  int code = -1;  // its exit code; 128 and the number of the signal that ended it; -1 when it could not be started
  std::string out;
  std::string err;  // the reason, when it could not be started
};

// Runs the program to its end, found by PATH, with nothing to read. May be called from several threads.
child_result run_child(const std::vector<std::string> &words);

// Starts a program that outlives this one, in a session of its own, with its output appended to the file. Returns 0, or
// -1 with `problem` filled.
int start_daemon(const std::vector<std::string> &words, const std::string &log, std::string &problem);

// Calls `work` for each number below `count`, for `at_once` of them at a time, and waits for all. `work` may be called
// from several threads.
void for_each_at_once(size_t count, size_t at_once, const std::function<void(size_t)> &work);

// From now on SIGINT and SIGTERM do not end this program but reach, as SIGTERM, what run_child is running: it ends by
// its own rules, and nothing more is started. Called before there are threads.
void pass_signals_on();

#endif
