#include "read_side/answer_row.h"

#include "vsan_records.h"

namespace vsan_mib {

constinit const vsanEntry kNoRow = {};

const vsanEntry *vsan_answer_row = &kNoRow;
uint32_t answer_word;

}  // namespace vsan_mib
