// One PDU, one row, one message: the columns of a row are gathered here and sent together.
#include "vsan_table_write/set_lists.h"

#include <string.h>

#include "module_frame/oid_index.h"
#include "module_frame/row_message.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "platform/agent.h"
#include "platform/syserr.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_records.h"

namespace vsan_mib {
namespace {

// One mark a VSAN.
struct vsan_marks {
  uint8_t bits[kVsanSetBytes];
};

bool is_markable(uint32_t vsan) {
  return vsan / 8 < kVsanSetBytes;
}

bool is_marked(const vsan_marks &marks, uint32_t vsan) {
  return is_markable(vsan) && (marks.bits[vsan / 8] & (1u << (vsan % 8))) != 0;
}

void mark(vsan_marks &marks, uint32_t vsan, bool on) {
  if (!is_markable(vsan)) {
    return;
  }
  const uint8_t bit = static_cast<uint8_t>(1u << (vsan % 8));
  uint8_t &octet = marks.bits[vsan / 8];
  octet = static_cast<uint8_t>(on ? octet | bit : octet & ~bit);
}

// The VSANs whose row a column listed; the others are row status's. And those whose PDU is over although its columns'
// rows may still be listed.
vsan_marks pending_of_column;
vsan_marks saved_of_column;
vsan_marks pdu_is_over;

}  // namespace

row_ptr new_row() {
  return row_ptr(static_cast<vsanEntry *>(calloc(1, sizeof(vsanEntry))));
}

namespace {

bool list_row(indxobj_t &list, vsan_marks &of_column, row_ptr row, lister by) {
  const uint32_t vsan = row->vsanIndex;
  if (indxobj_add(&list, row.get(), row.get()) == 0) {
    return false;
  }
  static_cast<void>(row.release());
  mark(of_column, vsan, by == lister::column);
  return true;
}

row_ptr take_row_off(indxobj_t &list, vsan_marks &of_column, const vsanEntry &key) {
  mark(of_column, key.vsanIndex, false);
  return row_ptr(static_cast<vsanEntry *>(indxobj_remove(&list, &key)));
}

void drop_rows_of_columns(const vsanEntry &key) {
  if (is_marked(pending_of_column, key.vsanIndex)) {
    take_pending(key);
  }
  if (is_marked(saved_of_column, key.vsanIndex)) {
    take_saved(key);
  }
  mark(pdu_is_over, key.vsanIndex, false);
}

}  // namespace

bool list_pending(row_ptr row, lister by) {
  return list_row(vsanEntry_list, pending_of_column, std::move(row), by);
}

bool list_saved(row_ptr row, lister by) {
  return list_row(vsanEntry_undo_list, saved_of_column, std::move(row), by);
}

vsanEntry *find_pending(const vsanEntry &key) {
  return static_cast<vsanEntry *>(indxobj_find(&vsanEntry_list, &key, 0));
}

vsanEntry *find_saved(const vsanEntry &key) {
  return static_cast<vsanEntry *>(indxobj_find(&vsanEntry_undo_list, &key, 0));
}

row_ptr take_pending(const vsanEntry &key) {
  return take_row_off(vsanEntry_list, pending_of_column, key);
}

row_ptr take_saved(const vsanEntry &key) {
  return take_row_off(vsanEntry_undo_list, saved_of_column, key);
}

bool parse_key(oid *name, size_t name_len, vsanEntry *key) {
  return get_vsanEntry_instance(name, kColumnOidLen, name, &name_len, 1, key) == 0;
}

vsanEntry key_of(const oid *name, size_t name_len) {
  vsanEntry key = {};
  if (name_len == kRowOidLen) {
    key.vsanIndex = sub_id(name, kColumnOidLen);
  }
  return key;
}

int fetch_current_row(const oid *name, size_t name_len, const vsanEntry &key, vsanEntry *record) {
  row_oid own(name, name_len);
  const int status = header_vsanEntry(own.name, kColumnOidLen, own.name, &own.length, 1, record);
  if (status != 0 || record->vsanIndex == key.vsanIndex) {
    return status;
  }
  errno = EPROTO;
  return -1;
}

void note_pdu_over(const oid *name, size_t name_len) {
  const vsanEntry key = key_of(name, name_len);
  mark(pdu_is_over, key.vsanIndex, true);
  if (is_markable(key.vsanIndex)) {
    return;
  }
  // A manager of its own numbers: there is no mark for such a VSAN, and row status refuses it.
  take_pending(key);
  take_saved(key);
}

void forget_finished_pdu(const oid *name, size_t name_len) {
  const vsanEntry key = key_of(name, name_len);
  if (is_marked(pdu_is_over, key.vsanIndex)) {
    drop_rows_of_columns(key);
  }
}

void drop_all_rows_of_columns() {
  vsanEntry key = {};
  for (key.vsanIndex = 0; is_markable(key.vsanIndex); ++key.vsanIndex) {
    drop_rows_of_columns(key);
  }
}

namespace {

enum { kNoMemory = 1, kRefusedByModule = 584 };

// Where an integer column lies in the row.
struct integer_column {
  int column;
  size_t offset;
};

constexpr integer_column kIntegerColumns[] = {
    {kVsanAdminState, offsetof(vsanEntry, vsanAdminState)},
    {kVsanLoadBalancingType, offsetof(vsanEntry, vsanLoadBalancingType)},
    {kVsanRowStatus, offsetof(vsanEntry, vsanRowStatus)},
    {kVsanInterOperType, offsetof(vsanEntry, vsanInteropMode)},
    {kVsanInorderDelivery, offsetof(vsanEntry, vsanInorderDelivery)},
    {kVsanNetworkDropLatency, offsetof(vsanEntry, vsanNetworkDropLatency)},
};

void store_name(vsanEntry *row, const void *value, size_t length) {
  if (length > kVsanNameField - 1) {
    length = kVsanNameField - 1;
  }
  if (length > 0) {
    memcpy(row->vsanName, value, length);
  }
  row->vsanName[length] = '\0';
}

int store_column(int column, vsanEntry *row, const void *value, size_t length) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  if (column == kVsanName) {
    store_name(row, value, length);
    return SNMP_ERR_NOERROR;
  }
  if (column == kVsanMediaType || column == kVsanMtu) {
    return SNMP_ERR_NOTWRITABLE;
  }
  for (const integer_column &field : kIntegerColumns) {
    if (field.column != column) {
      continue;
    }
    uint32_t word = read_set_integer(value, length).value;
    if (column == kVsanInterOperType) {
      TRACE("%s(%d) vsan:%d InterMode:%d \n", self, __LINE__, static_cast<int>(row->vsanIndex), static_cast<int>(word));
      if (word == 0) {
        word = kVsanInteropDefault;
      }
    }
    memcpy(reinterpret_cast<char *>(row) + field.offset, &word, sizeof word);
    return SNMP_ERR_NOERROR;
  }
  TRACE("%s(%d) *** InconsistantName! ***\n", self, __LINE__);
  return SNMP_ERR_INCONSISTENTVALUE;
}

int no_memory() {
  log_set_error(kNoMemory, kRefusedByModule);
  return SNMP_ERR_GENERR;
}

// The row could not be fetched: nothing is listed, and a saved row that was to be refreshed is dropped with the rest.
int fetch_failed(int status, const vsanEntry &key, vsanEntry *pending) {
  const char *self = "handle_onepdu_undo_vsanEntryList";
  const char *text = failure_text(status);
  pending->vsanIndex = key.vsanIndex;
  vsanEntry_defaults(pending);
  TRACE("%s(%d) Ret_Code:%s \n", self, __LINE__, text);
  TRACE("%s(%d) : No instance returned for UNDO (vsanIndex =%d,(row status = %d )\n", self, __LINE__,
        static_cast<int>(pending->vsanIndex), static_cast<int>(pending->vsanRowStatus));
  take_saved(key);
  return to_snmp_error_code(status, kMsgSet);
}

// A pending row carries a value in the two fields below only when this PDU writes them: 0 means "leave as it is" to the
// manager.
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
    return fetch_failed(status, key, pending);
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

}  // namespace
}  // namespace vsan_mib

using namespace vsan_mib;

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
    log_set_error(kStatusNoValue, 200);
    return SNMP_ERR_GENERR;
  }
  return store_column(column, pending, value, value_len);
}

int handle_set_vsanEntryList(oid *name, size_t name_len) {
  enum { kAlwaysSent = 9 };

  vsanEntry key;
  if (!parse_key(name, name_len, &key)) {
    TRACE("%s(%d) *** InconsistantNAME! ***\n", __func__, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  // Row status sends a row that is being created. The OID's last sub-identifier is the VSAN, so that VSAN 9 is sent at
  // once: kept, managers have met it.
  if (last_sub_id(name, name_len) != kAlwaysSent) {
    const vsanEntry *pending = find_pending(key);
    if (pending != nullptr && pending->vsanRowStatus == RS_CREATEANDGO) {
      TRACE("%s(%d) Don't Create vsan %d yet! \n", __func__, __LINE__, static_cast<int>(key.vsanIndex));
      return SNMP_ERR_NOERROR;
    }
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
    return refused_write(status);
  }
  TRACE("%s(%d) :%s with vsanIndex = %d, succeeded\n", __func__, __LINE__, "SET", static_cast<int>(key.vsanIndex));
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
    return refused_write(status);
  }
  TRACE("%s(%d) :%s with vsanIndex = %d, succeeded\n", __func__, __LINE__, "SET", static_cast<int>(key.vsanIndex));
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
