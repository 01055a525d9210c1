#include "platform/messaging/client_connection.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "platform/messaging/message_wire.h"
#include "platform/messaging/service_names.h"
#include "platform/run_dir.h"

namespace {

constexpr int64_t kSuspicionMs = 1000;
constexpr int64_t kConnectRetryMs = 10;
constexpr int64_t kLongestPollMs = 60'000;
constexpr int kLateAnswersDroppedAtOnce = 1024;

receiver_connection receivers[kServiceCount];

void close_inherited_connections() {
  for (receiver_connection &to : receivers) {
    if (to.fd >= 0) {
      close(to.fd);
    }
    to = {};
  }
}

// A child that went on using its parent's connections would take its parent's answers.
void watch_forks() {
  static const int registered = pthread_atfork(nullptr, nullptr, close_inherited_connections);
  static_cast<void>(registered);
}

// Reads what came since the last request: late answers, which are life, or the end of the connection.
void drop_late_answers(receiver_connection &to) {
  uint8_t head[kMessageHeaderSize];
  message_header header;
  for (int i = 0; i < kLateAnswersDroppedAtOnce; ++i) {
    const ssize_t got = recv(to.fd, head, sizeof head, MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 && errno == EAGAIN) {
      return;
    }
    if (got <= 0 || message_header_read(head, static_cast<size_t>(got), &header) != 0) {
      return receiver_close(to);
    }
    to.suspect_until = 0;
  }
}

int connect_once(receiver_connection &to, const sockaddr_un &address) {
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) {
    return -1;
  }
  int failed;
  do {
    failed = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
  } while (failed != 0 && errno == EINTR);
  if (failed != 0) {
    const int why = errno;
    close(fd);
    errno = why;
    return -1;
  }
  to.fd = fd;
  return 0;
}

// A listener whose backlog is full answers EAGAIN and cannot be waited for, so it is asked again until the deadline.
int connect_receiver(receiver_connection &to, int service, int64_t deadline) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (service_socket_path(platform_run_dir(), service, address.sun_path, sizeof address.sun_path) != 0) {
    errno = ENOENT;
    return -1;
  }
  watch_forks();
  const bool may_wait = monotonic_ms() >= to.suspect_until;
  while (connect_once(to, address) != 0) {
    if (errno != EAGAIN) {
      return -1;
    }
    if (!may_wait || monotonic_ms() >= deadline) {
      if (may_wait) {
        to.suspect_until = monotonic_ms() + kSuspicionMs;
      }
      errno = ETIMEDOUT;
      return -1;
    }
    const timespec pause = {0, kConnectRetryMs * 1'000'000};
    nanosleep(&pause, nullptr);
  }
  to.suspect_until = 0;
  return 0;
}

}  // namespace

int64_t monotonic_ms() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

receiver_connection *receiver_of(int service) {
  const int row = service_row(service);
  return row < 0 ? nullptr : &receivers[row];
}

int receiver_ready(receiver_connection &to, int service, int64_t deadline) {
  if (to.fd >= 0) {
    drop_late_answers(to);
  }
  if (to.fd < 0 && connect_receiver(to, service, deadline) != 0) {
    return -1;
  }
  if (monotonic_ms() < to.suspect_until) {
    errno = ETIMEDOUT;
    return -1;
  }
  return 0;
}

int receiver_wait(receiver_connection &to, short events, int64_t deadline) {
  for (;;) {
    int64_t left = deadline - monotonic_ms();
    if (left <= 0) {
      break;
    }
    if (left > kLongestPollMs) {
      left = kLongestPollMs;
    }
    pollfd polled = {to.fd, events, 0};
    if (poll(&polled, 1, static_cast<int>(left)) > 0) {
      return 0;
    }
  }
  to.suspect_until = monotonic_ms() + kSuspicionMs;
  errno = ETIMEDOUT;
  return -1;
}

void receiver_close(receiver_connection &to) {
  const int why = errno;
  if (to.fd >= 0) {
    close(to.fd);
  }
  to.fd = -1;
  errno = why;
}

void receivers_reset() {
  close_inherited_connections();
}
