// What vsanfleet does with a fleet: each procedure is a command, prints what it has to say, and returns the exit code.
#ifndef FLEET_FLEET_COMMANDS_H
#define FLEET_FLEET_COMMANDS_H

#include <string>
#include <vector>

#include "fleet_description.h"

// Exit codes. kFleetSome: it was not done, or does not hold, for some switches; each was named.
enum { kFleetOk = 0, kFleetSome = 1, kFleetUsage = 2, kFleetSupervisor = 3, kFleetOutput = 4 };

// Starts what does not run, switches and then their agents, and waits until agents answer. With `foreground` it then
// stays until SIGTERM or SIGINT, and stops the fleet.
int start_fleet(const fleet_description &fleet, bool foreground);

// Ends all processes of the fleet. With `remove` its files go too, stores included.
int stop_fleet(const fleet_description &fleet, bool remove);

// Prints a line a switch, or JSON. kFleetSome when not all is up.
int show_fleet(const fleet_description &fleet, bool as_json);

// Runs vsanctl with the words for each switch, `at_once` of them at a time, 0 being all, and prints what they say under
// the switches' names; or a JSON object a line. A Ctrl-C reaches each vsanctl.
int run_for_each(const fleet_description &fleet, const std::vector<std::string> &words, uint32_t at_once, bool as_json);

// How many switches are started at a time.
size_t starts_at_once(const fleet_description &fleet);

#endif
