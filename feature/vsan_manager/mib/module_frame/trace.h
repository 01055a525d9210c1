// Trace lines: every step of the module goes to the event history, and to the debug print when that is on.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H

#include <errno.h>

#include "platform/sdwrap.h"

namespace vsan_mib {

enum { kTraceModule = 0x730000 };
// Levels: an ordinary line; a denial or a failed send.
enum { kTraceLine = 101, kTraceError = 100 };

// Whether a sink takes lines of this level. Both keep `errno`: the line's arguments may be made from it.
inline bool history_wants(int level) {
  const int kept = errno;
  const bool wanted = sdwrap_hist_event_subtype_check(kTraceModule, level) == 0;
  errno = kept;
  return wanted;
}
inline bool debug_wants(int level) {
  const int kept = errno;
  const bool wanted = sdwrap_chk_int(level, 0, 0, 1) != 0;
  errno = kept;
  return wanted;
}

// Records one line in the event history, cut at 511 characters.
void history_line(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace vsan_mib

// A macro, so that the compiler checks the format of a line against its arguments where both stand, and the arguments
// are not evaluated unless a sink wants the line. `errno` survives it.
#define TRACE_AT(level, ...)                          \
  do {                                                \
    const int trace_errno = errno;                    \
    if (::vsan_mib::history_wants(level)) {           \
      ::vsan_mib::history_line((level), __VA_ARGS__); \
    }                                                 \
    errno = trace_errno;                              \
    if (::vsan_mib::debug_wants(level)) {             \
      buginf(1, &sdwrap_dbg_modname, 0, __VA_ARGS__); \
    }                                                 \
    errno = trace_errno;                              \
  } while (0)
#define TRACE(...) TRACE_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

#endif
