// Who is told the module's trace lines, and how.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_SINKS_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_SINKS_H

#include "module_frame/line_writer.h"

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

}  // namespace vsan_mib

#endif
