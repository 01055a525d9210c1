// One PDU, one row, one message: the columns of a row are gathered here and sent together.
//
//   A column set                                   pending list   saved list
//
//   RESERVE1   check only                               -             -
//       |
//   RESERVE2   first column of the VSAN: fetch        listed        listed
//       |      every column: store the value          changed          .
//   ACTION     first column: send the row            unlisted          .       (a row in createAndGo stays: row
//       |      later columns: nothing left to send       -             .        status sends it; but not VSAN 9)
//       |
//       +-- COMMIT  dropped                              -             -
//       +-- UNDO    noted: the PDU is over               .             .       (nothing sent; row status restores
//       |                                                                       from the saved row in its own UNDO)
//   FREE       from RESERVE1 or RESERVE2: dropped        -             -
#include <errno.h>
#include <string.h>

#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/row_message.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/vsan_columns.h"
#include "platform/agent.h"
#include "platform/syserr.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_table_write/row_lists.h"
#include "vsan_table_write/written_row.h"

using namespace vsan_mib;

namespace {

void store_name(vsanEntry *row, const void *value, size_t length) {
  if (length > kVsanNameField - 1) {
    length = kVsanNameField - 1;
  }
  if (length > 0) {
    memcpy(row->vsanName, value, length);
  }
  row->vsanName[length] = '\0';
}

void store_word(vsanEntry *row, size_t field, uint32_t word) {
  memcpy(reinterpret_cast<char *>(row) + field, &word, sizeof word);
}

int store_column(int magic, vsanEntry *row, const void *value, size_t length) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  const vsan_column *column = find_vsan_column(magic);
  switch (column == nullptr ? column_store::unknown : column->store) {
    case column_store::name:
      store_name(row, value, length);
      return SNMP_ERR_NOERROR;
    case column_store::word:
      store_word(row, column->field, read_set_integer(value, length).value);
      return SNMP_ERR_NOERROR;
    case column_store::interop: {
      const uint32_t mode = read_set_integer(value, length).value;
      TRACE("%s(%d) vsan:%d InterMode:%d \n", self, __LINE__, static_cast<int>(row->vsanIndex), static_cast<int>(mode));
      store_word(row, column->field, mode == 0 ? uint32_t{kVsanInteropDefault} : mode);
      return SNMP_ERR_NOERROR;
    }
    case column_store::not_writable:
      return SNMP_ERR_NOTWRITABLE;
    default:
      TRACE("%s(%d) *** InconsistantName! ***\n", self, __LINE__);
      return SNMP_ERR_INCONSISTENTVALUE;
  }
}

int no_memory() {
  enum { kNoMemory = 1 };

  log_set_error(kNoMemory, kRefusedByModule);
  return SNMP_ERR_GENERR;
}

// The row could not be fetched: nothing is listed, and a saved row that was to be refreshed is dropped with the rest.
int fetch_failed(int status, const vsanEntry &key) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  const char *text = failure_text(status);
  TRACE("%s(%d) Ret_Code:%s \n", self, __LINE__, text);
  TRACE("%s(%d) : No instance returned for UNDO (vsanIndex =%d,(row status = %d )\n", self, __LINE__,
        static_cast<int>(key.vsanIndex), static_cast<int>(key.vsanRowStatus));
  take_saved(key);
  return to_snmp_error_code(status, kMsgSet);
}

// A pending row carries a value in the two fields below only when this PDU writes them: 0 means "leave as it is" to
// the manager.
void copy_for_writing(const vsanEntry &current, vsanEntry *pending) {
  *pending = current;
  pending->vsanInorderDelivery = 0;
  pending->vsanNetworkDropLatency = 0;
}

// Fetches the row as it is into the saved list (refreshing what row status saved there), and fills `pending` from it.
int save_current_row(const oid *name, size_t name_len, const vsanEntry &key, vsanEntry *pending) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  vsanEntry *target = find_saved(key);
  row_ptr fresh;
  if (target == nullptr) {
    fresh = new_row();
    if (fresh == nullptr) {
      return no_memory();
    }
    target = fresh.get();
  }
  const int status = fetch_current_row(name, name_len, key, target);
  if (status != 0) {
    // The list is searched by this key, which a wrong answer may have overwritten.
    target->vsanIndex = key.vsanIndex;
    return fetch_failed(status, key);
  }
  copy_for_writing(*target, pending);
  if (fresh == nullptr) {
    return SNMP_ERR_NOERROR;
  }

  TRACE("%s(%d):  Adding UNDO entry (vsanIndex= %d to the vsanEntry_undo_list\n", self, __LINE__,
        static_cast<int>(key.vsanIndex));
  if (!list_saved(std::move(fresh), lister::column)) {
    const int refused = no_memory();
    TRACE("%s(%d) No Mmory! \n", self, __LINE__);
    return refused;
  }
  TRACE("%s(%d): Ret_code:%s ***vsanEntry_undo_list added!***\n", self, __LINE__, syserr_format(0));
  return SNMP_ERR_NOERROR;
}

// Lists a pending row, handed back in `*listed`, and a saved row for the VSAN.
int begin_row(const oid *name, size_t name_len, const vsanEntry &key, vsanEntry **listed) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  TRACE("%s(%d) : Creating an entry (vsanIndex = %d) in vsanEntry_list\n", self, __LINE__,
        static_cast<int>(key.vsanIndex));
  row_ptr pending = new_row();
  if (pending == nullptr) {
    return no_memory();
  }
  const int status = save_current_row(name, name_len, key, pending.get());
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }

  TRACE("%s(%d): Adding entry vsanIndex %d, to vsanEntry_list\n", self, __LINE__, static_cast<int>(key.vsanIndex));
  *listed = pending.get();
  if (!list_pending(std::move(pending), lister::column)) {
    return no_memory();
  }
  return SNMP_ERR_NOERROR;
}

// Row status sends a row that is being created. The OID's last sub-identifier is the VSAN, so that VSAN 9 is sent at
// once: kept, managers have met it.
bool is_left_to_row_status(const oid *name, size_t name_len, const vsanEntry &key) {
  enum { kAlwaysSent = 9 };

  if (last_sub_id(name, name_len) == kAlwaysSent) {
    return false;
  }
  const vsanEntry *pending = find_pending(key);
  return pending != nullptr && pending->vsanRowStatus == RS_CREATEANDGO;
}

void trace_sent(const char *procedure, const vsanEntry &key) {
  TRACE("%s(%d) :%s with vsanIndex = %d, succeeded\n", procedure, __LINE__, "SET", static_cast<int>(key.vsanIndex));
}

}  // namespace

int handle_onepdu_undo_vsanEntryList(int column, oid *name, size_t name_len, const void *value, size_t value_len) {
  vsanEntry key;
  if (!parse_key(name, name_len, &key)) {
    TRACE("%s(%d) ***Return Inconsistname! ***\n", __func__, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  forget_finished_pdu(name, name_len);
  vsanEntry *pending = find_pending(key);
  if (pending == nullptr) {
    const int status = begin_row(name, name_len, key, &pending);
    if (status != SNMP_ERR_NOERROR) {
      return status;
    }
  }
  if (value == nullptr) {
    log_set_error(kStatusNoValue, kRefusedByManager);
    return SNMP_ERR_GENERR;
  }
  return store_column(column, pending, value, value_len);
}

int handle_set_vsanEntryList(oid *name, size_t name_len) {
  vsanEntry key;
  if (!parse_key(name, name_len, &key)) {
    TRACE("%s(%d) *** InconsistantNAME! ***\n", __func__, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  if (is_left_to_row_status(name, name_len, key)) {
    TRACE("%s(%d) Don't Create vsan %d yet! \n", __func__, __LINE__, static_cast<int>(key.vsanIndex));
    return SNMP_ERR_NOERROR;
  }
  const row_ptr row = take_pending(key);
  TRACE("%s(%d) name_len:%d \n", __func__, __LINE__, static_cast<int>(name_len));
  if (row == nullptr) {
    TRACE("%s(%d) : ***No need to send the SET request again for vsanIndex = %d  ***\n", __func__, __LINE__,
          static_cast<int>(key.vsanIndex));
    return SNMP_ERR_NOERROR;
  }
  TRACE(
      "Sending %s req to vsan for vsan = %d name %s mediatype %d mtu %d iod %d iomode %d loadbtype %d state %d "
      "nwlatency %d\n",
      "SET", static_cast<int>(row->vsanIndex), row->vsanName, static_cast<int>(row->vsanMediaType),
      static_cast<int>(row->vsanMtu), static_cast<int>(row->vsanInorderDelivery),
      static_cast<int>(row->vsanInteropMode), static_cast<int>(row->vsanLoadBalancingType),
      static_cast<int>(row->vsanAdminState), static_cast<int>(row->vsanNetworkDropLatency));
  const int status = send_row(kMsgSet, *row);
  if (status != 0) {
    TRACE_AT(kTraceError, "%s(%d)%s failed for vsanIndex %d: %s\n", __func__, __LINE__, "SET",
             static_cast<int>(key.vsanIndex), failure_text(status));
    return answer_to_write(status);
  }
  trace_sent(__func__, key);
  return SNMP_ERR_NOERROR;
}

int handle_undo_vsanEntryList(oid *name, size_t name_len) {
  vsanEntry key;
  if (!parse_key(name, name_len, &key)) {
    TRACE("%s(%d) *** Return InConsistantname! *** \n", __func__, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  take_pending(key);
  const row_ptr saved = take_saved(key);
  if (saved == nullptr) {
    TRACE("%s : Could not get the entry for UNDO from UNDO list for instance vsanIndex = %d\n", __func__,
          static_cast<int>(key.vsanIndex));
    return SNMP_ERR_NOERROR;
  }
  const vsanEntry &row = *saved;
  TRACE(
      "Sending %s req to vsan for vsan = %d name %s mediatype %d mtu %d iod %d iomode %d loadbtype %d iod %d "
      "nwlatency %u\n",
      "SET", static_cast<int>(row.vsanIndex), row.vsanName, static_cast<int>(row.vsanMediaType),
      static_cast<int>(row.vsanMtu), static_cast<int>(row.vsanInorderDelivery), static_cast<int>(row.vsanInteropMode),
      static_cast<int>(row.vsanLoadBalancingType), static_cast<int>(row.vsanInorderDelivery),
      row.vsanNetworkDropLatency);
  const int status = send_row(kMsgSet, row);
  if (status != 0) {
    TRACE_AT(kTraceError, "%s failed for vsanIndex %d: %s\n", "SET", static_cast<int>(key.vsanIndex),
             failure_text(status));
    return answer_to_write(status);
  }
  trace_sent(__func__, key);
  return SNMP_ERR_NOERROR;
}

int handle_free_vsanEntryList(oid *name, size_t name_len) {
  vsanEntry key;
  if (!parse_key(name, name_len, &key)) {
    TRACE("%s(%d) ***Return Inconsistantname! ***\n", __func__, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  take_pending(key);
  take_saved(key);
  return SNMP_ERR_NOERROR;
}
