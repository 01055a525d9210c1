#include "notification_subscription.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <grp.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <vector>

#include "monotonic_clock.h"
#include "notification_frame.h"
#include "notification_message.h"
#include "platform/agent.h"
#include "requests.h"
#include "served_pdu_scope.h"
#include "socket_path.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr int kHandlersMax = 8;
constexpr int kNotificationsAtOnce = 16;  // between two looks at the agent's requests
constexpr long kFirstWaitMs = 100;
constexpr long kLongestWaitMs = 5000;
constexpr uint32_t kRefusalMax = 160;  // characters of a refusal that the log gets
constexpr size_t kNameRoom = 64;       // of a user or a group in the log, with its end
constexpr size_t kReasonRoom = kSocketPathRoom + 2 * kNameRoom + 160;
constexpr int64_t kSteadySeconds = 1;  // a connection that lasted so long was no refusal
// Each try of a notification may cost the agent a time-out, so that later ones come seldom.
constexpr int kTriesMax = 20;  // some minutes
constexpr long kLongestWaitForTryMs = 30'000;

struct handler_row {
  int id;
  notification_handler_t handler;  // null: the row is free
};

struct subscription {
  bool allowed = false;
  int fd = -1;
  int64_t connected_at = 0;  // monotonic seconds
  unsigned int alarm = 0;
  long wait_ms = kFirstWaitMs;
  bool told = false;          // the log knows that there is no connection
  bool told_refused = false;  // and that another process has the subscription
  bool told_denied = false;   // and that this user may not connect
};

handler_row handlers[kHandlersMax];
subscription current;

// The last notification taken. It outlives the connection and a reload of the configuration: the server may not have
// read the acknowledgement when the next subscription reaches it.
uint64_t taken_number;
uint32_t taken_store;

// The frame of the notification after it, when its handler could make no trap yet: a manager did not answer. Until it
// is taken nothing is read from the connection.
struct {
  std::vector<uint8_t> frame;  // empty: none
  unsigned int alarm = 0;
  int tries = 0;
  unsigned given_up = 0;  // notifications, since the agent started
} held;

void connect_again_later();
void on_readable(int fd, void *);

handler_row *find_handler(int id) {
  for (handler_row &row : handlers) {
    if (row.handler != nullptr && row.id == id) {
      return &row;
    }
  }
  return nullptr;
}

bool has_handlers() {
  for (const handler_row &row : handlers) {
    if (row.handler != nullptr) {
      return true;
    }
  }
  return false;
}

// A frame that is held comes again with the next connection.
void drop_held() {
  held.frame.clear();
  if (held.alarm != 0) {
    snmp_alarm_unregister(held.alarm);
  }
  held.alarm = 0;
}

void close_connection() {
  drop_held();
  if (current.fd < 0) {
    return;
  }
  unregister_readfd(current.fd);
  close(current.fd);
  current.fd = -1;
}

void lose_connection(const char *why) {
  if (!current.told) {
    snmp_log(LOG_WARNING, "switch_agent: no notifications for now: %s\n", why);
  }
  current.told = true;
  if (current.fd >= 0 && monotonic_seconds() - current.connected_at >= kSteadySeconds) {
    current.wait_ms = kFirstWaitMs;
  }
  close_connection();
  connect_again_later();
}

// Another process has the subscription. It is asked for again, and the log is told once.
void be_refused(const notification_frame &frame) {
  char text[kRefusalMax + 1];
  const uint32_t size = frame.payload_size < kRefusalMax ? frame.payload_size : kRefusalMax;
  for (uint32_t i = 0; i < size; ++i) {
    const uint8_t octet = frame.payload[i];
    text[i] = octet >= 0x20 && octet < 0x7F ? static_cast<char>(octet) : '?';
  }
  text[size] = '\0';
  current.told = current.told && current.told_refused;
  current.told_refused = true;
  lose_connection(text);
}

void note_delivery() {
  if (current.told) {
    snmp_log(LOG_INFO, "switch_agent: notifications come again\n");
  }
  current.told = false;
  current.told_refused = false;
  current.told_denied = false;
}

bool send_frame(notification_frame_kind kind) {
  uint8_t bytes[kNotificationHeaderSize];
  const size_t size = notification_frame_write({kind, taken_store, taken_number, 0, nullptr, 0}, bytes);
  return send(current.fd, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(size);
}

// Writes the user whom the agent has become, by name where he has one.
void name_user(char (&name)[kNameRoom]) {
  const passwd *user = getpwuid(geteuid());
  if (user != nullptr) {
    snprintf(name, sizeof name, "%s", user->pw_name);
  } else {
    snprintf(name, sizeof name, "%lu", static_cast<unsigned long>(geteuid()));
  }
}

// Writes the group that may connect to the socket: its own, or its directory's when that one may not be entered.
void name_group(const char *socket_path, char (&name)[kNameRoom]) {
  struct stat found = {};
  if (stat(socket_path, &found) != 0 && stat(platform_run_dir(), &found) != 0) {
    snprintf(name, sizeof name, "that owns it");
    return;
  }
  const group *owner = getgrgid(found.st_gid);
  if (owner != nullptr) {
    snprintf(name, sizeof name, "%s", owner->gr_name);
  } else {
    snprintf(name, sizeof name, "%lu", static_cast<unsigned long>(found.st_gid));
  }
}

// No connection came about. That this user may not connect is told even when there was another reason before.
void miss_connection(const char *path, int why) {
  char reason[kReasonRoom];
  if (why == EACCES) {
    char user[kNameRoom];
    char group[kNameRoom];
    name_user(user);
    name_group(path, group);
    snprintf(reason, sizeof reason, "%s: %s: is user %s in group %s? A group counts from the agent's next start", path,
             strerror(why), user, group);
  } else {
    snprintf(reason, sizeof reason, "%s: %s: is switchd running?", path, strerror(why));
  }
  current.told = current.told && (why != EACCES || current.told_denied);
  current.told_denied = why == EACCES;
  lose_connection(reason);
}

// Returns the connected socket, or -1 with `errno`.
int connect_to_switch(const sockaddr_un &address) {
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) {
    return -1;
  }
  if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
    return fd;
  }
  const int why = errno;
  close(fd);
  errno = why;
  return -1;
}

void subscribe(unsigned int, void *) {
  current.alarm = 0;
  if (!current.allowed || current.fd >= 0 || !has_handlers()) {
    return;
  }
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (service_socket_path(platform_run_dir(), kServiceNotifications, address.sun_path, sizeof address.sun_path) != 0) {
    return lose_connection("the path of the run directory is too long");
  }
  current.fd = connect_to_switch(address);
  if (current.fd < 0) {
    return miss_connection(address.sun_path, errno);
  }
  current.connected_at = monotonic_seconds();
  if (register_readfd(current.fd, on_readable, nullptr) != 0) {
    close(current.fd);
    current.fd = -1;
    return lose_connection("the agent watches too many descriptors already");
  }
  if (!send_frame(kNotificationSubscribe)) {
    return lose_connection(strerror(errno));
  }
}

void connect_again_later() {
  if (!current.allowed || current.alarm != 0 || !has_handlers()) {
    return;
  }
  const timeval wait = {current.wait_ms / 1000, current.wait_ms % 1000 * 1000};
  current.alarm = snmp_alarm_register_hr(wait, 0, subscribe, nullptr);
  current.wait_ms = current.wait_ms * 2 < kLongestWaitMs ? current.wait_ms * 2 : kLongestWaitMs;
}

// Sends what the handler made; the list starts with the trap's own name, as SNMPv2 has it.
void send_trap(netsnmp_variable_list *varbinds, const oid *trap_oid, size_t trap_oid_len) {
  static constexpr oid kTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
  netsnmp_variable_list *trap = build_varbind(nullptr, trap_oid, ASN_OBJECT_ID, trap_oid_len * sizeof(oid), kTrapOid,
                                              sizeof kTrapOid / sizeof kTrapOid[0]);
  if (trap == nullptr) {
    snmp_log(LOG_ERR, "switch_agent: a trap is lost: no memory\n");
    return;
  }
  trap->next_variable = varbinds;
  send_v2trap(trap);
  trap->next_variable = nullptr;
  snmp_free_varbind(trap);
}

// Returns false when the handler made no trap and had asked a manager for something: it may make one later.
bool hand_to_handler(const notification_frame &frame) {
  const handler_row *row = find_handler(static_cast<int>(frame.id));
  if (row == nullptr) {
    return true;
  }
  const unsigned asked_before = platform_exchanges_begun();
  notification_message message = {frame.payload, frame.payload_size};
  oid trap_oid[MAX_OID_LEN];
  size_t trap_oid_len = 0;
  int send = 0;
  netsnmp_variable_list *varbinds = row->handler(&message, trap_oid, &trap_oid_len, &send);
  if (send != 0 && varbinds != nullptr && trap_oid_len > 0 && trap_oid_len <= MAX_OID_LEN) {
    send_trap(varbinds, trap_oid, trap_oid_len);
  }
  if (varbinds != nullptr) {
    snmp_free_varbind(varbinds);
  }
  return send != 0 || platform_exchanges_begun() == asked_before;
}

// Whether the notification is to be tried again.
bool try_again(const notification_frame &frame) {
  const auto number = static_cast<unsigned long long>(frame.number);
  if (++held.tries < kTriesMax) {
    if (held.tries == 1) {
      snmp_log(LOG_WARNING, "switch_agent: notification %llu waits: a manager does not answer what its trap needs\n",
               number);
    }
    return true;
  }
  snmp_log(LOG_ERR, "switch_agent: notification %llu is given up after %d tries; given up so far: %u\n", number,
           held.tries, ++held.given_up);
  return false;
}

// Takes one notification, unless it was taken already. Returns false when it is to be tried again.
bool take(const notification_frame &frame) {
  if (frame.store != taken_store) {
    taken_store = frame.store;
    taken_number = 0;
  }
  if (frame.number > taken_number) {
    if (!hand_to_handler(frame) && try_again(frame)) {
      return false;
    }
    held.tries = 0;
    taken_number = frame.number;
  }
  return true;
}

void on_frame(const uint8_t *bytes, size_t size);

void on_try(unsigned int, void *) {
  held.alarm = 0;
  const std::vector<uint8_t> frame = std::move(held.frame);
  held.frame.clear();
  if (register_readfd(current.fd, on_readable, nullptr) != 0) {
    return lose_connection("the agent watches too many descriptors already");
  }
  on_frame(frame.data(), frame.size());
}

void hold(const uint8_t *bytes, size_t size) {
  held.frame.assign(bytes, bytes + size);
  unregister_readfd(current.fd);
  long wait_ms = kFirstWaitMs;
  for (int i = 1; i < held.tries && wait_ms < kLongestWaitForTryMs; ++i) {
    wait_ms *= 2;
  }
  wait_ms = wait_ms < kLongestWaitForTryMs ? wait_ms : kLongestWaitForTryMs;
  const timeval wait = {wait_ms / 1000, wait_ms % 1000 * 1000};
  held.alarm = snmp_alarm_register_hr(wait, 0, on_try, nullptr);
}

void on_frame(const uint8_t *bytes, size_t size) {
  notification_frame frame;
  if (notification_frame_read(bytes, size, &frame) != 0) {
    return lose_connection("a frame cannot be read");
  }
  if (frame.kind == kNotificationRefused) {
    return be_refused(frame);
  }
  if (frame.kind != kNotificationDeliver) {
    return lose_connection("a frame is none that the switch may send");
  }
  note_delivery();
  if (!take(frame)) {
    return hold(bytes, size);
  }
  if (!send_frame(kNotificationAcknowledge)) {
    lose_connection(strerror(errno));
  }
}

void on_readable(int fd, void *) {
  static uint8_t bytes[kNotificationFrameMax + 1];  // a longer frame shows by its size
  for (int i = 0; i < kNotificationsAtOnce && current.fd == fd && held.frame.empty(); ++i) {
    const ssize_t got = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 && errno == EAGAIN) {
      return;
    }
    if (got <= 0) {
      return lose_connection(got == 0 ? "the switch closed the connection" : strerror(errno));
    }
    on_frame(bytes, static_cast<size_t>(got));
  }
}

}  // namespace

int register_for_notification(int id, notification_handler_t handler) {
  if (handler == nullptr) {
    return -1;
  }
  handler_row *row = find_handler(id);
  for (handler_row &each : handlers) {
    if (row == nullptr && each.handler == nullptr) {
      row = &each;
    }
  }
  if (row == nullptr) {
    return -1;
  }
  *row = {id, handler};
  if (current.fd < 0) {
    connect_again_later();
  }
  return 0;
}

int unregister_for_notification(int id) {
  handler_row *row = find_handler(id);
  if (row == nullptr) {
    return -1;
  }
  *row = {};
  if (!has_handlers()) {
    close_connection();
  }
  return 0;
}

void notification_subscription_start() {
  current.allowed = true;
  if (current.fd < 0) {
    connect_again_later();
  }
}

void notification_subscription_stop() {
  close_connection();
  if (current.alarm != 0) {
    snmp_alarm_unregister(current.alarm);
  }
  current = {};
}
