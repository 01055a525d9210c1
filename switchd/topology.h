// The topology file: the configuration of a whole switch, in TOML.
//
// 1. switchd reads one at every start, which must be sound, but applies it only when the store holds no configuration
//    yet: from then on the store is what counts, and a file is applied with `vsanctl import`.
// 2. Without a file a switch starts with VSAN 1 alone, and no interfaces.
// 3. Errors name file, line and key. All of a file are told, one a line, unless its syntax is broken.
// 4. Its [fabric] is of the process and not of the configuration: it counts at every start, and `fabric` takes it.
// 5. What is written from a state reads back as that state.
#ifndef SWITCHD_TOPOLOGY_H
#define SWITCHD_TOPOLOGY_H

#include <string>

#include "fabric_options.h"
#include "state/switch_state.h"

// The configuration of a switch without a topology file, as a change of an empty state.
switch_change default_topology();

// Reads the file. Returns 0 with `change` filled, as a change of an empty state, or -1 with `error` filled.
int read_topology(const std::string &path, switch_change &change, std::string &error, fabric_options *fabric = nullptr);

// The same for a text; errors call it `name`.
int parse_topology(const std::string &text, const std::string &name, switch_change &change, std::string &error,
                   fabric_options *fabric = nullptr);

// The state as a topology file, without what is not configuration: notifications, pending timers of a session, times of
// changes.
std::string write_topology(const switch_state &state);

#endif
