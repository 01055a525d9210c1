#include "slot_ring.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t kSlots = 8;
constexpr uint32_t kSlotWords = kSlotOverheadWords + 12;

struct test_ring {
  slot_ring_counters counters = {};
  shared_word words[kSlots * kSlotWords] = {};
  slot_ring ring{&counters, words, kSlots, kSlotWords};
};

// A record whose words are all the same.
void write_filled(const slot_ring &ring, uint32_t fill) {
  const std::vector<uint32_t> words(12, fill);
  slot_ring_write(ring, words.data(), 2, words.data() + 2, 40);
}

shared_word &ticket_of(test_ring &test, uint32_t number) {
  return test.words[number % kSlots * kSlotWords];
}
shared_word &done_of(test_ring &test, uint32_t number) {
  return test.words[number % kSlots * kSlotWords + 1];
}

TEST(SlotRing, RecordComesBackPaddedWithZeros) {
  test_ring test;
  const uint32_t head[] = {11, 22};
  slot_ring_write(test.ring, head, 2, "hello", 6);
  uint32_t record[12];
  std::fill(std::begin(record), std::end(record), 0xeeeeeeee);
  ASSERT_EQ(slot_ring_read(test.ring, 1, record), slot_state::read);
  EXPECT_EQ(record[0], 11U);
  EXPECT_EQ(record[1], 22U);
  EXPECT_STREQ(reinterpret_cast<const char *>(record + 2), "hello");
  for (int i = 4; i < 12; ++i) {
    EXPECT_EQ(record[i], 0U);
  }
}

TEST(SlotRing, RecordLargerThanASlotIsCut) {
  test_ring test;
  const uint32_t head[] = {1, 2};
  const std::string tail(100, 't');
  slot_ring_write(test.ring, head, 2, tail.data(), 100);
  uint32_t record[12];
  ASSERT_EQ(slot_ring_read(test.ring, 1, record), slot_state::read);
  EXPECT_EQ(record[11], 0x74747474U);
}

TEST(SlotRing, RecordOfEverySizeComesBackWholeAndPaddedWithZeros) {
  test_ring test;
  const std::string bytes = "the bytes of a record, wherever they start";
  for (uint32_t from = 0; from < 3; ++from) {
    for (uint32_t size = 0; size <= 38; ++size) {
      for (const uint32_t head_words : {0U, 2U}) {
        const uint32_t head[] = {11, 22};
        slot_ring_write(test.ring, head, head_words, bytes.data() + from, size);
        uint32_t record[12];
        std::fill(std::begin(record), std::end(record), 0xeeeeeeee);
        ASSERT_EQ(slot_ring_read(test.ring, test.counters.newest, record), slot_state::read) << size;
        EXPECT_TRUE(std::equal(head, head + head_words, record));
        std::string expected = bytes.substr(from, size);
        expected.resize((12 - head_words) * sizeof(uint32_t));
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(record + head_words), expected.size()), expected) << size;
      }
    }
  }
}

TEST(SlotRing, OverwrittenRecordIsLostAndAFutureOnePending) {
  test_ring test;
  for (uint32_t i = 1; i <= kSlots + 1; ++i) {
    write_filled(test.ring, i);
  }
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 1, record), slot_state::lost);
  EXPECT_EQ(slot_ring_read(test.ring, 2, record), slot_state::read);
  EXPECT_EQ(slot_ring_read(test.ring, kSlots + 1, record), slot_state::read);
  EXPECT_EQ(slot_ring_read(test.ring, kSlots + 2, record), slot_state::pending);
}

TEST(SlotRing, WriterInTheMiddleIsPendingAndItsSlotIsNotTaken) {
  test_ring test;
  for (uint32_t i = 1; i <= 3; ++i) {
    write_filled(test.ring, i);
  }
  test.counters.newest = 4;
  ticket_of(test, 4) = 4;  // claimed, not done
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 4, record), slot_state::pending);
  for (uint32_t i = 5; i <= 4 + kSlots; ++i) {
    write_filled(test.ring, i);
  }
  EXPECT_EQ(test.counters.dropped, 1U);
  EXPECT_EQ(ticket_of(test, 4), 4U);
}

TEST(SlotRing, SlotOfAWriterThatDiedComesBackAfterTwoRounds) {
  test_ring test;
  test.counters.newest = 4;
  ticket_of(test, 4) = 4;
  for (uint32_t i = 5; i <= 4 + 2 * kSlots; ++i) {
    write_filled(test.ring, i);
  }
  EXPECT_EQ(test.counters.dropped, 1U);
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 4 + 2 * kSlots, record), slot_state::read);
  EXPECT_EQ(record[5], 4 + 2 * kSlots);
}

TEST(SlotRing, TornRecordIsLost) {
  test_ring test;
  write_filled(test.ring, 7);
  for (uint32_t word = 2; word < kSlotWords; ++word) {
    shared_word &changed = test.words[1 * kSlotWords + word];
    const uint32_t before = changed;
    changed = before ^ 0x100;
    uint32_t record[12];
    EXPECT_EQ(slot_ring_read(test.ring, 1, record), slot_state::lost) << word;
    changed = before;
  }
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 1, record), slot_state::read);
}

TEST(SlotRing, CountBeyondTheSlotIsLostAndNotRead) {
  test_ring test;
  write_filled(test.ring, 7);
  test.words[1 * kSlotWords + 3] = 0xffffff;
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 1, record), slot_state::lost);
}

// A number's slot with its record in it; the text differs from number to number in a digit or two.
std::unique_ptr<test_ring> ring_with(uint32_t number) {
  auto test = std::make_unique<test_ring>();
  test->counters.newest = number - 1;
  const uint32_t head[] = {1700000000, number * 1000};
  char text[40];
  const int size = snprintf(text, sizeof text, "get_vsanEntry(%u) vsanIndex:%u \n", number % 100, number);
  slot_ring_write(test->ring, head, 2, text, static_cast<uint32_t>(size));
  return test;
}

// Two writers of one slot, a round apart, one of which was held up: each word may be either's.
TEST(SlotRing, RecordThatTwoWritersMixedIsLost) {
  constexpr uint32_t kNumber = 21;
  const auto early = ring_with(kNumber);
  const auto late = ring_with(kNumber + kSlots);
  shared_word *const early_slot = early->words + kNumber % kSlots * kSlotWords;
  shared_word *const late_slot = late->words + kNumber % kSlots * kSlotWords;
  std::vector<uint32_t> differing;
  for (uint32_t word = kSlotOverheadWords; word < kSlotWords; ++word) {
    if (early_slot[word] != late_slot[word]) {
      differing.push_back(word);
    }
  }
  ASSERT_GT(differing.size(), 2U);
  for (uint32_t taken = 1; taken < (1U << differing.size()) - 1; ++taken) {
    const auto mixed = ring_with(kNumber + kSlots);
    for (uint32_t i = 0; i < differing.size(); ++i) {
      if ((taken >> i & 1) != 0) {
        mixed->words[kNumber % kSlots * kSlotWords + differing[i]] = early_slot[differing[i]].load();
      }
    }
    uint32_t record[12];
    EXPECT_EQ(slot_ring_read(mixed->ring, kNumber + kSlots, record), slot_state::lost) << taken;
  }
}

TEST(SlotRing, WriterOfThePastRoundTakesTheSlotAndGivesItBack) {
  test_ring test;
  test.counters.newest = 4 + kSlots;
  ticket_of(test, 4) = 4 + kSlots;
  done_of(test, 4) = 4 + kSlots;
  test.counters.newest = 3;
  write_filled(test.ring, 44);  // number 4, held up for a round
  uint32_t record[12];
  EXPECT_EQ(slot_ring_read(test.ring, 4, record), slot_state::read);
  EXPECT_EQ(slot_ring_read(test.ring, 4 + kSlots, record), slot_state::pending);
  test.counters.newest = 3 + 2 * kSlots;
  write_filled(test.ring, 55);
  EXPECT_EQ(slot_ring_read(test.ring, 4 + 2 * kSlots, record), slot_state::read);
  EXPECT_EQ(test.counters.dropped, 0U);
}

TEST(SlotRing, NumbersWrapWithoutLosingARecord) {
  test_ring test;
  test.counters.newest = UINT32_MAX - 3;
  for (uint32_t i = 0; i < kSlots; ++i) {
    ticket_of(test, i) = UINT32_MAX - 3 - (kSlots - 1 - i);
    done_of(test, i) = ticket_of(test, i).load();
  }
  for (uint32_t i = 0; i < kSlots; ++i) {
    write_filled(test.ring, i);
  }
  EXPECT_EQ(test.counters.newest, 4U);
  EXPECT_EQ(test.counters.dropped, 0U);
  uint32_t record[12];
  uint32_t number = UINT32_MAX - 2;
  for (uint32_t i = 0; i < kSlots; ++i, ++number) {
    ASSERT_EQ(slot_ring_read(test.ring, number, record), slot_state::read) << number;
    EXPECT_EQ(record[0], i);
  }
}

TEST(SlotRing, ConcurrentWritersNeverShowATornRecord) {
  test_ring test;
  constexpr uint32_t kWrites = 100'000;
  std::atomic<bool> writing = true;
  std::vector<std::thread> writers;
  for (uint32_t writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&, writer] {
      for (uint32_t i = 0; i < kWrites; ++i) {
        write_filled(test.ring, writer << 24 | i);
      }
    });
  }
  uint64_t read = 0;
  uint64_t torn = 0;
  std::thread reader([&] {
    uint32_t record[12];
    while (writing) {
      const uint32_t newest = test.counters.newest;
      for (uint32_t number = newest - kSlots; number != newest + 1; ++number) {
        if (slot_ring_read(test.ring, number, record) != slot_state::read) {
          continue;
        }
        ++read;
        for (const uint32_t word : record) {
          torn += word != record[0];
        }
      }
    }
  });
  for (std::thread &writer : writers) {
    writer.join();
  }
  writing = false;
  reader.join();
  EXPECT_EQ(torn, 0U);
  EXPECT_GT(read, 0U);
  EXPECT_EQ(test.counters.newest, 3 * kWrites);
  uint32_t record[12];
  uint32_t whole = 0;
  for (uint32_t number = 3 * kWrites - kSlots + 1; number <= 3 * kWrites; ++number) {
    whole += slot_ring_read(test.ring, number, record) == slot_state::read;
  }
  EXPECT_GT(whole, 0U);
}

}  // namespace
