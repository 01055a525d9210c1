// The files of a fleet: what the supervisor starts, what the agents read, what the switches begin with.
#ifndef FLEET_SERVICE_FILES_H
#define FLEET_SERVICE_FILES_H

#include <string>

#include "fleet_description.h"

// The two processes of a switch; their names end the names of their service folders.
inline constexpr const char *kSwitchService = "switchd";
inline constexpr const char *kAgentService = "agent";

// Where the programs and the agent's modules are.
struct fleet_programs {
  std::string switchd;
  std::string vsanctl;
  std::string libraries;  // a folder
};

// Beside this program, as in a build directory, or where they were installed. Returns 0, or -1 with `problem` filled
// when they are in neither place.
int find_programs(fleet_programs &programs, std::string &problem);

// Writes the files of the fleet's switches, over those that are there; stores and logs stay. Returns 0, or -1 with
// `problem` filled.
int write_fleet_files(const fleet_description &fleet, const fleet_programs &programs, std::string &problem);

// Removes all that write_fleet_files and the processes wrote, stores included, and the fleet's directory when nothing
// else is in it. Returns 0, or -1 with `problem` filled.
int remove_fleet_files(const fleet_description &fleet, std::string &problem);

// The text of the topology with the switch's name and world wide name in it. Returns 0, or -1 with `problem` filled.
int switch_topology(const std::string &topology, const std::string &file, const fleet_switch &each, std::string &text,
                    std::string &problem);

#endif
