// Texts that travel in pieces.
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

#endif
