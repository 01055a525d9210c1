// Switch notifications into traps.
#include <string.h>

#include <memory>

#include "module_frame/exchange.h"
#include "module_frame/trace.h"
#include "notification_payloads.h"
#include "platform/agent.h"
#include "platform/mts.h"
#include "platform/vsan_range.h"
#include "record_words.h"
#include "requests.h"
#include "switch_root.h"
#include "vsan_mib.h"
#include "vsan_values.h"

using namespace vsan_mib;

namespace {

constexpr oid kVsanStatusTrap[] = {SWITCH_ROOT, 1, 3, 0, 1};
constexpr oid kPortMembershipTrap[] = {SWITCH_ROOT, 1, 3, 0, 2};
constexpr oid kNotifiedVsan[] = {SWITCH_ROOT, 1, 1, 4, 0};
constexpr oid kSwitchWwn[] = {SWITCH_ROOT, 1, 5, 1, 0};
// These end in the instance: a VSAN, an interface.
constexpr oid kAdminState[] = {SWITCH_ROOT, 1, 1, 3, 1, 4, 0};
constexpr oid kOperState[] = {SWITCH_ROOT, 1, 1, 3, 1, 8, 0};
constexpr oid kIfIndex[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 0};

enum { kWwnSize = 8 };

// The switch's world wide name: asked for when the first membership trap needs it, then kept.
uint8_t switch_wwn[kWwnSize];

// Both traps are on. A trap that is off is told in the trace and not sent.
// GCOVR_EXCL_BR_START: so that the ways of one that is off are for a build that turns it off.
constexpr bool kVsanStatusTrapOn = true;
constexpr bool kPortMembershipTrapOn = true;

bool is_trap_on(bool on, const char *handler) {
  if (!on) {
    TRACE("This Trap is Disabled (%s)\n", handler);
  }
  return on;
}
// GCOVR_EXCL_BR_STOP

// The varbinds of a trap in the making.
struct free_varbinds {
  void operator()(netsnmp_variable_list *list) const { snmp_free_varbind(list); }
};
struct trap {
  std::unique_ptr<netsnmp_variable_list, free_varbinds> list;
  bool complete = true;
};

void add(trap &t, const oid *name, size_t name_len, u_char type, const void *value, size_t size) {
  if (!t.complete) {
    return;
  }
  netsnmp_variable_list *grown = build_varbind(t.list.get(), value, type, size, name, name_len);
  t.complete = grown != nullptr;
  if (!t.complete) {
    return;
  }
  static_cast<void>(t.list.release());
  t.list.reset(grown);
}

void add_integer(trap &t, const oid *name, size_t name_len, uint32_t value) {
  add(t, name, name_len, ASN_INTEGER, &value, sizeof value);
}

template <size_t N>
void add_instance(trap &t, const oid (&column)[N], uint32_t instance, uint32_t value) {
  oid name[N];
  memcpy(name, column, sizeof name);
  name[N - 1] = instance;
  add_integer(t, name, N, value);
}

// Hands the trap to the agent; one that could not be built wholly is not sent.
template <size_t N>
netsnmp_variable_list *hand_over(trap &t, const oid (&trap_name)[N], oid *trap_oid, size_t *trap_oid_len, int *send) {
  if (!t.complete) {
    return nullptr;
  }
  memcpy(trap_oid, trap_name, sizeof trap_name);
  *trap_oid_len = N;
  *send = 1;
  return t.list.release();
}

// What notification 145 says of a VSAN.
struct vsan_change {
  uint32_t vsan;
  int created;
  uint32_t state;
  uint32_t oper_state;
};

bool read_change(void *payload, uint32_t size, vsan_change *change) {
  int first = 0, second = 0, third = 0, fourth = 0, fifth = 0;
  if (vsan_range_config_change_get_info(payload, size, &first, &second, &change->vsan, &change->created, &third,
                                        &fourth, &fifth) != 0) {
    return false;
  }
  // `first` marks a change that is not shown to managers; its trap is sent all the same: kept, managers rely on it.
  TRACE("%s(%d)Vsan_id:%d  is_vsan_created:%d\n", "handle_notifications", __LINE__, static_cast<int>(change->vsan),
        change->created);
  uint32_t length = sizeof(uint32_t);
  if (vsan_range_config_change_get_attr_values(payload, size, kAttrOperState, &change->oper_state, &length) != 0) {
    return false;
  }
  length = sizeof(uint32_t);
  return vsan_range_config_change_get_attr_values(payload, size, kAttrState, &change->state, &length) == 0;
}

// Fills the cached name when it is all zero. Returns false while it is not known.
bool know_switch_wwn() {
  constexpr uint8_t unknown[kWwnSize] = {};
  if (memcmp(switch_wwn, unknown, kWwnSize) != 0) {
    return true;
  }
  const answer got =
      ask(kOpSwitchWwn, kMsgGet, nullptr, 0, kWwnSize, {get_snmp_username(0), get_snmp_sessionid(0), kServiceIdentity});
  if (!got.complete()) {
    return false;
  }
  memcpy(switch_wwn, got.payload.get(), kWwnSize);
  return true;
}

}  // namespace

netsnmp_variable_list *handle_notifications(void *msg, oid *trap_oid, size_t *trap_oid_len, int *send) {
  *send = 0;
  if (msg == nullptr) {
    return nullptr;
  }
  if (!is_trap_on(kVsanStatusTrapOn, __func__)) {  // GCOVR_EXCL_BR_LINE: it is on
    return nullptr;
  }

  vsan_change change = {};
  if (!read_change(mts_payload_get(msg), mts_payload_size(msg), &change)) {
    return nullptr;
  }

  trap t;
  add_integer(t, kNotifiedVsan, OID_LENGTH(kNotifiedVsan), change.vsan);
  add_instance(t, kAdminState, change.vsan, change.state);
  add_instance(t, kOperState, change.vsan, change.oper_state);
  return hand_over(t, kVsanStatusTrap, trap_oid, trap_oid_len, send);
}

netsnmp_variable_list *handle_port_memb_change_notifications(void *msg, oid *trap_oid, size_t *trap_oid_len,
                                                             int *send) {
  *send = 0;
  if (!is_trap_on(kPortMembershipTrapOn, __func__)) {  // GCOVR_EXCL_BR_LINE: it is on
    return nullptr;
  }
  // Asked for even without a message: the name is known first.
  if (!know_switch_wwn()) {
    return nullptr;
  }
  if (msg == nullptr) {
    return nullptr;
  }
  const void *payload = mts_payload_get(msg);
  if (payload == nullptr || mts_payload_size(msg) < sizeof(port_membership_change)) {
    return nullptr;
  }

  const auto change = record_read<port_membership_change>(static_cast<const uint8_t *>(payload));
  trap t;
  add(t, kSwitchWwn, OID_LENGTH(kSwitchWwn), ASN_OCTET_STR, switch_wwn, kWwnSize);
  add_instance(t, kIfIndex, change.interface, change.interface);
  add_integer(t, kNotifiedVsan, OID_LENGTH(kNotifiedVsan), change.vsan);
  return hand_over(t, kPortMembershipTrap, trap_oid, trap_oid_len, send);
}
