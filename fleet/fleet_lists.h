// Lists of a fleet's switches for other programs.
#ifndef FLEET_FLEET_LISTS_H
#define FLEET_FLEET_LISTS_H

#include <string>

#include "fleet_description.h"

// Targets for Prometheus' file_sd_configs, as the scrape configurations of docs/monitoring.md take them: a JSON array
// with one element a group, ADDRESS:PORT of its switches and the labels fleet and group.
std::string target_list(const fleet_description &fleet);

// A line a switch for an NMS to import, in CSV with a line of titles: name, address, port, version, community, write
// community, group, world wide name, machine.
std::string import_list(const fleet_description &fleet);

#endif
