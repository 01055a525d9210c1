// The PDU that the agent is serving, and who sent it.
#ifndef PLATFORM_AGENT_EXTENSION_SERVED_PDU_H
#define PLATFORM_AGENT_EXTENSION_SERVED_PDU_H

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/types.h>
#include <stddef.h>

#include "roles.h"

// A handler of ours stands in front of every object under the switch's root, from the moment this library is mapped:
// the first library that needs it registers its objects after that. So objects are closed, not open, while the
// extension is not loaded.

// The same for what was registered before; returns how many objects there are.
size_t served_pdu_objects();

// Whether an OID under the root goes on with these `count` numbers behind it.
bool is_under_switch_root(const oid *name, size_t length, const oid *numbers, size_t count);

// The number of the PDU that is being served; 0 when there is none.
int served_pdu_number();

// What applies to the PDU's user, looked up once for all requests of an object; outside a PDU what applies to a user
// without a group.
role_verdict served_pdu_role();

#endif
