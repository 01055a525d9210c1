// Texts that people see in logs and tables: bounded, and without control characters.
#ifndef FEATURE_MANAGERS_PLAIN_TEXT_H
#define FEATURE_MANAGERS_PLAIN_TEXT_H

#include <algorithm>
#include <string>
#include <string_view>

inline bool is_control_character(char each) {
  return static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
}

// What is wrong with a text that may have up to `longest` octets; empty when nothing is.
inline std::string plain_text_problem(std::string_view text, size_t longest) {
  if (text.size() > longest) {
    return std::to_string(text.size()) + " octets; at most " + std::to_string(longest) + " are allowed";
  }
  return std::ranges::any_of(text, is_control_character) ? "it has a control character" : "";
}

// The text with its control characters replaced: what a client sent must not forge lines of the log.
inline std::string printable(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(shown, is_control_character, '?');
  return shown;
}

#endif
