// Numbers of command lines and the environment.
#ifndef BENCH_COMMON_NUMBER_TEXT_H
#define BENCH_COMMON_NUMBER_TEXT_H

#include <charconv>
#include <string_view>

namespace bench {

// Reads `text`, which is to be a decimal number and nothing else, into `number`. Returns whether it is; `number` is left
// as it was when not.
template <typename Number>
inline bool read_number(std::string_view text, Number &number) {
  Number read{};
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), read);
  if (problem != std::errc{} || end != text.data() + text.size()) {
    return false;
  }
  number = read;
  return true;
}

}  // namespace bench

#endif
