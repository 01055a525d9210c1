// What is in the shared page. All of it is made of 32-bit words in host order: 32-bit and 64-bit processes of one host
// see the same.
#ifndef PLATFORM_SERVICES_PAGE_LAYOUT_H
#define PLATFORM_SERVICES_PAGE_LAYOUT_H

#include <stdint.h>

#include "slot_ring.h"
#include "switchplatform/shared_page.h"

inline constexpr uint32_t kPageMagic = 0x56535750;
inline constexpr uint32_t kPageVersion = 3;

inline constexpr uint32_t kEventSlots = 8192;
inline constexpr uint32_t kEventHeadWords = 5;  // seconds, nanoseconds, process, module, level
inline constexpr uint32_t kEventSlotWords = 144;
static_assert(kSlotOverheadWords + kEventHeadWords + kEventTextSize / 4 <= kEventSlotWords);

inline constexpr uint32_t kErrorSlots = kErrorsKept;
// Seconds, process, PDU, code, detail, SNMP error, phase, length of the object's name, the name.
inline constexpr uint32_t kErrorHeadWords = 8 + kErrorObjectMax;
inline constexpr uint32_t kErrorSlotWords = 128;
static_assert(kSlotOverheadWords + kErrorHeadWords + (kErrorUserSize + kErrorTextSize + kErrorValueSize) / 4 <=
              kErrorSlotWords);

// As the ring wants it: pairs of words.
static_assert(kEventSlotWords % 2 == 0 && kErrorSlotWords % 2 == 0 && kErrorHeadWords % 2 == 0);

inline constexpr uint32_t kLevelWords = (kLevelMax + 1) / 32;

struct switch_page {
  shared_word magic;  // set last: 0 while the page is being made
  uint32_t version;
  uint32_t size;
  uint32_t identity;         // tells this page from one that replaces it
  shared_word distribution;  // of "fctimer": kDistribution... bits
  shared_word publisher;     // the process that wrote them
  uint32_t reserved[10];
  shared_word levels[2][kLevelWords];  // bit level % 32 of word level / 32, by kLevelRecorded and kLevelPrinted
  // Every event counts: what all read at every event stands in another cache line.
  slot_ring_counters event_counters;
  slot_ring_counters error_counters;
  uint32_t reserved_too[12];
  shared_word events[kEventSlots * kEventSlotWords];
  shared_word errors[kErrorSlots * kErrorSlotWords];
};
static_assert(offsetof(switch_page, levels) % 64 == 0 && offsetof(switch_page, event_counters) % 64 == 0);
static_assert(offsetof(switch_page, events) % 64 == 0 && offsetof(switch_page, errors) % 64 == 0);

enum : uint32_t {
  kDistributionKnown = 1,
  kDistributionEnabled = 2,
  kDistributionShowsRunning = 4,
};

// The page, mapped now if need be; null with `errno` when there is none. Looks at most once a second whether it can be
// opened, or whether it was replaced.
switch_page *page_in_use();

// Whether what page_in_use returned last is not switchd's but this process's own (platform_page_fall_back).
bool page_is_own();

// The process id, without asking the kernel each time.
extern uint32_t page_user_pid;

inline slot_ring event_ring(switch_page *page) {
  return {&page->event_counters, page->events, kEventSlots, kEventSlotWords};
}

inline slot_ring error_ring(switch_page *page) {
  return {&page->error_counters, page->errors, kErrorSlots, kErrorSlotWords};
}

#endif
