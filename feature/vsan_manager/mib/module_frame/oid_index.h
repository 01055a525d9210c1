// The index part of an OID.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_OID_INDEX_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_OID_INDEX_H

#include <string.h>

#include "vsan_mib.h"

namespace vsan_mib {

// Sub-identifiers of a column's OID in every table of this MIB: the root, four of the table and entry, the column.
// One more names a row.
enum { kColumnOidLen = kVsanMibRootLen + 5, kRowOidLen = kColumnOidLen + 1 };

// Only the low 32 bits of a sub-identifier count.
inline uint32_t sub_id(const oid *name, size_t position) {
  return static_cast<uint32_t>(name[position]);
}

inline uint32_t last_sub_id(const oid *name, size_t length) {
  return length == 0 ? 0 : sub_id(name, length - 1);
}

// Whether `name` (longer than the column's OID) lies in that column.
inline bool in_column(const oid *column, size_t column_len, const oid *name) {
  return snmp_oid_compare(column, column_len, name, column_len) == 0;
}

// Rewrites `name` to the column's OID followed by `index`. `column` may be `name` itself.
inline void write_row_oid(const oid *column, size_t column_len, uint32_t index, oid *name, size_t *length) {
  memmove(name, column, column_len * sizeof(oid));
  name[column_len] = index;
  *length = column_len + 1;
}

// A row's OID of our own: what a row helper rewrites must not touch the OID that the agent goes on using.
struct row_oid {
  oid name[MAX_OID_LEN];
  size_t length;

  row_oid(const oid *from, size_t from_length)
      : name{}, length(from_length < MAX_OID_LEN - 1 ? from_length : MAX_OID_LEN - 1) {
    memcpy(name, from, length * sizeof(oid));
  }
};

}  // namespace vsan_mib

#endif
