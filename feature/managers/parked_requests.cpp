#include "parked_requests.h"

#include <utility>

#include "managers.h"
#include "monotonic_clock.h"
#include "opcode_table.h"
#include "statuses.h"

namespace {

constexpr size_t kParkedMax = 64;
constexpr int64_t kAskedTwiceWithin = 1500;  // milliseconds: a client waits for five seconds, and an engine takes three

// What is put aside once more, after it waited for another one's operation. Returns whether it still may.
bool may_wait_on(switch_managers &managers, int64_t since) {
  if (monotonic_ms() - since > kAskedTwiceWithin) {
    managers.parked.pop_back();
    return false;
  }
  managers.parked.back().since = since;
  return true;
}

}  // namespace

void park_request(switch_managers &managers, std::span<const opcode_row> rows, const message_request &request,
                  message_reply &reply) {
  const bool again = reply.status == kDistributionAgain;
  reply.status = kStatusBusy;
  if (managers.parked.size() >= kParkedMax) {
    return;
  }
  reply.status = 0;
  reply.later = true;
  managers.parked.push_back({rows,
                             request,
                             {request.payload.begin(), request.payload.end()},
                             std::string(request.user),
                             std::string(request.session),
                             again,
                             monotonic_ms()});
}

void answer_parked(switch_managers &managers, int status) {
  for (parked_request &parked : std::exchange(managers.parked, {})) {
    message_request request = parked.request;
    request.payload = {parked.payload.data(), parked.payload.size()};
    request.user = parked.user;
    request.session = parked.session;
    if (!message_server_is_awaited(request.server, request.connection, request.number)) {
      continue;
    }
    message_reply reply;
    reply.status = status;
    if (status == 0 && parked.handled_again) {
      answer_by_table(parked.rows, managers, request, reply);
    }
    if (reply.later && !may_wait_on(managers, parked.since)) {
      reply = {kStatusFabricAway, {}};
    }
    if (!reply.later) {
      message_server_answer(request.server, request.connection, request.number, reply);
    }
  }
}
