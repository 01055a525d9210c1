// Listening, accepting, counting.
#include "message_server.h"

#include <errno.h>
#include <event2/event.h>
#include <stdarg.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "local_socket.h"
#include "message_server_internal.h"
#include "monotonic_clock.h"
#include "socket_path.h"

namespace {

constexpr size_t kConnectionsMax = 256;

void refuse_peer(message_server *server, int fd) {
  ++server->counters.peers_refused;
  close(fd);
}

void take_connection(void *context, int fd) {
  auto *server = static_cast<message_server *>(context);
  uid_t uid = 0;
  pid_t pid = 0;
  if (!local_socket_peer_allowed(fd, &uid, &pid)) {
    message_server_report(server, "refused peer: user %u, process %d", static_cast<unsigned>(uid),
                          static_cast<int>(pid));
    return refuse_peer(server, fd);
  }
  const bool room = server->connections.size() < kConnectionsMax || message_server_make_room(server, uid, pid);
  if (!room || !server_connection_add(server, fd, uid, pid)) {
    message_server_report(server, "refused process %d: %zu connections are open", static_cast<int>(pid),
                          server->connections.size());
    refuse_peer(server, fd);
  }
}

void on_listener_report(void *context, const char *text) {
  message_server_report(static_cast<message_server *>(context), "%s", text);
}

void on_sweep(evutil_socket_t, short, void *context) {
  auto *server = static_cast<message_server *>(context);
  const int64_t now = monotonic_ms();
  for (auto at = server->connections.begin(); at != server->connections.end();) {
    server_connection &connection = *at++;
    if (server_connection_idle(&connection, now) >= server->limits.idle) {
      server_connection_retire(&connection);
    }
  }
}

// Looks often enough that a connection is idle for no more than a quarter longer than it may.
bool start_sweeping(message_server *server) {
  const int64_t every = std::max<int64_t>(server->limits.idle / 4, 1);
  const timeval period = {static_cast<time_t>(every / 1000), static_cast<suseconds_t>(every % 1000 * 1000)};
  return server->sweep && event_add(server->sweep.get(), &period) == 0;
}

}  // namespace

message_server *message_server_open(event_base *base, const char *run_dir, int service, message_handler handler,
                                    void *context) {
  char path[kSocketPathRoom];
  if (service_socket_path(run_dir, service, path, sizeof path) != 0) {
    errno = service_row(service) < 0 ? ENOENT : ENAMETOOLONG;
    return nullptr;
  }
  auto *server = new message_server{.base = base, .service = service, .handler = handler, .context = context};
  server->sweep.reset(event_new(base, -1, EV_PERSIST, on_sweep, server));
  server->listener = socket_listener_open(base, path, {take_connection, on_listener_report}, server);
  if (server->listener == nullptr || !start_sweeping(server)) {
    const int why = server->listener == nullptr ? errno : ENOMEM;
    message_server_close(server);
    errno = why;
    return nullptr;
  }
  return server;
}

void message_server_limit(message_server *server, const message_limits &limits) {
  server->limits = limits;
  event_del(server->sweep.get());
  start_sweeping(server);
}

void message_server_log_to(message_server *server, message_log log) {
  server->log = log;
}

void message_server_on_end(message_server *server, connection_ended ended) {
  server->ended = ended;
}

void message_server_close(message_server *server) {
  if (server == nullptr) {
    return;
  }
  while (!server->connections.empty()) {
    server_connection_close(&server->connections.front());
  }
  socket_listener_close(server->listener);
  delete server;
}

message_counters message_server_counters(const message_server *server) {
  return server->counters;
}

void message_server_report(message_server *server, const char *format, ...) {
  uint32_t left_out = 0;
  if (server->log == nullptr || !log_limit_take(&server->reports, monotonic_seconds(), &left_out)) {
    return;
  }
  char text[256];
  if (left_out > 0) {
    snprintf(text, sizeof text, "%u lines like the next one were left out", static_cast<unsigned>(left_out));
    server->log(server->context, text);
  }
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  server->log(server->context, text);
}
