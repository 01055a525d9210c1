// What the user of the PDU may see and change. Sets are copied before every call that takes one: the platform may
// change them.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_RESTRICTION_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_RESTRICTION_H

#include "module_frame/line_format.h"
#include "module_frame/written_value.h"
#include "vsan_mib.h"

namespace vsan_mib {

struct allowed_vsans {
  bool restricted;  // false: the user sees everything and `set` says nothing
  vsan_set_t set;
};

// `pdu_type` is SNMP_MSG_GET for every read, GETNEXT included, and SNMP_MSG_SET for every write.
allowed_vsans allowed_for_user(const oid *name, size_t name_len, int pdu_type);

// The platform's answers, non-zero for yes.
int vsan_in_set(uint32_t vsan, const vsan_set_t &set);
int next_vsan_in_set(uint32_t *vsan, const vsan_set_t &set);

// What is traced of a denied write: the write method's name and a line.
using denial_text = row_format<const char *, int>;

// The trace of a denied write, unless the write method has words of its own.
inline constexpr denial_text kWriteDenied = "%s : vsan restricted user -- not allowed in this vsan\n";

// Whether the PDU's user may write to the VSAN: noError, or genErr, which is traced with `text`, given the write
// method's name and a line, and reported to the agent as `code` (kStatusVsanDenied or kStatusRowDenied).
int check_right(const written &w, uint32_t vsan, uint32_t code, const denial_text &text, const char *setter);

// Walks on until a row of an allowed VSAN is found. `fetch(vsan)` reads the next row and stores its VSAN, or returns
// false at the end; `resume(present, vsan)` is told the next allowed VSAN, or that there is none, and places the walk
// before it. Returns false when the table holds no further row for this user. A manager that goes backwards ends the
// walk too.
template <typename Fetch, typename Resume>
bool walk_to_allowed(const vsan_set_t &set, Fetch fetch, Resume resume) {
  int64_t previous = -1;
  for (;;) {
    uint32_t vsan = 0;
    if (!fetch(vsan)) {
      return false;
    }
    if (vsan_in_set(vsan, set) != 0) {
      return true;
    }
    if (vsan <= previous) {
      return false;
    }
    previous = vsan;
    const int present = next_vsan_in_set(&vsan, set);
    resume(present, vsan);
    if (present == 0) {
      return false;
    }
  }
}

}  // namespace vsan_mib

#endif
