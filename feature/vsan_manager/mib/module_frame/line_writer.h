// Writes the text of a trace line: what its format says with its arguments put in.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_WRITER_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_WRITER_H

#include <string.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "module_frame/line_format.h"

namespace vsan_mib {

inline constexpr size_t kLineMax = 511;      // characters; longer lines are cut
inline constexpr size_t kLineSlack = 1024;   // what a line may write behind them before it is cut
inline constexpr size_t kNumberMax = 11;     // characters
inline constexpr size_t kKnownTextMax = 64;  // of texts whose length the compiler knows

// A line as it is recorded: its level, and its text, which is NUL-terminated when it is complete.
struct line_record {
  uint32_t level;
  char text[kLineMax + 1 + kLineSlack];
};

// Each writes one argument at `at` and returns the place behind it. A number is written whole; a text goes no further
// than `end`, and one that is null is told as such.
char *put_text(char *at, const char *end, const char *text);
char *put_integer(char *at, int number);
char *put_natural(char *at, unsigned number);
char *put_hex(char *at, unsigned number);

// A number of the source's, such as a line's: the compiler writes it.
[[gnu::always_inline]] inline char *put_known(char *at, int number) {
  if (number >= 1000) {
    *at++ = static_cast<char>('0' + number / 1000);
  }
  if (number >= 100) {
    *at++ = static_cast<char>('0' + number / 100 % 10);
  }
  if (number >= 10) {
    *at++ = static_cast<char>('0' + number / 10 % 10);
  }
  *at++ = static_cast<char>('0' + number % 10);
  return at;
}

template <line_conversion conversion>
[[gnu::always_inline]] inline char *put_argument(char *at, const char *end, const char *text) {
  static_assert(conversion == line_conversion::text);
  // GCOVR_EXCL_BR_START: here the compiler decides
  if (text != nullptr && __builtin_constant_p(strlen(text)) && strlen(text) <= kKnownTextMax) {
    const size_t size = strlen(text);
    std::copy_n(text, size, at);  // without its end: the line goes on
    return at + size;
  }
  return put_text(at, end, text);
  // GCOVR_EXCL_BR_STOP
}

template <line_conversion conversion>
[[gnu::always_inline]] inline char *put_argument(char *at, const char * /*end*/, int number) {
  static_assert(conversion == line_conversion::integer || conversion == line_conversion::hex);
  if (conversion == line_conversion::hex) {
    return put_hex(at, static_cast<unsigned>(number));
  }
  // GCOVR_EXCL_BR_START: here the compiler decides
  return __builtin_constant_p(number) && number >= 0 && number < 10'000 ? put_known(at, number)
                                                                        : put_integer(at, number);
  // GCOVR_EXCL_BR_STOP
}

template <line_conversion conversion>
[[gnu::always_inline]] inline char *put_argument(char *at, const char * /*end*/, unsigned number) {
  static_assert(conversion == line_conversion::natural || conversion == line_conversion::hex);
  return conversion == line_conversion::hex ? put_hex(at, number) : put_natural(at, number);
}

// The most that a line writes, but for texts of unknown length, which have an end.
template <size_t count>
consteval size_t most_written(const line_pieces<count> &pieces) {
  size_t most = 0;
  for (const line_piece &piece : pieces.at) {
    most += piece.literal + (piece.then == line_conversion::text ? kKnownTextMax : kNumberMax);
  }
  return most;
}

template <line_pieces pieces, size_t piece, typename Argument>
[[gnu::always_inline]] inline char *put_piece(char *at, const char *end, const char *format, Argument argument) {
  memcpy(at, format + place_of(pieces, piece), pieces.at[piece].literal);
  return put_argument<pieces.at[piece].then>(at + pieces.at[piece].literal, end, argument);
}

template <line_pieces pieces, size_t... piece, typename... Arguments>
[[gnu::always_inline]] inline char *put_pieces(std::index_sequence<piece...>, char *at, const char *end,
                                               const char *format, Arguments... arguments) {
  ((at = put_piece<pieces, piece>(at, end, format, arguments)), ...);
  constexpr size_t last = sizeof...(Arguments);
  memcpy(at, format + place_of(pieces, last), pieces.at[last].literal);
  return at + pieces.at[last].literal;
}

// Writes the whole line, which is cut afterwards. Returns the place behind it. Inline: most of a line is known where it
// stands, and the compiler writes that.
template <line_pieces pieces, typename... Arguments>
[[gnu::always_inline]] inline char *write_line(line_record *line, const char *format, Arguments... arguments) {
  static_assert(std::size(pieces.at) == sizeof...(Arguments) + 1);
  static_assert(most_written(pieces) <= kLineSlack);
  return put_pieces<pieces>(std::index_sequence_for<Arguments...>{}, line->text, line->text + kLineMax, format,
                            arguments...);
}

// Arguments of a table's format, one behind the other.
union row_argument {
  const char *text;
  int number;
};
inline row_argument row_argument_of(const char *text) {
  return {.text = text};
}
inline row_argument row_argument_of(int number) {
  return {.number = number};
}
inline row_argument row_argument_of(unsigned number) {
  return {.number = static_cast<int>(number)};
}

// The same for a format that is known at run time only. It is one that take_apart or row_format has let through.
char *write_scanned(line_record *line, const char *format, const row_argument *arguments);

}  // namespace vsan_mib

#endif
