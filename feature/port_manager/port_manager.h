// The port manager: interfaces and active memberships. An active membership is a pair (VSAN, interface) of an interface
// that is up in a VSAN that is administratively active; pairs are ordered by VSAN, then interface.
#ifndef FEATURE_PORT_MANAGER_PORT_MANAGER_H
#define FEATURE_PORT_MANAGER_PORT_MANAGER_H

#include <stdint.h>

#include <utility>

#include "feature/vsan_manager/manager/vsan_manager.h"

// One interface: GET reads the one in the request, GETNEXT the next one after it, SET takes it up or down and answers
// no payload. Request and answer, big-endian: index (4 octets), 1 when it is up or 0 (4), name with its NUL (32). A SET
// does not look at the name.
enum { kOpInterface = 9002, kInterfaceRecordSize = 40, kInterfaceNameAt = 8 };

// Serves kServicePortManager; `context` is the switch_managers. An absent pair answers kStatusNoMembership, no further
// pair kStatusEndOfMemberships, an absent interface and no further interface kStatusNoEntry.
void port_manager_handle(void *context, const message_request &request, message_reply &reply);

// The first active membership after the given pair. Returns false when there is none.
bool next_active_membership(const switch_state &state, std::pair<uint32_t, uint32_t> after,
                            std::pair<uint32_t, uint32_t> &found);

#endif
