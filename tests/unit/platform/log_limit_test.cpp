#include "log_limit.h"

#include <gtest/gtest.h>

namespace {

// How many of `wanted` lines are written at `now`; `left_out` gets what the written ones said.
int written(log_limit *limit, int wanted, int64_t now, uint32_t *left_out) {
  int lines = 0;
  *left_out = 0;
  for (int i = 0; i < wanted; ++i) {
    uint32_t said = 0;
    if (!log_limit_take(limit, now, &said)) {
      continue;
    }
    ++lines;
    *left_out += said;
  }
  return lines;
}

TEST(LogLimit, TwentyLinesAtOnceThenOneASecond) {
  log_limit limit;
  uint32_t left_out = 0;
  EXPECT_EQ(written(&limit, 100, 1000, &left_out), 20);
  EXPECT_EQ(left_out, 0u);
  EXPECT_EQ(written(&limit, 100, 1000, &left_out), 0);
  EXPECT_EQ(written(&limit, 100, 1001, &left_out), 1);
  EXPECT_EQ(left_out, 180u) << "the line after them says how many were left out";
  EXPECT_EQ(written(&limit, 100, 1004, &left_out), 3);
  EXPECT_EQ(left_out, 99u);
}

TEST(LogLimit, AQuietTimeFillsItToTwentyAndNoFurther) {
  log_limit limit;
  uint32_t left_out = 0;
  EXPECT_EQ(written(&limit, 30, 5, &left_out), 20);
  EXPECT_EQ(written(&limit, 30, 1000000, &left_out), 20);
  EXPECT_EQ(left_out, 10u);
  EXPECT_EQ(written(&limit, 30, int64_t{1} << 40, &left_out), 20);
}

TEST(LogLimit, EveryLineIsEitherWrittenOrCounted) {
  log_limit limit;
  uint32_t all_left_out = 0;
  int lines = 0;
  for (int64_t now = 0; now < 500; ++now) {
    uint32_t left_out = 0;
    lines += written(&limit, static_cast<int>(now * 7 % 5), now, &left_out);
    all_left_out += left_out;
  }
  EXPECT_EQ(lines + static_cast<int>(all_left_out + limit.left_out), 1000);
}

}  // namespace
