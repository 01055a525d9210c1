// Which levels are recorded and which are printed.
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <time.h>

#include "page_glance.h"
#include "platform/sdwrap.h"

namespace {

constexpr size_t kDebugLineMax = 2048;

bool is_switch(int which, int level) {
  return (which == kLevelRecorded || which == kLevelPrinted) && level >= 0 && level <= kLevelMax;
}

bool is_on(const switch_page &page, int which, int level) {
  return (page.levels[which][level / 32].load(std::memory_order_relaxed) >> level % 32 & 1) != 0;
}

// Asked at every event.
bool is_on_at_a_glance(int which, int level) {
  const switch_page *page = is_switch(which, level) ? page_at_a_glance() : nullptr;
  return page != nullptr && is_on(*page, which, level);
}

}  // namespace

char sdwrap_dbg_modname[] = "vsan_mib";

int platform_level_get(int which, int level) {
  if (!is_switch(which, level)) {
    errno = EINVAL;
    return -1;
  }
  const switch_page *page = page_in_use();
  return page == nullptr ? -1 : is_on(*page, which, level);
}

int platform_level_set(int which, int level, int on) {
  if (!is_switch(which, level)) {
    errno = EINVAL;
    return -1;
  }
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  shared_word &word = page->levels[which][level / 32];
  if (on) {
    word.fetch_or(1U << level % 32);
  } else {
    word.fetch_and(~(1U << level % 32));
  }
  return 0;
}

int sdwrap_hist_event_subtype_check(int, int level) {
  return !is_on_at_a_glance(kLevelRecorded, level);
}

int sdwrap_chk_int(int level, int, int, int) {
  return is_on_at_a_glance(kLevelPrinted, level);
}

void buginf(int, void *modname, int, const char *format, ...) {
  char line[kDebugLineMax];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (length < 0) {
    return;
  }
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  const size_t size = static_cast<size_t>(length) < sizeof line ? static_cast<size_t>(length) : sizeof line - 1;
  const char *end = size > 0 && line[size - 1] == '\n' ? "" : "\n";
  fprintf(stderr, "%02d:%02d:%02d.%06ld %s: %s%s", local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1000,
          static_cast<const char *>(modname), line, end);
}
