#include <stdio.h>
#include <sys/resource.h>

#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>

#include "child_process.h"
#include "fleet_commands.h"
#include "service_files.h"

namespace {

void print_lines(FILE *to, const std::string &name, const std::string &text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    fprintf(to, "%s: %s\n", name.c_str(), line.c_str());
  }
}

void print_result(const fleet_switch &each, const child_result &result, bool as_json) {
  if (as_json) {
    using nlohmann::ordered_json;
    const ordered_json line{
        {"switch", each.name}, {"exit_code", result.code}, {"output", result.out}, {"errors", result.err}};
    printf("%s\n", line.dump(-1, ' ', false, ordered_json::error_handler_t::replace).c_str());
    return;
  }
  print_lines(stdout, each.name, result.out);
  print_lines(stderr, each.name, result.err);
  if (result.code != 0) {
    fprintf(stderr, "%s: exit code %d\n", each.name.c_str(), result.code);
  }
}

// Each program that runs has two pipes here; where many run at a time that is more than the usual limit of 1,024 files.
void allow_many_files() {
  rlimit files = {};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
  }
}

}  // namespace

int run_for_each(const fleet_description &fleet, const std::vector<std::string> &words, uint32_t at_once,
                 bool as_json) {
  fleet_programs programs;
  std::string problem;
  if (find_programs(programs, problem) != 0) {
    fprintf(stderr, "vsanfleet: %s\n", problem.c_str());
    return kFleetSupervisor;
  }
  pass_signals_on();
  allow_many_files();
  std::mutex lock;
  size_t failed = 0;
  const size_t count = fleet.switches.size();
  for_each_at_once(count, at_once != 0 ? at_once : count, [&](size_t i) {
    std::vector<std::string> line = {programs.vsanctl, "--run-dir", switch_folder(fleet, fleet.switches[i]) + "/run"};
    line.insert(line.end(), words.begin(), words.end());
    const child_result result = run_child(line);
    const std::lock_guard<std::mutex> guard(lock);
    failed += result.code != 0 ? 1 : 0;
    print_result(fleet.switches[i], result, as_json);
  });
  if (!as_json) {
    printf("done by %zu of %zu switches\n", count - failed, count);
  }
  if (failed > 0) {
    fprintf(stderr, "vsanfleet: %zu of %zu switches failed\n", failed, count);
  }
  return failed == 0 ? kFleetOk : kFleetSome;
}
