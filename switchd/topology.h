// The topology file: the configuration that a switch starts with the first time, in TOML.
//
// 1. It is read at every start and must be sound, but it is applied only when the store holds no configuration yet:
//    from then on the store is what counts.
// 2. Without a file a switch starts with VSAN 1 alone, and no interfaces.
// 3. Errors name file, line and key. The first one found is told.
#ifndef SWITCHD_TOPOLOGY_H
#define SWITCHD_TOPOLOGY_H

#include <string>

#include "state/switch_state.h"

// The configuration of a switch without a topology file, as a change of an empty state.
switch_change default_topology();

// Reads the file. Returns 0 with `change` filled, or -1 with `error` filled.
int read_topology(const std::string &path, switch_change &change, std::string &error);

#endif
