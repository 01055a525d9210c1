#include "read_side/answer_row.h"

#include "vsan_records.h"

namespace vsan_mib {

namespace {
constexpr vsanEntry kNoRowYet = {};
}

const vsanEntry *vsan_answer_row = &kNoRowYet;
uint32_t answer_word;

}  // namespace vsan_mib
