// What the events of one handler call share, and what they do not.
#include "event_clock.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "client_call.h"
#include "page_layout.h"
#include "platform/sdwrap.h"
#include "private_dir.h"
#include "served_pdu_scope.h"
#include "switchplatform/shared_page.h"

namespace {

struct served_handler {
  int outer = platform_exchanges_of_pdu(7);
  ~served_handler() { platform_exchanges_of_pdu(outer); }
};

void pass_time(int milliseconds = 2) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// When an event that is recorded now says that it happened, in nanoseconds since the epoch.
int64_t stamp() {
  const struct {
    uint32_t level;
    char text[8];
  } record = {101, "text"};
  platform_event_reader reader;
  platform_event event;
  EXPECT_EQ(platform_events_open(&reader, 0), 0);
  EXPECT_EQ(sdwrap_hist_event(1, 9, &record), 0);
  EXPECT_EQ(platform_events_next(&reader, &event), 1);
  return int64_t{event.seconds} * 1'000'000'000 + event.nanoseconds;
}

TEST(EventClock, EventsOfOneHandlerCallShareAStamp) {
  const private_dir dir;
  const served_handler handler;
  const int64_t first = stamp();
  pass_time();
  EXPECT_EQ(stamp(), first);
}

TEST(EventClock, EventsOutsideAHandlerHaveTheirOwn) {
  const private_dir dir;
  const int64_t first = stamp();
  pass_time();
  EXPECT_GE(stamp(), first + 2'000'000);
}

TEST(EventClock, NextHandlerCallHasANewStampAndSoHasWhatComesAfter) {
  const private_dir dir;
  int64_t last = 0;
  for (int call = 0; call < 2; ++call) {
    const served_handler handler;
    const int64_t now = stamp();
    EXPECT_GT(now, last);
    last = now;
    pass_time();
  }
  const int64_t after = stamp();
  EXPECT_GE(after, last + 2'000'000);
}

// Within a handler, the begin and the end of `Scope` drop the stamp.
template <typename Scope>
void expect_both_ends_drop_the_stamp() {
  const private_dir dir;
  const served_handler handler;
  const int64_t before = stamp();
  pass_time();
  int64_t within;
  {
    const Scope scope;
    within = stamp();
    pass_time();
  }
  EXPECT_GE(within, before + 2'000'000);
  EXPECT_GE(stamp(), within + 2'000'000);
}

TEST(EventClock, HandlerWithinAHandlerDropsTheStampAtBothEnds) {
  expect_both_ends_drop_the_stamp<served_handler>();
}

TEST(EventClock, ExchangeThatFailsAtOnceDropsTheStamp) {
  const private_dir dir;
  const served_handler handler;
  const int64_t first = stamp();
  pass_time();
  EXPECT_EQ(call("nobody is there").status, -1);
  EXPECT_GE(stamp(), first + 2'000'000);
}

// A stamp that is read while an exchange waits does not outlive it.
TEST(EventClock, BreakDropsTheStampAtItsBeginAndAtItsEnd) {
  expect_both_ends_drop_the_stamp<event_clock_break>();
}

// What another process does to the page, as it is seen from here.
template <typename Change>
void in_another_process(Change change) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(change() ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
}

// A page takes the other's place in which the level is not recorded.
void replace_page(const private_dir &dir) {
  in_another_process([&] {
    return unlink((dir.path + "/switch.page").c_str()) == 0 && platform_page_own(-1) == 0 &&
           platform_level_set(kLevelRecorded, 101, 0) == 0;
  });
}

TEST(PageGlance, NextHandlerCallFindsAPageThatWasReplacedASecondAgo) {
  const private_dir dir;
  {
    const served_handler handler;
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
    replace_page(dir);
    pass_time(1100);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0) << "a handler that computes goes on in its page";
    EXPECT_EQ(call("nobody is there").status, -1);
    EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0) << "after an exchange it looks again";
  }
  const served_handler next;
  EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0);
}

TEST(PageGlance, OutsideAHandlerAPageThatWasReplacedIsFoundWithinASecond) {
  const private_dir dir;
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
  replace_page(dir);
  pass_time(1100);
  EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0);
}

TEST(PageGlance, HandlerIsToldOfALevelAtOnce) {
  const private_dir dir;
  const served_handler handler;
  EXPECT_EQ(sdwrap_chk_int(101, 0, 0, 1), 0);
  in_another_process([] { return platform_level_set(kLevelPrinted, 101, 1) == 0; });
  EXPECT_NE(sdwrap_chk_int(101, 0, 0, 1), 0);
}

TEST(PageGlance, HandlerWhosePageIsCutGoesOn) {
  const private_dir dir;
  const std::string file = dir.path + "/switch.page";
  const served_handler handler;
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
  ASSERT_EQ(truncate(file.c_str(), 0), 0);
  EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0);
  const uint32_t record[] = {101, 0};
  EXPECT_EQ(sdwrap_hist_event(1, 8, record), -1);
  in_another_process([&] { return unlink(file.c_str()) == 0 && platform_page_own(-1) == 0; });
  pass_time(1100);
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
  EXPECT_EQ(sdwrap_hist_event(1, 8, record), 0);
}

TEST(PageGlance, PageThatWasClosedIsFoundAgainWithinAHandler) {
  const private_dir dir;
  const served_handler handler;
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
  platform_page_close();
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 101), 0);
}

}  // namespace
