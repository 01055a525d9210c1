// Who makes room when all places of a service are taken: whoever holds most of them.
#include <map>
#include <tuple>

#include "message_server_internal.h"
#include "monotonic_clock.h"

namespace {

// Connections by user, and by process.
struct holdings {
  std::map<uid_t, size_t> of_user;
  std::map<pid_t, size_t> of_process;
};

holdings count_holdings(const message_server *server) {
  holdings counted;
  for (const server_connection &each : server->connections) {
    ++counted.of_user[each.uid];
    ++counted.of_process[each.pid];
  }
  return counted;
}

// The connection that has been quiet longest of those whose user, and then whose process, holds most.
server_connection *first_to_go(message_server *server, holdings &held) {
  const auto rank = [&](const server_connection &each) {
    return std::tuple(held.of_user[each.uid], held.of_process[each.pid], -each.used);
  };
  server_connection *first = nullptr;
  for (server_connection &each : server->connections) {
    if (first == nullptr || rank(each) > rank(*first)) {
      first = &each;
    }
  }
  return first;
}

// The connection that is idle longest, and long enough, of those who hold no less than the new one.
server_connection *longest_idle(message_server *server, holdings &held, uid_t uid, pid_t pid) {
  const int64_t now = monotonic_ms();
  server_connection *longest = nullptr;
  int64_t idle = server->limits.gives_way - 1;
  for (server_connection &each : server->connections) {
    const bool holds_less =
        held.of_user[each.uid] < held.of_user[uid] || held.of_process[each.pid] < held.of_process[pid];
    if (const int64_t its = server_connection_idle(&each, now); !holds_less && its > idle) {
      longest = &each;
      idle = its;
    }
  }
  return longest;
}

}  // namespace

bool message_server_make_room(message_server *server, uid_t uid, pid_t pid) {
  holdings held = count_holdings(server);
  server_connection *first = first_to_go(server, held);
  const bool has_more = held.of_user[first->uid] > held.of_user[uid] + 1 ||
                        (first->uid == uid && held.of_process[first->pid] > held.of_process[pid] + 1);
  if (has_more) {
    server_connection_close(first);
    return true;
  }
  server_connection *longest = longest_idle(server, held, uid, pid);
  return longest != nullptr && server_connection_retire(longest);
}
