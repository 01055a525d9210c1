// Who keeps the processes of a fleet running: a supervisor that the machine has, behind one set of calls.
#ifndef FLEET_SUPERVISOR_H
#define FLEET_SUPERVISOR_H

#include <stdint.h>

#include <string>

#include "fleet_description.h"

// One process of a switch, as the supervisor sees it.
struct service_state {
  std::string word = "down";  // up; starting: it runs and is not ready; failed: it is not started again; down
  uint32_t seconds = 0;       // since when, for up and starting; 0 otherwise
  uint32_t restarts = 0;      // since the fleet was started
};

// Those that return a text return what is wrong, empty when nothing is. `start` and `state` may be called from several
// threads.
struct supervisor_calls {
  const char *name;
  // Whether it has anything of the fleet under it.
  bool (*has)(const fleet_description &fleet);
  // Takes in the services of the fleet, whose files are written; starts none.
  std::string (*take_in)(const fleet_description &fleet);
  // Starts a service of one switch and waits until it is ready, where it says so.
  std::string (*start)(const fleet_description &fleet, const fleet_switch &each, const char *service);
  service_state (*state)(const fleet_description &fleet, const fleet_switch &each, const char *service);
  // Ends all of the fleet and waits for it.
  std::string (*stop)(const fleet_description &fleet);
};

extern const supervisor_calls kS6;
extern const supervisor_calls kSystemd;

// The one that the description names; for "auto" systemd where that runs the machine, s6 elsewhere.
const supervisor_calls &supervisor_of(const fleet_description &fleet);

// The instance's name of a unit whose instances are paths, as systemd-escape --path gives it.
std::string unit_path(const std::string &path);

// Reads what `systemctl show` prints of a unit: ActiveState, SubState, NRestarts, ActiveEnterTimestampMonotonic; `now`
// is that clock's time in microseconds.
service_state state_of_properties(const std::string &properties, uint64_t now);

// Reads what s6-svstat prints for up,ready,wantedup,updownfor, and s6-svdt, a line a death.
service_state state_of_s6(const std::string &status, const std::string &deaths);

#endif
