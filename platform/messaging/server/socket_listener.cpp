#include "socket_listener.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "event_ptr.h"
#include "local_socket.h"
#include "monotonic_clock.h"

struct socket_listener {
  std::string path;
  struct stat socket_file;  // which file is ours, should another server have replaced it
  listener_calls calls;
  void *context;
  int fd;
  event_ptr acceptable;
  event_ptr again;
  int64_t silent_until = 0;  // monotonic seconds; 0: connections are accepted
};

namespace {

constexpr int kAcceptsAtOnce = 16;
constexpr timeval kPause = {0, 100'000};
constexpr int64_t kReportEvery = 60;  // seconds, while it lasts

void report(const socket_listener *listener, const char *what, const char *why) {
  char text[256];
  snprintf(text, sizeof text, "%s: %s%s", listener->path.c_str(), what, why);
  listener->calls.report(listener->context, text);
}

// When descriptors run out the listener stays readable; looking away for a moment keeps the loop from spinning.
void pause_accepting(socket_listener *listener, int why) {
  const int64_t now = monotonic_seconds();
  if (now >= listener->silent_until) {
    report(listener, "cannot accept connections for now: ", strerror(why));
    listener->silent_until = now + kReportEvery;
  }
  event_del(listener->acceptable.get());
  event_add(listener->again.get(), &kPause);
}

// There are descriptors again: accept asks for one before it looks for a connection.
void note_accepting(socket_listener *listener) {
  if (listener->silent_until != 0) {
    listener->silent_until = 0;
    report(listener, "connections are accepted again", "");
  }
}

void on_acceptable(evutil_socket_t fd, short, void *context) {
  auto *listener = static_cast<socket_listener *>(context);
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    const int accepted = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (accepted < 0 && (errno == EINTR || errno == ECONNABORTED)) {
      continue;
    }
    if (accepted < 0 && errno != EAGAIN) {
      return pause_accepting(listener, errno);
    }
    note_accepting(listener);
    if (accepted < 0) {
      return;
    }
    listener->calls.take(listener->context, accepted);
  }
}

void on_again(evutil_socket_t, short, void *context) {
  auto *listener = static_cast<socket_listener *>(context);
  event_add(listener->acceptable.get(), nullptr);
  on_acceptable(listener->fd, EV_READ, listener);
}

}  // namespace

socket_listener *socket_listener_open(event_base *base, const char *path, const listener_calls &calls, void *context) {
  const int fd = local_socket_listen(path);
  if (fd < 0) {
    return nullptr;
  }
  auto *listener = new socket_listener{path, {}, calls, context, fd, {}, {}};
  listener->acceptable.reset(event_new(base, fd, EV_READ | EV_PERSIST, on_acceptable, listener));
  listener->again.reset(event_new(base, -1, 0, on_again, listener));
  if (stat(path, &listener->socket_file) != 0 || !listener->acceptable || !listener->again ||
      event_add(listener->acceptable.get(), nullptr) != 0) {
    socket_listener_close(listener);
    errno = ENOMEM;
    return nullptr;
  }
  return listener;
}

void socket_listener_close(socket_listener *listener) {
  if (listener == nullptr) {
    return;
  }
  listener->acceptable.reset();
  listener->again.reset();
  close(listener->fd);
  struct stat found;
  if (stat(listener->path.c_str(), &found) == 0 && found.st_ino == listener->socket_file.st_ino &&
      found.st_dev == listener->socket_file.st_dev) {
    unlink(listener->path.c_str());
  }
  delete listener;
}
