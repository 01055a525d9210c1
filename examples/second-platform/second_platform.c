/* A platform in memory: every function that the module calls, with no switch behind them. Loaded before the module. */
#define _GNU_SOURCE /* dladdr */

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "platform/agent.h"
#include "platform/bitset.h"
#include "platform/cmi.h"
#include "platform/indxobj.h"
#include "platform/kdx.h"
#include "platform/mts.h"
#include "platform/port_manager.h"
#include "platform/sdwrap.h"
#include "platform/syserr.h"
#include "platform/sysmgr.h"
#include "platform/vsan_range.h"
#include "requests.h"
#include "statuses.h"
#include "switch_root.h"
#include "vsan_records.h"

/* ---- What the switch holds: records in host order ---- */

enum { VSANS = 16, INTERFACES = 4, TIMERS = 4, FIRST_TIMER = 7, SWITCH_LATENCY = 17, NETWORK_LATENCY = 18 };
enum { DEFAULT_VSAN = 1, ROW_ACTIVE = 1, STATE_ACTIVE = 1, OPER_UP = 1, OPER_DOWN = 2, ATTR_STATE = 1, ATTR_OPER = 19 };

struct vsan {
  vsanEntry row; /* index 0: the place is free */
  uint32_t timers[TIMERS];
};

static struct vsan vsans[VSANS]; /* in no order */
static vsanIfEntry interfaces[INTERFACES];
static const uint32_t standard_timers[TIMERS] = {2000, 10000, 5000, 5000}; /* E_D, R_A, D_S, F_S; milliseconds */
static uint32_t switch_timers[TIMERS];
static uint32_t latencies[2] = {500, 2000};
static uint32_t inorder = 2;
static struct timeval changed;

static struct vsan *find_vsan(uint32_t id) {
  for (size_t i = 0; id != 0 && i < VSANS; ++i) {
    if (vsans[i].row.vsanIndex == id) {
      return &vsans[i];
    }
  }
  return NULL;
}

static struct vsan *vsan_after(uint32_t id) {
  struct vsan *next = NULL;
  for (size_t i = 0; i < VSANS; ++i) {
    const uint32_t index = vsans[i].row.vsanIndex;
    if (index > id && (next == NULL || index < next->row.vsanIndex)) {
      next = &vsans[i];
    }
  }
  return next;
}

static vsanIfEntry *find_interface(uint32_t index, int after) {
  for (size_t i = 0; i < INTERFACES; ++i) { /* they are in order */
    if (after ? interfaces[i].ifIndex > index : interfaces[i].ifIndex == index) {
      return &interfaces[i];
    }
  }
  return NULL;
}

static struct vsan *add_vsan(const vsanEntry *row) {
  for (size_t i = 0; i < VSANS; ++i) {
    if (vsans[i].row.vsanIndex == 0) {
      vsans[i].row = *row;
      memcpy(vsans[i].timers, standard_timers, sizeof standard_timers);
      return &vsans[i];
    }
  }
  return NULL;
}

static void fill_switch(void) {
  static const uint32_t ids[] = {DEFAULT_VSAN, 10, 20};
  for (size_t i = 0; i < sizeof ids / sizeof ids[0]; ++i) {
    vsanEntry row = {.vsanIndex = ids[i],
                     .vsanMediaType = 1,
                     .vsanAdminState = STATE_ACTIVE,
                     .vsanMtu = 2112,
                     .vsanInorderDelivery = 2,
                     .vsanInteropMode = kVsanInteropDefault,
                     .vsanLoadBalancingType = 2,
                     .vsanRowStatus = ROW_ACTIVE,
                     .vsanOperState = OPER_UP,
                     .vsanNetworkDropLatency = 2000};
    snprintf(row.vsanName, sizeof row.vsanName, "VSAN%.4u", (unsigned)ids[i]);
    add_vsan(&row);
  }
  for (uint32_t i = 0; i < INTERFACES; ++i) {
    interfaces[i] = (vsanIfEntry){
        .ifIndex = 16777216 + i * 4096, .vsanIfVsan = i < 2 ? 10 : DEFAULT_VSAN, .vsanIfRowStatus = ROW_ACTIVE};
  }
  memcpy(switch_timers, standard_timers, sizeof switch_timers);
  gettimeofday(&changed, NULL);
}

/* ---- Notifications: kept until the PDU is over, then handed to the module, which makes traps of them ---- */

enum { HANDLERS = 4, KEPT = 16, PAYLOAD_WORDS = 4 };

/* What the module is handed as `msg`. Only mts_payload_get and mts_payload_size look into it. */
struct message {
  int id;
  uint32_t size;
  uint32_t words[PAYLOAD_WORDS]; /* big-endian */
};

static struct {
  int id;
  notification_handler_t handler;
} handlers[HANDLERS];
static struct message kept[KEPT];
static size_t kept_count;
static unsigned int alarm_id;

static void send_trap(struct message *message, notification_handler_t handler) {
  static const oid trap_oid_name[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
  oid trap_oid[MAX_OID_LEN];
  size_t length = 0;
  int send = 0;
  netsnmp_variable_list *values = handler(message, trap_oid, &length, &send);
  if (send != 0 && values != NULL) {
    netsnmp_variable_list *all =
        build_varbind(NULL, trap_oid, ASN_OBJECT_ID, length * sizeof(oid), trap_oid_name, OID_LENGTH(trap_oid_name));
    if (all != NULL) {
      all->next_variable = values;
      send_v2trap(all);
      all->next_variable = NULL;
      snmp_free_varbind(all);
    }
  }
  snmp_free_varbind(values);
}

static void deliver(unsigned int id, void *unused) {
  (void)id;
  (void)unused;
  alarm_id = 0;
  for (size_t m = 0; m < kept_count; ++m) {
    for (size_t h = 0; h < HANDLERS; ++h) {
      if (handlers[h].handler != NULL && handlers[h].id == kept[m].id) {
        send_trap(&kept[m], handlers[h].handler);
      }
    }
  }
  kept_count = 0;
}

static void notify(int id, uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t size) {
  const struct timeval soon = {0, 1000};
  if (kept_count == KEPT) {
    snmp_log(LOG_WARNING, "second_platform: notification %d is lost\n", id);
    return;
  }
  kept[kept_count++] = (struct message){id, size, {htonl(a), htonl(b), htonl(c), htonl(d)}};
  if (alarm_id == 0) {
    alarm_id = snmp_alarm_register_hr(soon, 0, deliver, NULL);
  }
}

int register_for_notification(int id, notification_handler_t handler) {
  unregister_for_notification(id);
  for (size_t h = 0; h < HANDLERS; ++h) {
    if (handlers[h].handler == NULL) {
      handlers[h].id = id;
      handlers[h].handler = handler;
      return 0;
    }
  }
  return -1;
}

int unregister_for_notification(int id) {
  for (size_t h = 0; h < HANDLERS; ++h) {
    if (handlers[h].handler != NULL && handlers[h].id == id) {
      handlers[h].handler = NULL;
      return 0;
    }
  }
  return -1;
}

void *mts_payload_get(void *msg) {
  struct message *message = msg;
  return message == NULL || message->size == 0 ? NULL : message->words;
}

uint32_t mts_payload_size(void *msg) {
  return msg == NULL ? 0 : ((struct message *)msg)->size;
}

/* The payload of 145 is this platform's own affair, as nobody but these two reads it: VSAN, created, the two states.
   That of 102 is not: the module reads it itself. */
int vsan_range_config_change_get_info(void *payload, uint32_t size, int *first, int *second, uint32_t *vsan_id,
                                      int *is_vsan_created, int *third, int *fourth, int *fifth) {
  const uint32_t *words = payload;
  if (payload == NULL || size != 4 * sizeof *words) {
    return -1;
  }
  *first = *second = *third = *fourth = *fifth = 0;
  *vsan_id = ntohl(words[0]);
  *is_vsan_created = ntohl(words[1]) != 0;
  return 0;
}

int vsan_range_config_change_get_attr_values(void *payload, uint32_t size, int key, uint32_t *value, uint32_t *length) {
  const uint32_t *words = payload;
  if (payload == NULL || size != 4 * sizeof *words || (key != ATTR_STATE && key != ATTR_OPER)) {
    return -1;
  }
  *value = ntohl(words[key == ATTR_STATE ? 2 : 3]);
  *length = sizeof *value;
  return 0;
}

static void vsan_changed(const vsanEntry *row, int created, uint32_t oper_state) {
  gettimeofday(&changed, NULL);
  notify(kNotifyVsanChange, row->vsanIndex, (uint32_t)created, row->vsanAdminState, oper_state, 16);
}

/* ---- The exchanges: see platform/exchanges.md ---- */

/* An exchange: the request as it came, big-endian, and room for the answer. Nothing in `out_size` is no payload. */
struct exchange {
  int type;
  const uint8_t *in;
  uint32_t in_size;
  uint8_t out[sizeof(vsanRowMessage)];
  uint32_t out_size;
};

/* Turns one word around where the host is little-endian; the same step back. Not all words are aligned. */
static void swap_word(void *at) {
  uint32_t word;
  memcpy(&word, at, sizeof word);
  word = ntohl(word);
  memcpy(at, &word, sizeof word);
}

static void swap_words(void *record, size_t words) {
  for (size_t i = 0; i < words; ++i) {
    swap_word((uint8_t *)record + i * sizeof(uint32_t));
  }
}

static void swap_row(vsanEntry *row) {
  swap_words(row, offsetof(vsanEntry, vsanName) / sizeof(uint32_t));
  swap_word(&row->vsanNetworkDropLatency);
}

static int answer_words(struct exchange *e, uint32_t a, uint32_t b, uint32_t count) {
  const uint32_t words[] = {htonl(a), htonl(b)};
  e->out_size = count * (uint32_t)sizeof words[0];
  memcpy(e->out, words, e->out_size);
  return 0;
}

static int answer_row(struct exchange *e, const struct vsan *found, int status) {
  vsanEntry row;
  if (found == NULL) {
    return status;
  }
  row = found->row;
  swap_row(&row);
  e->out_size = sizeof(vsanRowMessage);
  memset(e->out, 0, e->out_size);
  memcpy(e->out + offsetof(vsanRowMessage, row), &row, sizeof row);
  return 0;
}

static int set_row(const vsanEntry *asked) {
  struct vsan *found = find_vsan(asked->vsanIndex);
  const int created = found == NULL;
  vsanEntry row = *asked;
  /* 0 in these two says: as it is. */
  if (row.vsanInorderDelivery == 0) {
    row.vsanInorderDelivery = created ? 2 : found->row.vsanInorderDelivery;
  }
  if (row.vsanNetworkDropLatency == 0) {
    row.vsanNetworkDropLatency = created ? 2000 : found->row.vsanNetworkDropLatency;
  }
  row.vsanRowStatus = ROW_ACTIVE;
  row.vsanOperState = row.vsanAdminState == STATE_ACTIVE ? OPER_UP : OPER_DOWN;
  if (created) {
    if (asked->vsanRowStatus != ROW_ACTIVE) {
      return kStatusNoVsan;
    }
    found = add_vsan(&row);
    if (found == NULL) {
      return kStatusBusy;
    }
  }
  found->row = row;
  vsan_changed(&row, created, row.vsanOperState);
  return 0;
}

static int delete_row(uint32_t id) {
  struct vsan *found = find_vsan(id);
  if (found == NULL) {
    return kStatusNoVsan;
  }
  if (id == DEFAULT_VSAN) {
    return kStatusVsanConflict;
  }
  for (size_t i = 0; i < INTERFACES; ++i) {
    if (interfaces[i].vsanIfVsan == id) {
      interfaces[i].vsanIfVsan = DEFAULT_VSAN;
    }
  }
  vsan_changed(&found->row, 0, OPER_DOWN);
  memset(found, 0, sizeof *found);
  return 0;
}

static int vsan_row(struct exchange *e) {
  vsanEntry row;
  if (e->in_size != sizeof(vsanRowMessage)) {
    return kStatusWrongSize;
  }
  memcpy(&row, e->in + offsetof(vsanRowMessage, row), sizeof row);
  swap_row(&row);
  switch (e->type) {
    case kMsgGet:
      return answer_row(e, find_vsan(row.vsanIndex), kStatusNoVsan);
    case kMsgGetNext:
      return answer_row(e, vsan_after(row.vsanIndex), kStatusNoEntry);
    case kMsgSet:
      return set_row(&row);
    case kMsgDelete:
      return delete_row(row.vsanIndex);
    default:
      return kStatusBadMessageType;
  }
}

static int interface_vsan(struct exchange *e) {
  vsanIfEntry row;
  vsanIfEntry *found;
  if (e->in_size != sizeof row) {
    return kStatusWrongSize;
  }
  memcpy(&row, e->in, sizeof row);
  swap_words(&row, sizeof row / sizeof(uint32_t));
  found = find_interface(row.ifIndex, e->type == kMsgGetNext);
  if (found == NULL) {
    return kStatusNoEntry;
  }
  if (e->type == kMsgSet) {
    if (find_vsan(row.vsanIfVsan) == NULL) {
      return kStatusNoVsan;
    }
    notify(kNotifyPortMembership, row.ifIndex, found->vsanIfVsan, row.vsanIfVsan, 0, 12);
    found->vsanIfVsan = row.vsanIfVsan;
    return 0;
  }
  e->out_size = sizeof *found;
  memcpy(e->out, found, sizeof *found);
  swap_words(e->out, sizeof *found / sizeof(uint32_t));
  return 0;
}

static int fc_timer(struct exchange *e) {
  vsanFcTimerEntry timer;
  uint32_t *values = switch_timers;
  uint32_t type, value;
  if (e->in_size != sizeof timer) {
    return kStatusWrongSize;
  }
  memcpy(&timer, e->in, sizeof timer);
  type = ntohl(timer.timer_type);
  value = ntohl(timer.timer_value);
  if (timer.flag != 0) {
    struct vsan *found = find_vsan(ntohl(timer.vsan_id));
    if (found == NULL) {
      return kStatusNoVsan;
    }
    values = found->timers;
  }
  /* Type 0 names no timer: a GET of it asks whether the VSAN is there. */
  if (type - FIRST_TIMER >= TIMERS && !(type == 0 && e->type == kMsgGet)) {
    return kStatusTimerType;
  }
  if (e->type == kMsgSet) {
    values[type - FIRST_TIMER] = value;
    return 0;
  }
  timer.timer_value = htonl(type == 0 ? 0 : values[type - FIRST_TIMER]);
  e->out_size = sizeof timer;
  memcpy(e->out, &timer, sizeof timer);
  return 0;
}

static int latency(struct exchange *e) {
  vsanLatency record;
  uint32_t *value;
  if (e->in_size != sizeof record) {
    return kStatusWrongSize;
  }
  memcpy(&record, e->in, sizeof record);
  swap_words(&record, sizeof record / sizeof(uint32_t));
  if (record.latency_type != SWITCH_LATENCY && record.latency_type != NETWORK_LATENCY) {
    return kStatusLatencyType;
  }
  value = &latencies[record.latency_type - SWITCH_LATENCY];
  if (e->type == kMsgSet) {
    *value = record.value;
    return 0;
  }
  record.value = *value;
  swap_words(&record, sizeof record / sizeof(uint32_t));
  e->out_size = sizeof record;
  memcpy(e->out, &record, sizeof record);
  return 0;
}

static int inorder_delivery(struct exchange *e) {
  if (e->type != kMsgSet) {
    return answer_words(e, inorder, 0, 1);
  }
  if (e->in_size != sizeof inorder) {
    return kStatusWrongSize;
  }
  memcpy(&inorder, e->in, sizeof inorder);
  swap_word(&inorder);
  return 0;
}

static int vsan_number(struct exchange *e) {
  uint32_t count = 0;
  for (const struct vsan *v = vsan_after(0); v != NULL; v = vsan_after(v->row.vsanIndex)) {
    ++count;
  }
  return answer_words(e, count, 0, 1);
}

static int interface_number(struct exchange *e) {
  return answer_words(e, INTERFACES, 0, 1);
}

static int table_last_change(struct exchange *e) {
  return answer_words(e, (uint32_t)changed.tv_sec, (uint32_t)changed.tv_usec, 2);
}

static int switch_wwn(struct exchange *e) {
  static const uint8_t wwn[] = {0x20, 0x00, 0x00, 0x02, 0x5a, 0x10, 0x3c, 0x01};
  memcpy(e->out, wwn, sizeof wwn);
  e->out_size = sizeof wwn;
  return 0;
}

static int notification_control(struct exchange *e) {
  return e->in_size == sizeof(uint32_t) ? 0 : kStatusWrongSize;
}

static const struct {
  int service, opcode;
  int (*serve)(struct exchange *);
} served_opcodes[] = {
    {kServiceVsanManager, kOpInterfaceVsan, interface_vsan},
    {kServiceVsanManager, kOpVsanNumber, vsan_number},
    {kServiceVsanManager, kOpTableLastChange, table_last_change},
    {kServiceVsanManager, kOpFcTimer, fc_timer},
    {kServiceVsanManager, kOpInterfaceNumber, interface_number},
    {kServiceVsanManager, kOpLatency, latency},
    {kServiceVsanManager, kOpInorderDelivery, inorder_delivery},
    {kServiceVsanManager, kOpVsanRow, vsan_row},
    {kServiceVsanManager, kOpNotificationControl, notification_control},
    {kServiceIdentity, kOpSwitchWwn, switch_wwn},
};

/* The answer's buffer is the caller's to free, so that it comes from malloc. */
static int hand_out(const struct exchange *e, void **response, uint32_t *size) {
  if (e->out_size == 0) {
    errno = EPROTO;
    return -1;
  }
  *response = malloc(e->out_size);
  if (*response == NULL) {
    return -1;
  }
  memcpy(*response, e->out, e->out_size);
  *size = e->out_size;
  return 0;
}

int cmi_req_resp(int opcode, int msg_type, void *request, void **response, uint32_t *size, const char *user,
                 const char *session, int service, mts_queue_t queue, int timeout) {
  struct exchange e = {.type = msg_type, .in = request, .in_size = request == NULL ? 0 : *size};
  (void)user, (void)session, (void)queue, (void)timeout; /* nobody is waited for here, and nobody is refused */
  for (size_t i = 0; i < sizeof served_opcodes / sizeof served_opcodes[0]; ++i) {
    if (served_opcodes[i].service == service && served_opcodes[i].opcode == opcode) {
      const int status = served_opcodes[i].serve(&e);
      return status != 0 || response == NULL ? status : hand_out(&e, response, size);
    }
  }
  return kStatusUnknownOpcode;
}

/* Pairs are in order of the VSAN, then of the interface: the least one after (or at) the given one is looked for. */
int pm_cmi_get_active_vsan_port_membership(mts_queue_t queue, int operation, uint32_t *vsan_index, uint32_t *if_index,
                                           uint8_t *is_static, const char *user, const char *session, int timeout) {
  const uint64_t given = (uint64_t)*vsan_index << 32 | *if_index;
  uint64_t best = UINT64_MAX;
  (void)queue, (void)user, (void)session, (void)timeout;
  for (size_t i = 0; i < INTERFACES; ++i) {
    const uint64_t pair = (uint64_t)interfaces[i].vsanIfVsan << 32 | interfaces[i].ifIndex;
    if ((operation == kMsgGet ? pair == given : pair > given) && pair < best) {
      best = pair;
    }
  }
  if (best == UINT64_MAX) {
    return kStatusNoEntry;
  }
  *vsan_index = (uint32_t)(best >> 32);
  *if_index = (uint32_t)best;
  *is_static = *vsan_index != DEFAULT_VSAN;
  return 0;
}

/* ---- Who asks: the PDU that is served, as a handler in front of the module's objects sees it ---- */

static const netsnmp_agent_session *served;

static int keep_pdu(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
                    netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
  const netsnmp_agent_session *outer = served;
  int status;
  served = info->asp;
  status = netsnmp_call_next_handler(handler, registration, info, requests);
  served = outer;
  return status;
}

/* Every row of the module's table is a registration of its own; each is announced when it is made. */
static int on_registered(int major, int minor, void *arg, void *unused) {
  static const oid root[] = {SWITCH_ROOT};
  const struct register_parameters *made = arg;
  netsnmp_mib_handler *handler;
  (void)major, (void)minor, (void)unused;
  if (made->reginfo == NULL || made->namelen < OID_LENGTH(root) ||
      snmp_oid_compare(made->name, OID_LENGTH(root), root, OID_LENGTH(root)) != 0) {
    return 0;
  }
  handler = netsnmp_create_handler("second_platform", keep_pdu);
  if (handler == NULL || netsnmp_inject_handler(made->reginfo, handler) != SNMPERR_SUCCESS) {
    snmp_log(LOG_ERR, "second_platform: an object cannot be watched\n");
  }
  return 0;
}

/* The agent gives every PDU that it takes a transaction id, also two with one request id of their sender's. */
int get_pdu_reqid(void) {
  static int outside = 0;
  if (served != NULL && served->pdu != NULL) {
    return (int)served->pdu->transid;
  }
  outside = outside == INT_MIN ? -1 : outside - 1;
  return outside;
}

/* A platform with roles maps a community to its security name here; see com2sec in snmpd.conf. */
const char *get_snmp_username(int unused) {
  static char text[64];
  const netsnmp_pdu *pdu = served == NULL ? NULL : served->pdu;
  (void)unused;
  text[0] = '\0';
  if (pdu != NULL && pdu->version == SNMP_VERSION_3 && pdu->securityName != NULL) {
    snprintf(text, sizeof text, "%s", pdu->securityName);
  } else if (pdu != NULL && pdu->community != NULL) {
    snprintf(text, sizeof text, "%.*s", (int)pdu->community_len, (const char *)pdu->community);
  }
  return text;
}

const char *get_snmp_sessionid(int unused) {
  (void)unused;
  return served == NULL ? "" : "agent";
}

/* ---- Roles: nobody is restricted, so that the sets of VSANs are never used ---- */

int snmp_get_allowed_vsans_subtree(vsan_set_t *set, const oid *name, size_t name_len, int pdu_type) {
  (void)set, (void)name, (void)name_len, (void)pdu_type;
  return 0;
}

int snmp_is_vsan_allowed_in_list(uint32_t vsan_id, vsan_set_t *set) {
  return vsan_id < kVsanSetBytes * 8 && (set->bits[vsan_id / 8] >> vsan_id % 8 & 1) != 0;
}

int snmp_get_next_allowed_vsan_in_list(uint32_t *vsan_id, vsan_set_t *set) {
  for (uint32_t next = *vsan_id + 1; next < kVsanSetBytes * 8; ++next) {
    if (snmp_is_vsan_allowed_in_list(next, set)) {
      *vsan_id = next;
      return 1;
    }
  }
  return 0;
}

int snmp_is_vsan_allowed_subtree(uint32_t vsan_id, const oid *name, size_t name_len, int pdu_type) {
  (void)vsan_id, (void)name, (void)name_len, (void)pdu_type;
  return 1;
}

int intf_chk_vsan_role_allowed(uint32_t if_index, int mode, vsan_set_t *set) {
  (void)if_index, (void)mode, (void)set;
  return 0;
}

void bitset_clear(vsan_set_t *set) {
  memset(set->bits, 0, sizeof set->bits);
}

/* ---- Lists: a chain in the order of its keys. opaque[0] is the first element, opaque[1] that it was made ---- */

struct element {
  struct element *next;
  const void *key;
  void *data;
};

static indxobj_comp_t orders[8]; /* by the number in opaque[1]: a pointer to a function fits no pointer to data */

int indxobj_create(indxobj_t *list, int a, int b, indxobj_comp_t comp, int c) {
  (void)a, (void)b, (void)c;
  for (size_t i = 1; list->opaque[1] == NULL && i < sizeof orders / sizeof orders[0]; ++i) {
    if (orders[i] == NULL) {
      orders[i] = comp;
      list->opaque[1] = (void *)i;
      return 2;
    }
  }
  return 0;
}

/* The link to the first element that does not sort before the key. Null when the list was not made. */
static struct element **place_of(indxobj_t *list, const void *key, int *there) {
  struct element **at = (struct element **)&list->opaque[0];
  const size_t order = (size_t)list->opaque[1];
  *there = 0;
  if (order == 0) {
    return NULL;
  }
  while (*at != NULL && orders[order]((*at)->key, key) > 0) {
    at = &(*at)->next;
  }
  *there = *at != NULL && orders[order]((*at)->key, key) == 0;
  return at;
}

int indxobj_add(indxobj_t *list, void *key, void *data) {
  int there;
  struct element **at = place_of(list, key, &there);
  struct element *made = at == NULL || there ? NULL : malloc(sizeof *made);
  if (made == NULL) {
    return 0;
  }
  *made = (struct element){*at, key, data};
  *at = made;
  return 1;
}

void *indxobj_find(indxobj_t *list, const void *key, int unused) {
  int there;
  struct element **at = place_of(list, key, &there);
  (void)unused;
  return there ? (*at)->data : NULL;
}

void *indxobj_remove(indxobj_t *list, const void *key) {
  int there;
  struct element **at = place_of(list, key, &there);
  struct element *gone = there ? *at : NULL;
  void *data = NULL;
  if (gone != NULL) {
    data = gone->data;
    *at = gone->next;
    free(gone);
  }
  return data;
}

int indxobj_destroy(indxobj_t *list) {
  for (struct element *at = list->opaque[0], *next; at != NULL; at = next) {
    next = at->next;
    free(at);
  }
  orders[(size_t)list->opaque[1]] = NULL;
  memset(list, 0, sizeof *list);
  return 0;
}

/* ---- What a small platform has none of ---- */

mts_queue_t mts_response_q;
char sdwrap_dbg_modname[] = "vsan_mib";

int is_kdx_enabled(const char *application, int *enabled) {
  (void)application;
  *enabled = 0;
  return 0;
}

int get_kdx_show_run_mode(const char *application, int *mode) {
  (void)application;
  *mode = 0;
  return 0;
}

int sdwrap_hist_event_subtype_check(int module_id, int level) {
  (void)module_id, (void)level;
  return 1; /* no history: skip */
}

int sdwrap_hist_event(int module_id, int length, const void *record) {
  (void)module_id, (void)length, (void)record;
  return -1;
}

/* Debug lines go where `snmpd -D` has the agent's own. */
int sdwrap_chk_int(int level, int a, int b, int c) {
  (void)level, (void)a, (void)b, (void)c;
  return snmp_get_do_debugging();
}

void buginf(int a, void *modname, int b, const char *format, ...) {
  va_list arguments;
  (void)a, (void)modname, (void)b;
  va_start(arguments, format);
  snmp_vlog(LOG_DEBUG, format, arguments);
  va_end(arguments);
}

int sysmgr_heartbeat(int blocking) {
  (void)blocking;
  return 0;
}

const char *syserr2str(int code) {
  static char text[32];
  snprintf(text, sizeof text, "status 0x%08x", (unsigned)code);
  return text;
}

const char *syserr_format(int code) {
  return syserr2str(code);
}

void log_snmp_error(snmp_error_record_t *record) {
  snmp_log(LOG_NOTICE, "second_platform: %s\n", record->text);
}

void log_set_error(int code, int detail) {
  snmp_log(LOG_NOTICE, "second_platform: a SET failed with %s (%d)\n", syserr2str(code), detail);
}

netsnmp_variable_list *build_varbind(netsnmp_variable_list *list, const void *value, u_char asn_type, size_t value_len,
                                     const oid *name, size_t name_len) {
  netsnmp_variable_list *head = list;
  return snmp_varlist_add_variable(&head, name, name_len, asn_type, value, value_len) == NULL ? NULL : head;
}

/* ---- As the agent loads it: `dlmod second_platform FILE` ---- */

/* The agent loads each library for itself alone: without this, the module would not find what is defined here. A module
   that was linked to its platform needs it not. */
static void show_to_later_libraries(void) {
  Dl_info self;
  if (dladdr(&mts_response_q, &self) == 0 || dlopen(self.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD) == NULL) {
    snmp_log(LOG_ERR, "second_platform: libraries that are loaded later will not find it\n");
  }
}

void init_second_platform(void) {
  show_to_later_libraries();
  fill_switch();
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, on_registered, NULL);
}

void deinit_second_platform(void) {
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, on_registered, NULL, 0);
  snmp_alarm_unregister(alarm_id);
}
