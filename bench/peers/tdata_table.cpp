#include "tdata_table.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <string.h>

#include <vector>

#include "bench_rows.h"

namespace {

std::vector<bench::row> rows;

void answer(netsnmp_request_info *request, const bench::row &row, const bench::column &column) {
  if (column.word == nullptr) {
    snmp_set_var_typed_value(request->requestvb, column.type, row.name, strlen(row.name));
  } else {
    snmp_set_var_typed_integer(request->requestvb, column.type, static_cast<long>(row.*column.word));
  }
}

// The phases of a SET: everything is checked first, and what was checked is stored at the end and cannot fail there.
void write(int mode, netsnmp_agent_request_info *info, netsnmp_request_info *request, bench::row &row,
           const bench::column &column) {
  const netsnmp_variable_list &value = *request->requestvb;
  if (mode == MODE_SET_RESERVE1) {
    if (!column.writable) {
      netsnmp_set_request_error(info, request, SNMP_ERR_NOTWRITABLE);
    } else if (value.type != column.type) {
      netsnmp_set_request_error(info, request, SNMP_ERR_WRONGTYPE);
    } else if (column.word == nullptr && value.val_len >= bench::kNameSize) {
      netsnmp_set_request_error(info, request, SNMP_ERR_WRONGLENGTH);
    }
  } else if (mode == MODE_SET_COMMIT) {
    bench::store_value(row, column, value.val.string, value.val_len);
  }
}

int handle(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *info,
           netsnmp_request_info *requests) {
  for (netsnmp_request_info *request = requests; request != nullptr; request = request->next) {
    if (request->processed != 0) {
      continue;
    }
    auto *row = static_cast<bench::row *>(netsnmp_tdata_extract_entry(request));
    const netsnmp_table_request_info *asked = netsnmp_extract_table_info(request);
    const bench::column *column = asked != nullptr ? bench::find_column(asked->colnum) : nullptr;
    if (row == nullptr || column == nullptr) {
      netsnmp_set_request_error(info, request, info->mode == MODE_GET ? SNMP_NOSUCHINSTANCE : SNMP_ERR_NOCREATION);
    } else if (info->mode == MODE_GET) {
      answer(request, *row, *column);
    } else {
      write(info->mode, info, request, *row, *column);
    }
  }
  return SNMP_ERR_NOERROR;
}

bool add_row(netsnmp_tdata *table, bench::row &row) {
  netsnmp_tdata_row *entry = netsnmp_tdata_create_row();
  if (entry == nullptr) {
    return false;
  }
  entry->data = &row;
  const long index = row.vsan;
  netsnmp_tdata_row_add_index(entry, ASN_INTEGER, &index, sizeof index);
  return netsnmp_tdata_add_row(table, entry) == SNMPERR_SUCCESS;
}

// Columns 2 to 12 without 7: the library steps from one range to the next.
netsnmp_column_info upper_columns = {.isRange = 1, .list_count = 0, .details = {.range = {8, 12}}, .next = nullptr};
netsnmp_column_info columns = {.isRange = 1, .list_count = 0, .details = {.range = {2, 6}}, .next = &upper_columns};

}  // namespace

namespace bench {

bool register_tdata_table(uint32_t vsans) {
  static const oid kTable[] = {BENCH_VSAN_TABLE};
  static netsnmp_table_registration_info shape = {};

  rows = rows_up_to(vsans);
  netsnmp_tdata *table = netsnmp_tdata_create_table("vsanTable", 0);
  if (table == nullptr) {
    return false;
  }
  for (row &each : rows) {
    if (!add_row(table, each)) {
      return false;
    }
  }
  netsnmp_table_helper_add_indexes(&shape, ASN_INTEGER, 0);
  shape.min_column = columns.details.range[0];
  shape.max_column = upper_columns.details.range[1];
  shape.valid_columns = &columns;
  netsnmp_handler_registration *registration =
      netsnmp_create_handler_registration("vsanTable", handle, kTable, OID_LENGTH(kTable), HANDLER_CAN_RWRITE);
  return registration != nullptr && netsnmp_tdata_register(registration, table, &shape) == MIB_REGISTERED_OK;
}

}  // namespace bench
