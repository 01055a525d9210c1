#include "interface_scalars.h"

#include <string.h>

#include "interface_reads.h"
#include "link_watch.h"

namespace {

void put_number(netsnmp_request_info *request, u_char type, uint32_t number) {
  const long value = static_cast<long>(number);
  snmp_set_var_typed_value(request->requestvb, type, &value, sizeof value);
}

// The scalar helper asks for the one instance, by GET.
using put_scalar = bool (*)(netsnmp_request_info *request);

int answer_scalar(put_scalar put, netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
  for (netsnmp_request_info *each = requests; each != nullptr && info->mode == MODE_GET; each = each->next) {
    if (each->processed == 0 && !put(each)) {
      netsnmp_set_request_error(info, each, SNMP_NOSUCHINSTANCE);
    }
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

int answer_if_number(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *info,
                     netsnmp_request_info *requests) {
  const put_scalar put = [](netsnmp_request_info *request) {
    uint32_t count = 0;
    const bool read = read_interface_count(&count);
    if (read) {
      put_number(request, ASN_INTEGER, count);
    }
    return read;
  };
  return answer_scalar(put, info, requests);
}

int answer_if_table_last_change(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *info,
                                netsnmp_request_info *requests) {
  const put_scalar put = [](netsnmp_request_info *request) {
    link_watch_look();
    put_number(request, ASN_TIMETICKS, link_table_since());
    return true;
  };
  return answer_scalar(put, info, requests);
}

int answer_sys_name(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *info,
                    netsnmp_request_info *requests) {
  const put_scalar put = [](netsnmp_request_info *request) {
    char name[256];
    const bool read = read_switch_name(name);
    if (read) {
      snmp_set_var_typed_value(request->requestvb, ASN_OCTET_STR, name, strlen(name));
    }
    return read;
  };
  return answer_scalar(put, info, requests);
}
