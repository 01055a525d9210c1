// GET and GETNEXT of the active memberships, which the port manager knows.
#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/trace.h"
#include "objects/object_magic.h"
#include "platform/agent.h"
#include "platform/port_manager.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

alignas(uint32_t) vsanMembershipSummaryEntry pair;

// A restricted user's GET is tested for this VSAN, not for the pair's: kept, it keeps such users to walks of this
// table.
constexpr uint32_t kVsanOfRestrictedGet = 0;

// Takes the pair from the OID, as far as it goes.
void take_indexes(const oid *column, size_t column_len, const oid *name, size_t length, int exact,
                  vsanMembershipSummaryEntry *record) {
  *record = {};
  if (length <= column_len) {
    return;
  }
  if (exact != 0 ? length != column_len + 2 : !in_column(column, column_len, name)) {
    return;
  }
  record->vsanIndex = sub_id(name, column_len);
  if (length > column_len + 1) {
    record->ifIndex = sub_id(name, column_len + 1);
  }
}

bool find_pair(struct variable *vp, oid *name, size_t *length, int exact) {
  return header_vsanMembershipSummaryEntry(vp->name, vp->namelen, name, length, exact, &pair) == 0;
}

bool find_visible_pair(struct variable *vp, oid *name, size_t *length, int exact) {
  const allowed_vsans allowed = allowed_for_user(name, *length, SNMP_MSG_GET);
  if (!allowed.restricted) {
    return find_pair(vp, name, length, exact);
  }
  if (exact != 0) {
    return find_pair(vp, name, length, exact) && vsan_in_set(kVsanOfRestrictedGet, allowed.set) != 0;
  }
  const auto fetch = [&](uint32_t &vsan) {
    if (!find_pair(vp, name, length, 0)) {
      return false;
    }
    vsan = pair.vsanIndex;
    return true;
  };
  // The bare VSAN comes before its first interface.
  const auto resume = [&](int present, uint32_t vsan) {
    if (present == 0) {
      return;
    }
    name[vp->namelen] = vsan;
    *length = vp->namelen + 1u;
  };
  return walk_to_allowed(allowed.set, fetch, resume);
}

}  // namespace

int header_vsanMembershipSummaryEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact,
                                      vsanMembershipSummaryEntry *record) {
  enum { kPortManagerTimeout = 5 };

  take_indexes(vp_name, vp_namelen, name, *length, exact, record);
  // The record is packed; the port manager is given aligned words.
  uint32_t vsan = record->vsanIndex;
  uint32_t interface = record->ifIndex;
  uint8_t is_static = record->is_static;

  const int msg_type = exact != 0 ? kMsgGet : kMsgGetNext;
  const char *operation = exact != 0 ? "GET" : "GETNEXT";
  TRACE("%s : Sending %s req for vsanIndex = %d and ifIndex = %d \n", __func__, operation, static_cast<int>(vsan),
        static_cast<int>(interface));
  const char *user = get_snmp_username(0);
  const char *session = get_snmp_sessionid(0);
  const int status = pm_cmi_get_active_vsan_port_membership(mts_response_q, msg_type, &vsan, &interface, &is_static,
                                                            user, session, kPortManagerTimeout);
  record->vsanIndex = vsan;
  record->ifIndex = interface;
  record->is_static = is_static;
  if (status != 0) {
    TRACE("%s(%d) : %s req FAILED for vsanIndex = %d: ifIndex = %d : %s\n", __func__, __LINE__, operation,
          static_cast<int>(vsan), static_cast<int>(interface), failure_text(status));
    return status;
  }
  TRACE("%s : Recd resp for %s req for vsanIndex=%d, ifIndex = %d, is_static %d \n", __func__, operation,
        static_cast<int>(vsan), static_cast<int>(interface), is_static);
  write_row_oid(vp_name, vp_namelen, vsan, name, length);
  name[vp_namelen + 1] = interface;
  *length = vp_namelen + 2;
  return 0;
}

u_char *get_vsanMembershipSummaryEntry(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                                       WriteMethod ** /*write_method*/) {
  if (!find_visible_pair(vp, name, length, exact)) {
    return nullptr;
  }
  if (vp->magic != kMembershipSummaryIf) {
    snmp_set_detail("");
    return nullptr;
  }
  *var_len = 4;
  return reinterpret_cast<u_char *>(&pair) + offsetof(vsanMembershipSummaryEntry, ifIndex);
}
