#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "platform/agent.h"

netsnmp_variable_list *build_varbind(netsnmp_variable_list *list, const void *value, u_char asn_type, size_t value_len,
                                     const oid *name, size_t name_len) {
  netsnmp_variable_list *head = list;
  if (snmp_varlist_add_variable(&head, name, name_len, asn_type, value, value_len) == nullptr) {
    return nullptr;
  }
  return head;
}
