// Listening, accepting, counting.
#include "platform/messaging/message_server.h"

#include <errno.h>
#include <event2/event.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/messaging/local_socket.h"
#include "platform/messaging/message_server_internal.h"
#include "platform/messaging/service_names.h"

namespace {

constexpr size_t kConnectionsMax = 256;
constexpr int kAcceptsAtOnce = 16;
constexpr timeval kAcceptPause = {0, 100'000};

void take_connection(message_server *server, int fd) {
  uid_t uid = 0;
  pid_t pid = 0;
  if (!local_socket_peer_allowed(fd, &uid, &pid)) {
    ++server->counters.peers_refused;
    message_server_report(server, "refused peer: user %u, process %d", static_cast<unsigned>(uid),
                          static_cast<int>(pid));
    close(fd);
  } else if (server->connections.size() >= kConnectionsMax || !server_connection_add(server, fd, uid, pid)) {
    ++server->counters.peers_refused;
    message_server_report(server, "refused process %d: %zu connections are open", static_cast<int>(pid),
                          server->connections.size());
    close(fd);
  } else {
    ++server->counters.connections;
  }
}

// When descriptors run out the listener stays readable; looking away for a moment keeps the loop from spinning.
void pause_accepting(message_server *server) {
  message_server_report(server, "cannot accept connections for now: errno %d", errno);
  event_del(server->acceptable.get());
  event_add(server->accept_again.get(), &kAcceptPause);
}

void on_acceptable(evutil_socket_t listener, short, void *context) {
  auto *server = static_cast<message_server *>(context);
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
      take_connection(server, fd);
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) {
      continue;
    }
    if (errno != EAGAIN) {
      pause_accepting(server);
    }
    return;
  }
}

void on_accept_again(evutil_socket_t, short, void *context) {
  event_add(static_cast<message_server *>(context)->acceptable.get(), nullptr);
}

}  // namespace

void event_deleter::operator()(event *owned) const {
  event_free(owned);
}

message_server *message_server_open(event_base *base, const char *run_dir, int service, message_handler handler,
                                    void *context) {
  char path[kSocketPathRoom];
  if (service_socket_path(run_dir, service, path, sizeof path) != 0) {
    errno = service_row(service) < 0 ? ENOENT : ENAMETOOLONG;
    return nullptr;
  }
  const int listener = local_socket_listen(path);
  if (listener < 0) {
    return nullptr;
  }
  auto *server = new message_server{.base = base,
                                    .service = service,
                                    .path = path,
                                    .socket_file = {},
                                    .handler = handler,
                                    .context = context,
                                    .listener = listener,
                                    .acceptable = {},
                                    .accept_again = {},
                                    .connections = {},
                                    .faults = {},
                                    .counters = {}};
  server->acceptable.reset(event_new(base, listener, EV_READ | EV_PERSIST, on_acceptable, server));
  server->accept_again.reset(event_new(base, -1, 0, on_accept_again, server));
  if (stat(path, &server->socket_file) != 0 || !server->acceptable || !server->accept_again ||
      event_add(server->acceptable.get(), nullptr) != 0) {
    message_server_close(server);
    errno = ENOMEM;
    return nullptr;
  }
  return server;
}

void message_server_log_to(message_server *server, message_log log) {
  server->log = log;
}

void message_server_close(message_server *server) {
  if (server == nullptr) {
    return;
  }
  while (!server->connections.empty()) {
    server_connection_close(&server->connections.front());
  }
  server->acceptable.reset();
  server->accept_again.reset();
  close(server->listener);
  struct stat found;
  if (stat(server->path.c_str(), &found) == 0 && found.st_ino == server->socket_file.st_ino &&
      found.st_dev == server->socket_file.st_dev) {
    unlink(server->path.c_str());
  }
  delete server;
}

message_counters message_server_counters(const message_server *server) {
  return server->counters;
}

void message_server_report(message_server *server, const char *format, ...) {
  if (server->log == nullptr) {
    return;
  }
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  server->log(server->context, text);
}
