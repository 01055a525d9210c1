// What the find functions' answers point into.
#ifndef FEATURE_VSAN_MANAGER_MIB_READ_SIDE_ANSWER_ROW_H
#define FEATURE_VSAN_MANAGER_MIB_READ_SIDE_ANSWER_ROW_H

#include "vsan_records.h"

namespace vsan_mib {

// A row before there is one: zeros.
extern const vsanEntry kNoRow;

// The VSAN row that get_vsanEntry looked up last; never null. It changes with the next look-up.
extern const vsanEntry *vsan_answer_row;

// The row status that reads as active, and the per-VSAN timers' value.
extern uint32_t answer_word;

}  // namespace vsan_mib

#endif
