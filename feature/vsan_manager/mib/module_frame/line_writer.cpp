#include "module_frame/line_writer.h"

#include <charconv>

namespace vsan_mib {
namespace {

// Most texts have a few characters: a call of memcpy takes longer than they do.
char *put(char *at, const char *from, size_t size) {
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

}  // namespace

char *put_text(char *at, const char *end, const char *text) {
  if (text == nullptr) {
    text = "(null)";
  }
  const size_t size = strlen(text);
  const size_t room = at < end ? static_cast<size_t>(end - at) : 0;
  return put(at, text, size < room ? size : room);
}

char *put_natural(char *at, unsigned number) {
  if (number < 10) {
    *at = static_cast<char>('0' + number);
    return at + 1;
  }
  return std::to_chars(at, at + kNumberMax, number).ptr;
}

char *put_integer(char *at, int number) {
  if (number >= 0) {
    return put_natural(at, static_cast<unsigned>(number));
  }
  *at = '-';
  return put_natural(at + 1, 0 - static_cast<unsigned>(number));
}

char *put_hex(char *at, unsigned number) {
  return std::to_chars(at, at + kNumberMax, number, 16).ptr;
}

char *write_row(line_record *line, const char *format, const line_piece *pieces, const row_argument *arguments) {
  char *at = line->text;
  const char *end = at + kLineMax;
  for (;; ++pieces, ++arguments) {
    at = put(at, format, pieces->literal);
    format += pieces->literal + kConversionSize;
    if (pieces->then == line_conversion::end) {
      return at;
    }
    if (pieces->then == line_conversion::text) {
      at = put_text(at, end, arguments->text);
    } else if (pieces->then == line_conversion::hex) {
      at = put_hex(at, static_cast<unsigned>(arguments->number));
    } else {
      at = put_integer(at, arguments->number);
    }
  }
}

}  // namespace vsan_mib
