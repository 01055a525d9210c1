// What a role answers when the module asks.
#include <errno.h>
#include <stdlib.h>

#include "platform/agent.h"
#include "platform/cmi.h"
#include "record_words.h"
#include "requests.h"
#include "served_pdu.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

constexpr int kTimeoutSeconds = 4;

bool holds(const vsan_set_t &set, uint32_t vsan) {
  return vsan <= kVsanReserved && (set.bits[vsan / 8] >> vsan % 8 & 1) != 0;
}

// Asks the VSAN manager which VSAN the interface is in. Returns 0, or the status of an exchange that failed.
int ask_for_vsan(uint32_t if_index, uint32_t *vsan) {
  vsanIfEntry record = {if_index, 0, 0, 0};
  record_swap(&record);
  uint32_t size = sizeof record;
  void *response = nullptr;
  int status = cmi_req_resp(kOpInterfaceVsan, kMsgGet, &record, &response, &size, nullptr, nullptr, kServiceVsanManager,
                            mts_response_q, kTimeoutSeconds);
  if (status == 0 && (response == nullptr || size != sizeof record)) {
    errno = EPROTO;
    status = -1;
  }
  if (status == 0) {
    *vsan = record_read<vsanIfEntry>(static_cast<const uint8_t *>(response)).vsanIfVsan;
  }
  free(response);
  return status;
}

// An interface is taken out of a VSAN by whoever may use that VSAN.
int check_where_it_is(const role &held, uint32_t if_index) {
  uint32_t vsan = 0;
  const int status = ask_for_vsan(if_index, &vsan);
  if (status != 0) {
    return status;
  }
  return holds(held.vsans, vsan) ? 0 : int{kStatusVsanDenied};
}

int check_interface(const role_verdict &who, uint32_t if_index, int mode) {
  if (who.closed != 0 || who.held == nullptr) {
    return who.closed;
  }
  if (who.held->has_interfaces) {
    return number_list_holds(who.held->interface_list, if_index) ? 0 : kStatusInterfaceDenied;
  }
  return mode == kModeWrite && who.held->has_vsans ? check_where_it_is(*who.held, if_index) : 0;
}

}  // namespace

int snmp_get_allowed_vsans_subtree(vsan_set_t *set, const oid *, size_t, int) {
  const role_verdict who = served_pdu_role();
  if (who.closed != 0) {
    bitset_clear(set);
    return 1;
  }
  // Only who is restricted to VSANs is asked about interfaces: a list of interfaces alone goes with all VSANs.
  if (who.held == nullptr || !(who.held->has_vsans || who.held->has_interfaces)) {
    return 0;
  }
  for (size_t i = 0; i < sizeof set->bits; ++i) {
    set->bits[i] |= who.held->vsans.bits[i];
  }
  return 1;
}

int snmp_is_vsan_allowed_in_list(uint32_t vsan_id, vsan_set_t *set) {
  return holds(*set, vsan_id);
}

int snmp_get_next_allowed_vsan_in_list(uint32_t *vsan_id, vsan_set_t *set) {
  if (*vsan_id >= kVsanReserved) {
    return 0;
  }
  for (uint32_t next = *vsan_id + 1; next <= kVsanReserved; ++next) {
    if (!holds(*set, next)) {
      continue;
    }
    *vsan_id = next;
    return 1;
  }
  return 0;
}

int snmp_is_vsan_allowed_subtree(uint32_t vsan_id, const oid *, size_t, int) {
  const role_verdict who = served_pdu_role();
  if (who.closed != 0) {
    return 0;
  }
  return who.held == nullptr || !who.held->has_vsans || holds(who.held->vsans, vsan_id);
}

int intf_chk_vsan_role_allowed(uint32_t if_index, int mode, vsan_set_t *) {
  const int why = check_interface(served_pdu_role(), if_index, mode);
  if (why != 0 && mode == kModeWrite) {
    log_set_error(why, kRefusedByModule);
  }
  return why;
}
