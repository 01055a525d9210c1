// Integers as they travel: big-endian, at any alignment, the same code on every host.
#ifndef PROTOCOL_RECORDS_BIG_ENDIAN_H
#define PROTOCOL_RECORDS_BIG_ENDIAN_H

#include <stdint.h>

// Each put writes `value` at `to` and returns the address after it; each get reads at `from`.
inline uint8_t *put_be16(uint8_t *to, uint16_t value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
  return to + 2;
}

inline uint8_t *put_be32(uint8_t *to, uint32_t value) {
  return put_be16(put_be16(to, static_cast<uint16_t>(value >> 16)), static_cast<uint16_t>(value));
}

inline uint8_t *put_be64(uint8_t *to, uint64_t value) {
  return put_be32(put_be32(to, static_cast<uint32_t>(value >> 32)), static_cast<uint32_t>(value));
}

inline uint16_t get_be16(const uint8_t *from) {
  return static_cast<uint16_t>(from[0] << 8 | from[1]);
}

inline uint32_t get_be32(const uint8_t *from) {
  return static_cast<uint32_t>(get_be16(from)) << 16 | get_be16(from + 2);
}

inline uint64_t get_be64(const uint8_t *from) {
  return static_cast<uint64_t>(get_be32(from)) << 32 | get_be32(from + 4);
}

#endif
