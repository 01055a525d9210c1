// What tests of reads of several tables share.
#ifndef TESTS_UNIT_MODULE_TABLE_READS_H
#define TESTS_UNIT_MODULE_TABLE_READS_H

#include <algorithm>
#include <optional>

#include "module_test.h"
#include "vsan_records.h"

namespace table_reads {

using namespace mib;

// Whether an answer lies under `prefix`.
inline bool under(const std::optional<varbind> &answer, const name_t &prefix) {
  return answer && answer->name.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), answer->name.begin());
}

// Answers type 5 with `status` for VSAN `vsan`, everything else as the faked manager does.
inline auto refuse_pending(uint32_t vsan, int status) {
  return [=](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127 || e.msg_type != 5 || e.request[13] != vsan) {
      return {};
    }
    return fake::reply{status, 0, {}, {}};
  };
}

// A read of R_A_TOV on behalf of a write.
inline int read_for_set(oid vsan, vsanFcTimerEntry *record) {
  struct variable vp = {};
  name_t name = timer_cell(kRatov, vsan);
  vp.magic = 39;
  vp.namelen = 14;
  std::copy(name.begin(), name.begin() + 14, vp.name);
  name.resize(MAX_OID_LEN);
  size_t length = 15;
  return header_vsanFcTimerEntry(&vp, name.data(), &length, 1, record, 1);
}

}  // namespace table_reads

#endif
