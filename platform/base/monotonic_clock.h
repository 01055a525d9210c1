// The clock by which intervals are measured: it does not go back, and does not jump when the time of day is set.
#ifndef PLATFORM_BASE_MONOTONIC_CLOCK_H
#define PLATFORM_BASE_MONOTONIC_CLOCK_H

#include <stdint.h>
#include <time.h>

inline timespec monotonic_time(clockid_t clock) {
  timespec now;
  clock_gettime(clock, &now);
  return now;
}

// Milliseconds since some point in the past.
inline int64_t monotonic_ms() {
  const timespec now = monotonic_time(CLOCK_MONOTONIC);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// Seconds since the same point.
inline int64_t monotonic_seconds() {
  return monotonic_time(CLOCK_MONOTONIC).tv_sec;
}

// The same as of the kernel's last tick: some milliseconds old, for what is asked at every event.
inline int64_t monotonic_coarse_seconds() {
  return monotonic_time(CLOCK_MONOTONIC_COARSE).tv_sec;
}

// Milliseconds modulo 2^32, of the same clock as of the kernel's last tick: for a comparison at every read.
inline uint32_t monotonic_coarse_ms() {
  const timespec now = monotonic_time(CLOCK_MONOTONIC_COARSE);
  return static_cast<uint32_t>(int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000);
}

#endif
