// Moving an interface into another VSAN: its row is read, changed and sent back. Nothing is undone.
#include "module_frame/exchange.h"
#include "module_frame/oid_index.h"
#include "module_frame/standard_error.h"
#include "module_frame/written_value.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

enum { kFirstVsan = 1, kLastVsan = 4095, kModeWrite = 1 };

int check(u_char type, size_t length, const u_char *value, oid *name, size_t name_len) {
  if (type != ASN_INTEGER) {
    complain("write to vsanIfVsan not ASN_INTEGER\n");
    return SNMP_ERR_WRONGTYPE;
  }
  if (!is_integer_length(length)) {
    complain("write to vsanIfVsan: bad length\n");
    return SNMP_ERR_WRONGLENGTH;
  }
  const set_integer vsan = read_set_integer(value, length);
  if (!in_range(vsan, kFirstVsan, kLastVsan)) {
    return SNMP_ERR_WRONGVALUE;
  }
  const int refused =
      process_for_vsan_restriction(last_sub_id(name, name_len), kModeWrite, vsan.value, name, name_len, SNMP_MSG_SET);
  return refused == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}

int move_interface(uint32_t vsan, const oid *name, size_t name_len) {
  row_oid own(name, name_len);
  vsanIfEntry row = {};
  int status = header_vsanIfEntry(own.name, kColumnOidLen, own.name, &own.length, 1, &row);
  if (status != 0) {
    return to_snmp_error_code(status, kMsgSet);
  }

  row.vsanIfVsan = vsan;
  vsanIfEntry_hton(&row);
  status = tell(kOpInterfaceVsan, kMsgSet, &row, sizeof row, kTimeout);
  return status == 0 ? SNMP_ERR_NOERROR : refused_write(status);
}

}  // namespace

int set_vsanIfVsan(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char * /*statP*/, oid *name,
                   size_t name_len) {
  if (action == RESERVE1) {
    return check(var_val_type, var_val_len, var_val, name, name_len);
  }
  if (action == ACTION) {
    return move_interface(read_set_integer(var_val, var_val_len).value, name, name_len);
  }
  return SNMP_ERR_NOERROR;
}

int set_vsanIfDenyList(int, u_char *, u_char, size_t, u_char *, oid *, size_t) {
  return SNMP_ERR_NOSUCHNAME;
}

int check_valid_ifindex(void) {
  return 1;
}
