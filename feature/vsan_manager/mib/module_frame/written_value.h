// Reading what net-snmp hands a write method. This is where hosts differ: an INTEGER or Gauge32 arrives as a host
// `long`.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_WRITTEN_VALUE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_WRITTEN_VALUE_H

#include <string.h>

#include "vsan_mib.h"

namespace vsan_mib {

// One written value, as net-snmp hands it over.
struct written {
  u_char *value;
  u_char type;
  size_t length;
  oid *name;
  size_t name_len;
};

// A written integer: its 32 bits, and whether it had no more than those.
struct set_integer {
  bool fits;
  uint32_t value;
};

// Whether a length is that of a 32-bit integer: at most four octets, or a host `long`.
inline bool is_integer_length(size_t length) {
  return length <= 4 || length == sizeof(long);
}

// The whole `long` when the length is a `long`'s, else the first four octets whatever the length says. A null value
// reads as 0.
inline set_integer read_set_integer(const void *value, size_t length) {
  if (value == nullptr) {
    return {true, 0};
  }
  if (length == sizeof(long)) {
    long whole;
    memcpy(&whole, value, sizeof whole);
    const int64_t wide = whole;
    return {wide >= INT32_MIN && wide <= int64_t{UINT32_MAX}, static_cast<uint32_t>(wide)};
  }
  uint32_t word;
  memcpy(&word, value, sizeof word);
  return {true, word};
}

// One unsigned test, so that a negative value is out of range.
inline bool in_range(set_integer written, uint32_t low, uint32_t high) {
  return written.fits && written.value - low <= high - low;
}

}  // namespace vsan_mib

#endif
