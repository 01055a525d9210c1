// Who makes room when all places of a service are taken: whoever holds most of them.
#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "message_server_internal.h"
#include "monotonic_clock.h"

namespace {

// Connections by user, and by a user's process.
struct holdings {
  std::map<uid_t, size_t> of_user;
  std::map<std::pair<uid_t, pid_t>, size_t> of_process;
};

holdings count_holdings(const message_server *server) {
  holdings counted;
  for (const server_connection &each : server->connections) {
    ++counted.of_user[each.uid];
    ++counted.of_process[{each.uid, each.pid}];
  }
  return counted;
}

// The kernel tells no number of processes in another container: they are not one process.
size_t process_holds(holdings &held, uid_t uid, pid_t pid) {
  return pid == 0 ? 1 : held.of_process[{uid, pid}];
}

// Of the user's connections, one of the process that holds most: idle if there is such, and the quietest. Null when the
// user has none.
server_connection *first_to_go(message_server *server, holdings &held, uid_t user) {
  const int64_t now = monotonic_ms();
  const auto rank = [&](const server_connection &each) {
    return std::tuple(process_holds(held, each.uid, each.pid), server_connection_idle(&each, now) >= 0, -each.used);
  };
  server_connection *first = nullptr;
  for (server_connection &each : server->connections) {
    if (each.uid == user && !each.leaving && (first == nullptr || rank(each) > rank(*first))) {
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
    const bool holds_less = held.of_user[each.uid] < held.of_user[uid] ||
                            process_holds(held, each.uid, each.pid) < process_holds(held, uid, pid);
    if (const int64_t its = server_connection_idle(&each, now); !holds_less && its > idle) {
      longest = &each;
      idle = its;
    }
  }
  return longest;
}

// A request that has arrived is answered first; the loop then finds the end. Who waits for an answer is cut off.
void send_off(server_connection *connection, size_t held) {
  message_server_report(connection->server, "process %d of user %u holds %zu connections and loses one to others",
                        static_cast<int>(connection->pid), static_cast<unsigned>(connection->uid), held);
  if (server_connection_idle(connection, monotonic_ms()) < 0) {
    server_connection_close(connection);
  } else {
    server_connection_retire(connection);
  }
}

}  // namespace

bool message_server_make_room(message_server *server, uid_t uid, pid_t pid) {
  holdings held = count_holdings(server);
  const auto most = std::ranges::max_element(held.of_user, {}, [](const auto &user) { return user.second; });
  const bool user_has_more = most->second > held.of_user[uid] + 1;
  server_connection *first = first_to_go(server, held, user_has_more ? most->first : uid);
  if (first != nullptr && (user_has_more || process_holds(held, uid, first->pid) > process_holds(held, uid, pid) + 1)) {
    send_off(first, held.of_process[{first->uid, first->pid}]);
    return true;
  }
  server_connection *longest = longest_idle(server, held, uid, pid);
  return longest != nullptr && server_connection_retire(longest);
}
