// Rows of the VSAN table as they travel under kOpVsanRow.
#ifndef FEATURE_MANAGERS_ROWS_VSAN_ROW_H
#define FEATURE_MANAGERS_ROWS_VSAN_ROW_H

#include <optional>
#include <string_view>

#include "state/switch_state.h"

// A row that a client sends.
struct sent_row {
  vsan_record vsan;  // 0 in in-order delivery or drop latency: leave it as it is
  uint32_t row_status = 0;
  std::optional<vsan_record> read;  // the row as the client read it; nothing when it means the whole row
};

using row_bytes = std::basic_string_view<uint8_t>;  // a whole vsanRowMessage

// The VSAN that a request is about.
uint32_t row_vsan(row_bytes message);

// Takes a row apart. Returns 0, or the status that tells what cannot be read; the values of `vsan` are not checked.
int row_read(row_bytes message, sent_row &row);

// The message that answers the VSAN, with its copy.
std::vector<uint8_t> row_answer(const switch_state &state, const vsan_record &vsan);

#endif
