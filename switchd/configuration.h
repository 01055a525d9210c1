// The configuration of the running switch as a whole: given out as a topology file, and taken from one.
#ifndef SWITCHD_CONFIGURATION_H
#define SWITCHD_CONFIGURATION_H

#include <string>

#include "managers.h"

// The change that makes the state the one that `wanted`, a change of an empty state as topology.h reads it, makes. What
// is the same already is not in it; times of changes, the store's identity and notifications stay.
switch_change configuration_change(const switch_state &state, const switch_change &wanted);

// How much of the switch a change touches, for people: "2 VSANs, 1 interface"; "nothing" when it touches nothing.
std::string configuration_extent(const switch_state &state, const switch_change &change);

// Makes the running switch the wanted one, in one transaction; notifications and the table's time of change are as if
// each change had been made by hand. Returns 0 or a status: kStatusSessionOpen while a distribution session is open,
// kStatusStoreFailed with nothing changed.
int configuration_apply(switch_managers &managers, const switch_change &wanted);

#endif
