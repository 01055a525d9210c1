// s6: one s6-svscan for the fleet, with an s6-supervise for each process, in the fleet's folder `services`.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "child_process.h"
#include "service_files.h"
#include "supervisor.h"

namespace {

constexpr const char *kReadyWithin = "60000";  // milliseconds
constexpr int kSupervisedWithin = 60;          // seconds; each of them has to be started by s6-svscan
constexpr int kStoppedWithin = 120;
constexpr size_t kRoomForMore = 1000;  // services that a running s6-svscan may take in

std::string scan_folder(const fleet_description &fleet) {
  return fleet.directory + "/services";
}

void nap() {
  const timespec time = {0, 20'000'000};
  nanosleep(&time, nullptr);
}

// Calls until it holds. Returns false when it does not within the seconds.
template <typename Condition>
bool wait_until(int seconds, const Condition &condition) {
  for (int naps = seconds * 50; naps > 0; --naps) {
    if (condition()) {
      return true;
    }
    nap();
  }
  return false;
}

// Somebody reads a named pipe when it opens for writing.
bool somebody_reads(const std::string &pipe) {
  const int fd = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd >= 0) {
    close(fd);
  }
  return fd >= 0;
}

bool s6_has(const fleet_description &fleet) {
  return somebody_reads(scan_folder(fleet) + "/.s6-svscan/control");
}

std::string command_problem(const std::string &what, const child_result &result) {
  return what + ": " + (result.code < 0 ? result.err : "exit code " + std::to_string(result.code) + " " + result.err);
}

std::string s6_take_in(const fleet_description &fleet) {
  if (s6_has(fleet)) {
    const child_result scanned = run_child({"s6-svscanctl", "-a", scan_folder(fleet)});
    return scanned.code == 0 ? "" : command_problem("s6-svscanctl", scanned);
  }
  std::string problem;
  const std::string room = std::to_string(2 * fleet.switches.size() + kRoomForMore);
  if (start_daemon({"s6-svscan", "-c", room, scan_folder(fleet)}, fleet.directory + "/supervisor.log", problem) != 0) {
    return problem + "; the package s6 has it";
  }
  const bool runs = wait_until(kSupervisedWithin, [&] { return s6_has(fleet); });
  return runs ? "" : "s6-svscan does not start: see " + fleet.directory + "/supervisor.log";
}

std::string s6_start(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  const std::string folder = service_folder(fleet, each, service);
  if (!wait_until(kSupervisedWithin, [&] { return somebody_reads(folder + "/supervise/control"); })) {
    return "s6-svscan did not take in " + folder + ": see " + fleet.directory + "/supervisor.log";
  }
  const bool says_ready = strcmp(service, kSwitchService) == 0;
  const child_result started =
      says_ready ? run_child({"s6-svc", "-uwU", "-T", kReadyWithin, folder}) : run_child({"s6-svc", "-u", folder});
  return started.code == 0 ? "" : command_problem("s6-svc", started);
}

service_state s6_state(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  const std::string folder = service_folder(fleet, each, service);
  if (!somebody_reads(folder + "/supervise/control")) {
    return {};
  }
  const child_result status = run_child({"s6-svstat", "-o", "up,ready,wantedup,updownfor", folder});
  service_state state = state_of_s6(status.out, run_child({"s6-svdt", folder}).out);
  if (state.word == "starting" && strcmp(service, kAgentService) == 0) {
    state.word = "up";  // an agent does not say when it is ready
  }
  return state;
}

std::string s6_stop(const fleet_description &fleet) {
  if (!s6_has(fleet)) {
    return "";
  }
  const child_result told = run_child({"s6-svscanctl", "-t", scan_folder(fleet)});
  if (told.code != 0) {
    return command_problem("s6-svscanctl", told);
  }
  // The last to go are the processes' own supervisors.
  const auto all_gone = [&] {
    std::error_code why;
    const std::filesystem::directory_iterator services(scan_folder(fleet), why);
    return !s6_has(fleet) && std::none_of(begin(services), end(services), [](const auto &entry) {
      return somebody_reads(entry.path().string() + "/supervise/control");
    });
  };
  return wait_until(kStoppedWithin, all_gone) ? "" : "not all processes ended within two minutes";
}

}  // namespace

service_state state_of_s6(const std::string &status, const std::string &deaths) {
  std::istringstream words(status);
  std::string up, ready, wanted;
  service_state state;
  words >> up >> ready >> wanted >> state.seconds;
  if (up == "true") {
    state.word = ready == "true" ? "up" : "starting";
  } else {
    // Wanted and not there: between two starts, unless it gave up, which takes the wish away.
    state.word = wanted == "true" ? "starting" : !deaths.empty() ? "failed" : "down";
    state.seconds = 0;
  }
  state.restarts = static_cast<uint32_t>(std::ranges::count(deaths, '\n'));
  return state;
}

const supervisor_calls kS6 = {"s6", s6_has, s6_take_in, s6_start, s6_state, s6_stop};
