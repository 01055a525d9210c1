// The text of a trace line: a format that is taken apart where the module is compiled, and the writer that puts its
// pieces and the arguments together. At run time no format is parsed.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_TEXT_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_TEXT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

namespace vsan_mib {

// What stands behind a literal: a conversion, or the end of the line.
enum class line_conversion : uint8_t { end, text, integer, natural, hex };

// A piece of a format: so many characters as they stand, and what comes then. They may be copied in whole chunks where
// the format goes on for as long.
struct line_piece {
  uint8_t literal;
  uint8_t chunks;  // 0: to be copied as they are
  line_conversion then;
};

inline constexpr size_t kChunk = 16;
inline constexpr size_t kConversionSize = 2;  // a percent sign and a letter
inline constexpr size_t kLiteralMax = 255;

// Not defined: a format that calls it where it is taken apart does not compile.
void format_has_an_unknown_conversion();
void format_has_a_literal_that_is_too_long();
void format_does_not_fit_its_arguments();

// The conversion that this letter behind a percent sign stands for.
constexpr line_conversion conversion_of(char letter) {
  switch (letter) {
    case 's':
      return line_conversion::text;
    case 'd':
      return line_conversion::integer;
    case 'u':
      return line_conversion::natural;
    case 'x':
      return line_conversion::hex;
    default:
      format_has_an_unknown_conversion();
      return line_conversion::end;
  }
}

// The piece that a format starts with, or what is left of one.
constexpr line_piece first_piece(const char *format) {
  size_t literal = 0;
  while (format[literal] != '\0' && format[literal] != '%') {
    ++literal;
  }
  if (literal > kLiteralMax) {
    format_has_a_literal_that_is_too_long();
  }
  const size_t chunks = (literal + kChunk - 1) / kChunk;
  size_t there = literal;  // of the format, its NUL included
  while (there < chunks * kChunk && (there == 0 || format[there - 1] != '\0')) {
    ++there;
  }
  const auto then = format[literal] == '\0' ? line_conversion::end : conversion_of(format[literal + 1]);
  return {static_cast<uint8_t>(literal), static_cast<uint8_t>(there == chunks * kChunk ? chunks : 0), then};
}

// How many pieces a format has; the last one is the end.
consteval size_t count_pieces(const char *format) {
  size_t count = 1;
  for (line_piece piece = first_piece(format); piece.then != line_conversion::end; ++count) {
    format += piece.literal + kConversionSize;
    piece = first_piece(format);
  }
  return count;
}

template <size_t count>
struct line_pieces {
  line_piece at[count];
};

// The pieces of a format that has `count` of them.
template <size_t count>
consteval line_pieces<count> take_apart(const char *format) {
  line_pieces<count> pieces = {};
  for (line_piece &piece : pieces.at) {
    piece = first_piece(format);
    format += piece.literal + (piece.then == line_conversion::end ? 0 : kConversionSize);
  }
  return pieces;
}

// Whether an argument of this type is what the conversion takes.
template <typename Argument>
constexpr bool converts(line_conversion conversion);
template <>
constexpr bool converts<const char *>(line_conversion conversion) {
  return conversion == line_conversion::text;
}
template <>
constexpr bool converts<int>(line_conversion conversion) {
  return conversion == line_conversion::integer || conversion == line_conversion::hex;
}

// A format that stands in a table. It is given these arguments, in this order, and may use fewer of them.
template <typename... Arguments>
struct row_format {
  const char *format = nullptr;  // null: no line
  line_piece pieces[sizeof...(Arguments) + 1] = {};

  constexpr row_format() = default;
  constexpr row_format(const char *text) : format(text) {
    line_piece *piece = pieces;
    *piece = first_piece(text);
    const auto take = [&](bool fits) {
      if (piece->then == line_conversion::end) {
        return;
      }
      if (!fits) {
        format_does_not_fit_its_arguments();
      }
      text += piece->literal + kConversionSize;
      *++piece = first_piece(text);
    };
    (take(converts<Arguments>(piece->then)), ...);
    if (piece->then != line_conversion::end) {
      format_does_not_fit_its_arguments();
    }
  }
};

// Arguments as the writer takes them, one behind the other: a number is a word, a text its address and its length.
using argument_word = uintptr_t;

template <typename Argument>
constexpr size_t argument_words() {
  return std::is_integral_v<Argument> ? 1 : 2;
}

// Puts down an argument. Returns the place of the next one. A text may be null, which is told as such.
inline argument_word *put_argument(argument_word *at, const char *text) {
  if (text == nullptr) {
    text = "(null)";
  }
  at[0] = reinterpret_cast<uintptr_t>(text);
  at[1] = strlen(text);
  return at + 2;
}
inline argument_word *put_argument(argument_word *at, unsigned number) {
  *at = number;
  return at + 1;
}
inline argument_word *put_argument(argument_word *at, int number) {
  return put_argument(at, static_cast<unsigned>(number));
}

inline constexpr size_t kLineMax = 511;   // characters; longer lines are cut
inline constexpr size_t kLineSlack = 16;  // what the writer may touch behind the longest line and its NUL

// Writes the line, with a NUL, to `text`, which has room for kLineMax + 1 + kLineSlack characters. `arguments` are as
// many as the pieces take. Returns the line's length.
size_t write_line(const char *format, const line_piece *pieces, const argument_word *arguments, char *text);

}  // namespace vsan_mib

#endif
