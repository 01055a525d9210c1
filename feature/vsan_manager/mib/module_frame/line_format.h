// The formats of trace lines, taken apart where the module is compiled: at run time none is parsed.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_FORMAT_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_LINE_FORMAT_H

#include <stddef.h>
#include <stdint.h>

namespace vsan_mib {

// What stands behind a literal: a conversion, or the end of the line.
enum class line_conversion : uint8_t { end, text, integer, natural, hex };

// A piece of a format: so many characters as they stand, and what comes then.
struct line_piece {
  uint8_t literal;
  line_conversion then;
};

// A format's pieces; only the last one is the end.
template <size_t count>
struct line_pieces {
  line_piece at[count];
};

inline constexpr size_t kConversionSize = 2;  // a percent sign and a letter

// Not defined: a format that calls one of them where it is taken apart does not compile.
void format_has_an_unknown_conversion();
void format_is_too_long();
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

// The piece that a format, or what is left of one, starts with.
constexpr line_piece first_piece(const char *format) {
  size_t literal = 0;
  while (format[literal] != '\0' && format[literal] != '%') {
    ++literal;
  }
  if (literal > UINT8_MAX) {
    format_is_too_long();
  }
  const auto then = format[literal] == '\0' ? line_conversion::end : conversion_of(format[literal + 1]);
  return {static_cast<uint8_t>(literal), then};
}

// How many pieces a format has.
consteval size_t count_pieces(const char *format) {
  size_t count = 1;
  for (line_piece piece = first_piece(format); piece.then != line_conversion::end; ++count) {
    format += piece.literal + kConversionSize;
    piece = first_piece(format);
  }
  return count;
}

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

// Where in its format a piece starts.
template <size_t count>
consteval size_t place_of(const line_pieces<count> &pieces, size_t piece) {
  size_t place = 0;
  for (size_t i = 0; i < piece; ++i) {
    place += pieces.at[i].literal + kConversionSize;
  }
  return place;
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

// Goes on to the next piece of a format that is given an argument, which fits or does not; stays at the end.
constexpr void take_argument(line_piece *piece, const char **text, bool fits) {
  if (piece->then == line_conversion::end) {
    return;
  }
  if (!fits) {
    format_does_not_fit_its_arguments();
  }
  *text += piece->literal + kConversionSize;
  *piece = first_piece(*text);
}

// A format that stands in a table, of 255 characters at most. It is given these arguments, in this order, and may use
// fewer of them.
template <typename... Arguments>
struct row_format {
  const char *format = nullptr;  // null: no line

  constexpr row_format() = default;
  constexpr row_format(const char *text) : format(text) {
    line_piece piece = first_piece(text);
    (take_argument(&piece, &text, converts<Arguments>(piece.then)), ...);
    if (piece.then != line_conversion::end) {
      format_does_not_fit_its_arguments();
    }
    if (static_cast<size_t>(text - format) + piece.literal > UINT8_MAX) {
      format_is_too_long();
    }
  }
};

}  // namespace vsan_mib

#endif
