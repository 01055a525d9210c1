// Making, opening and keeping the page.
#include "platform/services/shared_page.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "platform/run_dir.h"
#include "platform/services/page_layout.h"

namespace {

constexpr mode_t kPageMode = 0660;
constexpr int kLockAttempts = 100;
constexpr timespec kLockPause = {0, 10'000'000};
constexpr uint32_t kRecordedAtFirst[] = {100, 101};

struct page_use {
  switch_page *page = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
  time_t looked_at = -1;  // monotonic seconds; -1: never
  int why_not = ENOENT;   // errno of the last failure
};

page_use use;
uint32_t own_pid;

void refresh_pid() {
  own_pid = static_cast<uint32_t>(getpid());
}

time_t monotonic_seconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return now.tv_sec;
}

void page_path(char (&path)[sizeof(sockaddr_un::sun_path) + 16]) {
  snprintf(path, sizeof path, "%s/switch.page", platform_run_dir());
}

int fail(int why) {
  errno = why;
  return -1;
}

int close_and_fail(int fd, int why) {
  close(fd);
  return fail(why);
}

bool fits_size(const struct stat &found) {
  return found.st_size == static_cast<off_t>(sizeof(switch_page));
}

switch_page *map_page(int fd) {
  void *at = mmap(nullptr, sizeof(switch_page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return at == MAP_FAILED ? nullptr : static_cast<switch_page *>(at);
}

bool is_complete(const switch_page *page) {
  return page->magic.load(std::memory_order_acquire) == kPageMagic && page->version == kPageVersion &&
         page->size == sizeof(switch_page);
}

void fill_new_page(switch_page *page) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  page->version = kPageVersion;
  page->size = sizeof(switch_page);
  page->identity = static_cast<uint32_t>(now.tv_sec) * 1000003U ^ static_cast<uint32_t>(now.tv_nsec) ^ own_pid << 12;
  for (const uint32_t level : kRecordedAtFirst) {
    page->levels[kLevelRecorded][level / 32].fetch_or(1U << level % 32);
  }
  page->magic.store(kPageMagic, std::memory_order_release);
}

// Bounded, so that a process that hangs with the lock costs us a second and no more.
int lock_page(int fd) {
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      return 0;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return -1;
    }
    nanosleep(&kLockPause, nullptr);
  }
  return fail(EAGAIN);
}

// Makes the page in a file that is empty, or whose maker died before it was done; `fd` is locked.
int make_page(int fd) {
  struct stat found;
  if (fstat(fd, &found) != 0) {
    return -1;
  }
  if (found.st_size == 0) {
    if (fchmod(fd, kPageMode) != 0) {
      return -1;
    }
    // Space is taken now: running out of it later would end every process that has the page mapped.
    const int why = posix_fallocate(fd, 0, sizeof(switch_page));
    if (why != 0) {
      return ftruncate(fd, 0), fail(why);
    }
  } else if (!fits_size(found)) {
    return fail(EPROTO);
  }
  switch_page *page = map_page(fd);
  if (page == nullptr) {
    return -1;
  }
  const uint32_t magic = page->magic.load(std::memory_order_acquire);
  if (magic == 0) {
    fill_new_page(page);
  }
  const bool foreign = magic != 0 && !is_complete(page);
  munmap(page, sizeof(switch_page));
  return foreign ? fail(EPROTO) : 0;
}

// Opens the file and, where need be, makes the page in it. Returns the descriptor of a complete page, or -1.
int open_complete(const char *path, struct stat *found) {
  const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPageMode);
  if (fd < 0) {
    return -1;
  }
  if (fstat(fd, found) != 0) {
    return close_and_fail(fd, errno);
  }
  uint32_t magic = 0;
  if (fits_size(*found) && pread(fd, &magic, sizeof magic, 0) != sizeof magic) {
    return close_and_fail(fd, EIO);
  }
  if (magic != 0) {
    return fd;
  }
  if (lock_page(fd) != 0) {
    return close_and_fail(fd, errno);
  }
  const int made = make_page(fd);
  const int why = errno;
  flock(fd, LOCK_UN);
  return made == 0 ? fd : close_and_fail(fd, why);
}

int open_page(const char *path) {
  static const int watched = pthread_atfork(nullptr, nullptr, refresh_pid);
  static_cast<void>(watched);
  refresh_pid();
  struct stat found;
  const int fd = open_complete(path, &found);
  if (fd < 0) {
    return -1;
  }
  switch_page *page = map_page(fd);
  const int why = errno;
  close(fd);
  if (page == nullptr) {
    return fail(why);
  }
  if (!is_complete(page)) {
    munmap(page, sizeof(switch_page));
    return fail(EPROTO);
  }
  use = {page, found.st_dev, found.st_ino, monotonic_seconds(), 0};
  return 0;
}

bool was_replaced(const char *path) {
  struct stat found;
  return stat(path, &found) != 0 || found.st_ino != use.inode || found.st_dev != use.device;
}

}  // namespace

void platform_page_close() {
  if (use.page != nullptr) {
    munmap(use.page, sizeof(switch_page));
  }
  use = {};
}

int platform_page_open(int replace_foreign) {
  char path[sizeof(sockaddr_un::sun_path) + 16];
  page_path(path);
  platform_page_close();
  if (open_page(path) == 0) {
    return 0;
  }
  if (errno != EPROTO || !replace_foreign) {
    return -1;
  }
  if (unlink(path) != 0 && errno != ENOENT) {
    return -1;
  }
  return open_page(path);
}

switch_page *page_in_use() {
  const time_t now = monotonic_seconds();
  if (now != use.looked_at) {
    char path[sizeof(sockaddr_un::sun_path) + 16];
    page_path(path);
    if (use.page != nullptr && was_replaced(path)) {
      platform_page_close();
    }
    use.looked_at = now;
    if (use.page == nullptr && open_page(path) != 0) {
      use.why_not = errno;
    }
  }
  if (use.page == nullptr) {
    errno = use.why_not;
  }
  return use.page;
}

uint32_t page_user_pid() {
  return own_pid;
}
