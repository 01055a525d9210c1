// What a fabric's values mean for one switch: those of the whole switch and of each VSAN that takes part are in force
// here as the fabric has them. A VSAN that is kept out keeps its own. One that is not here takes the fabric's when it
// is made.
#ifndef FEATURE_MANAGERS_RULES_FABRIC_RULES_H
#define FEATURE_MANAGERS_RULES_FABRIC_RULES_H

#include <vector>

#include "distribution.h"
#include "fabric_records.h"
#include "state/switch_state.h"

bool is_in_fabric(const switch_state &state);

std::vector<distribution_value> listed_values(const timer_map &timers);

// The timers in force that are distributed: those of the whole switch and of VSANs that take part.
timer_map distributed_timers(const switch_state &state);

// The fabric's values with the pending ones over them.
timer_map values_after_commit(const switch_state &state);

// Takes a commit of the fabric `name`, known as `id`: values, membership, and the end of the session when it is the
// switch's own. A commit of number 0 has no values.
void plan_fabric_commit(const switch_state &state, const std::string &name, const std::string &id,
                        const fabric_commit &commit, switch_change &change);

// Leaves it: the timers in force stay, an open session is dropped.
void plan_fabric_leave(const switch_state &state, switch_change &change);

// Completes a change of a switch in a fabric: VSANs that are made or taken in take the fabric's values.
void follow_fabric(const switch_state &state, switch_change &change);

#endif
