#include "module_frame/line_writer.h"

#include <iterator>

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

constexpr unsigned kTens[] = {1, 10, 100, 1000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

// The numbers below 100, with two digits each.
struct digit_pairs {
  char digits[100][2] = {};
  constexpr digit_pairs() {
    for (int i = 0; i < 100; ++i) {
      digits[i][0] = static_cast<char>('0' + i / 10);
      digits[i][1] = static_cast<char>('0' + i % 10);
    }
  }
};
constexpr digit_pairs kPairs;

}  // namespace

char *put_text(char *at, const char *end, const char *text) {
  if (text == nullptr) {
    text = "(null)";
  }
  const size_t size = strlen(text);
  const size_t room = at < end ? static_cast<size_t>(end - at) : 0;
  return put(at, text, size < room ? size : room);
}

// Most numbers have a digit or two. The standard library's to_chars would leave symbols of its own in the module that
// keep it from being unloaded.
char *put_natural(char *at, unsigned number) {
  if (number < 10) {
    *at = static_cast<char>('0' + number);
    return at + 1;
  }
  size_t size = 2;
  while (size < std::size(kTens) && number >= kTens[size]) {
    ++size;
  }
  size_t left = size;
  for (; number >= 10; number /= 100) {
    left -= 2;
    memcpy(at + left, kPairs.digits[number % 100], 2);
  }
  if (left > 0) {
    *at = static_cast<char>('0' + number);
  }
  return at + size;
}

char *put_integer(char *at, int number) {
  if (number >= 0) {
    return put_natural(at, static_cast<unsigned>(number));
  }
  *at = '-';
  return put_natural(at + 1, 0 - static_cast<unsigned>(number));
}

char *put_hex(char *at, unsigned number) {
  int shift = 0;
  while (number >> shift > 0xf) {
    shift += 4;
  }
  for (; shift >= 0; shift -= 4) {
    *at++ = "0123456789abcdef"[number >> shift & 0xf];
  }
  return at;
}

char *write_scanned(line_record *line, const char *format, const row_argument *arguments) {
  char *at = line->text;
  const char *end = at + kLineMax;
  for (;; ++arguments) {
    const char *stop = strchrnul(format, '%');
    at = put(at, format, static_cast<size_t>(stop - format));
    if (*stop == '\0') {
      return at;
    }
    format = stop + kConversionSize;
    switch (stop[1]) {
      case 's':
        at = put_text(at, end, arguments->text);
        break;
      case 'd':
        at = put_integer(at, arguments->number);
        break;
      case 'u':
        at = put_natural(at, static_cast<unsigned>(arguments->number));
        break;
      default:
        at = put_hex(at, static_cast<unsigned>(arguments->number));
    }
  }
}

}  // namespace vsan_mib
