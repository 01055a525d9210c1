// Faults that were switched on, and which of them a request meets.
#include "message_frame.h"
#include "message_server_internal.h"
#include "monotonic_clock.h"
#include "requests.h"

namespace {

bool hits(const message_fault &fault, const message_header &header) {
  const bool writes = header.msg_type == kMsgSet || header.msg_type == kMsgDelete;
  return (fault.opcode == -1 || fault.opcode == static_cast<int>(header.opcode)) &&
         (fault.side == fault_side::both || (fault.side == fault_side::writes) == writes) &&
         !(fault.spares_operator && (header.flags & kMessageIsSpared) != 0);
}

void drop_ended(message_server *server) {
  const int64_t now = monotonic_ms();
  std::erase_if(server->faults, [now](const message_fault &each) { return each.ends != 0 && each.ends <= now; });
}

}  // namespace

void message_server_add_fault(message_server *server, const message_fault &fault) {
  if (fault.count != 0) {
    server->faults.push_back(fault);
  }
}

void message_server_clear_faults(message_server *server) {
  server->faults.clear();
}

std::vector<message_fault> message_server_faults(message_server *server) {
  drop_ended(server);
  return server->faults;
}

bool message_server_has_faults(message_server *server) {
  drop_ended(server);
  return !server->faults.empty();
}

std::unique_ptr<message_fault> message_server_take_fault(message_server *server, const message_header &header) {
  drop_ended(server);
  for (auto fault = server->faults.begin(); fault != server->faults.end(); ++fault) {
    if (!hits(*fault, header)) {
      continue;
    }
    auto taken = std::make_unique<message_fault>(*fault);
    if (fault->count > 0 && --fault->count == 0) {
      server->faults.erase(fault);
    }
    return taken;
  }
  return nullptr;
}
