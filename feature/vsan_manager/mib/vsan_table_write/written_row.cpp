#include "vsan_table_write/written_row.h"

#include <errno.h>

#include "module_frame/oid_index.h"
#include "vsan_records.h"

namespace vsan_mib {

bool parse_key(oid *name, size_t name_len, vsanEntry *key) {
  return get_vsanEntry_instance(name, kColumnOidLen, name, &name_len, 1, key) == 0;
}

vsanEntry key_of(const oid *name, size_t name_len) {
  vsanEntry key = {};
  if (name_len == kRowOidLen) {
    key.vsanIndex = sub_id(name, kColumnOidLen);
  }
  return key;
}

int fetch_current_row(const oid *name, size_t name_len, const vsanEntry &key, vsanEntry *record) {
  row_oid own(name, name_len);
  const int status = header_vsanEntry(own.name, kColumnOidLen, own.name, &own.length, 1, record);
  if (status != 0 || record->vsanIndex == key.vsanIndex) {
    return status;
  }
  errno = EPROTO;
  return -1;
}

}  // namespace vsan_mib
