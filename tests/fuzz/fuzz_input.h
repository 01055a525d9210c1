// What a fuzzer made, read piece by piece; zeros once it is used up.
#ifndef TESTS_FUZZ_FUZZ_INPUT_H
#define TESTS_FUZZ_FUZZ_INPUT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// Ends the run with the input kept: a rule that must hold for every input does not.
#define FUZZ_EXPECT(condition)                                                       \
  do {                                                                               \
    if (!(condition)) {                                                              \
      fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                       \
    }                                                                                \
  } while (false)

struct fuzz_input {
  const uint8_t *at;
  size_t left;
};

inline uint8_t take_byte(fuzz_input &in) {
  if (in.left == 0) {
    return 0;
  }
  --in.left;
  return *in.at++;
}

inline uint32_t take_word(fuzz_input &in) {
  uint32_t word = 0;
  for (int i = 0; i < 4; ++i) {
    word = word << 8 | take_byte(in);
  }
  return word;
}

// At most `count` bytes, in a buffer of exactly their size.
inline std::vector<uint8_t> take_bytes(fuzz_input &in, size_t count) {
  const size_t size = std::min(count, in.left);
  std::vector<uint8_t> out(in.at, in.at + size);
  in.at += size;
  in.left -= size;
  return out;
}

#endif
