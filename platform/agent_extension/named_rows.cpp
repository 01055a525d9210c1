#include "named_rows.h"

#include <net-snmp/agent/old_api.h>
#include <string.h>

#include "served_pdu.h"

namespace {

// What is known of the objects under an OID below the root.
struct object_rule {
  oid under[5];
  size_t length;
  bool writes_by_name;  // the write method needs nothing of the row that was found
  bool text;            // the value ends at its first NUL on the switch
};

constexpr object_rule kObjectRules[] = {
    {{1, 1, 3, 1, 2}, 5, false, true},  // vsanName
    {{1, 4, 8, 1}, 4, true, false},     // the timers of a VSAN: a VSAN kept out of distribution is skipped by find
};

const object_rule *find_rule(const netsnmp_handler_registration &registration) {
  for (const object_rule &rule : kObjectRules) {
    if (is_under_switch_root(registration.rootoid, registration.rootoid_len, rule.under, rule.length)) {
      return &rule;
    }
  }
  return nullptr;
}

bool has_moved(const named_row &row) {
  const netsnmp_variable_list *now = row.request->requestvb;
  return snmp_oid_compare(now->name, now->name_length, row.name.data(), row.name.size()) != 0;
}

// RESERVE1 of the write method, with the row's own name. The current value is that of another row.
int check_again(netsnmp_request_info *request) {
  auto *kept = static_cast<netsnmp_old_api_cache *>(netsnmp_request_get_list_data(request, OLD_API_NAME));
  if (kept == nullptr || kept->write_method == nullptr) {
    return SNMP_ERR_INCONSISTENTNAME;
  }
  kept->data = nullptr;
  const netsnmp_variable_list *written = request->requestvb;
  return kept->write_method(MODE_SET_RESERVE1, written->val.string, written->type, written->val_len, nullptr,
                            written->name, written->name_length);
}

bool holds_nul(const netsnmp_variable_list *written) {
  return written->type == ASN_OCTET_STR && written->val_len > 0 &&
         memchr(written->val.string, '\0', written->val_len) != nullptr;
}

}  // namespace

std::vector<named_row> named_rows_remember(const netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
  std::vector<named_row> rows;
  if (info->mode != MODE_SET_RESERVE1) {
    return rows;
  }
  for (netsnmp_request_info *each = requests; each != nullptr; each = each->next) {
    const netsnmp_variable_list *asked = each->requestvb;
    rows.push_back({each, std::vector<oid>(asked->name, asked->name + asked->name_length)});
  }
  return rows;
}

void named_rows_restore(netsnmp_handler_registration *registration, netsnmp_agent_request_info *info,
                        const std::vector<named_row> &rows) {
  const object_rule *rule = rows.empty() ? nullptr : find_rule(*registration);
  for (const named_row &row : rows) {
    if (has_moved(row)) {
      snmp_set_var_objid(row.request->requestvb, row.name.data(), row.name.size());
      const bool by_name = rule != nullptr && rule->writes_by_name;
      row.request->status = SNMP_ERR_NOERROR;  // it was about the other row
      netsnmp_set_request_error(info, row.request, by_name ? check_again(row.request) : SNMP_ERR_INCONSISTENTNAME);
    }
    if (rule != nullptr && rule->text && row.request->status == SNMP_ERR_NOERROR && holds_nul(row.request->requestvb)) {
      netsnmp_set_request_error(info, row.request, SNMP_ERR_WRONGVALUE);
    }
  }
}
