#include "module_frame/restriction.h"

#include <stdio.h>

#include "module_frame/failures.h"
#include "module_frame/trace.h"
#include "platform/agent.h"
#include "platform/syserr.h"
#include "statuses.h"

namespace vsan_mib {
namespace {

void report_denial(uint32_t code) {
  static snmp_error_record_t record;
  record.code = code;
  snprintf(record.text, sizeof record.text, "%s", syserr_format(static_cast<int>(code)));
  log_snmp_error(&record);
}

}  // namespace

allowed_vsans allowed_for_user(const oid *name, size_t name_len, int pdu_type) {
  allowed_vsans allowed;
  allowed.set.size = kVsanSetBytes;
  bitset_clear(&allowed.set);
  allowed.restricted = snmp_get_allowed_vsans_subtree(&allowed.set, name, name_len, pdu_type) != 0;
  return allowed;
}

int vsan_in_set(uint32_t vsan, const vsan_set_t &set) {
  vsan_set_t copy = set;
  return snmp_is_vsan_allowed_in_list(vsan, &copy);
}

int next_vsan_in_set(uint32_t *vsan, const vsan_set_t &set) {
  vsan_set_t copy = set;
  return snmp_get_next_allowed_vsan_in_list(vsan, &copy);
}

int check_right(const written &w, uint32_t vsan, uint32_t code, const denial_text &text, const char *setter) {
  const allowed_vsans allowed = allowed_for_user(w.name, w.name_len, SNMP_MSG_SET);
  if (!allowed.restricted || vsan_in_set(vsan, allowed.set) != 0) {
    return SNMP_ERR_NOERROR;
  }
  TRACE_ROW_AT(kTraceError, text, setter, __LINE__);
  report_denial(code);
  return SNMP_ERR_GENERR;
}

}  // namespace vsan_mib

using namespace vsan_mib;

int process_for_vsan_restriction(uint32_t if_index, int mode, uint32_t vsan_id, oid *name, size_t name_len,
                                 int pdu_type) {
  vsan_set_t set;
  set.size = kVsanSetBytes;
  bitset_clear(&set);
  if (snmp_get_allowed_vsans_subtree(&set, name, name_len, pdu_type) != 1) {
    return 0;
  }

  vsan_set_t copy = set;
  const int refused = intf_chk_vsan_role_allowed(if_index, mode, &copy);
  if (refused != 0) {
    return refused;
  }
  // Reading a membership takes the right to the interface only.
  if (mode != kModeWrite) {
    return 0;
  }
  if (snmp_is_vsan_allowed_subtree(vsan_id, name, name_len, pdu_type) != 0) {
    return 0;
  }
  log_set_error(kStatusVsanDenied, kRefusedByModule);
  return SNMP_ERR_GENERR;
}
