#include "opcode_table.h"

#include <algorithm>

#include "parked_requests.h"
#include "statuses.h"

namespace {

// Whether a status says that a request's form or values are wrong, and not that they do not fit the configuration.
bool is_malformed(int status) {
  return (status & ~0x1FF) == (kStatusMalformed & ~0x1FF) && status != kStatusStoreFailed;
}

int answer(std::span<const opcode_row> rows, switch_managers &managers, const message_request &request,
           message_reply &reply, std::string &what) {
  const auto same_opcode = [&](const opcode_row &row) { return row.opcode == request.opcode; };
  if (std::ranges::none_of(rows, same_opcode)) {
    what = "unknown opcode";
    return kStatusUnknownOpcode;
  }
  const auto row = std::ranges::find_if(
      rows, [&](const opcode_row &each) { return same_opcode(each) && each.msg_type == request.msg_type; });
  if (row == rows.end()) {
    what = "unknown message type";
    return kStatusBadMessageType;
  }
  if (row->request_size != kAnySize && row->request_size != request.payload.size()) {
    what = "payload of " + std::to_string(request.payload.size()) + " bytes instead of " +
           std::to_string(row->request_size);
    return kStatusWrongSize;
  }
  what = "its values";
  return row->handle(managers, request, reply);
}

}  // namespace

void answer_by_table(std::span<const opcode_row> rows, switch_managers &managers, const message_request &request,
                     message_reply &reply) {
  std::string what;
  reply.status = answer(rows, managers, request, reply, what);
  if (reply.status == kDistributionAgain || reply.status == kDistributionOutcome) {
    return park_request(managers, rows, request, reply);
  }
  if (reply.status != 0) {
    reply.payload.clear();
  }
  if (is_malformed(reply.status)) {
    ++managers.malformed;
    managers_refuse(managers, request, reply.status, what);
  }
  if (managers.served != nullptr) {
    managers.served(managers.context);
  }
}
