// systemd: each process is an instance of the unit vsanfleet@.service, named by the path of its service folder.
#include <time.h>
#include <unistd.h>

#include <map>
#include <sstream>

#include "child_process.h"
#include "supervisor.h"

namespace {

std::string unit_of(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  return "vsanfleet@" + unit_path(service_folder(fleet, each, service)) + ".service";
}

// All units of the fleet, for commands that take patterns; a backslash stands for itself when there are two.
std::string units_of(const fleet_description &fleet) {
  std::string pattern;
  for (const char c : "vsanfleet@" + unit_path(fleet.directory + "/services/")) {
    pattern += c == '\\' ? "\\\\" : std::string(1, c);
  }
  return pattern + "-*.service";
}

std::string systemctl_problem(const child_result &result) {
  return result.code == 0 ? "" : "systemctl: " + result.err;
}

bool systemd_has(const fleet_description &fleet) {
  return !run_child({"systemctl", "list-units", "--plain", "--no-legend", units_of(fleet)}).out.empty();
}

std::string systemd_take_in(const fleet_description &) {
  return systemctl_problem(run_child({"systemctl", "cat", "vsanfleet@.service"}));
}

std::string systemd_start(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  return systemctl_problem(run_child({"systemctl", "start", unit_of(fleet, each, service)}));
}

service_state systemd_state(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  const child_result shown =
      run_child({"systemctl", "show", "--property=ActiveState,SubState,NRestarts,ActiveEnterTimestampMonotonic",
                 unit_of(fleet, each, service)});
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return state_of_properties(shown.out,
                             static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000);
}

std::string systemd_stop(const fleet_description &fleet) {
  return systemctl_problem(run_child({"systemctl", "stop", units_of(fleet)}));
}

}  // namespace

std::string unit_path(const std::string &path) {
  const size_t first = path.find_first_not_of('/');
  const size_t last = path.find_last_not_of('/');
  std::string text;
  for (size_t i = first; first != std::string::npos && i <= last; ++i) {
    const char c = path[i];
    const bool stays = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                       c == ':' || (c == '.' && i > first);
    char escaped[8];
    snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
    text += c == '/' ? "-" : stays ? std::string(1, c) : escaped;
  }
  return text;
}

service_state state_of_properties(const std::string &properties, uint64_t now) {
  std::map<std::string, std::string> values;
  std::istringstream lines(properties);
  for (std::string line; std::getline(lines, line);) {
    const size_t at = line.find('=');
    if (at != std::string::npos) {
      values[line.substr(0, at)] = line.substr(at + 1);
    }
  }
  const auto number = [&](const char *key) { return strtoull(values[key].c_str(), nullptr, 10); };
  service_state state;
  const std::string &active = values["ActiveState"];
  state.word = active == "active" ? "up" : active == "activating" ? "starting" : active == "failed" ? "failed" : "down";
  const uint64_t since = number("ActiveEnterTimestampMonotonic");
  state.seconds = state.word == "up" && since < now ? static_cast<uint32_t>((now - since) / 1000000) : 0;
  state.restarts = static_cast<uint32_t>(number("NRestarts"));
  return state;
}

const supervisor_calls kSystemd = {"systemd", systemd_has, systemd_take_in, systemd_start, systemd_state, systemd_stop};

const supervisor_calls &supervisor_of(const fleet_description &fleet) {
  const bool systemd_runs = access("/run/systemd/system", F_OK) == 0;
  return fleet.supervisor == "systemd" || (fleet.supervisor == "auto" && systemd_runs) ? kSystemd : kS6;
}
