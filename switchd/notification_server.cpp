#include "notification_server.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <list>
#include <set>
#include <string>

#include "event_ptr.h"
#include "local_socket.h"
#include "log.h"
#include "notification_frame.h"
#include "requests.h"
#include "socket_listener.h"
#include "socket_path.h"

namespace {

constexpr size_t kConnectionsMax = 8;
constexpr size_t kRefusedMax = 64;
constexpr timeval kTimeToSubscribe{5, 0};
// Acknowledgements are stored together: a burst must not cost a disk write each.
constexpr timeval kStoreAfter{0, 50000};
constexpr timeval kStoreAgainAfter{1, 0};

struct subscriber {
  notification_server *server;
  int fd;
  uid_t uid;
  pid_t pid;
  event_ptr readable = {};
  event_ptr writable = {};
  event_ptr deadline = {};  // of a connection that has not subscribed
  bool subscribed = false;
  uint64_t sent = 0;                    // the last number that was sent
  std::deque<uint64_t> under_way = {};  // sent and not acknowledged
};

}  // namespace

struct notification_server {
  event_base *base;
  switch_managers *managers;
  socket_listener *listener = nullptr;
  event_ptr store_timer = {};
  std::list<subscriber> connections = {};
  std::set<pid_t> refused = {};  // processes of whose refusal the log knows; of the subscription that there is now
  uint64_t sent_count = 0;
  log_limit warnings = {};  // lines that peers cause
};

namespace {

void note_acknowledged(subscriber *connection, uint64_t number);
uint32_t store_number(const switch_managers &managers);

// Reads what the subscriber acknowledged before the connection ended: an agent that is killed has often taken more than
// was read so far, and what is not noted here is sent again to the next one.
void read_last_acknowledgements(subscriber *connection) {
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

void drop_connection(subscriber *connection) {
  if (connection->subscribed) {
    read_last_acknowledgements(connection);
    connection->server->refused.clear();
  }
  connection->readable.reset();
  connection->writable.reset();
  connection->deadline.reset();
  close(connection->fd);
  connection->server->connections.remove_if([connection](const subscriber &each) { return &each == connection; });
}

uint32_t store_number(const switch_managers &managers) {
  return static_cast<uint32_t>(managers.state.settings.store_id);
}

// Returns 1 when it was sent, 0 when the socket is full, -1 when the connection is gone.
int send_one(subscriber *connection, const notification_record &record) {
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
bool pump_connection(subscriber *connection) {
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
      event_add(connection->writable.get(), nullptr);
      return true;
    }
    connection->sent = next->number;
    connection->under_way.push_back(next->number);
    ++server->sent_count;
  }
  return true;
}

}  // namespace

void notification_server_pump(notification_server *server) {
  const auto connection = std::ranges::find_if(server->connections, &subscriber::subscribed);
  if (connection != server->connections.end()) {
    pump_connection(&*connection);
  }
}

namespace {

// Forgets in the store what was acknowledged. Returns whether it is done.
bool store_taken(notification_server *server) {
  const auto &queue = server->managers->state.notifications;
  const bool all_forgotten = queue.empty() || queue.front().number > server->managers->acknowledged;
  if (all_forgotten && server->managers->dropped_yet_taken == 0) {
    return true;
  }
  switch_change change = change_begin(server->managers->state);
  change.taken = server->managers->acknowledged;
  return managers_commit(*server->managers, change) == 0;
}

void on_store_timer(evutil_socket_t, short, void *context) {
  auto *server = static_cast<notification_server *>(context);
  if (!store_taken(server)) {
    event_add(server->store_timer.get(), &kStoreAgainAfter);
  }
}

void take(notification_server *server, uint64_t number) {
  server->managers->acknowledged =
      std::max(server->managers->acknowledged, std::min(number, server->managers->state.settings.last_notification));
  if (event_pending(server->store_timer.get(), EV_TIMEOUT, nullptr) == 0) {
    event_add(server->store_timer.get(), &kStoreAfter);
  }
}

// What was sent up to `number` is taken. One that is no longer in the queue was counted as dropped, and was not.
void note_acknowledged(subscriber *connection, uint64_t number) {
  switch_managers &managers = *connection->server->managers;
  const auto &queue = managers.state.notifications;
  auto &under_way = connection->under_way;
  while (!under_way.empty() && under_way.front() <= number) {
    managers.dropped_yet_taken += queue.empty() || under_way.front() < queue.front().number ? 1 : 0;
    under_way.pop_front();
  }
  take(connection->server, std::min(number, connection->sent));
}

std::string holder_text(const subscriber *holder) {
  return "process " + std::to_string(holder->pid) + " of user " + std::to_string(holder->uid) +
         " has the subscription to notifications";
}

// Whether the peer has closed its end, or is gone with it. What it sent before may still be there to read.
bool is_gone(const subscriber *connection) {
  pollfd look{connection->fd, POLLRDHUP, 0};
  return poll(&look, 1, 0) > 0 && (look.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

// Tells the peer who has the subscription, and ends its connection. It will ask again: the log is told once.
void refuse_subscription(subscriber *connection, const subscriber *holder) {
  const std::string why = holder_text(holder);
  const auto *text = reinterpret_cast<const uint8_t *>(why.data());
  uint8_t buffer[kNotificationFrameMax];
  const size_t size =
      notification_frame_write({kNotificationRefused, 0, 0, 0, text, static_cast<uint32_t>(why.size())}, buffer);
  send(connection->fd, buffer, size, MSG_DONTWAIT | MSG_NOSIGNAL);
  auto &refused = connection->server->refused;
  if (refused.size() == kRefusedMax) {
    refused.clear();
  }
  if (refused.insert(connection->pid).second) {
    log_warn_limited(connection->server->warnings, "process " + std::to_string(connection->pid) + " of user " +
                                                       std::to_string(connection->uid) +
                                                       " gets no notifications: " + why);
  }
  drop_connection(connection);
}

// Makes way for the connection's subscription. Returns whether it may be. One of the same process has to wait, too:
// agents behind one forwarder are one process here. An agent that subscribes anew has closed the connection before.
bool replace_holder(subscriber *connection) {
  auto &connections = connection->server->connections;
  const auto found =
      std::ranges::find_if(connections, [&](const subscriber &each) { return &each != connection && each.subscribed; });
  if (found == connections.end()) {
    return true;
  }
  subscriber *holder = &*found;
  if (!is_gone(holder)) {
    refuse_subscription(connection, holder);
    return false;
  }
  log_info("a new subscription to notifications takes the place of one that has ended");
  drop_connection(holder);
  return true;
}

void on_subscribe(subscriber *connection, const notification_frame &frame) {
  notification_server *server = connection->server;
  if (!replace_holder(connection)) {
    return;
  }
  const bool resumes = frame.store == store_number(*server->managers);
  connection->subscribed = true;
  // A subscriber that remembers nothing, such as an agent that was started anew, does not get again what was
  // acknowledged.
  connection->sent = std::max(resumes ? frame.number : 0, server->managers->acknowledged);
  connection->under_way.clear();
  event_del(connection->deadline.get());
  log_info("notifications are subscribed to, " +
           (connection->sent > 0 ? "after number " + std::to_string(connection->sent) : "all"));
  if (resumes) {
    take(server, frame.number);
  }
  pump_connection(connection);
}

void on_acknowledge(subscriber *connection, const notification_frame &frame) {
  if (!connection->subscribed || frame.store != store_number(*connection->server->managers)) {
    return;  // of an earlier store: nothing of ours was taken
  }
  note_acknowledged(connection, frame.number);
  pump_connection(connection);
}

void on_readable(evutil_socket_t fd, short, void *context) {
  auto *connection = static_cast<subscriber *>(context);
  uint8_t buffer[kNotificationFrameMax + 1];
  const ssize_t size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  notification_frame frame{};
  if (size <= 0 || notification_frame_read(buffer, static_cast<size_t>(size), &frame) != 0 ||
      (frame.kind != kNotificationSubscribe && frame.kind != kNotificationAcknowledge)) {
    if (size > 0) {
      log_warn_limited(connection->server->warnings, "a subscriber to notifications sent " + std::to_string(size) +
                                                         " bytes that are no frame of a subscriber");
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

void on_writable(evutil_socket_t, short, void *context) {
  pump_connection(static_cast<subscriber *>(context));
}

void on_deadline(evutil_socket_t, short, void *context) {
  drop_connection(static_cast<subscriber *>(context));
}

// Takes over the accepted socket `fd`. Returns false when there is no memory for it; `fd` is still the caller's then.
bool add_connection(notification_server *server, int fd, uid_t uid, pid_t pid) {
  subscriber &connection = server->connections.emplace_back(subscriber{server, fd, uid, pid});
  connection.readable.reset(event_new(server->base, fd, EV_READ | EV_PERSIST, on_readable, &connection));
  connection.writable.reset(event_new(server->base, fd, EV_WRITE, on_writable, &connection));
  // A timer of its own: a time-out of `readable` could not be taken off again, a persistent event keeps it.
  connection.deadline.reset(event_new(server->base, -1, 0, on_deadline, &connection));
  if (connection.readable && connection.writable && connection.deadline &&
      event_add(connection.readable.get(), nullptr) == 0 &&
      event_add(connection.deadline.get(), &kTimeToSubscribe) == 0) {
    return true;
  }
  server->connections.pop_back();
  return false;
}

void take_connection(void *context, int fd) {
  auto *server = static_cast<notification_server *>(context);
  uid_t uid = 0;
  pid_t pid = 0;
  const bool welcome = local_socket_peer_allowed(fd, &uid, &pid) && server->connections.size() < kConnectionsMax;
  if (!welcome || !add_connection(server, fd, uid, pid)) {
    log_warn_limited(server->warnings, "a connection to notifications was refused: uid " + std::to_string(uid) +
                                           ", pid " + std::to_string(pid));
    close(fd);
  }
}

void on_listener_report(void *, const char *text) {
  log_warn(text);
}

}  // namespace

notification_server *notification_server_open(event_base *base, const char *run_dir, switch_managers &managers) {
  char path[kSocketPathRoom];
  if (service_socket_path(run_dir, kServiceNotifications, path, sizeof path) != 0) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  auto *server = new notification_server{.base = base, .managers = &managers};
  server->store_timer.reset(event_new(base, -1, 0, on_store_timer, server));
  server->listener = socket_listener_open(base, path, {take_connection, on_listener_report}, server);
  if (server->listener == nullptr || !server->store_timer) {
    const int why = server->listener == nullptr ? errno : ENOMEM;
    socket_listener_close(server->listener);
    delete server;
    errno = why;
    return nullptr;
  }
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
    drop_connection(&server->connections.front());
  }
  store_taken(server);
  socket_listener_close(server->listener);
  delete server;
}
