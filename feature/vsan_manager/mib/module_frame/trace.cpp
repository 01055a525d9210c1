#include "module_frame/trace_sinks.h"

#include <errno.h>

#include "platform/sdwrap.h"

namespace vsan_mib {
namespace {

line_sink sink_after_history(int level) {
  return sdwrap_chk_int(level, 0, 0, 1) != 0 ? line_sink::debug : line_sink::none;
}

}  // namespace

line_record line_at_hand;

line_sink first_sink(int level) {
  const int kept = errno;
  const bool recorded = sdwrap_hist_event_subtype_check(kTraceModule, level) == 0;
  const line_sink sink = recorded ? line_sink::history : sink_after_history(level);
  errno = kept;
  return sink;
}

line_sink record_line(int level, char *end) {
  const int kept = errno;
  char *cut = line_at_hand.text + kLineMax;
  end = end < cut ? end : cut;
  *end = '\0';
  line_at_hand.level = static_cast<uint32_t>(level);
  const size_t length = static_cast<size_t>(end + 1 - reinterpret_cast<const char *>(&line_at_hand));
  sdwrap_hist_event(kTraceModule, static_cast<int>(length), &line_at_hand);
  const line_sink sink = sink_after_history(level);
  errno = kept;
  return sink;
}

}  // namespace vsan_mib
