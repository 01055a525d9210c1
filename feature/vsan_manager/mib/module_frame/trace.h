// Trace lines: every step of the module goes to the event history, and to the debug print when that is on.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H

#include <errno.h>

#include <type_traits>

#include "module_frame/line_text.h"
#include "platform/sdwrap.h"

namespace vsan_mib {

enum { kTraceModule = 0x730000 };
// Levels: an ordinary line; a denial or a failed send.
enum { kTraceLine = 101, kTraceError = 100 };

// Who is to be told a line of this level next. Keeps `errno`: the line's arguments may be made from it.
enum class line_sink { none, history, debug };
line_sink first_sink(int level);

// Records one line in the event history, cut at kLineMax characters. Returns who is to be told it then. Keeps `errno`.
line_sink record_line(int level, const char *format, const line_piece *pieces, const argument_word *arguments);

// The same for arguments as they stand. Inline, so that the lengths of texts that are known are constants.
template <typename... Arguments>
[[gnu::always_inline]] inline line_sink tell_history(int level, const char *format, const line_piece *pieces,
                                                     Arguments... arguments) {
  argument_word taken[(argument_words<Arguments>() + ...)];
  argument_word *at = taken;
  ((at = put_argument(at, arguments)), ...);
  return record_line(level, format, pieces, taken);
}

// Declared for the check that it makes: a table's format is given the arguments that it is meant for.
template <typename... Arguments>
bool is_given(const row_format<Arguments...> &row, std::type_identity_t<Arguments>... arguments);

}  // namespace vsan_mib

// Macros, so that the compiler checks the format of a line against its arguments where both stand (at buginf), and the
// arguments are not evaluated unless a sink wants the line. `errno` survives them.
#define TRACE_PIECES(level, text, pieces, ...)                                   \
  do {                                                                           \
    ::vsan_mib::line_sink trace_sink = ::vsan_mib::first_sink(level);            \
    if (trace_sink == ::vsan_mib::line_sink::history) {                          \
      trace_sink = ::vsan_mib::tell_history((level), text, pieces, __VA_ARGS__); \
    }                                                                            \
    if (__builtin_expect(trace_sink == ::vsan_mib::line_sink::debug, 0)) {       \
      const int trace_errno = errno;                                             \
      buginf(1, &sdwrap_dbg_modname, 0, text, __VA_ARGS__);                      \
      errno = trace_errno;                                                       \
    }                                                                            \
  } while (0)

// One line, its format a literal.
#define TRACE_AT(level, text, ...)                                                                     \
  do {                                                                                                 \
    static constexpr auto trace_pieces = ::vsan_mib::take_apart<::vsan_mib::count_pieces(text)>(text); \
    TRACE_PIECES(level, text, trace_pieces.at, __VA_ARGS__);                                           \
  } while (0)
#define TRACE(...) TRACE_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

// One line, its format a table's.
#define TRACE_ROW_AT(level, row, ...)                                     \
  do {                                                                    \
    const auto &trace_row = (row);                                        \
    static_assert(sizeof(::vsan_mib::is_given(trace_row, __VA_ARGS__)));  \
    TRACE_PIECES(level, trace_row.format, trace_row.pieces, __VA_ARGS__); \
  } while (0)
#define TRACE_ROW(...) TRACE_ROW_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

#endif
