#include "module_frame/line_text.h"

#include <charconv>

namespace vsan_mib {
namespace {

static_assert(kLineSlack >= kChunk && kChunk >= sizeof "-2147483648");

// Copies `size` characters. Most texts have a few: a call of memcpy takes longer than they do.
inline char *put(char *at, const char *from, size_t size) {
  if (size >= 8) {
    for (size_t i = 0; i + 8 < size; i += 8) {
      memcpy(at + i, from + i, 8);
    }
    memcpy(at + size - 8, from + size - 8, 8);
  } else if (size >= 4) {
    memcpy(at, from, 4);
    memcpy(at + size - 4, from + size - 4, 4);
  } else {
    for (size_t i = 0; i < size; ++i) {
      at[i] = from[i];
    }
  }
  return at + size;
}

// The same, no further than the line may go.
char *put_cut(char *at, const char *end, const char *from, size_t size) {
  const size_t room = static_cast<size_t>(end - at);
  return put(at, from, size < room ? size : room);
}

char *put_literal(char *at, const char *end, const char *from, line_piece piece) {
  if (piece.chunks == 0 || end - at < piece.literal) {
    return put_cut(at, end, from, piece.literal);
  }
  for (size_t i = 0; i < piece.chunks; ++i) {
    memcpy(at + i * kChunk, from + i * kChunk, kChunk);
  }
  return at + piece.literal;
}

// Numbers write into the slack where need be.
char *put_number(char *at, uint32_t number, int base) {
  if (number < 10) {
    *at = static_cast<char>('0' + number);
    return at + 1;
  }
  if (number < 100 && base == 10) {
    at[0] = static_cast<char>('0' + number / 10);
    at[1] = static_cast<char>('0' + number % 10);
    return at + 2;
  }
  return std::to_chars(at, at + kChunk, number, base).ptr;
}

char *put_integer(char *at, uint32_t bits) {
  if (bits > INT32_MAX) {
    *at++ = '-';
    bits = 0 - bits;
  }
  return put_number(at, bits, 10);
}

char *cut(char *at, char *end) {
  return at < end ? at : end;
}

}  // namespace

// Tests in the order of how often they hold: numbers and texts are nearly all.
size_t write_line(const char *format, const line_piece *pieces, const argument_word *arguments, char *text) {
  char *at = text;
  char *end = text + kLineMax;
  for (;; ++pieces) {
    const line_piece piece = *pieces;
    at = put_literal(at, end, format, piece);
    format += piece.literal + kConversionSize;
    if (piece.then == line_conversion::integer) {
      at = cut(put_integer(at, static_cast<uint32_t>(*arguments++)), end);
    } else if (piece.then == line_conversion::text) {
      at = put_cut(at, end, reinterpret_cast<const char *>(arguments[0]), arguments[1]);
      arguments += 2;
    } else if (piece.then == line_conversion::end) {
      break;
    } else {
      at = cut(put_number(at, static_cast<uint32_t>(*arguments++), piece.then == line_conversion::hex ? 16 : 10), end);
    }
  }
  *at = '\0';
  return static_cast<size_t>(at - text);
}

}  // namespace vsan_mib
