// Where a time_t has 32 bits, a switch whose clock is past 2038 does not start again, and vsanctl shows 1901.
#include <stdint.h>
#include <sys/time.h>

#include "switch_under_test.h"
#include "time_text.h"

namespace {

bool past_2038;

}  // namespace

extern "C" {

int __real_gettimeofday(struct timeval *now, void *zone);

// The second after the last one that 31 bits hold, as a clock of 32 bits with a sign gives it.
int __wrap_gettimeofday(struct timeval *now, void *zone) {
  if (!past_2038) {
    return __real_gettimeofday(now, zone);
  }
  *now = {INT32_MIN, 0};
  return 0;
}
}

namespace {

constexpr uint32_t kPast2038 = 0x80000000;

struct ClockPast2038 : switch_under_test {
  void SetUp() override {
    past_2038 = true;
    switch_under_test::SetUp();
  }
  void TearDown() override {
    switch_under_test::TearDown();
    past_2038 = false;
  }
};

TEST_F(ClockPast2038, TheTimeOfAChangeIsKeptAndReadAgain) {
  ASSERT_EQ(set_row(new_row(50, "late")), 0);
  EXPECT_EQ(managers.state.settings.changed_seconds, kPast2038);
  close();
  open();
  EXPECT_EQ(managers.state.settings.changed_seconds, kPast2038);
}

TEST(TimePast2038, IsShownAsItIs) {
  EXPECT_EQ(time_text(0U), "1970-01-01T00:00:00Z");
  EXPECT_EQ(time_text(1709251199U), "2024-02-29T23:59:59Z");
  EXPECT_EQ(time_text(INT32_MAX), "2038-01-19T03:14:07Z");
  EXPECT_EQ(time_text(kPast2038), "2038-01-19T03:14:08Z");
  EXPECT_EQ(time_text(UINT32_MAX, 999'999'999U), "2106-02-07T06:28:15.999999Z");
}

}  // namespace
