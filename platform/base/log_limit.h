// How many lines a log may take from those who can make it grow at will.
#ifndef PLATFORM_BASE_LOG_LIMIT_H
#define PLATFORM_BASE_LOG_LIMIT_H

#include <stdint.h>

constexpr uint32_t kLogLinesAtOnce = 20;  // and one more each second

// A bucket of lines that may still be written. Full at first.
struct log_limit {
  uint32_t lines = kLogLinesAtOnce;
  int64_t filled_at = 0;  // monotonic seconds
  uint32_t left_out = 0;  // lines that were not written since the last one that was
};

// Whether a line may be written at `now`, in monotonic seconds. If so, `*left_out` says how many were not since the
// last one that was; if not, this one is counted.
bool log_limit_take(log_limit *limit, int64_t now, uint32_t *left_out);

#endif
