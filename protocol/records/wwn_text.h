// World wide names as people type and read them: eight octets in hexadecimal with colons between.
#ifndef PROTOCOL_RECORDS_WWN_TEXT_H
#define PROTOCOL_RECORDS_WWN_TEXT_H

#include <stdint.h>

#include <string>
#include <string_view>

// Reads a text such as "20:00:02:00:00:00:00:01". Returns false, with nothing written, for any other.
inline bool wwn_read(std::string_view text, uint64_t &wwn) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  uint64_t value = 0;
  if (text.size() != 23) {
    return false;
  }
  for (size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2) {
      if (text[i] != ':') {
        return false;
      }
      continue;
    }
    const bool capital = text[i] >= 'A' && text[i] <= 'F';
    const size_t digit = kDigits.find(static_cast<char>(capital ? text[i] - 'A' + 'a' : text[i]));
    if (digit == std::string_view::npos) {
      return false;
    }
    value = value << 4 | digit;
  }
  wwn = value;
  return true;
}

inline std::string wwn_text(uint64_t wwn) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) {
    text += kDigits[wwn >> shift & 0xF];
    text += shift % 8 == 0 && shift > 0 ? ":" : "";
  }
  return text;
}

#endif
