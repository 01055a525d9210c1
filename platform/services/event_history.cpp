// Recording events and reading them.
#include <string.h>
#include <time.h>

#include "epoch_seconds.h"
#include "page_glance.h"
#include "platform/sdwrap.h"

namespace {

constexpr int kLevelSize = 4;
constexpr uint32_t kWordSize = sizeof(uint32_t);
constexpr int kPendingChecks = 20;
constexpr timespec kPendingPause = {0, 1'000'000};
constexpr uint32_t kEventRecordWords = kEventSlotWords - kSlotOverheadWords;

uint32_t newest_event(switch_page *page) {
  return page->event_counters.newest.load(std::memory_order_acquire);
}

// A number may be given out and its event not be written yet; the writer gets a moment.
slot_state read_patiently(const slot_ring &ring, uint32_t number, uint32_t *record) {
  slot_state state = slot_ring_read(ring, number, record);
  for (int check = 0; check < kPendingChecks && state == slot_state::pending; ++check) {
    nanosleep(&kPendingPause, nullptr);
    state = slot_ring_read(ring, number, record);
  }
  return state;
}

void fill_event(const uint32_t *record, uint32_t number, platform_event *event) {
  *event = {number, record[0], record[1], record[2], record[3], record[4], {}};
  memcpy(event->text, record + kEventHeadWords, sizeof event->text);
  event->text[sizeof event->text - 1] = '\0';
}

// Skips what the ring has overwritten already. Returns how many events are there to read.
uint32_t catch_up(platform_event_reader *reader, switch_page *page) {
  if (reader->page != page->identity) {
    reader->page = page->identity;
    reader->next = 1;
  }
  const uint32_t unread = newest_event(page) + 1 - reader->next;
  if (unread <= kEventSlots) {
    return unread;
  }
  reader->lost += unread - kEventSlots;
  reader->next += unread - kEventSlots;
  return kEventSlots;
}

}  // namespace

int sdwrap_hist_event(int module_id, int length, const void *record) {
  if (length <= kLevelSize || length > kLevelSize + kEventTextSize) {
    return -1;
  }
  const auto *bytes = static_cast<const uint8_t *>(record);
  if (bytes[length - 1] != '\0') {
    return -1;
  }
  switch_page *page = page_at_a_glance();
  if (page == nullptr) {
    return -1;
  }
  const timespec now = event_clock_read();
  const uint32_t head[] = {epoch_seconds(now.tv_sec), static_cast<uint32_t>(now.tv_nsec), page_user_pid,
                           static_cast<uint32_t>(module_id)};
  slot_ring_write(event_ring(page), head, sizeof head / kWordSize, record, static_cast<uint32_t>(length));
  return 0;
}

int platform_events_open(platform_event_reader *reader, uint32_t last) {
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  const uint32_t newest = newest_event(page);
  const uint32_t there = newest < kEventSlots ? newest : kEventSlots;
  *reader = {page->identity, newest + 1 - (last < there ? last : there), 0};
  return 0;
}

int platform_events_next(platform_event_reader *reader, platform_event *event) {
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  uint32_t record[kEventRecordWords];
  for (uint32_t unread = catch_up(reader, page); unread > 0; --unread) {
    const uint32_t number = reader->next++;
    if (read_patiently(event_ring(page), number, record) == slot_state::read) {
      fill_event(record, number, event);
      return 1;
    }
    ++reader->lost;
  }
  return 0;
}

int platform_events_counters(platform_event_counters *counters) {
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  *counters = {newest_event(page), page->event_counters.dropped.load(std::memory_order_relaxed), kEventSlots};
  return 0;
}
