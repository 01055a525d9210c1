// GET and GETNEXT of the interface membership table. Every call is one message; nothing is cached.
#include "module_frame/exchange.h"
#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/trace.h"
#include "objects/interface_columns.h"
#include "platform/agent.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

// A lookup clears only the index: the other words keep the previous answer and travel with the next request.
vsanIfEntry answer_row;

// Takes the interface from the OID. Returns false when no interface can follow it.
bool take_index(oid *column, size_t column_len, const oid *name, size_t length, int exact, vsanIfEntry *record) {
  record->ifIndex = 0;
  if (length <= column_len) {
    return true;
  }
  if (exact != 0) {
    if (length == column_len + 1) {
      record->ifIndex = sub_id(name, column_len);
    }
    return true;
  }
  if (in_column(column, column_len, name)) {
    record->ifIndex = sub_id(name, column_len);
  }
  return record->ifIndex != UINT32_MAX;
}

}  // namespace

int header_vsanIfEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanIfEntry *record) {
  if (!take_index(vp_name, vp_namelen, name, *length, exact, record)) {
    return kStatusNoEntry;
  }

  const int msg_type = exact != 0 ? kMsgGet : kMsgGetNext;
  const char *operation = exact != 0 ? "GET" : "GETNEXT";
  TRACE("%s : Sending  %s request to VSAN mgr with payload (size = %d) ifIndex = %d\n", __func__, operation,
        static_cast<int>(sizeof *record), static_cast<int>(record->ifIndex));

  vsanIfEntry wire = *record;
  record_swap(&wire);
  const answer got = ask(kOpInterfaceVsan, msg_type, &wire, sizeof wire, sizeof wire);
  if (!got.complete()) {
    TRACE("%s(%d) : %s request failedfor ifIndex = %d with error : %s\n", __func__, __LINE__, operation,
          static_cast<int>(record->ifIndex), failure_text(got.status));
    return got.status;
  }
  *record = record_read<vsanIfEntry>(static_cast<const uint8_t *>(got.payload.get()));
  TRACE(
      "%s(%d) : Received  %s response from VSAN mgr with payload (size = %d) ifIndex = %d vsanIfVsan = %d, "
      "vsanIfDenyList=%d, vsanIfRowStatus=%d\n",
      __func__, __LINE__, operation, static_cast<int>(got.size), static_cast<int>(record->ifIndex),
      static_cast<int>(record->vsanIfVsan), static_cast<int>(record->vsanIfDenyList),
      static_cast<int>(record->vsanIfRowStatus));
  write_row_oid(vp_name, vp_namelen, record->ifIndex, name, length);
  return 0;
}

u_char *get_vsanIfEntry(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                        WriteMethod **write_method) {
  if (header_vsanIfEntry(vp->name, vp->namelen, name, length, exact, &answer_row) != 0) {
    return nullptr;
  }
  set_if_table_set_methods(vp->magic, write_method);

  const interface_column *column = find_interface_column(vp->magic);
  if (column == nullptr) {
    snmp_set_detail("");
    return nullptr;
  }
  *var_len = sizeof(uint32_t);
  // A hidden row answers nothing, on GETNEXT too: this table has no walk past hidden rows.
  if (column->restricted && process_for_vsan_restriction(answer_row.ifIndex, kModeRead, answer_row.vsanIfVsan, name,
                                                         *length, SNMP_MSG_GET) != 0) {
    return nullptr;
  }
  return reinterpret_cast<u_char *>(&answer_row) + column->field;
}
