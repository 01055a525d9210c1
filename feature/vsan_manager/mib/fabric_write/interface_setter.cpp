// Moving an interface into another VSAN: its row is read, changed and sent back. Nothing is undone.
#include "module_frame/exchange.h"
#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/written_value.h"
#include "objects/interface_columns.h"
#include "platform/agent.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

int check_move(const interface_column &column, const written &w) {
  const int status = check_value(column.value, w);
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  const uint32_t vsan = read_set_integer(w.value, w.length).value;
  const int refused =
      process_for_vsan_restriction(last_sub_id(w.name, w.name_len), kModeWrite, vsan, w.name, w.name_len, SNMP_MSG_SET);
  return refused == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}

int move_interface(const written &w) {
  row_oid own(w.name, w.name_len);
  vsanIfEntry row = {};
  const int status = header_vsanIfEntry(own.name, kColumnOidLen, own.name, &own.length, 1, &row);
  if (status != 0) {
    return to_snmp_error_code(status, kMsgSet);
  }
  row.vsanIfVsan = read_set_integer(w.value, w.length).value;
  record_swap(&row);
  return answer_to_write(tell(kOpInterfaceVsan, kMsgSet, &row, sizeof row, kTimeout));
}

int set_interface(const interface_column &column, int action, const written &w) {
  switch (action) {
    case RESERVE1:
      return check_move(column, w);
    case ACTION:
      return move_interface(w);
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

WRITE_METHOD(set_vsanIfVsan, set_interface, *find_interface_column(kVsanIfVsan))
WRITE_METHOD(set_vsanIfDenyList, answer_always, SNMP_ERR_NOSUCHNAME)

int check_valid_ifindex(void) {
  return 1;
}
