#include "module_frame/trace.h"

namespace vsan_mib {
namespace {

line_sink sink_after_history(int level) {
  return sdwrap_chk_int(level, 0, 0, 1) != 0 ? line_sink::debug : line_sink::none;
}

}  // namespace

line_sink first_sink(int level) {
  const int kept = errno;
  const line_sink sink =
      sdwrap_hist_event_subtype_check(kTraceModule, level) == 0 ? line_sink::history : sink_after_history(level);
  errno = kept;
  return sink;
}

line_sink record_line(int level, const char *format, const line_piece *pieces, const argument_word *arguments) {
  const int kept = errno;
  struct {
    uint32_t level;
    char text[kLineMax + 1 + kLineSlack];
  } record;
  record.level = static_cast<uint32_t>(level);
  const size_t length = write_line(format, pieces, arguments, record.text);
  // The level word, the text and its NUL.
  sdwrap_hist_event(kTraceModule, static_cast<int>(sizeof record.level + length + 1), &record);
  const line_sink sink = sink_after_history(level);
  errno = kept;
  return sink;
}

}  // namespace vsan_mib
