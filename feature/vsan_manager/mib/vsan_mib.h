// The VSAN management MIB module: what libvsanmib.so exports.
//
// 1. The agent loads the library and calls init_vsan_mib; deinit_vsan_mib undoes it wholly. Everything runs on the
//    agent's one thread; nothing here may be called from another.
// 2. A find function (FindVarMethod) gets `exact` non-zero for GET and SET, 0 for GETNEXT. It returns a pointer into
//    storage of the module, valid until the next call, or null: no such instance, or the end of the table.
// 3. A header_ function returns 0 with `record` filled and `name`/`length` rewritten to the row found, or a status:
//    kStatusNoEntry for an OID that names no row, a manager's status, or -1 with `errno`. `name` has room for
//    MAX_OID_LEN sub-identifiers.
// 4. A write method (WriteMethod) is called once a phase and returns a net-snmp SET status. An integer arrives as a
//    host `long` or as four octets.
// 5. Records are in host order, big-endian only on the wire. Only the low 32 bits of a sub-identifier count.
// 6. Nothing throws. No pointer may be null unless its comment says so.
#ifndef FEATURE_VSAN_MANAGER_MIB_VSAN_MIB_H
#define FEATURE_VSAN_MANAGER_MIB_VSAN_MIB_H

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include "platform/indxobj.h"
#include "vsan_records.h"

enum { kVsanMibObjects = 28, kVsanMibRootLen = 9 };

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Registers the objects and the two notification handlers, and makes the set lists. When a list cannot be made the
// objects are unregistered again and the module answers nothing.
void init_vsan_mib(void);

// Unregisters everything and releases the set lists. Harmless after an init that failed half-way.
void deinit_vsan_mib(void);

// The object table, one row an object in OID order, and the root it hangs under: 1.3.6.1.4.1.32473.9.282.
extern struct variable7 vsan_mib_variables[kVsanMibObjects];
extern oid vsan_mib_variables_oid[kVsanMibRootLen];

// Stores the write method of the column with this magic number; a column without one leaves `*write_method` as it
// was, except magic 17 of the interface table, which gets null.
void set_table_set_methods(int magic, WriteMethod **write_method);
void set_if_table_set_methods(int magic, WriteMethod **write_method);
void set_fctimer_table_set_methods(int magic, WriteMethod **write_method);

// The SNMP error of a manager's status: 0 for 0; inconsistentName (noSuchName unless `request_type` is kMsgSet) when
// the named VSAN does not fit the request; else genErr.
int to_snmp_error_code(int vsan_mgr_status, int request_type);

// One GET exchange for a scalar. `request` may be null: none is sent, and `size` is the answer's expected size.
// Returns a pointer to a 32-bit value, valid until the next call for a scalar of the same kind (counts, everything
// else), or null.
void *get_using_cmi(int opcode, void *request, int size);

// Whether the user of the PDU may read (`mode` 3) or write (`mode` 1) the interface's membership in `vsan_id`: 0
// allowed, else a status.
int process_for_vsan_restriction(uint32_t if_index, int mode, uint32_t vsan_id, oid *name, size_t name_len,
                                 int pdu_type);

// Find functions.
FindVarMethod get_vsan_mib;
FindVarMethod get_vsanEntry;
FindVarMethod get_vsanIfEntry;
FindVarMethod get_vsanMembershipSummaryEntry;
FindVarMethod get_vsanFcTimerEntry;

// Row helpers. get_vsanEntry_instance zeroes the record and takes the VSAN from the OID, without a message;
// header_vsanEntry fetches the row, or answers from the one-row cache of this PDU.
int get_vsanEntry_instance(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanEntry *record);
int header_vsanEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanEntry *record);
int header_vsanIfEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanIfEntry *record);
// For GETNEXT this one asks the manager for the next VSAN; otherwise it sends nothing.
int get_vsanFcTimerEntry_instance(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact,
                                  vsanFcTimerEntry *record);
// `get_for_set` is non-zero for a read on behalf of a write, which asks for the pending value first.
int header_vsanFcTimerEntry(struct variable *vp, oid *name, size_t *length, int exact, vsanFcTimerEntry *record,
                            int get_for_set);
int header_vsanMembershipSummaryEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact,
                                      vsanMembershipSummaryEntry *record);

// Record operations. vsanEntry_defaults names the VSAN after its index, which the caller has set, and returns the
// name's length. The comparisons are signed and positive when a sorts before b; a null argument gives -1. The
// conversions swap every 32-bit field on a little-endian host and do nothing on a big-endian one; each is its own
// inverse.
int vsanEntry_defaults(vsanEntry *record);
int vsanEntry_comp(const void *a, const void *b);
void vsanEntry_ntoh(vsanEntry *record);
void vsanEntry_hton(vsanEntry *record);
void vsanIfEntry_defaults(vsanIfEntry *record);
int vsanIfEntry_comp(const void *a, const void *b);
void vsanIfEntry_ntoh(vsanIfEntry *record);
void vsanIfEntry_hton(vsanIfEntry *record);
void vsanNewFcTimer_ntoh(vsanFcTimerEntry *record);

// The rows that the current PDU writes, and the same rows as they were before it. Elements are heap-allocated and
// freed by whoever removes them.
extern indxobj_t vsanEntry_list;
extern indxobj_t vsanEntry_undo_list;

// The set lists' four operations on the VSAN that `name` ends in; each returns a SET status. `column` is a magic
// number; `value` may be null, which is refused.
int handle_onepdu_undo_vsanEntryList(int column, oid *name, size_t name_len, const void *value, size_t value_len);
int handle_set_vsanEntryList(oid *name, size_t name_len);
int handle_undo_vsanEntryList(oid *name, size_t name_len);
int handle_free_vsanEntryList(oid *name, size_t name_len);

// Write methods of the VSAN table. The last three are handed out for no writable column.
WriteMethod set_vsanRowStatus;
WriteMethod set_vsanName;
WriteMethod set_vsanAdminState;
WriteMethod set_vsanLoadBalancingType;
WriteMethod set_vsanInterOperType;
WriteMethod set_vsanInorderDelivery;
WriteMethod set_vsanNetworkDropLatency;
WriteMethod set_vsanInterOperMode;
WriteMethod set_vsanMediaType;
WriteMethod set_vsanMtu;

// Write methods of the interface table. set_vsanIfDenyList always answers noSuchName, check_valid_ifindex always 1.
WriteMethod set_vsanIfVsan;
WriteMethod set_vsanIfDenyList;
int check_valid_ifindex(void);

// Write methods of the per-VSAN timers.
WriteMethod set_vsanFcTimerForceFlag;
WriteMethod set_vsanFcTimerRatov;
WriteMethod set_vsanFcTimerEdtov;
WriteMethod set_vsanFcTimerDstov;
// `flags` with the force bit of `timer_type` added when `force` is non-zero.
uint32_t set_mib_vsanFcTimerForceFlag(uint32_t flags, uint32_t timer_type, int force);

// Write methods of the switch-wide parameters, and the sender behind them: sends `size` bytes of a big-endian payload
// as a SET.
WriteMethod set_fcTimerRatov;
WriteMethod set_fcTimerEdtov;
WriteMethod set_fcTimerDstov;
WriteMethod set_fcNetworkLatency;
WriteMethod set_fcSwitchLatency;
WriteMethod set_fcInorderDelivery;
int set_Scalar(uint32_t opcode, uint32_t size, void *payload);

// Notification handlers: each turns one message (or null) into a trap; see platform/agent.h for the contract.
netsnmp_variable_list *handle_notifications(void *msg, oid *trap_oid, size_t *trap_oid_len, int *send);
netsnmp_variable_list *handle_port_memb_change_notifications(void *msg, oid *trap_oid, size_t *trap_oid_len, int *send);

// Notification control; in no row of the object table. vsan_trap_vsan_set returns 0, or -1 when the manager did not
// take the value.
WriteMethod write_vsanNotificationCntl;
int vsan_trap_vsan_set(uint32_t value);

// The name of a value, or null; the value of a name, case ignored, or 0.
const char *__vsan_attr_key_t_find(int value);
int __vsan_attr_key_t_str2enum(const char *name);
const char *__vsan_media_t_find(int value);
int __vsan_media_t_str2enum(const char *name);
const char *__vsan_loadbalancing_method_t_find(int value);
int __vsan_loadbalancing_method_t_str2enum(const char *name);
const char *__vsan_state_t_find(int value);
int __vsan_state_t_str2enum(const char *name);
const char *__vsan_oper_state_t_find(int value);
int __vsan_oper_state_t_str2enum(const char *name);
const char *__vsan_state_change_t_find(int value);
int __vsan_state_change_t_str2enum(const char *name);
const char *__port_membership_update_t_find(int value);
int __port_membership_update_t_str2enum(const char *name);
const char *__iscsi_vsan_list_operation_t_find(int value);
int __iscsi_vsan_list_operation_t_str2enum(const char *name);
const char *__vsan_kdx_state_t_find(int value);
int __vsan_kdx_state_t_str2enum(const char *name);
const char *__vsan_kdx_attr_t_find(int value);
int __vsan_kdx_attr_t_str2enum(const char *name);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
