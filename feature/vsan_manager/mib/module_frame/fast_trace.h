// Trace lines whose text is written where they stand, by what the compiler makes of their formats.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_FAST_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_FAST_TRACE_H

#include <errno.h>

#include <type_traits>

#include "module_frame/trace_sinks.h"
#include "platform/sdwrap.h"

namespace vsan_mib {

// Records a line whose format stands in a table. Returns who is to be told it next.
template <typename... Arguments>
line_sink record_row(int level, const row_format<Arguments...> &row, std::type_identity_t<Arguments>... arguments) {
  const row_argument taken[] = {row_argument_of(arguments)...};
  return record_line(level, write_scanned(&line_at_hand, row.format, taken));
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

// One line at a level, its format a literal; its format a table's.
#define TRACE_AT(level, text, ...)                                                                                 \
  do {                                                                                                             \
    constexpr auto trace_pieces = ::vsan_mib::take_apart<::vsan_mib::count_pieces(text)>(text);                    \
    TRACE_TO_SINKS(level,                                                                                          \
                   ::vsan_mib::record_line(                                                                        \
                       level, ::vsan_mib::write_line<trace_pieces>(&::vsan_mib::line_at_hand, text, __VA_ARGS__)), \
                   text, __VA_ARGS__);                                                                             \
  } while (0)
#define TRACE_ROW_AT(level, row, ...)                                                                            \
  do {                                                                                                           \
    const auto &trace_row = (row);                                                                               \
    TRACE_TO_SINKS(level, ::vsan_mib::record_row(level, trace_row, __VA_ARGS__), trace_row.format, __VA_ARGS__); \
  } while (0)

#endif
