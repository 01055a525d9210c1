#include "published_server.h"

#include <errno.h>
#include <event2/event.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <stddef.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "event_ptr.h"
#include "local_socket.h"
#include "log.h"
#include "monotonic_clock.h"
#include "published_page.h"
#include "requests.h"
#include "socket_listener.h"
#include "socket_path.h"

struct published_server {
  published_page *page = nullptr;
  int memory = -1;
  socket_listener *listener = nullptr;
  event_ptr beat_timer = {};
  uint32_t beats_left = 0;  // until the loop need not show any more that it turns
  void (*on_beat)(void *context) = nullptr;
  void *context = nullptr;
  log_limit refusals = {};
};

namespace {

constexpr timeval kBeatEvery = {0, suseconds_t{kBeatEveryMs} * 1000};
constexpr uint32_t kBeatsAfterARequest = 2000 / kBeatEveryMs;

static_assert(sizeof(pthread_mutex_t) <= sizeof published_page::owner);
static_assert(offsetof(pthread_mutex_t, __data.__lock) == 0);  // the futex

// The kernel looks through the mutexes of a dying thread only where the thread told it which it holds; an emulated
// kernel may not know of them.
bool kernel_notes_deaths() {
  void *head = nullptr;
  size_t size = 0;
  return syscall(SYS_get_robust_list, 0, &head, &size) == 0 && head != nullptr;
}

pthread_mutex_t *owner_mutex(published_page *page) {
  return reinterpret_cast<pthread_mutex_t *>(page->owner);
}

bool own(published_page *page) {
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  const bool owned = pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED) == 0 &&
                     pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST) == 0 &&
                     pthread_mutex_init(owner_mutex(page), &kind) == 0 && pthread_mutex_lock(owner_mutex(page)) == 0;
  pthread_mutexattr_destroy(&kind);
  return owned && (page->owner[0].load() & FUTEX_TID_MASK) == static_cast<uint32_t>(gettid());
}

// Memory, all of it taken now: running out of it later would end every process that has the page mapped. Returns -1
// with `errno`.
int make_memory() {
  const int memory = memfd_create("switchd-published", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (memory < 0) {
    return -1;
  }
  const int why = posix_fallocate(memory, 0, sizeof(published_page));
  if (why == 0) {
    return memory;
  }
  close(memory);
  errno = why;
  return -1;
}

// From here on nobody can cut it, and nobody can write to it but who has it mapped already.
bool seal(int memory) {
  return fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_FUTURE_WRITE | F_SEAL_SEAL) == 0;
}

// Returns 0, or an errno.
int make_page(published_server *server) {
  if (!kernel_notes_deaths()) {
    return ENOSYS;
  }
  server->memory = make_memory();
  if (server->memory < 0) {
    return errno;
  }
  void *at = mmap(nullptr, sizeof(published_page), PROT_READ | PROT_WRITE, MAP_SHARED, server->memory, 0);
  if (at == MAP_FAILED) {
    return errno;
  }
  server->page = static_cast<published_page *>(at);
  server->page->magic = kPublishedMagic;
  server->page->version = kPublishedVersion;
  server->page->size = sizeof(published_page);
  if (!own(server->page)) {
    return ENOTSUP;
  }
  return seal(server->memory) ? 0 : errno;
}

void stamp(published_server *server) {
  server->page->beat.store(monotonic_coarse_ms(), std::memory_order_release);
}

void on_beat_timer(evutil_socket_t, short, void *context) {
  auto *server = static_cast<published_server *>(context);
  if (server->beats_left == 0) {
    event_del(server->beat_timer.get());
    return;
  }
  --server->beats_left;
  server->on_beat(server->context);
  stamp(server);
}

void send_memory(int connection, int memory) {
  char byte = 0;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof memory)] = {};
  iovec part = {&byte, sizeof byte};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr *sent = CMSG_FIRSTHDR(&message);
  sent->cmsg_level = SOL_SOCKET;
  sent->cmsg_type = SCM_RIGHTS;
  sent->cmsg_len = CMSG_LEN(sizeof memory);
  memcpy(CMSG_DATA(sent), &memory, sizeof memory);
  sendmsg(connection, &message, MSG_NOSIGNAL | MSG_DONTWAIT);  // who does not get it asks the manager
}

void take_connection(void *context, int fd) {
  auto *server = static_cast<published_server *>(context);
  uid_t uid = 0;
  pid_t pid = 0;
  if (local_socket_peer_allowed(fd, &uid, &pid)) {
    send_memory(fd, server->memory);
  } else {
    log_warn_limited(server->refusals, "a connection to the published page was refused: uid " + std::to_string(uid) +
                                           ", pid " + std::to_string(pid));
  }
  close(fd);
}

void on_listener_report(void *, const char *text) {
  log_warn(text);
}

// Returns 0, or an errno.
int listen(published_server *server, event_base *base, const char *run_dir) {
  char path[kSocketPathRoom];
  if (service_socket_path(run_dir, kServicePublished, path, sizeof path) != 0) {
    return ENAMETOOLONG;
  }
  server->beat_timer.reset(event_new(base, -1, EV_PERSIST, on_beat_timer, server));
  server->listener = socket_listener_open(base, path, {take_connection, on_listener_report}, server);
  if (server->listener == nullptr) {
    return errno;
  }
  return server->beat_timer ? 0 : ENOMEM;
}

}  // namespace

published_server *published_server_open(event_base *base, const char *run_dir, void (*on_beat)(void *context),
                                        void *context) {
  auto *server = new published_server{.on_beat = on_beat, .context = context};
  int why = make_page(server);
  if (why == 0) {
    why = listen(server, base, run_dir);
  }
  if (why == 0) {
    return server;
  }
  published_server_close(server);
  errno = why;
  return nullptr;
}

published_page &published_server_page(published_server *server) {
  return *server->page;
}

void published_server_answer(published_server *server, uint32_t services) {
  server->page->answered.store(services, std::memory_order_seq_cst);
}

void published_server_beat(published_server *server) {
  stamp(server);
  if (server->beats_left == 0) {
    event_add(server->beat_timer.get(), &kBeatEvery);
  }
  server->beats_left = kBeatsAfterARequest;
}

void published_server_close(published_server *server) {
  if (server == nullptr) {
    return;
  }
  socket_listener_close(server->listener);
  server->beat_timer.reset();
  if (server->page != nullptr) {
    published_server_answer(server, 0);
    if ((server->page->owner[0].load() & FUTEX_TID_MASK) != 0) {
      pthread_mutex_unlock(owner_mutex(server->page));
    }
    munmap(server->page, sizeof(published_page));
  }
  if (server->memory >= 0) {
    close(server->memory);
  }
  delete server;
}
