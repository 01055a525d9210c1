#include "client_connection.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "event_clock.h"
#include "message_frame.h"
#include "monotonic_clock.h"
#include "peer_process.h"
#include "published_memory.h"
#include "repair_queue.h"
#include "served_pdu_scope.h"
#include "socket_path.h"
#include "switchplatform/run_dir.h"

namespace {

static_assert(kSocketPathRoom == sizeof sockaddr_un::sun_path);

constexpr int64_t kProbePauseMs = 1000;
constexpr int64_t kProbePatienceMs = 20;  // a process that lives answers in less; one that is busy is asked again
constexpr int64_t kPatienceAfterTimeOutMs = 250;
constexpr int64_t kConnectRetryMs = 10;
constexpr int64_t kLongestPollMs = 60'000;
constexpr int kLateAnswersReadAtOnce = 1024;

struct receiver_table {
  receiver_connection rows[kServiceCount];
  constexpr receiver_table() {
    for (size_t row = 0; row < kServiceCount; ++row) {
      rows[row].service = kServiceNames[row].service;
    }
  }
};
constinit receiver_table receivers;

uint32_t last_sequence;
int pdu_at_hand;
int pdu_timed_out;  // the last one that had its time-out

void close_inherited_connections() {
  for (receiver_connection &to : receivers.rows) {
    if (to.fd >= 0) {
      close(to.fd);
    }
    to = {.service = to.service};
  }
  published_memory_drop();
  repairs_forget();
}

// A child that went on using its parent's connections would take its parent's answers.
void watch_forks() {
  static const int registered = pthread_atfork(nullptr, nullptr, close_inherited_connections);
  static_cast<void>(registered);
}

void note_time_out(receiver_connection &of) {
  // Receivers are one process, or wait for one another: while one hangs, the others must show that they do not.
  for (receiver_connection &each : receivers.rows) {
    each.suspect = true;
    each.probe_at = 0;
  }
  of.probe_at = monotonic_ms() + kProbePauseMs;
  of.timed_out_pdu = pdu_at_hand;
  pdu_timed_out = pdu_at_hand;
}

bool had_time_out(int pdu) {
  return pdu_at_hand != 0 && pdu_at_hand == pdu;
}

// The peer ended the connection, which takes a process that runs.
void lost(receiver_connection &to) {
  to.suspect = false;
  receiver_close(to);
}

int poll_once(const receiver_connection &to, short events, int64_t milliseconds) {
  pollfd polled = {to.fd, events, 0};
  return poll(&polled, 1, static_cast<int>(milliseconds));
}

void send_probe(receiver_connection &to) {
  message_header probe = {};
  probe.flags = kMessageIsProbe;
  probe.sequence = next_sequence();
  probe.service = static_cast<uint32_t>(to.service);
  uint8_t frame[kMessageHeaderSize];
  message_header_write(probe, frame);
  to.probe_at = monotonic_ms() + kProbePauseMs;
  if (send(to.fd, frame, sizeof frame, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 && errno != EAGAIN && errno != EINTR) {
    lost(to);
  }
}

// Whether a suspect receiver lives after all. What it owes us is asked for once a second, and not waited for.
bool shows_life(receiver_connection &to) {
  if (monotonic_ms() < to.probe_at) {
    return false;
  }
  send_probe(to);
  if (to.fd >= 0 && poll_once(to, POLLIN, kProbePatienceMs) > 0) {
    receiver_read_late(to);
  }
  return to.fd >= 0 && !to.suspect;
}

// A listener whose backlog is full answers EAGAIN and cannot be waited for, so it is asked again until the deadline.
int connect_until(receiver_connection &to, int64_t deadline) {
  while (receiver_connect(to) != 0) {
    if (errno != EAGAIN) {
      to.suspect = false;  // no one is there to hang
      return -1;
    }
    if (to.suspect || monotonic_ms() >= deadline) {
      if (!to.suspect) {
        note_time_out(to);
      }
      errno = ETIMEDOUT;
      return -1;
    }
    const timespec pause = {0, kConnectRetryMs * 1'000'000};
    nanosleep(&pause, nullptr);
  }
  return 0;
}

}  // namespace

int platform_exchanges_of_pdu(int number) {
  const int before = pdu_at_hand;
  pdu_at_hand = number;
  event_clock_share(number != 0);
  return before;
}

int exchanges_pdu() {
  return pdu_at_hand;
}

int64_t exchange_deadline(int seconds) {
  return monotonic_ms() + (had_time_out(pdu_timed_out) ? kPatienceAfterTimeOutMs : int64_t{seconds} * 1000);
}

uint32_t next_sequence() {
  return ++last_sequence;
}

receiver_connection *receiver_of(int service) {
  const int row = service_row(service);
  return row < 0 ? nullptr : &receivers.rows[row];
}

int receiver_connect(receiver_connection &to) {
  if (to.fd >= 0) {
    return 0;
  }
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (service_socket_path(platform_run_dir(), to.service, address.sun_path, sizeof address.sun_path) != 0) {
    errno = ENOENT;
    return -1;
  }
  watch_forks();
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
  to.peer = peer_process(fd);
  return 0;
}

void receiver_read_late(receiver_connection &to) {
  uint8_t head[kMessageHeaderSize];
  message_header header;
  for (int i = 0; to.fd >= 0 && i < kLateAnswersReadAtOnce; ++i) {
    const ssize_t got = recv(to.fd, head, sizeof head, MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 && errno == EAGAIN) {
      return;
    }
    if (got <= 0 || message_header_read(head, static_cast<size_t>(got), &header) != 0) {
      return lost(to);
    }
    to.suspect = false;
    repairs_take_answer(to.service, header);
  }
}

bool receiver_send_repairs(receiver_connection &to) {
  if (to.fd < 0) {
    return repairs_all_sent(to.service);
  }
  if (repairs_send(to.service, to.fd) == 0) {
    return true;
  }
  if (errno != EAGAIN) {
    receiver_close(to);
  }
  return false;
}

int receiver_ready(receiver_connection &to, int64_t deadline) {
  if (had_time_out(to.timed_out_pdu)) {
    errno = ETIMEDOUT;
    return -1;
  }
  receiver_read_late(to);
  if (connect_until(to, deadline) != 0) {
    return -1;
  }
  // Repairs go first: what is asked after them must meet what they put back.
  if ((to.suspect && !shows_life(to)) || !receiver_send_repairs(to)) {
    errno = ETIMEDOUT;
    return -1;
  }
  return 0;
}

bool receiver_may_be_waited_for(const receiver_connection &to) {
  return !to.suspect && !had_time_out(to.timed_out_pdu);
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
    if (poll_once(to, events, left) > 0) {
      return 0;
    }
  }
  note_time_out(to);
  errno = ETIMEDOUT;
  return -1;
}

void receiver_close(receiver_connection &to) {
  const int why = errno;
  if (to.fd >= 0) {
    close(to.fd);
    repairs_are_unsent(to.service);
  }
  to.fd = -1;
  errno = why;
}

void receivers_reset() {
  close_inherited_connections();
}
