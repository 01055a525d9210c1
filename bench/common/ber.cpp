#include "ber.h"

#include <stdio.h>

#include <algorithm>

#include "bench_rows.h"

namespace bench {
namespace {

constexpr size_t kShortLengthMax = 127;

// Base 128, the most significant digit first, all but the last with the top bit set.
void append_base_128(std::string &to, uint32_t number) {
  std::string digits(1, static_cast<char>(number & 0x7F));
  while ((number >>= 7) != 0) {
    digits += static_cast<char>((number & 0x7F) | 0x80);
  }
  to.append(digits.rbegin(), digits.rend());
}

int64_t integer_of(std::string_view content) {
  int64_t value = !content.empty() && (content[0] & 0x80) != 0 ? -1 : 0;
  for (const char octet : content) {
    value = static_cast<int64_t>(static_cast<uint64_t>(value) << 8 | static_cast<uint8_t>(octet));
  }
  return value;
}

}  // namespace

std::string tlv(uint8_t tag, std::string_view content) {
  std::string out(1, static_cast<char>(tag));
  const size_t length = content.size();
  if (length <= kShortLengthMax) {
    out += static_cast<char>(length);
  } else {
    out += '\x82';
    out += static_cast<char>(length >> 8);
    out += static_cast<char>(length & 0xFF);
  }
  return out.append(content);
}

std::string integer_content(int64_t value) {
  std::string octets;
  bool whole = false;
  while (!whole) {
    octets += static_cast<char>(value & 0xFF);
    const bool negative = (value & 0x80) != 0;
    value >>= 8;
    whole = (value == 0 && !negative) || (value == -1 && negative);
  }
  std::ranges::reverse(octets);
  return octets;
}

std::string oid_content(const std::vector<uint32_t> &name) {
  std::string out;
  append_base_128(out, name[0] * 40 + name[1]);
  for (size_t i = 2; i < name.size(); ++i) {
    append_base_128(out, name[i]);
  }
  return out;
}

bool take(std::string_view &rest, element &taken) {
  if (rest.size() < 2) {
    return false;
  }
  size_t length = static_cast<uint8_t>(rest[1]);
  size_t head = 2;
  if (length > kShortLengthMax) {
    const size_t octets = length & 0x7F;
    if (octets == 0 || octets > 4 || rest.size() < head + octets) {
      return false;
    }
    for (length = 0; head < 2 + octets; ++head) {
      length = length << 8 | static_cast<uint8_t>(rest[head]);
    }
  }
  if (rest.size() - head < length) {
    return false;
  }
  taken = {static_cast<uint8_t>(rest[0]), rest.substr(head, length)};
  rest.remove_prefix(head + length);
  return true;
}

bool take_integer(std::string_view &rest, uint8_t tag, int64_t &value) {
  element taken;
  if (!take(rest, taken) || taken.tag != tag || taken.content.empty() || taken.content.size() > sizeof value) {
    return false;
  }
  value = integer_of(taken.content);
  return true;
}

std::string text_of_oid(std::string_view content) {
  std::string out;
  uint32_t number = 0;
  bool first = true;
  for (const char octet : content) {
    number = number << 7 | (static_cast<uint8_t>(octet) & 0x7F);
    if ((octet & 0x80) != 0) {
      continue;
    }
    out += first ? "." + std::to_string(number / 40) + "." + std::to_string(number % 40) : "." + std::to_string(number);
    first = false;
    number = 0;
  }
  return out;
}

std::string text_of_value(uint8_t tag, std::string_view content) {
  char text[32];
  if (tag == kInteger || tag == kGauge) {
    return (tag == kInteger ? "INTEGER " : "Gauge32 ") + std::to_string(integer_of(content));
  }
  if (tag == kOctets) {
    std::string out = "STRING \"";
    for (const char each : content) {
      snprintf(text, sizeof text, "\\x%02x", static_cast<uint8_t>(each));
      out += each >= ' ' && each <= '~' ? std::string(1, each) : text;
    }
    return out + "\"";
  }
  snprintf(text, sizeof text, "type 0x%02x", tag);
  return text;
}

}  // namespace bench
