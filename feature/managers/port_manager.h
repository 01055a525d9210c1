// The port manager: interfaces and active memberships. An active membership is a pair (VSAN, interface) of an interface
// that is up in a VSAN that is administratively active; pairs are ordered by VSAN, then interface.
#ifndef FEATURE_MANAGERS_PORT_MANAGER_H
#define FEATURE_MANAGERS_PORT_MANAGER_H

#include <stdint.h>

#include <utility>

#include "managers.h"

// Serves kServicePortManager; `context` is the switch_managers. An absent pair answers kStatusNoMembership, no further
// pair kStatusEndOfMemberships, an absent interface and no further interface kStatusNoEntry. An interface that is made
// or renamed answers kStatusInterfaceIndex, kStatusInterfaceName, kStatusInterfaceExists, kStatusNoVsan or
// kStatusInterfacesFull when it cannot be.
void port_manager_handle(void *context, const message_request &request, message_reply &reply);

// The first active membership after the given pair. Returns false when there is none.
bool next_active_membership(const switch_state &state, std::pair<uint32_t, uint32_t> after,
                            std::pair<uint32_t, uint32_t> &found);

#endif
