// Which page this process uses: switchd's, or for want of it one of its own.
#include "switchplatform/shared_page.h"

#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "monotonic_clock.h"
#include "page_file.h"
#include "page_glance.h"
#include "switchplatform/run_dir.h"

switch_page *page_found;
uint32_t page_user_pid;

namespace {

constexpr int64_t kMakeAgainAfter = 30;  // seconds, when no page could be made: a full disk is not tried all the time

struct page_use {
  page_mapping mapped = {};
  bool own = false;            // it is this process's own, for want of switchd's
  int64_t looked_at = -1;      // monotonic seconds; -1: never
  int64_t make_again_at = -1;  // the same
  int why_not = ENOENT;        // errno of the last failure to map switchd's
  int why_no_own = 0;          // and of one of its own
};

page_use use;
int64_t owner_group = -1;
char named_file[PATH_MAX];  // instead of the one in the run directory; empty: none was named
char own_file[PATH_MAX];    // what to fall back to; empty: nothing

void refresh_pid() {
  page_user_pid = static_cast<uint32_t>(getpid());
}

void watch_forks() {
  static const int watched = pthread_atfork(nullptr, nullptr, refresh_pid);
  static_cast<void>(watched);
  refresh_pid();
}

struct page_path {
  char name[PATH_MAX];
  page_path() {
    if (named_file[0] != '\0') {
      snprintf(name, sizeof name, "%s", named_file);
    } else {
      snprintf(name, sizeof name, "%s/switch.page", platform_run_dir());
    }
  }
};

// Puts `path` in place of the name that was kept. Returns 0, or -1 with `errno`.
int keep_name(char (&kept)[PATH_MAX], const char *path) {
  if (strlen(path) >= sizeof kept) {
    errno = ENAMETOOLONG;
    return -1;
  }
  if (strcmp(kept, path) != 0) {
    platform_page_close();
    memcpy(kept, path, strlen(path) + 1);
  }
  return 0;
}

void drop_page() {
  page_guard_watch(nullptr, 0);
  page_file_close(&use.mapped);
  use.own = false;
  page_found = nullptr;
  clock_of_events.looked = false;
}

void take_page(const page_mapping &opened, bool own) {
  drop_page();
  watch_forks();
  page_guard_watch(opened.page, sizeof(switch_page));
  use.mapped = opened;
  use.own = own;
  use.looked_at = monotonic_coarse_seconds();
}

int open_page(const char *path, const int64_t *group) {
  page_mapping opened;
  if (page_file_open(path, &opened, group) != 0) {
    return -1;
  }
  take_page(opened, false);
  return 0;
}

bool is_still_there(const char *path) {
  return use.mapped.page != nullptr && !page_guard_tripped() && page_file_holds(path, use.mapped);
}

void look_for_own(const char *shared_path, int64_t now) {
  if (is_still_there(own_file)) {
    return;
  }
  drop_page();
  if (now < use.make_again_at) {
    return;
  }
  page_mapping opened;
  const bool is_shared = strcmp(own_file, shared_path) == 0;  // only switchd makes that one
  if (!is_shared && page_file_open_or_make(own_file, &opened) == 0) {
    take_page(opened, true);
    use.why_no_own = 0;
    return;
  }
  use.why_no_own = is_shared ? EINVAL : errno;
  use.make_again_at = now + kMakeAgainAfter;
}

void look_for_page(int64_t now) {
  const page_path path;
  if (!use.own && use.mapped.page != nullptr) {
    if (is_still_there(path.name)) {
      return;
    }
    drop_page();
  }
  if (open_page(path.name, nullptr) == 0) {
    return;
  }
  use.why_not = errno;
  if (own_file[0] != '\0') {
    look_for_own(path.name, now);
  }
}

}  // namespace

void platform_page_close() {
  drop_page();
  use = {};
}

int platform_page_open() {
  const page_path path;
  platform_page_close();
  return open_page(path.name, nullptr);
}

int platform_page_own(int64_t group) {
  const page_path path;
  owner_group = group;
  platform_page_close();
  if (open_page(path.name, &owner_group) == 0) {
    return 0;
  }
  return page_file_replace(path.name, owner_group) == 0 ? open_page(path.name, &owner_group) : -1;
}

int platform_page_keep() {
  const page_path path;
  if (is_still_there(path.name)) {
    return 0;
  }
  // Who has the old one under another name must not take what it says for what is.
  if (use.mapped.page != nullptr) {
    use.mapped.page->distribution.store(0, std::memory_order_release);
  }
  return platform_page_own(owner_group) == 0 ? 1 : -1;
}

int platform_page_fall_back(const char *path) {
  return keep_name(own_file, path);
}

int platform_page_at(const char *path) {
  return keep_name(named_file, path);
}

void platform_page_tell(platform_page_report *report) {
  const bool has_page = page_in_use() != nullptr;
  *report = {has_page && !use.own, has_page && use.own, use.why_not, use.why_no_own};
}

bool page_is_own() {
  return use.own;
}

switch_page *page_in_use() {
  const int64_t now = monotonic_coarse_seconds();
  if (now != use.looked_at || page_guard_tripped()) {
    use.looked_at = now;
    look_for_page(now);
  }
  if (use.mapped.page == nullptr) {
    errno = use.why_not;
    return nullptr;
  }
  page_found = use.mapped.page;
  clock_of_events.looked = clock_of_events.shared;
  return page_found;
}
