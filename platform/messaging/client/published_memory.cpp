#include "published_memory.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "monotonic_clock.h"
#include "peer_process.h"
#include "requests.h"
#include "socket_path.h"
#include "switchplatform/published_change.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr unsigned kReadsBetweenLooks = 8;  // a process that reads once or twice needs no page
constexpr int kPatienceMs = 20;

struct held_page {
  const published_page *page = nullptr;
  pid_t owner = 0;
};

held_page held;
unsigned reads_by_exchange;
int64_t looked_at = -1;  // monotonic seconds

bool owner_lives(const published_page &page) {
  const uint32_t futex = page.owner[0].load(std::memory_order_acquire);
  return (futex & FUTEX_TID_MASK) != 0 && (futex & FUTEX_OWNER_DIED) == 0;
}

// The descriptor that came with the message, or -1. The buffer of one may hold two: all that came is closed then.
int take_descriptor(const msghdr &message) {
  const cmsghdr *sent = CMSG_FIRSTHDR(&message);
  if (sent == nullptr || sent->cmsg_level != SOL_SOCKET || sent->cmsg_type != SCM_RIGHTS) {
    return -1;
  }
  int descriptors[2];
  const size_t size = std::min<size_t>(sent->cmsg_len - CMSG_LEN(0), sizeof descriptors);
  memcpy(descriptors, CMSG_DATA(sent), size);
  if (size == sizeof descriptors[0]) {
    return descriptors[0];
  }
  for (size_t i = 0; i < size / sizeof descriptors[0]; ++i) {
    close(descriptors[i]);
  }
  return -1;
}

// The descriptor that the peer sends with its first message, or -1.
int receive_descriptor(int connection) {
  pollfd polled = {connection, POLLIN, 0};
  if (poll(&polled, 1, kPatienceMs) <= 0) {
    return -1;
  }
  char byte;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
  iovec part = {&byte, sizeof byte};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t got = recvmsg(connection, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  return got > 0 ? take_descriptor(message) : -1;
}

// The memory that the process `owner` hands out in the run directory; -1 when nobody or another process does.
int ask_for_memory(pid_t owner) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (service_socket_path(platform_run_dir(), kServicePublished, address.sun_path, sizeof address.sun_path) != 0) {
    return -1;
  }
  const int connection = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (connection < 0) {
    return -1;
  }
  const bool connected = connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
  const int descriptor = connected && peer_process(connection) == owner ? receive_descriptor(connection) : -1;
  close(connection);
  return descriptor;
}

// Memory that could be cut would end this process when it reads.
bool cannot_be_cut(int descriptor) {
  struct stat found;
  const int seals = fcntl(descriptor, F_GET_SEALS);
  return seals >= 0 && (seals & F_SEAL_SHRINK) != 0 && fstat(descriptor, &found) == 0 &&
         found.st_size == static_cast<off_t>(sizeof(published_page));
}

const published_page *map_page(int descriptor) {
  if (!cannot_be_cut(descriptor)) {
    return nullptr;
  }
  void *at = mmap(nullptr, sizeof(published_page), PROT_READ, MAP_SHARED, descriptor, 0);
  if (at == MAP_FAILED) {
    return nullptr;
  }
  const auto *page = static_cast<const published_page *>(at);
  if (page->magic == kPublishedMagic && page->version == kPublishedVersion && page->size == sizeof(published_page)) {
    return page;
  }
  munmap(at, sizeof(published_page));
  return nullptr;
}

void unmap() {
  if (held.page != nullptr) {
    munmap(const_cast<published_page *>(held.page), sizeof(published_page));
  }
  held = {};
}

void get_page(pid_t owner) {
  unmap();
  const int descriptor = ask_for_memory(owner);
  if (descriptor < 0) {
    return;
  }
  held.page = map_page(descriptor);
  held.owner = owner;
  close(descriptor);
}

}  // namespace

const published_page *published_memory(pid_t owner, uint32_t bit) {
  const published_page *page = held.page;
  if (page == nullptr || held.owner != owner || !owner_lives(*page) ||
      (page->answered.load(std::memory_order_acquire) & bit) == 0) {
    return nullptr;
  }
  const uint32_t beat = page->beat.load(std::memory_order_acquire);  // first: it is never later than the clock
  const uint32_t age = monotonic_coarse_ms() - beat;
  return age <= kBeatMaxAgeMs ? page : nullptr;
}

void published_memory_seek(pid_t owner) {
  if (++reads_by_exchange < kReadsBetweenLooks || owner <= 0) {
    return;
  }
  reads_by_exchange = 0;
  const int64_t now = monotonic_coarse_seconds();
  if (now == looked_at || (held.page != nullptr && held.owner == owner && owner_lives(*held.page))) {
    return;
  }
  looked_at = now;
  const int why = errno;
  get_page(owner);
  errno = why;
}

void published_memory_drop() {
  unmap();
  reads_by_exchange = 0;
  looked_at = -1;
}

extern "C" int platform_published_change(uint64_t *number) {
  if (held.page == nullptr || !owner_lives(*held.page)) {
    return -1;
  }
  const uint32_t sequence = held.page->sequence.load(std::memory_order_acquire);
  if (sequence % 2 != 0) {
    return -1;
  }
  *number = uint64_t{static_cast<uint32_t>(held.owner)} << 32 | sequence;
  return 0;
}
