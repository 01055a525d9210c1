// Times of day as they are kept and sent: seconds since the epoch in 32 bits without a sign, which lasts until 2106.
#ifndef PLATFORM_BASE_EPOCH_SECONDS_H
#define PLATFORM_BASE_EPOCH_SECONDS_H

#include <stdint.h>
#include <time.h>

// What a reading of the clock is in 32 bits. A `time_t` of 32 bits has a sign, and is negative from 2038 on: made wider
// before it is made unsigned, it would be no time at all.
inline uint32_t epoch_seconds(time_t reading) {
  return static_cast<uint32_t>(reading);
}

#endif
