// The VSAN table's columns other than row status: RESERVE1 checks here, the later phases are column_phases.cpp's.
#include "module_frame/restriction.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/vsan_columns.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_table_write/row_lists.h"
#include "vsan_table_write/written_row.h"

using namespace vsan_mib;

namespace {

// Writes the field of vsanInterOperType with a range and words of its own; no column hands it out.
constexpr vsan_column kInterOperMode = {
    .magic = kVsanInterOperType,
    .field = offsetof(vsanEntry, vsanInteropMode),
    .value = {.setter = "set_vsanInterOperMode",
              .low = 1,
              .high = 2,
              .wrong_type = {.standard_error = "write to vsanInterOperMode not ASN_INTEGER\n"},
              .bad_length = {.standard_error = "write to vsanInterOperMode: bad length\n"}},
    .entered = "%s(%d) \n",
    .denied = kWriteDenied,
    .phases = {.reserve2 = "%s(%d) in RESERVE2 \n"},
};

void trace(const vsan_column &column, const vsan_text &text, uint32_t vsan = 0) {
  if (text.format != nullptr) {
    TRACE_ROW(text, column.value.setter, __LINE__, static_cast<int>(vsan));
  }
}

int check_column(const vsan_column &column, const written &w) {
  int status = check_value(column.value, w);
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  trace(column, column.value_passed);

  vsanEntry key;
  if (!parse_key(w.name, w.name_len, &key)) {
    trace(column, column.no_instance);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  status = check_right(w, key.vsanIndex, kStatusVsanDenied, column.denied, column.value.setter);
  if (status == SNMP_ERR_NOERROR) {
    trace(column, column.right_passed, key.vsanIndex);
  }
  return status;
}

int set_column(const vsan_column &column, int action, const written &w) {
  trace(column, column.entered);
  trace(column, text_of(column.phases, action));
  switch (action) {
    case RESERVE1:
      forget_finished_pdu(w.name, w.name_len);
      return check_column(column, w);
    case RESERVE2:
      return handle_onepdu_undo_vsanEntryList(column.magic, w.name, w.name_len, w.value, w.length);
    case ACTION:
      return handle_set_vsanEntryList(w.name, w.name_len);
    case COMMIT:
    case FREE:
      return handle_free_vsanEntryList(w.name, w.name_len);
    case UNDO:
      note_pdu_over(w.name, w.name_len);
      return SNMP_ERR_NOERROR;
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

WRITE_METHOD(set_vsanName, set_column, *find_vsan_column(kVsanName))
WRITE_METHOD(set_vsanAdminState, set_column, *find_vsan_column(kVsanAdminState))
WRITE_METHOD(set_vsanLoadBalancingType, set_column, *find_vsan_column(kVsanLoadBalancingType))
WRITE_METHOD(set_vsanInterOperType, set_column, *find_vsan_column(kVsanInterOperType))
WRITE_METHOD(set_vsanInorderDelivery, set_column, *find_vsan_column(kVsanInorderDelivery))
WRITE_METHOD(set_vsanNetworkDropLatency, set_column, *find_vsan_column(kVsanNetworkDropLatency))
WRITE_METHOD(set_vsanInterOperMode, set_column, kInterOperMode)

// Media type and MTU are not writable.
WRITE_METHOD(set_vsanMediaType, answer_always, SNMP_ERR_NOSUCHNAME)
WRITE_METHOD(set_vsanMtu, answer_always, SNMP_ERR_NOSUCHNAME)
