// Requests answered by a table: what a receiver serves is one row per opcode and message type.
#ifndef FEATURE_MANAGERS_OPCODE_TABLE_H
#define FEATURE_MANAGERS_OPCODE_TABLE_H

#include <span>

#include "managers.h"

// Fills the answer's payload and returns the status. A refused request's payload is not sent.
using opcode_handler = int (*)(switch_managers &managers, const message_request &request, message_reply &reply);

inline constexpr size_t kAnySize = SIZE_MAX;

struct opcode_row {
  int opcode;
  int msg_type;
  size_t request_size;  // bytes of payload that a request has; kAnySize leaves it to the handler
  opcode_handler handle;
};

// Answers by the row that fits. A request that fits none, or whose values no record can have, is counted as malformed
// and noted in the log.
void answer_by_table(std::span<const opcode_row> rows, switch_managers &managers, const message_request &request,
                     message_reply &reply);

#endif
