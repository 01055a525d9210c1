#include <gtest/gtest.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "platform/sdwrap.h"
#include "private_dir.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr int kModule = 0x730000;
constexpr uint32_t kKept = 8192;

struct event_record {
  uint32_t level;
  char text[kEventTextSize];
};

int record_event(const std::string &text, uint32_t level = 101) {
  event_record record = {level, {}};
  memcpy(record.text, text.c_str(), text.size() + 1);
  return sdwrap_hist_event(kModule, static_cast<int>(text.size()) + 5, &record);
}

std::vector<platform_event> read_all(platform_event_reader *reader) {
  std::vector<platform_event> events;
  platform_event event;
  while (platform_events_next(reader, &event) == 1) {
    events.push_back(event);
  }
  return events;
}

std::vector<platform_event> all_events() {
  platform_event_reader reader;
  EXPECT_EQ(platform_events_open(&reader, UINT32_MAX), 0);
  return read_all(&reader);
}

TEST(EventHistory, EventComesBackWithItsLevelModuleProcessAndTime) {
  const private_dir dir;
  const time_t before = time(nullptr);
  ASSERT_EQ(record_event("get_vsanEntry : hello\n", 100), 0);
  const auto events = all_events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].number, 1U);
  EXPECT_EQ(events[0].level, 100U);
  EXPECT_EQ(events[0].module_id, static_cast<uint32_t>(kModule));
  EXPECT_EQ(events[0].pid, static_cast<uint32_t>(getpid()));
  EXPECT_GE(events[0].seconds, static_cast<uint32_t>(before));
  EXPECT_LE(events[0].seconds, static_cast<uint32_t>(before) + 5);
  EXPECT_LT(events[0].nanoseconds, 1'000'000'000U);
  EXPECT_STREQ(events[0].text, "get_vsanEntry : hello\n");
}

TEST(EventHistory, EmptyAndLongestTextsAreKeptWhole) {
  const private_dir dir;
  const std::string longest(511, 'x');
  EXPECT_EQ(record_event(""), 0);
  EXPECT_EQ(record_event(longest), 0);
  const auto events = all_events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_STREQ(events[0].text, "");
  EXPECT_EQ(events[1].text, longest);
}

TEST(EventHistory, LengthThatIsNoRecordsIsRefused) {
  const private_dir dir;
  const event_record record = {101, "text"};
  for (const int length : {-1, 0, 4, 517, 1 << 30}) {
    EXPECT_EQ(sdwrap_hist_event(kModule, length, &record), -1) << length;
  }
  EXPECT_EQ(sdwrap_hist_event(kModule, 8, &record), -1);  // not ended by a NUL
  EXPECT_EQ(sdwrap_hist_event(kModule, 9, &record), 0);
  EXPECT_EQ(all_events().size(), 1U);
}

TEST(EventHistory, ReaderStartsBeforeTheLastSoManyEvents) {
  const private_dir dir;
  for (int i = 1; i <= 10; ++i) {
    record_event(std::to_string(i));
  }
  platform_event_reader reader;
  ASSERT_EQ(platform_events_open(&reader, 3), 0);
  const auto events = read_all(&reader);
  ASSERT_EQ(events.size(), 3U);
  EXPECT_STREQ(events[0].text, "8");
  EXPECT_EQ(reader.lost, 0U);
}

TEST(EventHistory, FollowerSeesWhatComesAfterItStarted) {
  const private_dir dir;
  record_event("before");
  platform_event_reader reader;
  ASSERT_EQ(platform_events_open(&reader, 0), 0);
  platform_event event;
  EXPECT_EQ(platform_events_next(&reader, &event), 0);
  record_event("after");
  ASSERT_EQ(platform_events_next(&reader, &event), 1);
  EXPECT_STREQ(event.text, "after");
  EXPECT_EQ(platform_events_next(&reader, &event), 0);
}

TEST(EventHistory, SlowReaderIsToldHowManyEventsItLost) {
  const private_dir dir;
  platform_event_reader reader;
  ASSERT_EQ(platform_events_open(&reader, UINT32_MAX), 0);
  for (uint32_t i = 1; i <= kKept + 100; ++i) {
    record_event(std::to_string(i));
  }
  const auto events = read_all(&reader);
  ASSERT_EQ(events.size(), kKept);
  EXPECT_EQ(reader.lost, 100U);
  EXPECT_EQ(events.front().number, 101U);
  EXPECT_STREQ(events.front().text, "101");
  EXPECT_EQ(events.back().number, kKept + 100);
  platform_event_counters counters;
  ASSERT_EQ(platform_events_counters(&counters), 0);
  EXPECT_EQ(counters.written, kKept + 100);
  EXPECT_EQ(counters.kept, kKept);
  EXPECT_EQ(counters.dropped, 0U);
}

// Pauses now and then: the reader is to meet every writer, also where one writes the whole ring in a millisecond.
void write_from_child(int writer, int count) {
  for (int i = 0; i < count; ++i) {
    if (i % 1000 == 0) {
      usleep(1000);
    }
    const std::string mark(1 + static_cast<size_t>(i) % 300, static_cast<char>('a' + writer));
    record_event(std::to_string(i) + " " + mark);
  }
  _exit(0);
}

// Every event that is read is whole, and each writer's events come in the order in which it wrote them.
void expect_whole_and_in_order(const platform_event &event, std::map<uint32_t, long> *last_of) {
  char *mark = nullptr;
  const long i = strtol(event.text, &mark, 10);
  const size_t size = 1 + static_cast<size_t>(i) % 300;
  ASSERT_EQ(*mark++, ' ');
  ASSERT_EQ(std::string(mark), std::string(size, *mark));
  const auto [last, is_first] = last_of->emplace(event.pid, i);
  ASSERT_TRUE(is_first || i > last->second);
  last->second = i;
}

TEST(EventHistory, ProcessesWriteWhileAReaderFollows) {
  const private_dir dir;
  constexpr int kWriters = 3;
  constexpr int kEach = 20'000;
  platform_event_reader reader;
  ASSERT_EQ(platform_events_open(&reader, 0), 0);
  pid_t children[kWriters];
  for (int writer = 0; writer < kWriters; ++writer) {
    children[writer] = fork();
    if (children[writer] == 0) {
      write_from_child(writer, kEach);
    }
  }
  std::map<uint32_t, long> last_of;
  uint32_t read = 0;
  uint32_t last_number = 0;
  platform_event event;
  int running = kWriters;
  while (running > 0 || platform_events_next(&reader, &event) == 1) {
    if (running > 0 && platform_events_next(&reader, &event) != 1) {
      for (pid_t &child : children) {
        if (child > 0 && waitpid(child, nullptr, WNOHANG) == child) {
          child = 0, --running;
        }
      }
      continue;
    }
    ++read;
    ASSERT_GT(event.number, last_number);
    last_number = event.number;
    expect_whole_and_in_order(event, &last_of);
  }
  EXPECT_EQ(read + reader.lost, static_cast<uint32_t>(kWriters * kEach));
  EXPECT_EQ(last_of.size(), static_cast<size_t>(kWriters));
}

TEST(EventHistory, EventOfAForkedChildNamesTheChild) {
  const private_dir dir;
  record_event("parent");
  const pid_t child = fork();
  if (child == 0) {
    _exit(record_event("child") == 0 ? 0 : 1);
  }
  waitpid(child, nullptr, 0);
  const auto events = all_events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[1].pid, static_cast<uint32_t>(child));
}

TEST(EventHistory, NoRunDirectoryMeansNoHistoryAndNoReader) {
  { const private_dir gone; }
  EXPECT_EQ(record_event("nowhere"), -1);
  EXPECT_NE(sdwrap_hist_event_subtype_check(kModule, 101), 0);
  platform_event_reader reader = {};
  platform_event event;
  EXPECT_EQ(platform_events_open(&reader, 1), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(platform_events_next(&reader, &event), -1);
}

}  // namespace
