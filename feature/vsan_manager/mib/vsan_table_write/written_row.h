// The VSAN row that a write names.
#ifndef FEATURE_VSAN_MANAGER_MIB_VSAN_TABLE_WRITE_WRITTEN_ROW_H
#define FEATURE_VSAN_MANAGER_MIB_VSAN_TABLE_WRITE_WRITTEN_ROW_H

#include "vsan_mib.h"
#include "vsan_records.h"

namespace vsan_mib {

// The key of the row that `name` ends in. Returns false when the OID names none.
bool parse_key(oid *name, size_t name_len, vsanEntry *key);

// The same without a trace line, for steps that are not a parse of their own.
vsanEntry key_of(const oid *name, size_t name_len);

// Fetches the row as the manager holds it, through the read side's cache; `name` stays as it is. Returns the status.
// An answer for another VSAN counts as a broken exchange: the lists are keyed by what the manager answers.
int fetch_current_row(const oid *name, size_t name_len, const vsanEntry &key, vsanEntry *record);

}  // namespace vsan_mib

#endif
