// Texts that are cut, and texts that a library cannot read.
#ifndef PROTOCOL_RECORDS_TEXT_PIECES_H
#define PROTOCOL_RECORDS_TEXT_PIECES_H

#include <stddef.h>

#include <algorithm>
#include <string_view>

// The end of a piece of at most `size` octets that starts at `offset`: no character is cut in two.
inline size_t piece_end(std::string_view text, size_t offset, size_t size) {
  size_t end = std::min(text.size(), offset + size);
  while (end < text.size() && end > offset && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
  }
  return end;
}

// The TOML library misjudges the characters U+FB26 to U+FEFE when one stands where a key or a value may start, with
// undefined results. Returns the line of the first one, or 0.
inline size_t line_of_misjudged_character(std::string_view text) {
  for (size_t at = text.find('\xEF'); at != std::string_view::npos; at = text.find('\xEF', at + 1)) {
    const std::string_view character = text.substr(at, 3);
    if (character >= "\xEF\xAC\xA6" && character <= "\xEF\xBB\xBE") {
      return 1 + static_cast<size_t>(std::ranges::count(text.substr(0, at), '\n'));
    }
  }
  return 0;
}

#endif
