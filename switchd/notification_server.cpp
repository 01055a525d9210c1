#include "switchd/notification_server.h"

#include <errno.h>
#include <event2/event.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "platform/messaging/local_socket.h"
#include "platform/messaging/notification_wire.h"
#include "platform/messaging/service_names.h"
#include "switchd/log.h"

static constexpr size_t kConnectionsMax = 8;
static constexpr timeval kTimeToSubscribe{5, 0};
// Acknowledgements are stored together: a burst must not cost a disk write each.
static constexpr timeval kStoreAfter{0, 50000};
static constexpr timeval kStoreAgainAfter{1, 0};

struct subscriber {
  notification_server *server;
  int fd;
  event *readable;
  event *writable;
  bool subscribed = false;
  uint64_t sent = 0;               // the last number that was sent
  std::deque<uint64_t> under_way;  // sent and not acknowledged
};

struct notification_server {
  event_base *base;
  switch_managers *managers;
  std::string path;
  int listener;
  event *acceptable;
  event *store_timer;
  std::vector<subscriber *> connections;
  uint64_t sent_count = 0;
};

static void note_acknowledged(subscriber *connection, uint64_t number);
static uint32_t store_number(const switch_managers &managers);

// Reads what the subscriber acknowledged before the connection ended: an agent that is killed has often taken more than
// was read so far, and what is not noted here is sent again to the next one.
static void read_last_acknowledgements(subscriber *connection) {
  uint8_t buffer[kNotificationFrameMax + 1];
  for (int i = 0; i <= kNotificationWindow + 1; ++i) {
    const ssize_t size = recv(connection->fd, buffer, sizeof buffer, MSG_DONTWAIT);
    if (size < 0 && (errno == ECONNRESET || errno == EINTR)) {
      continue;  // told once, ahead of what is still to be read
    }
    notification_frame frame{};
    if (size <= 0 || notification_frame_read(buffer, static_cast<size_t>(size), &frame) != 0 ||
        frame.kind != kNotificationAcknowledge || frame.store != store_number(*connection->server->managers)) {
      return;
    }
    note_acknowledged(connection, frame.number);
  }
}

static void drop_connection(subscriber *connection) {
  if (connection->subscribed) {
    read_last_acknowledgements(connection);
  }
  std::erase(connection->server->connections, connection);
  event_free(connection->readable);
  event_free(connection->writable);
  close(connection->fd);
  delete connection;
}

static uint32_t store_number(const switch_managers &managers) {
  return static_cast<uint32_t>(managers.state.settings.store_id);
}

// Returns 1 when it was sent, 0 when the socket is full, -1 when the connection is gone.
static int send_one(subscriber *connection, const notification_record &record) {
  uint8_t buffer[kNotificationFrameMax];
  const notification_frame frame{kNotificationDeliver,  store_number(*connection->server->managers),
                                 record.number,         static_cast<uint32_t>(record.id),
                                 record.payload.data(), static_cast<uint32_t>(record.payload.size())};
  const size_t size = notification_frame_write(frame, buffer);
  if (send(connection->fd, buffer, size, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(size)) {
    return 1;
  }
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ENOBUFS ? 0 : -1;
}

// Sends in order until the window or the socket is full. Returns false when the connection had to be dropped.
static bool pump_connection(subscriber *connection) {
  notification_server *server = connection->server;
  const auto &queue = server->managers->state.notifications;
  auto next = std::ranges::upper_bound(queue, connection->sent, {}, &notification_record::number);
  for (; next != queue.end() && connection->under_way.size() < kNotificationWindow; ++next) {
    const int result = send_one(connection, *next);
    if (result < 0) {
      log_info(std::string("the subscriber to notifications is gone: ") + strerror(errno));
      drop_connection(connection);
      return false;
    }
    if (result == 0) {
      event_add(connection->writable, nullptr);
      return true;
    }
    connection->sent = next->number;
    connection->under_way.push_back(next->number);
    ++server->sent_count;
  }
  return true;
}

void notification_server_pump(notification_server *server) {
  const auto connection = std::ranges::find_if(server->connections, &subscriber::subscribed);
  if (connection != server->connections.end()) {
    pump_connection(*connection);
  }
}

// Forgets in the store what was acknowledged. Returns whether it is done.
static bool store_taken(notification_server *server) {
  const auto &queue = server->managers->state.notifications;
  const bool all_forgotten = queue.empty() || queue.front().number > server->managers->acknowledged;
  if (all_forgotten && server->managers->dropped_yet_taken == 0) {
    return true;
  }
  switch_change change = change_begin(server->managers->state);
  change.taken = server->managers->acknowledged;
  return managers_commit(*server->managers, change) == 0;
}

static void on_store_timer(evutil_socket_t, short, void *context) {
  auto *server = static_cast<notification_server *>(context);
  if (!store_taken(server)) {
    event_add(server->store_timer, &kStoreAgainAfter);
  }
}

static void take(notification_server *server, uint64_t number) {
  server->managers->acknowledged =
      std::max(server->managers->acknowledged, std::min(number, server->managers->state.settings.last_notification));
  if (event_pending(server->store_timer, EV_TIMEOUT, nullptr) == 0) {
    event_add(server->store_timer, &kStoreAfter);
  }
}

// What was sent up to `number` is taken. One that is no longer in the queue was counted as dropped, and was not.
static void note_acknowledged(subscriber *connection, uint64_t number) {
  switch_managers &managers = *connection->server->managers;
  const auto &queue = managers.state.notifications;
  auto &under_way = connection->under_way;
  while (!under_way.empty() && under_way.front() <= number) {
    managers.dropped_yet_taken += queue.empty() || under_way.front() < queue.front().number ? 1 : 0;
    under_way.pop_front();
  }
  take(connection->server, std::min(number, connection->sent));
}

static void on_subscribe(subscriber *connection, const notification_frame &frame) {
  notification_server *server = connection->server;
  const std::vector<subscriber *> others = server->connections;
  for (subscriber *other : others) {
    if (other != connection && other->subscribed) {
      log_info("a new subscription to notifications replaces the one before");
      drop_connection(other);
    }
  }
  const bool resumes = frame.store == store_number(*server->managers);
  connection->subscribed = true;
  // A subscriber that remembers nothing, such as an agent that was started anew, does not get again what was
  // acknowledged.
  connection->sent = std::max(resumes ? frame.number : 0, server->managers->acknowledged);
  connection->under_way.clear();
  event_del(connection->readable);
  event_add(connection->readable, nullptr);  // without the time limit of a connection that has not subscribed
  log_info("notifications are subscribed to, " +
           (connection->sent > 0 ? "after number " + std::to_string(connection->sent) : "all"));
  if (resumes) {
    take(server, frame.number);
  }
  pump_connection(connection);
}

static void on_acknowledge(subscriber *connection, const notification_frame &frame) {
  if (!connection->subscribed || frame.store != store_number(*connection->server->managers)) {
    return;  // of an earlier store: nothing of ours was taken
  }
  note_acknowledged(connection, frame.number);
  pump_connection(connection);
}

static void on_readable(evutil_socket_t fd, short what, void *context) {
  auto *connection = static_cast<subscriber *>(context);
  uint8_t buffer[kNotificationFrameMax + 1];
  const ssize_t size = (what & EV_TIMEOUT) != 0 ? 0 : recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  notification_frame frame{};
  if (size <= 0 || notification_frame_read(buffer, static_cast<size_t>(size), &frame) != 0 ||
      frame.kind == kNotificationDeliver) {
    if (size > 0) {
      log_warn("a subscriber to notifications sent " + std::to_string(size) + " bytes that are no frame");
    }
    drop_connection(connection);
    return;
  }
  if (frame.kind == kNotificationSubscribe) {
    on_subscribe(connection, frame);
  } else {
    on_acknowledge(connection, frame);
  }
}

static void on_writable(evutil_socket_t, short, void *context) {
  pump_connection(static_cast<subscriber *>(context));
}

static void on_acceptable(evutil_socket_t listener, short, void *context) {
  auto *server = static_cast<notification_server *>(context);
  const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) {
    return;
  }
  uid_t uid = 0;
  pid_t pid = 0;
  if (!local_socket_peer_allowed(fd, &uid, &pid) || server->connections.size() == kConnectionsMax) {
    log_warn("a connection to notifications was refused: uid " + std::to_string(uid) + ", pid " + std::to_string(pid));
    close(fd);
    return;
  }
  auto *connection = new subscriber{server, fd, nullptr, nullptr, false, 0, {}};
  connection->readable = event_new(server->base, fd, EV_READ | EV_PERSIST, on_readable, connection);
  connection->writable = event_new(server->base, fd, EV_WRITE, on_writable, connection);
  event_add(connection->readable, &kTimeToSubscribe);
  server->connections.push_back(connection);
}

notification_server *notification_server_open(event_base *base, const char *run_dir, switch_managers &managers) {
  char path[sizeof sockaddr_un{}.sun_path];
  if (service_socket_path(run_dir, kServiceNotifications, path, sizeof path) != 0) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  const int listener = local_socket_listen(path);
  if (listener < 0) {
    return nullptr;
  }
  auto *server = new notification_server{base, &managers, path, listener, nullptr, nullptr, {}};
  server->acceptable = event_new(base, listener, EV_READ | EV_PERSIST, on_acceptable, server);
  server->store_timer = event_new(base, -1, 0, on_store_timer, server);
  event_add(server->acceptable, nullptr);
  return server;
}

notification_counters notification_server_counters(const notification_server *server) {
  const bool subscribed = std::ranges::any_of(server->connections, &subscriber::subscribed);
  return {subscribed, server->sent_count, server->managers->acknowledged};
}

void notification_server_close(notification_server *server) {
  if (server == nullptr) {
    return;
  }
  while (!server->connections.empty()) {
    drop_connection(server->connections.front());
  }
  store_taken(server);
  event_free(server->acceptable);
  event_free(server->store_timer);
  close(server->listener);
  unlink(server->path.c_str());
  delete server;
}
