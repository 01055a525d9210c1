// Shows through SNMP which rows the module has in its lists: linked with the module's own objects, since they are not
// visible from outside its library. A second dlmod line for the same file loads it.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <string>

#include "vsan_mib.h"
#include "vsan_table_write/row_lists.h"

namespace {

constexpr uint32_t kIndexMax = 4095;

std::string rows_listed(vsanEntry *(*find)(const vsanEntry &)) {
  std::string out;
  for (uint32_t id = 0; id <= kIndexMax; ++id) {
    vsanEntry key = {};
    key.vsanIndex = id;
    if (find(key) != nullptr) {
      out += " " + std::to_string(id);
    }
  }
  return out;
}

int answer(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *,
           netsnmp_request_info *requests) {
  const std::string text =
      "pending" + rows_listed(vsan_mib::find_pending) + " saved" + rows_listed(vsan_mib::find_saved);
  snmp_set_var_typed_value(requests->requestvb, ASN_OCTET_STR, text.data(), text.size());
  return SNMP_ERR_NOERROR;
}

constexpr oid kPlace[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1, 0};

}  // namespace

extern "C" __attribute__((visibility("default"))) void init_list_watch() {
  netsnmp_register_read_only_instance(netsnmp_create_handler_registration(
      "list_watch", answer, const_cast<oid *>(kPlace), OID_LENGTH(kPlace), HANDLER_CAN_RONLY));
}
