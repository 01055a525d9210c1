// Trace lines: every step of the module goes to the event history, and to the debug print when that is on.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H

#include <errno.h>

#include <type_traits>

#include "module_frame/line_writer.h"
#include "platform/sdwrap.h"

namespace vsan_mib {

enum { kTraceModule = 0x730000 };
// Levels: an ordinary line; a denial or a failed send.
enum { kTraceLine = 101, kTraceError = 100 };

// The line that is written: the module runs in one thread.
extern line_record line_at_hand;

// Who is to be told a line next. `errno` is kept: the line's arguments may be made from it.
enum class line_sink { none, history, debug };
line_sink first_sink(int level);

// Records the line at hand, which ends at `end`, in the event history, cut at kLineMax characters. Returns who is to be
// told it next. `errno` is kept.
line_sink record_line(int level, char *end);

// The same for a line whose format stands in a table.
template <typename... Arguments>
line_sink record_row(int level, const row_format<Arguments...> &row, std::type_identity_t<Arguments>... arguments) {
  const row_argument taken[] = {row_argument_of(arguments)...};
  return record_line(level, write_row(&line_at_hand, row.format, row.pieces, taken));
}

}  // namespace vsan_mib

// Macros, so that the compiler checks the format of a line against its arguments where both stand (at buginf), and the
// arguments are not evaluated unless a sink wants the line. `errno` is after a line what the arguments left.
#define TRACE_TO_SINKS(level, recorded, ...)                               \
  do {                                                                     \
    ::vsan_mib::line_sink trace_sink = ::vsan_mib::first_sink(level);      \
    if (trace_sink == ::vsan_mib::line_sink::history) {                    \
      trace_sink = recorded;                                               \
    }                                                                      \
    if (__builtin_expect(trace_sink == ::vsan_mib::line_sink::debug, 0)) { \
      const int trace_errno = errno;                                       \
      buginf(1, &sdwrap_dbg_modname, 0, __VA_ARGS__);                      \
      errno = trace_errno;                                                 \
    }                                                                      \
  } while (0)

// One line, its format a literal.
#define TRACE_AT(level, text, ...)                                                                                 \
  do {                                                                                                             \
    constexpr auto trace_pieces = ::vsan_mib::take_apart<::vsan_mib::count_pieces(text)>(text);                    \
    TRACE_TO_SINKS(level,                                                                                          \
                   ::vsan_mib::record_line(                                                                        \
                       level, ::vsan_mib::write_line<trace_pieces>(&::vsan_mib::line_at_hand, text, __VA_ARGS__)), \
                   text, __VA_ARGS__);                                                                             \
  } while (0)
#define TRACE(...) TRACE_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

// One line, its format a table's.
#define TRACE_ROW_AT(level, row, ...)                                                                            \
  do {                                                                                                           \
    const auto &trace_row = (row);                                                                               \
    TRACE_TO_SINKS(level, ::vsan_mib::record_row(level, trace_row, __VA_ARGS__), trace_row.format, __VA_ARGS__); \
  } while (0)
#define TRACE_ROW(...) TRACE_ROW_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

#endif
