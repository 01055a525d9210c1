// What may be changed of VSANs and interfaces, and into what. Every operation checks a request against the state and
// adds what it wants to a change; it returns 0, or the status of the refusal and then leaves the change unused.
//
// Decided here:
// 1. An empty VSAN name means "no name"; any number of VSANs may be without one.
// 2. A new VSAN that brings 0 for its in-order delivery or its drop latency gets the defaults: off (2) and 2000 ms.
// 3. Interoperability 0 is another way to say "the default mode" and is kept as 100.
// 4. A VSAN's operational state is never taken from a client, and what follows a row on the wire only tells which of
//    its columns are the client's own writes (row_merge.h).
// 5. A new name is plain text (plain_text.h): names go into logs, JSON and metrics, where one that is not UTF-8 spoils
//    the whole answer. A name that was taken before this rule is kept as long as nobody changes it.
#ifndef FEATURE_MANAGERS_RULES_VSAN_RULES_H
#define FEATURE_MANAGERS_RULES_VSAN_RULES_H

#include <stdint.h>

#include <string_view>

#include "state/switch_state.h"

// 0, or the status that tells which field of the record no VSAN (interface) can have. `known_name` is a name that the
// VSAN had before and may keep: older switches took names that are no plain text. The name of an interface is that of a
// stored one: new ones are plain text besides.
int vsan_problem(const vsan_record &vsan, std::string_view known_name = {});
int interface_problem(const interface_record &interface);

// Creates the VSAN when there is none and `row_status` is active, else replaces it. `known_name` is the name that the
// client read before, if it did.
int plan_vsan_set(const switch_state &state, vsan_record vsan, uint32_t row_status, std::string_view known_name,
                  switch_change &change);

// Deletes the VSAN with its timers; its interfaces go home to the default VSAN.
int plan_vsan_delete(const switch_state &state, uint32_t id, switch_change &change);

// Puts an interface into another VSAN; from then on its membership is a static one.
int plan_interface_move(const switch_state &state, uint32_t index, uint32_t vsan, switch_change &change);

// Takes an interface up or down.
int plan_interface_admin(const switch_state &state, uint32_t index, bool up, switch_change &change);

// Makes an interface that is not there; its membership is a static one.
int plan_interface_create(const switch_state &state, interface_record interface, switch_change &change);

// Takes an interface away; what its VSAN was through it, it is no more.
int plan_interface_delete(const switch_state &state, uint32_t index, switch_change &change);

// Gives an interface another name.
int plan_interface_rename(const switch_state &state, uint32_t index, std::string name, switch_change &change);

#endif
