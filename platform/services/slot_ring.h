// A ring of numbered records in memory that processes share. Writers never wait; readers detect what was overwritten or
// torn. Only 32-bit atomics are used, which every host has without a lock.
//
// A slot is `ticket`, `done`, `check`, the number of words that follow, and these words. A writer takes the next
// number, claims the number's slot by its ticket, writes, and sets done; the slot is free when ticket and done are the
// same. A writer that finds the slot claimed drops its record, unless the claim is two rounds old: its owner died in
// the middle. Should that owner live after all, or should a writer that was held up between looking and claiming meet
// the next round's, `check` tells the readers.
#ifndef PLATFORM_SERVICES_SLOT_RING_H
#define PLATFORM_SERVICES_SLOT_RING_H

#include <stddef.h>
#include <stdint.h>

#include <atomic>

using shared_word = std::atomic<uint32_t>;
static_assert(shared_word::is_always_lock_free && sizeof(shared_word) == sizeof(uint32_t));

struct slot_ring_counters {
  shared_word newest;   // the number given out last; numbers start at 1
  shared_word dropped;  // records whose slot was claimed
};

enum : uint32_t { kSlotOverheadWords = 4 };

struct slot_ring {
  slot_ring_counters *counters;
  shared_word *words;   // slots * slot_words of them, zero in a new ring
  uint32_t slots;       // a power of two, so that the numbers may wrap
  uint32_t slot_words;  // even, the overhead included
};

// Writes one record: `head`, whose number of words is even and fits a slot, then `tail_size` bytes, padded with zeros
// to two words. What does not fit a slot is cut.
void slot_ring_write(const slot_ring &ring, const uint32_t *head, uint32_t head_words, const void *tail,
                     uint32_t tail_size);

enum class slot_state { read, pending, lost };

// Reads record `number` into `record`, which has room for slot_words - kSlotOverheadWords; the words that the writer
// did not fill are zeros. `pending`: it is not there yet, or was dropped. `lost`: it was overwritten or is torn.
slot_state slot_ring_read(const slot_ring &ring, uint32_t number, uint32_t *record);

#endif
