// What the managers publish: a copy of their state in memory that other processes map and read, so that a read costs
// them no exchange.
//
// 1. switchd makes the memory and hands it, sealed, to whoever connects to kServicePublished. Only switchd writes to
//    it.
// 2. An answer from here is right while the owner lives (`owner`), its loop turns (`beat`), and it has not said
//    otherwise for the service (`answered`). In any other case the manager is asked.
// 3. A change is here before the write that made it is answered.
// 4. `sequence` is odd while the owner changes what follows it. A reader takes what it needs and looks whether
//    `sequence` is still the same.
//
// All of it is made of 32-bit words: 32-bit and 64-bit processes of one host see the same. Words are in host order, but
// for the rows, which are kept as they travel.
#ifndef PROTOCOL_PUBLISHED_PUBLISHED_PAGE_H
#define PROTOCOL_PUBLISHED_PUBLISHED_PAGE_H

#include <stddef.h>
#include <stdint.h>

#include <atomic>

#include "port_records.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"
#include "vsan_values.h"

using published_word = std::atomic<uint32_t>;
static_assert(published_word::is_always_lock_free && sizeof(published_word) == sizeof(uint32_t));

inline constexpr uint32_t kPublishedMagic = 0x56505542;  // read by a host of the other byte order it is another
inline constexpr uint32_t kPublishedVersion = 2;         // of the layout below

// The loop shows every kBeatEveryMs that it turns; a beat older than kBeatMaxAgeMs counts for nothing. Both are taken
// from a clock that ticks every 10 ms at worst: a read that begins 100 ms after the loop stood still is an exchange.
inline constexpr uint32_t kBeatEveryMs = 20, kBeatMaxAgeMs = 80;

// The services that are answered from here, by the bit of `answered`.
enum : uint32_t { kAnsweredVsanManager = 1, kAnsweredIdentity = 2, kAnsweredPortManager = 4 };

// Every number that a VSAN, or a bit of a set of VSANs, can have.
inline constexpr uint32_t kPublishedVsans = kVsanReserved + 1;
inline constexpr uint32_t kPublishedSetWords = kPublishedVsans / 32;

// The bytes of a row's message that are not always zero: the row's columns and the copy behind them.
inline constexpr size_t kPublishedRowAt = offsetof(vsanRowMessage, row);
inline constexpr size_t kPublishedRowBytes = offsetof(vsanEntry, rest) + sizeof(vsanRowCopy);
static_assert(kPublishedRowBytes % sizeof(uint32_t) == 0);

inline constexpr size_t kInterfaceNameField = sizeof(switch_interface::name);

struct published_vsan {
  published_word row[kPublishedRowBytes / sizeof(uint32_t)];  // bytes, as they travel
  published_word timers[kTimerKinds];                         // values of its own, in force; 0: none
  published_word pending[kTimerKinds];                        // values of its own in the open session; 0: none
};

struct published_interface {
  published_word index;
  published_word vsan;
  published_word up;                                            // 1 or 0
  published_word name[kInterfaceNameField / sizeof(uint32_t)];  // bytes, as they travel
};

struct published_membership {
  published_word vsan;
  published_word interface;
  published_word is_static;
};

struct published_settings {
  published_word vsans;       // how many there are
  published_word interfaces;  // likewise
  published_word changed_seconds, changed_microseconds;
  published_word switch_latency, network_latency;
  published_word inorder;
  published_word wwn_high, wwn_low;
  published_word distribution;   // 1: enabled
  published_word remote_locked;  // 1: another switch holds the lock
};

struct published_page {
  // Written before anybody can map the page.
  uint32_t magic;
  uint32_t version;
  uint32_t size;
  uint32_t reserved;
  // A robust mutex that the owner holds. Its first word is a futex, in which the kernel notes the owner's death at
  // once.
  alignas(16) published_word owner[16];

  published_word answered;  // bits
  published_word beat;      // monotonic milliseconds, modulo 2^32

  published_word sequence;
  published_settings settings;
  published_word present[kPublishedSetWords];   // VSANs that exist: bit v % 32 of word v / 32
  published_word kept_out[kPublishedSetWords];  // VSANs kept out of distribution
  published_word membership_count;
  published_vsan vsans[kPublishedVsans];             // 0 holds the timers of the whole switch
  published_interface interfaces[kInterfacesMax];    // the first settings.interfaces, by index
  published_membership memberships[kInterfacesMax];  // the first membership_count, by VSAN, then interface
};
static_assert(offsetof(published_page, sequence) % sizeof(uint32_t) == 0);

#endif
