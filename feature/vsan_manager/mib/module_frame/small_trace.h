// Trace lines of a build for little memory: one procedure scans a line's format when it is written, and what becomes of
// the text stands once for all lines whose arguments have the same types.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_SMALL_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_SMALL_TRACE_H

#include <errno.h>

#include <type_traits>

#include "module_frame/trace_sinks.h"
#include "platform/sdwrap.h"

namespace vsan_mib {

// Tells one line who is to be told it, `sink` first. `errno` is kept.
template <typename... Arguments>
[[gnu::noinline]] void tell_line(int level, line_sink sink, const char *format, Arguments... arguments) {
  if (sink == line_sink::history) {
    const row_argument taken[] = {row_argument_of(arguments)...};
    sink = record_line(level, write_scanned(&line_at_hand, format, taken));
  }
  if (sink == line_sink::debug) {
    const int kept = errno;
    buginf(1, &sdwrap_dbg_modname, 0, format, arguments...);
    errno = kept;
  }
}

// The same for a line whose format stands in a table.
template <typename... Arguments>
inline void tell_row(int level, line_sink sink, const row_format<Arguments...> &row,
                     std::type_identity_t<Arguments>... arguments) {
  tell_line(level, sink, row.format, arguments...);
}

}  // namespace vsan_mib

// Macros, so that the arguments are not evaluated unless a sink wants the line. `errno` is after a line what the
// arguments left. The call of buginf is never made: it has the compiler check the format against the arguments.
#define TRACE_AT(level, text, ...)                                                                          \
  do {                                                                                                      \
    constexpr auto trace_pieces = ::vsan_mib::take_apart<::vsan_mib::count_pieces(text)>(text);             \
    static_assert(::vsan_mib::most_written(trace_pieces) <= ::vsan_mib::kLineSlack);                        \
    if (false) {                                                                                            \
      buginf(1, &sdwrap_dbg_modname, 0, text, __VA_ARGS__);                                                 \
    }                                                                                                       \
    if (const auto trace_sink = ::vsan_mib::first_sink(level); trace_sink != ::vsan_mib::line_sink::none) { \
      ::vsan_mib::tell_line(level, trace_sink, text, __VA_ARGS__);                                          \
    }                                                                                                       \
  } while (0)
#define TRACE_ROW_AT(level, row, ...)                                                                       \
  do {                                                                                                      \
    if (const auto trace_sink = ::vsan_mib::first_sink(level); trace_sink != ::vsan_mib::line_sink::none) { \
      ::vsan_mib::tell_row(level, trace_sink, (row), __VA_ARGS__);                                          \
    }                                                                                                       \
  } while (0)

#endif
