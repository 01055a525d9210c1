#include "message_server_internal.h"

void message_server_add_fault(message_server *server, const message_fault &fault) {
  if (fault.count != 0) {
    server->faults.push_back(fault);
  }
}

void message_server_clear_faults(message_server *server) {
  server->faults.clear();
}

std::vector<message_fault> message_server_faults(const message_server *server) {
  return server->faults;
}

bool message_server_has_faults(const message_server *server) {
  return !server->faults.empty();
}

std::unique_ptr<message_fault> message_server_take_fault(message_server *server, int opcode) {
  for (auto fault = server->faults.begin(); fault != server->faults.end(); ++fault) {
    if (fault->opcode != -1 && fault->opcode != opcode) {
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
