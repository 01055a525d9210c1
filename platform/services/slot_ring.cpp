#include "slot_ring.h"

#include <string.h>

#include <bit>

namespace {

constexpr uint32_t kWordSize = sizeof(uint32_t);
constexpr uint32_t kPairSize = sizeof(uint64_t);

// A writer fetches the slot that is this far ahead, as much of it as a common record takes: the ring is larger than
// the caches that are near.
constexpr uint32_t kFetchedAhead = 16;
constexpr uint32_t kFetchedWords[] = {0, 16};

struct slot {
  shared_word &ticket;
  shared_word &done;
  shared_word &check;
  shared_word &count;
  uint8_t *record;
};

shared_word *words_of(const slot_ring &ring, uint32_t number) {
  return ring.words + size_t{number & (ring.slots - 1)} * ring.slot_words;
}

slot slot_of(const slot_ring &ring, uint32_t number) {
  shared_word *at = words_of(ring, number);
  return {at[0], at[1], at[2], at[3], reinterpret_cast<uint8_t *>(at + kSlotOverheadWords)};
}

void fetch(const slot_ring &ring, uint32_t number) {
  const shared_word *at = words_of(ring, number);
  for (const uint32_t word : kFetchedWords) {
    __builtin_prefetch(at + word, 1);
  }
}

// What tells a whole record from one that two writers mixed: the sum of its pairs of words, and the sum of these sums,
// which depends on their order. Two additions a pair: no pair waits for another's multiplication.
struct record_sums {
  uint64_t pairs = 0;
  uint64_t sums = 0;
};

void add(record_sums &to, uint64_t pair) {
  to.pairs += pair;
  to.sums += to.pairs;
}

uint32_t check_of(const record_sums &of, uint32_t number, uint32_t count) {
  const uint64_t name = uint64_t{number} << 32 | count;
  const uint64_t mixed = of.pairs * 0x9E3779B97F4A7C15U + of.sums * 0xC2B2AE3D27D4EB4FU + name * 0x165667B19E3779F9U;
  return static_cast<uint32_t>(mixed >> 32);
}

// Copies whole pairs. Others may write the same words meanwhile, or read them: `check` tells.
void copy_pairs(uint8_t *to, const uint8_t *from, size_t size, record_sums &sums) {
  for (size_t at = 0; at < size; at += kPairSize) {
    uint64_t pair;
    memcpy(&pair, from + at, kPairSize);
    memcpy(to + at, &pair, kPairSize);
    add(sums, pair);
  }
}

// The last bytes, fewer than a pair, with zeros behind them. `before` of the bytes in front of them may be read.
uint64_t last_pair(const uint8_t *from, size_t size, size_t before) {
  uint64_t pair = 0;
  if (before < kPairSize - size) {
    memcpy(&pair, from, size);
    return pair;
  }
  memcpy(&pair, from + size - kPairSize, kPairSize);
  const size_t others = 8 * (kPairSize - size);
  return std::endian::native == std::endian::little ? pair >> others : pair << others;
}

// Claims without a locked instruction: two writers that do it at once are a round apart, one of them stalled, and
// `check` tells readers of what they mix.
bool claim(const slot_ring &ring, const slot &claimed, uint32_t number) {
  const uint32_t ticket = claimed.ticket.load(std::memory_order_relaxed);
  const bool taken = ticket != claimed.done.load(std::memory_order_acquire);
  if (taken && number - ticket < 2 * ring.slots) {
    return false;
  }
  claimed.ticket.store(number, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);  // the ticket is seen before any word of the record
  return true;
}

}  // namespace

void slot_ring_write(const slot_ring &ring, const uint32_t *head, uint32_t head_words, const void *tail,
                     uint32_t tail_size) {
  const uint32_t number = ring.counters->newest.fetch_add(1, std::memory_order_relaxed) + 1;
  fetch(ring, number + kFetchedAhead);
  const slot to = slot_of(ring, number);
  if (!claim(ring, to, number)) {
    ring.counters->dropped.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  const uint32_t head_size = head_words * kWordSize;
  const uint32_t room = (ring.slot_words - kSlotOverheadWords) * kWordSize - head_size;
  const uint32_t kept = tail_size < room ? tail_size : room;
  const uint32_t whole = kept - kept % kPairSize;
  const auto *bytes = static_cast<const uint8_t *>(tail);
  record_sums sums;
  copy_pairs(to.record, reinterpret_cast<const uint8_t *>(head), head_size, sums);
  copy_pairs(to.record + head_size, bytes, whole, sums);
  uint32_t size = head_size + whole;
  if (kept > whole) {
    const uint64_t pair = last_pair(bytes + whole, kept - whole, whole);
    memcpy(to.record + size, &pair, kPairSize);
    add(sums, pair);
    size += kPairSize;
  }
  const uint32_t count = size / kWordSize;
  to.count.store(count, std::memory_order_relaxed);
  to.check.store(check_of(sums, number, count), std::memory_order_relaxed);
  to.done.store(number, std::memory_order_release);
}

slot_state slot_ring_read(const slot_ring &ring, uint32_t number, uint32_t *record) {
  const slot from = slot_of(ring, number);
  const uint32_t room = ring.slot_words - kSlotOverheadWords;
  if (from.done.load(std::memory_order_acquire) != number) {
    const uint32_t ahead = from.ticket.load(std::memory_order_relaxed) - number;
    return ahead != 0 && ahead < UINT32_MAX / 2 ? slot_state::lost : slot_state::pending;
  }
  const uint32_t count = from.count.load(std::memory_order_relaxed);
  if (count > room || count % 2 != 0) {
    return slot_state::lost;
  }
  record_sums sums;
  copy_pairs(reinterpret_cast<uint8_t *>(record), from.record, size_t{count} * kWordSize, sums);
  const uint32_t expected = from.check.load(std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_acquire);
  if (from.ticket.load(std::memory_order_relaxed) != number || expected != check_of(sums, number, count)) {
    return slot_state::lost;
  }
  memset(record + count, 0, (room - count) * sizeof record[0]);
  return slot_state::read;
}
