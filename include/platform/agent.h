// The agent extension: notifications, who asks, what a user's role allows, and error reporting.
// Everything here is called on the agent's one thread; "the PDU" is the one being served.
#ifndef PLATFORM_AGENT_H
#define PLATFORM_AGENT_H

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/types.h>
#include <stddef.h>
#include <stdint.h>

#include "platform/bitset.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
  uint32_t code;
  char text[256];  // NUL-terminated
} snmp_error_record_t;

// Turns one notification message into a trap: returns the trap's varbinds, to be freed by the caller, fills `trap_oid`
// (room for MAX_OID_LEN) and its length, in sub-identifiers, and sets `*send` to 1; or returns null with `*send` 0 when
// no trap is to be sent. The varbinds lack sysUpTime and snmpTrapOID. It is called on the agent's thread and outside a
// PDU, since it may ask the switch; `msg` stays the caller's and is read with mts_payload_get and mts_payload_size.
typedef netsnmp_variable_list *(*notification_handler_t)(void *msg, oid *trap_oid, size_t *trap_oid_len, int *send);

// Both return 0 on success. A second registration of an id replaces the first; unregistering an id that has no handler
// is an error.
int register_for_notification(int id, notification_handler_t handler);
int unregister_for_notification(int id);

// The PDU's user (for v1 and v2c the security name that its community maps to) and session, as texts owned by the
// extension and valid while the PDU is served; empty texts outside a PDU. The argument is not used.
const char *get_snmp_username(int unused);
const char *get_snmp_sessionid(int unused);

// A number unique to the PDU (never a client's own request id, which clients repeat), positive. Outside a PDU a number
// that no other call and no PDU gets: what is kept by the number is kept for nobody then.
//
// The row that a PDU read is kept for its other columns under this number: one that two PDUs share answers the second
// with the first one's row, one that changes within a PDU costs an exchange a column. net-snmp gives each PDU such a
// number, `transid` of netsnmp_pdu, but does not tell the module's functions, which are of the agent's old interface,
// the PDU that they serve: a handler that is injected in front of each registration knows it (`asp->pdu` of its
// netsnmp_agent_request_info).
int get_pdu_reqid(void);

// Roles close, they never open: the answers below are those of a user who may use nothing when a line of the user's
// role is malformed, when there are roles and the user is in no group (or there is no PDU), and while the extension is
// not loaded. The extension refuses what such users ask for before the module that serves it is called.

// Adds to `set` the VSANs that the PDU's user may use under the OID: all 4,096 for a user who is restricted to
// interfaces only; clears it for a user who may use none. `pdu_type` is SNMP_MSG_GET for every read and SNMP_MSG_SET
// for every write. Returns 1 when the user is restricted to that set, 0 when the user is not restricted.
int snmp_get_allowed_vsans_subtree(vsan_set_t *set, const oid *name, size_t name_len, int pdu_type);

// Non-zero when VSAN `vsan_id` is in `set`; an id above 4095 never is.
int snmp_is_vsan_allowed_in_list(uint32_t vsan_id, vsan_set_t *set);

// Moves `*vsan_id` to the next VSAN of `set` above it and returns non-zero; returns 0 when there is none.
int snmp_get_next_allowed_vsan_in_list(uint32_t *vsan_id, vsan_set_t *set);

// Non-zero when the PDU's user may use VSAN `vsan_id` under the OID.
int snmp_is_vsan_allowed_subtree(uint32_t vsan_id, const oid *name, size_t name_len, int pdu_type);

// The modes of intf_chk_vsan_role_allowed.
enum { kModeWrite = 1, kModeRead = 3 };

// 0 when the role of the PDU's user may touch the interface in that mode, else a status; -1 with `errno` when the VSAN
// manager had to be asked and did not answer. A role with a list of interfaces may touch those. One without may read
// all, and write those that are in one of its VSANs now, of which the VSAN manager is asked. A refused write is
// reported as log_set_error does. `set` is not used.
int intf_chk_vsan_role_allowed(uint32_t if_index, int mode, vsan_set_t *set);

// Keeps the record as the last error of the PDU's user, for `vsanctl show errors`, and writes it to the agent's log.
void log_snmp_error(snmp_error_record_t *record);

// The details of log_set_error: a request was refused or a value is not acceptable; the agent's side itself refused (a
// restriction, no memory).
enum { kRefusedByManager = 200, kRefusedByModule = 584 };

// The same for a status. `detail` says where it was met.
void log_set_error(int code, int detail);

// Appends one varbind, its value and name copied, to `list`, or starts a list when `list` is null. Returns the list's
// head, or null when there is no memory, `list` then being as it was.
netsnmp_variable_list *build_varbind(netsnmp_variable_list *list, const void *value, u_char asn_type, size_t value_len,
                                     const oid *name, size_t name_len);

#ifdef __cplusplus
}
#endif

#endif
