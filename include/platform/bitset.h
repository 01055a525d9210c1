// A set of VSAN ids, one bit an id.
#ifndef PLATFORM_BITSET_H
#define PLATFORM_BITSET_H

#include <stdint.h>

enum { kVsanSetBytes = 512 };

// The bit of VSAN v (0 to 4095) is bit v % 8, least significant first, of bits[v / 8].
typedef struct {
  uint32_t size;  // the size of `bits` in bytes, always kVsanSetBytes
  uint8_t bits[kVsanSetBytes];
} vsan_set_t;

#ifdef __cplusplus
extern "C" {
#endif

// Clears every bit of `set` and keeps `size`. `set` belongs to the caller and is never null.
void bitset_clear(vsan_set_t *set);

#ifdef __cplusplus
}
#endif

#endif
