// The table answered straight from an array through the agent's old interface: the least that a module in the agent can
// do. Loaded with dlmod; BENCH_VSANS says how many rows.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "bench_rows.h"

namespace {

std::vector<bench::row> rows;  // VSAN v is rows[v - 1]

bench::row *find_row(oid vsan) {
  return vsan >= 1 && vsan <= rows.size() ? &rows[vsan - 1] : nullptr;
}

int write_cell(int action, u_char *value, u_char type, size_t size, u_char *, oid *name, size_t length) {
  const bench::column *column = bench::find_column(static_cast<uint32_t>(name[length - 2]));
  bench::row *row = find_row(name[length - 1]);
  if (column == nullptr || row == nullptr) {
    return SNMP_ERR_NOCREATION;
  }
  if (action == RESERVE1) {
    if (type != column->type) {
      return SNMP_ERR_WRONGTYPE;
    }
    return column->word == nullptr && size >= bench::kNameSize ? SNMP_ERR_WRONGLENGTH : SNMP_ERR_NOERROR;
  }
  if (action == COMMIT && !bench::store_value(*row, *column, value, size)) {
    return SNMP_ERR_COMMITFAILED;
  }
  return SNMP_ERR_NOERROR;
}

// The VSAN that the OID asks for below the column `vp->name`, or 0.
oid asked_vsan(const struct variable *vp, const oid *name, size_t length, int exact) {
  const bool in_column = length > vp->namelen && memcmp(name, vp->name, vp->namelen * sizeof(oid)) == 0;
  if (exact != 0) {
    return in_column && length == vp->namelen + 1u ? name[vp->namelen] : 0;
  }
  return in_column ? name[vp->namelen] + 1 : 1;
}

u_char *find_cell(struct variable *vp, oid *name, size_t *length, int exact, size_t *size, WriteMethod **write) {
  static u_long word;

  bench::row *row = find_row(asked_vsan(vp, name, *length, exact));
  const bench::column *column = bench::find_column(vp->magic);
  if (row == nullptr || column == nullptr) {
    return nullptr;
  }
  memcpy(name, vp->name, vp->namelen * sizeof(oid));
  name[vp->namelen] = row->vsan;
  *length = vp->namelen + 1u;
  *write = column->writable ? write_cell : nullptr;
  if (column->word == nullptr) {
    *size = strlen(row->name);
    return reinterpret_cast<u_char *>(row->name);
  }
  word = row->*column->word;
  *size = sizeof word;
  return reinterpret_cast<u_char *>(&word);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void init_bench_array(void) {
  static const oid kTable[] = {BENCH_VSAN_TABLE};
  static variable2 variables[std::size(bench::kColumns)];

  rows = bench::rows_up_to(bench::rows_wanted(getenv("BENCH_VSANS")));
  for (size_t i = 0; i < std::size(variables); ++i) {
    const bench::column &column = bench::kColumns[i];
    variables[i] = {.magic = static_cast<u_char>(column.number),
                    .type = column.type,
                    .acl = static_cast<u_short>(column.writable ? NETSNMP_OLDAPI_RWRITE : NETSNMP_OLDAPI_RONLY),
                    .findVar = find_cell,
                    .namelen = 2,
                    .name = {bench::kEntry, column.number}};
  }
  if (register_mib("vsanTable", reinterpret_cast<struct variable *>(variables), sizeof variables[0],
                   std::size(variables), kTable, OID_LENGTH(kTable)) != MIB_REGISTERED_OK) {
    fprintf(stderr, "bench_array: the table is not registered\n");
  }
}
