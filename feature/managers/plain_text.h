// Texts that people see in logs, tables and metrics: bounded, in UTF-8, and without control characters.
#ifndef FEATURE_MANAGERS_PLAIN_TEXT_H
#define FEATURE_MANAGERS_PLAIN_TEXT_H

#include <algorithm>
#include <string>
#include <string_view>

inline bool is_control_character(char each) {
  return static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
}

// What is wrong with a text that was stored, by whatever rules were then; empty when nothing is.
inline std::string kept_text_problem(std::string_view text, size_t longest) {
  if (text.size() > longest) {
    return std::to_string(text.size()) + " octets; at most " + std::to_string(longest) + " are allowed";
  }
  return std::ranges::any_of(text, is_control_character) ? "it has a control character" : "";
}

// The octets of the character in UTF-8 that the text, which is not empty, starts with: 1 to 4; 0 when it is none, or a
// control character (C0, DEL, C1).
inline size_t printable_character(std::string_view text) {
  const auto octet = [text](size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
  const unsigned first = octet(0);
  if (first < 0x80) {
    return is_control_character(text[0]) ? 0 : 1;
  }
  const size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  unsigned code = first & (0x7FU >> size);
  for (size_t i = 1; i < size; ++i) {
    if ((octet(i) & 0xC0) != 0x80) {
      return 0;
    }
    code = code << 6 | (octet(i) & 0x3F);
  }
  constexpr unsigned kLeast[] = {0xA0, 0x800, 0x10000};  // less is C1, or has a shorter form
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  return first < 0xC0 || first > 0xF4 || code < kLeast[size - 2] || code > 0x10FFFF || is_surrogate ? 0 : size;
}

// Whether the text is UTF-8 throughout and has no control character.
inline bool is_plain_text(std::string_view text) {
  while (!text.empty()) {
    const size_t size = printable_character(text);
    if (size == 0) {
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

// What is wrong with a text that may have up to `longest` octets; empty when nothing is.
inline std::string plain_text_problem(std::string_view text, size_t longest) {
  const std::string problem = kept_text_problem(text, longest);
  return !problem.empty() || is_plain_text(text) ? problem : "it is not UTF-8, or has a control character";
}

// The text with its control characters replaced: what a client sent must not forge lines of the log.
inline std::string printable(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(shown, is_control_character, '?');
  return shown;
}

#endif
