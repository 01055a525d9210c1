// vsanctl scenario …: plays a scenario file, one command after the other.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <set>

#include "arguments.h"
#include "commands.h"
#include "faults/scenario_file.h"
#include "output/failure.h"
#include "switchplatform/run_dir.h"

namespace {

volatile sig_atomic_t stopped;

void on_stop(int) {
  stopped = 1;
}

double now() {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void print_event(double at, const scenario_event &event, bool as_json) {
  if (as_json) {
    const nlohmann::ordered_json line{{"at", std::round(at * 1000) / 1000}, {"command", event.words}};
    printf("%s\n", line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  } else {
    printf("%8.2f s  %s\n", at, joined(event.words, " ").c_str());
  }
}

// Runs one command of this program. Returns its exit code.
int run_command(const std::vector<std::string> &words, bool as_json) {
  std::vector<std::string> line{"vsanctl", "--run-dir", platform_run_dir()};
  if (as_json) {
    line.emplace_back("--json");
  }
  line.insert(line.end(), words.begin(), words.end());
  std::vector<char *> arguments;
  arguments.reserve(line.size() + 1);
  for (std::string &each : line) {
    arguments.push_back(each.data());
  }
  arguments.push_back(nullptr);
  fflush(stdout);
  pid_t child = -1;
  posix_spawnattr_t apart;  // Ctrl-C is for the scenario, which still has to undo
  posix_spawnattr_init(&apart);
  posix_spawnattr_setflags(&apart, POSIX_SPAWN_SETPGROUP);
  posix_spawn_file_actions_t no_input;  // nobody types: a command that asked would wait for ever
  posix_spawn_file_actions_init(&no_input);
  posix_spawn_file_actions_addopen(&no_input, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  const int why = posix_spawn(&child, "/proc/self/exe", &no_input, &apart, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&no_input);
  posix_spawnattr_destroy(&apart);
  if (why != 0) {
    fail(kExitOutput, std::string("a command cannot be started: ") + strerror(why));
  }
  int ended = 0;
  while (waitpid(child, &ended, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
}

// Waits until it is time, or the scenario is broken off.
void wait_until(double when) {
  while (stopped == 0 && now() < when) {
    const double left = when - now();
    const double nap = left < 0.1 ? left : 0.1;
    const timespec time = {0, static_cast<long>(nap > 0 ? nap * 1e9 : 0)};
    nanosleep(&time, nullptr);
  }
}

void play(const std::vector<scenario_event> &events, bool as_json) {
  struct sigaction action = {};
  action.sa_handler = on_stop;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);  // what was to be undone is undone although nobody reads any more
  const double start = now();
  size_t failed = 0;
  std::set<size_t> made;
  for (const scenario_event &event : events) {
    wait_until(start + event.at);
    // What was refused, or not done any more, is not undone: it is somebody else's.
    if (event.undoes ? !made.contains(event.change) : stopped != 0) {
      continue;
    }
    print_event(now() - start, event, as_json);
    if (run_command(event.words, as_json) == 0) {
      made.insert(event.change);
    } else {
      ++failed;
    }
  }
  if (failed > 0) {
    fail(kExitRefused, std::to_string(failed) + " of " + std::to_string(events.size()) + " commands failed");
  }
  if (stopped != 0) {
    fail(kExitRefused,
         "the scenario was broken off; the changes that it made are undone, faults end when their time is over");
  }
}

void play_file(const std::string &file, bool check, bool as_json) {
  std::vector<scenario_event> events;
  std::string problems;
  if (read_scenario(file, events, problems) != 0) {
    fail(kExitUsage, problems);
  }
  if (!check) {
    play(events, as_json);
    return;
  }
  for (const scenario_event &event : events) {
    print_event(event.at, event, as_json);
  }
}

}  // namespace

void add_scenario_commands(CLI::App &app, const common_options &common) {
  static std::string file;
  static bool check = false;
  CLI::App *scenario =
      app.add_subcommand("scenario", "play faults, changes and bursts from a file; Ctrl-C breaks it off");
  add_text(*scenario, "file", file, "FILE", "the scenario, in TOML")->required();
  scenario->add_flag("--check", check, "only print what would be done, and when");
  scenario->callback([&common] { play_file(file, check, common.json); });
}
