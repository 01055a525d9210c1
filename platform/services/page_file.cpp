#include "page_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr mode_t kPageMode = 0660;
constexpr uint32_t kRecordedAtFirst[] = {100, 101, kUserMarkLevel};
constexpr uint32_t kMagicOfOtherOrder = __builtin_bswap32(kPageMagic);
constexpr size_t kUnfinishedRoom = PATH_MAX + 32;

// What a page begins with.
struct page_head {
  uint32_t magic;
  uint32_t version;
  uint32_t size;
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

page_head read_head(int fd) {
  page_head head = {};
  return pread(fd, &head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) ? head : page_head{};
}

// 0, or why the open file is no page that can be used here.
int flaw_of(int fd, const struct stat &found) {
  if (!S_ISREG(found.st_mode)) {
    return EPROTO;
  }
  const page_head head = read_head(fd);
  if (head.magic == kMagicOfOtherOrder) {
    return EILSEQ;
  }
  const bool fits = head.magic == kPageMagic && head.version == kPageVersion && head.size == sizeof(switch_page);
  return fits && fits_size(found) ? 0 : EPROTO;
}

void fill_new_page(switch_page *page) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  page->version = kPageVersion;
  page->size = sizeof(switch_page);
  page->identity = static_cast<uint32_t>(now.tv_sec) * 1000003U ^ static_cast<uint32_t>(now.tv_nsec) ^
                   static_cast<uint32_t>(getpid()) << 12;
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

int give_to_group(int fd, int64_t group) {
  if (group >= 0 && fchown(fd, static_cast<uid_t>(-1), static_cast<gid_t>(group)) != 0) {
    return -1;
  }
  return fchmod(fd, kPageMode);
}

// A new page under a name that nobody looks for.
int make_unfinished(const char *unfinished, int64_t group) {
  unlink(unfinished);
  const int fd = open(unfinished, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kPageMode);
  if (fd < 0) {
    return -1;
  }
  if (fill_new_file(fd) != 0 || give_to_group(fd, group) != 0) {
    const int why = errno;
    unlink(unfinished);
    return close_and_fail(fd, why);
  }
  close(fd);
  return 0;
}

// Whether the file under that name is nobody's loss: a page, of any version and byte order, or empty.
bool may_be_replaced(const char *path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (fd < 0) {
    return false;
  }
  struct stat found;
  uint32_t magic = 0;
  const bool known = fstat(fd, &found) == 0 && S_ISREG(found.st_mode);
  const bool has_magic = known && pread(fd, &magic, sizeof magic, 0) == static_cast<ssize_t>(sizeof magic) &&
                         (magic == kPageMagic || magic == kMagicOfOtherOrder);
  close(fd);
  return has_magic || (known && found.st_size == 0);
}

// Makes a page where there is none (`anew` false), or in the place of what may be replaced. Where there was none, one
// that another process makes in this moment stays; of two that replace the same one the later stays.
int make_beside_others(const char *path, bool anew) {
  char unfinished[kUnfinishedRoom];
  snprintf(unfinished, sizeof unfinished, "%s.%lu.new", path, static_cast<unsigned long>(getpid()));
  if (make_unfinished(unfinished, -1) != 0) {
    return -1;
  }
  const int done = anew ? rename(unfinished, path) : link(unfinished, path);
  const int why = errno;
  unlink(unfinished);
  return done == 0 || (!anew && why == EEXIST) ? 0 : fail(why);
}

}  // namespace

int page_file_open(const char *path, page_mapping *opened, const int64_t *group) {
  const int fd = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (fd < 0) {
    return -1;
  }
  struct stat found;
  if (fstat(fd, &found) != 0) {
    return close_and_fail(fd, errno);
  }
  if (const int flaw = flaw_of(fd, found); flaw != 0) {
    return close_and_fail(fd, flaw);
  }
  if (group != nullptr && give_to_group(fd, *group) != 0) {
    return close_and_fail(fd, errno);
  }
  switch_page *page = map_page(fd);
  const int why = errno;
  close(fd);
  if (page == nullptr) {
    return fail(why);
  }
  *opened = {page, found.st_dev, found.st_ino};
  return 0;
}

void page_file_close(page_mapping *opened) {
  if (opened->page != nullptr) {
    munmap(opened->page, sizeof(switch_page));
  }
  *opened = {};
}

// One that was cut and made as long again is nobody's any more.
bool page_file_holds(const char *path, const page_mapping &mapped) {
  struct stat found;
  return is_sound(mapped.page) && stat(path, &found) == 0 && found.st_ino == mapped.inode &&
         found.st_dev == mapped.device && fits_size(found);
}

// No one ever sees half of it.
int page_file_replace(const char *path, int64_t group) {
  char unfinished[kUnfinishedRoom];
  snprintf(unfinished, sizeof unfinished, "%s.new", path);
  if (make_unfinished(unfinished, group) != 0) {
    return -1;
  }
  if (rename(unfinished, path) != 0) {
    const int why = errno;
    unlink(unfinished);
    return fail(why);
  }
  return 0;
}

int page_file_open_or_make(const char *path, page_mapping *opened) {
  if (page_file_open(path, opened) == 0) {
    return 0;
  }
  const bool anew = errno != ENOENT;
  if (anew && errno != EPROTO && errno != EILSEQ) {
    return -1;
  }
  if (anew && !may_be_replaced(path)) {
    return fail(EEXIST);
  }
  return make_beside_others(path, anew) == 0 ? page_file_open(path, opened) : -1;
}
