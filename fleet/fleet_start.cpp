#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>

#include "agent_probe.h"
#include "child_process.h"
#include "fleet_commands.h"
#include "service_files.h"
#include "supervisor.h"

namespace {

constexpr uint32_t kAgentSeconds = 60;  // a loaded machine starts many agents at a time
constexpr size_t kProblemsShown = 20;

double seconds_now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// What is told while the fleet starts: on a terminal one line that counts, elsewhere ten lines in all.
struct start_progress {
  std::mutex lock;
  size_t total = 0;
  size_t done = 0;
  double began = seconds_now();
  bool terminal = isatty(STDOUT_FILENO) == 1;
  std::vector<std::string> problems;
};

void tell(start_progress &progress, const std::string &problem) {
  const std::lock_guard<std::mutex> guard(progress.lock);
  ++progress.done;
  if (!problem.empty()) {
    progress.problems.push_back(problem);
  }
  const size_t tenth = std::max<size_t>(1, progress.total / 10);
  if (progress.terminal || progress.done % tenth == 0 || progress.done == progress.total) {
    printf("%s%zu of %zu switches, %.1f s%s", progress.terminal ? "\r" : "", progress.done, progress.total,
           seconds_now() - progress.began, progress.terminal && progress.done != progress.total ? "" : "\n");
    fflush(stdout);
  }
}

std::string start_one(const fleet_description &fleet, const supervisor_calls &supervisor, const fleet_switch &each) {
  for (const char *service : {kSwitchService, kAgentService}) {
    const std::string problem = supervisor.start(fleet, each, service);
    if (!problem.empty()) {
      const char *log = strcmp(service, kSwitchService) == 0 ? "/switchd.log" : "/agent.log";
      return each.name + ": " + service + " was not started, see " + switch_folder(fleet, each) + log + ": " + problem;
    }
  }
  const bool answers = agent_answers(each.listen, each.port, fleet.community, kAgentSeconds);
  return answers ? ""
                 : each.name + ": the agent does not answer at " + each.listen + ":" + std::to_string(each.port) +
                       ", see " + switch_folder(fleet, each) + "/agent.log";
}

void show_problems(const std::vector<std::string> &problems) {
  for (size_t i = 0; i < std::min(problems.size(), kProblemsShown); ++i) {
    fprintf(stderr, "vsanfleet: %s\n", problems[i].c_str());
  }
  if (problems.size() > kProblemsShown) {
    fprintf(stderr, "vsanfleet: and %zu more\n", problems.size() - kProblemsShown);
  }
}

// The files, and the supervisor that takes them in. Nothing of an earlier run is left in the services' folder.
std::string prepare(const fleet_description &fleet, const supervisor_calls &supervisor) {
  fleet_programs programs;
  std::string problem;
  if (find_programs(programs, problem) != 0) {
    return problem;
  }
  if (!supervisor.has(fleet)) {
    std::error_code why;
    std::filesystem::remove_all(fleet.directory + "/services", why);
  }
  if (write_fleet_files(fleet, programs, problem) != 0) {
    return problem;
  }
  return supervisor.take_in(fleet);
}

// Waits for a signal that ends it; meanwhile takes leave of children, since it may be the first process of a container.
// Returns false when the supervisor is gone.
bool stay(const fleet_description &fleet, const supervisor_calls &supervisor, const sigset_t &signals) {
  for (;;) {
    const timespec look = {5, 0};
    const int number = sigtimedwait(&signals, nullptr, &look);
    if (number == SIGTERM || number == SIGINT) {
      return true;
    }
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    if (number < 0 && !supervisor.has(fleet)) {
      return false;
    }
  }
}

}  // namespace

size_t starts_at_once(const fleet_description &fleet) {
  return fleet.at_once != 0 ? fleet.at_once : 2 * std::max(1U, std::thread::hardware_concurrency());
}

int start_fleet(const fleet_description &fleet, bool foreground) {
  sigset_t signals;
  sigemptyset(&signals);
  if (foreground) {
    for (const int number : {SIGTERM, SIGINT, SIGCHLD}) {
      sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
  }
  const supervisor_calls &supervisor = supervisor_of(fleet);
  const std::string problem = prepare(fleet, supervisor);
  if (!problem.empty()) {
    fprintf(stderr, "vsanfleet: %s\n", problem.c_str());
    return kFleetSupervisor;
  }
  start_progress progress;
  progress.total = fleet.switches.size();
  for_each_at_once(fleet.switches.size(), starts_at_once(fleet),
                   [&](size_t i) { tell(progress, start_one(fleet, supervisor, fleet.switches[i])); });
  show_problems(progress.problems);
  if (foreground) {
    const bool asked = stay(fleet, supervisor, signals);
    const int stopped = stop_fleet(fleet, false);
    return asked ? stopped : kFleetSupervisor;
  }
  return progress.problems.empty() ? kFleetOk : kFleetSome;
}

int stop_fleet(const fleet_description &fleet, bool remove) {
  const supervisor_calls &supervisor = supervisor_of(fleet);
  std::string problem = supervisor.stop(fleet);
  if (!problem.empty()) {
    fprintf(stderr, "vsanfleet: %s: %s\n", supervisor.name, problem.c_str());
    return kFleetSupervisor;
  }
  std::error_code why;
  std::filesystem::remove_all(fleet.directory + "/services", why);
  if (remove && remove_fleet_files(fleet, problem) != 0) {
    fprintf(stderr, "vsanfleet: %s\n", problem.c_str());
    return kFleetOutput;
  }
  return kFleetOk;
}
