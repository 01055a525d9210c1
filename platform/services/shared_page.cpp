// Making, opening and keeping the page.
#include "switchplatform/shared_page.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "monotonic_clock.h"
#include "page_glance.h"
#include "switchplatform/run_dir.h"

switch_page *page_found;
uint32_t page_user_pid;

namespace {

constexpr mode_t kPageMode = 0660;
constexpr uint32_t kRecordedAtFirst[] = {100, 101, kUserMarkLevel};

struct page_use {
  switch_page *page = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
  int64_t looked_at = -1;  // monotonic seconds; -1: never
  int why_not = ENOENT;    // errno of the last failure
};

page_use use;
int64_t owner_group = -1;

void refresh_pid() {
  page_user_pid = static_cast<uint32_t>(getpid());
}

struct page_file {
  char name[sizeof(sockaddr_un::sun_path) + 16];
  page_file() { snprintf(name, sizeof name, "%s/switch.page", platform_run_dir()); }
};

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

bool is_sound(const switch_page *page) {
  return page->magic.load(std::memory_order_acquire) == kPageMagic && page->version == kPageVersion &&
         page->size == sizeof(switch_page);
}

void fill_new_page(switch_page *page) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  page->version = kPageVersion;
  page->size = sizeof(switch_page);
  page->identity =
      static_cast<uint32_t>(now.tv_sec) * 1000003U ^ static_cast<uint32_t>(now.tv_nsec) ^ page_user_pid << 12;
  for (const uint32_t level : kRecordedAtFirst) {
    page->levels[kLevelRecorded][level / 32].fetch_or(1U << level % 32);
  }
  page->magic.store(kPageMagic, std::memory_order_release);
}

// Space is taken now: running out of it later would end every process that has the page mapped.
int fill_new_file(int fd) {
  const int why = posix_fallocate(fd, 0, sizeof(switch_page));
  if (why != 0) {
    return fail(why);
  }
  switch_page *page = map_page(fd);
  if (page == nullptr) {
    return -1;
  }
  fill_new_page(page);
  munmap(page, sizeof(switch_page));
  return 0;
}

int give_to_group(int fd) {
  if (owner_group >= 0 && fchown(fd, static_cast<uid_t>(-1), static_cast<gid_t>(owner_group)) != 0) {
    return -1;
  }
  return fchmod(fd, kPageMode);
}

// Puts a new page in the place of whatever is there: no one ever sees half of it.
int make_page(const char *path) {
  char unfinished[sizeof(sockaddr_un::sun_path) + 32];
  snprintf(unfinished, sizeof unfinished, "%s.new", path);
  unlink(unfinished);
  const int fd = open(unfinished, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kPageMode);
  if (fd < 0) {
    return -1;
  }
  if (fill_new_file(fd) != 0 || give_to_group(fd) != 0 || rename(unfinished, path) != 0) {
    const int why = errno;
    unlink(unfinished);
    return close_and_fail(fd, why);
  }
  close(fd);
  return 0;
}

void watch_forks() {
  static const int watched = pthread_atfork(nullptr, nullptr, refresh_pid);
  static_cast<void>(watched);
  refresh_pid();
}

// The open file of a page, or -1 with `errno`.
int open_file(const char *path, struct stat *found) {
  const int fd = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) {
    return -1;
  }
  if (fstat(fd, found) != 0) {
    return close_and_fail(fd, errno);
  }
  return fits_size(*found) ? fd : close_and_fail(fd, EPROTO);
}

int open_page(const char *path, bool own) {
  watch_forks();
  struct stat found;
  const int fd = open_file(path, &found);
  if (fd < 0 || (own && give_to_group(fd) != 0)) {
    return fd < 0 ? -1 : close_and_fail(fd, errno);
  }
  switch_page *page = map_page(fd);
  const int why = errno;
  close(fd);
  if (page == nullptr) {
    return fail(why);
  }
  page_guard_watch(page, sizeof(switch_page));
  if (!is_sound(page)) {
    page_guard_watch(nullptr, 0);
    munmap(page, sizeof(switch_page));
    return fail(EPROTO);
  }
  use = {page, found.st_dev, found.st_ino, monotonic_coarse_seconds(), 0};
  return 0;
}

// Also one that was cut and made as long again is nobody's any more.
bool was_replaced(const char *path) {
  struct stat found;
  return !is_sound(use.page) || stat(path, &found) != 0 || found.st_ino != use.inode || found.st_dev != use.device ||
         !fits_size(found);
}

}  // namespace

void platform_page_close() {
  page_guard_watch(nullptr, 0);
  if (use.page != nullptr) {
    munmap(use.page, sizeof(switch_page));
  }
  use = {};
  page_found = nullptr;
  clock_of_events.looked = false;
}

int platform_page_open() {
  page_file path;
  platform_page_close();
  return open_page(path.name, false);
}

int platform_page_own(int64_t group) {
  page_file path;
  owner_group = group;
  platform_page_close();
  watch_forks();
  if (open_page(path.name, true) == 0) {
    return 0;
  }
  return make_page(path.name) == 0 ? open_page(path.name, true) : -1;
}

int platform_page_keep() {
  page_file path;
  if (use.page != nullptr && !page_guard_tripped() && !was_replaced(path.name)) {
    return 0;
  }
  return platform_page_own(owner_group) == 0 ? 1 : -1;
}

switch_page *page_in_use() {
  const int64_t now = monotonic_coarse_seconds();
  if (now != use.looked_at || page_guard_tripped()) {
    page_file path;
    if (use.page != nullptr && (page_guard_tripped() || was_replaced(path.name))) {
      platform_page_close();
    }
    use.looked_at = now;
    if (use.page == nullptr && open_page(path.name, false) != 0) {
      use.why_not = errno;
    }
  }
  if (use.page == nullptr) {
    errno = use.why_not;
    return nullptr;
  }
  page_found = use.page;
  clock_of_events.looked = clock_of_events.shared;
  return use.page;
}
