#include "slot_ring.h"

#include <string.h>

namespace {

struct slot {
  shared_word &ticket;
  shared_word &done;
  shared_word &check;
  shared_word &count;
  shared_word *words;
};

slot slot_of(const slot_ring &ring, uint32_t number) {
  shared_word *at = ring.words + size_t{number % ring.slots} * ring.slot_words;
  return {at[0], at[1], at[2], at[3], at + kSlotOverheadWords};
}

uint32_t check_of(uint32_t check, uint32_t word) {
  return (check ^ word) * 0x9E3779B1U;
}

bool claim(const slot_ring &ring, const slot &claimed, uint32_t number) {
  uint32_t ticket = claimed.ticket.load(std::memory_order_relaxed);
  const bool taken = ticket != claimed.done.load(std::memory_order_acquire);
  if (taken && number - ticket < 2 * ring.slots) {
    return false;
  }
  if (!claimed.ticket.compare_exchange_strong(ticket, number, std::memory_order_relaxed)) {
    return false;
  }
  std::atomic_thread_fence(std::memory_order_release);  // the ticket is seen before any word of the record
  return true;
}

}  // namespace

void slot_ring_write(const slot_ring &ring, const uint32_t *head, uint32_t head_words, const void *tail,
                     uint32_t tail_size) {
  const uint32_t number = ring.counters->newest.fetch_add(1, std::memory_order_relaxed) + 1;
  const slot to = slot_of(ring, number);
  if (!claim(ring, to, number)) {
    ring.counters->dropped.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  const uint32_t room = ring.slot_words - kSlotOverheadWords;
  uint32_t check = number;
  uint32_t count = 0;
  for (; count < head_words && count < room; ++count) {
    to.words[count].store(head[count], std::memory_order_relaxed);
    check = check_of(check, head[count]);
  }
  const auto *bytes = static_cast<const uint8_t *>(tail);
  for (; tail_size > 0 && count < room; ++count) {
    const uint32_t size = tail_size < sizeof(uint32_t) ? tail_size : uint32_t{sizeof(uint32_t)};
    uint32_t word = 0;
    memcpy(&word, bytes, size);
    to.words[count].store(word, std::memory_order_relaxed);
    check = check_of(check, word);
    bytes += size;
    tail_size -= size;
  }
  to.count.store(count, std::memory_order_relaxed);
  to.check.store(check_of(check, count), std::memory_order_relaxed);
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
  if (count > room) {
    return slot_state::lost;
  }
  uint32_t check = number;
  for (uint32_t i = 0; i < count; ++i) {
    record[i] = from.words[i].load(std::memory_order_relaxed);
    check = check_of(check, record[i]);
  }
  const uint32_t expected = from.check.load(std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_acquire);
  if (from.ticket.load(std::memory_order_relaxed) != number || expected != check_of(check, count)) {
    return slot_state::lost;
  }
  memset(record + count, 0, (room - count) * sizeof record[0]);
  return slot_state::read;
}
