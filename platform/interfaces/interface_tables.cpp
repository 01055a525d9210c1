#include "interface_tables.h"

#include <string.h>

#include <algorithm>

#include "interface_columns.h"
#include "interface_reads.h"
#include "link_watch.h"

namespace {

using column_list = std::span<const interface_column>;

void put_value(netsnmp_variable_list *varbind, const interface_column &column, const switch_interface &interface) {
  link_note(interface);
  if (column.type == ASN_OCTET_STR) {
    const char *text = column.text != nullptr ? column.text(interface) : "";
    snmp_set_var_typed_value(varbind, column.type, text, strlen(text));
    return;
  }
  const uint32_t number = column.number != nullptr ? column.number(interface) : column.same;
  if (column.type == ASN_COUNTER64) {
    const counter64 wide = {0, number};
    snmp_set_var_typed_value(varbind, column.type, &wide, sizeof wide);
    return;
  }
  const long value = static_cast<long>(number);
  snmp_set_var_typed_value(varbind, column.type, &value, sizeof value);
}

column_list::iterator find_column(column_list columns, unsigned wanted) {
  return std::ranges::lower_bound(columns, wanted, {}, &interface_column::column);
}

void answer_get(netsnmp_agent_request_info *info, netsnmp_request_info *request,
                const netsnmp_table_request_info &asked, column_list columns) {
  const auto column = find_column(columns, asked.colnum);
  if (column == columns.end() || column->column != asked.colnum) {
    netsnmp_set_request_error(info, request, SNMP_NOSUCHOBJECT);
    return;
  }
  switch_interface interface;
  const bool is_index = asked.index_oid_len == 1 && asked.index_oid[0] >= 1 && asked.index_oid[0] <= kIfIndexMax;
  if (!is_index ||
      read_seen_interface(static_cast<uint32_t>(asked.index_oid[0]), &interface) != interface_read::found) {
    netsnmp_set_request_error(info, request, SNMP_NOSUCHINSTANCE);
    return;
  }
  put_value(request->requestvb, *column, interface);
}

// Where the walk goes on. Leaves the request unanswered at the table's end: the agent asks the next object.
void answer_get_next(const netsnmp_handler_registration *table, netsnmp_request_info *request,
                     const netsnmp_table_request_info &asked, column_list columns) {
  auto column = find_column(columns, asked.colnum);
  const bool from_start = column == columns.end() || column->column != asked.colnum || asked.index_oid_len == 0;
  oid after = from_start ? 0 : asked.index_oid[0];
  for (; column != columns.end(); ++column, after = 0) {
    switch_interface interface;
    const interface_read read = after >= kIfIndexMax
                                    ? interface_read::absent
                                    : read_seen_interface_after(static_cast<uint32_t>(after), &interface);
    if (read == interface_read::no_answer || (read == interface_read::absent && after == 0)) {
      return;  // no row in any column
    }
    if (read == interface_read::found) {
      oid name[MAX_OID_LEN];
      memcpy(name, table->rootoid, table->rootoid_len * sizeof(oid));
      const oid rest[] = {1, column->column, interface.index};
      memcpy(name + table->rootoid_len, rest, sizeof rest);
      snmp_set_var_objid(request->requestvb, name, table->rootoid_len + OID_LENGTH(rest));
      return put_value(request->requestvb, *column, interface);
    }
  }
}

int answer_table(column_list columns, const netsnmp_handler_registration *table, netsnmp_agent_request_info *info,
                 netsnmp_request_info *requests) {
  for (netsnmp_request_info *each = requests; each != nullptr; each = each->next) {
    const netsnmp_table_request_info *asked = each->processed != 0 ? nullptr : netsnmp_extract_table_info(each);
    if (asked == nullptr) {
      continue;
    }
    if (info->mode == MODE_GET) {
      answer_get(info, each, *asked, columns);
    } else if (info->mode == MODE_GETNEXT) {
      answer_get_next(table, each, *asked, columns);
    }
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

int answer_if_table(netsnmp_mib_handler *, netsnmp_handler_registration *table, netsnmp_agent_request_info *info,
                    netsnmp_request_info *requests) {
  return answer_table(if_table_columns(), table, info, requests);
}

int answer_if_x_table(netsnmp_mib_handler *, netsnmp_handler_registration *table, netsnmp_agent_request_info *info,
                      netsnmp_request_info *requests) {
  return answer_table(if_x_table_columns(), table, info, requests);
}
