// The state of configuration distribution, published by switchd and read by everyone.
#include <errno.h>
#include <string.h>

#include "page_layout.h"
#include "vsan_values.h"

int platform_kdx_publish(const char *application, int enabled, int show_run_mode) {
  if (strcmp(application, kFcTimerApplication) != 0 || enabled < 0 || enabled > 1 || show_run_mode < 0 ||
      show_run_mode > 1) {
    errno = EINVAL;
    return -1;
  }
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  const uint32_t state =
      kDistributionKnown | (enabled ? kDistributionEnabled : 0U) | (show_run_mode ? kDistributionShowsRunning : 0U);
  page->publisher.store(page_user_pid, std::memory_order_release);
  page->distribution.store(state, std::memory_order_release);
  return 0;
}

int platform_kdx_published(const char *application, int *enabled, int *show_run_mode, uint32_t *publisher) {
  if (strcmp(application, kFcTimerApplication) != 0) {
    errno = EINVAL;
    return -1;
  }
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  const uint32_t state = page_is_own() ? 0 : page->distribution.load(std::memory_order_acquire);
  if ((state & kDistributionKnown) == 0) {
    errno = ENODATA;
    return -1;
  }
  *publisher = page->publisher.load(std::memory_order_acquire);
  *enabled = (state & kDistributionEnabled) != 0;
  *show_run_mode = (state & kDistributionShowsRunning) != 0;
  return 0;
}
