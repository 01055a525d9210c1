#include "read_side/answer_row.h"

#include "vsan_records.h"

namespace vsan_mib {

vsanEntry vsan_answer_row;
uint32_t answer_word;

}  // namespace vsan_mib
