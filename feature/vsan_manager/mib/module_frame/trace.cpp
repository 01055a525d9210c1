#include "module_frame/trace.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace vsan_mib {

void history_line(int level, const char *format, ...) {
  struct {
    uint32_t level;
    char text[512];
  } record;
  record.level = static_cast<uint32_t>(level);

  va_list arguments;
  va_start(arguments, format);
  vsnprintf(record.text, sizeof record.text, format, arguments);
  va_end(arguments);

  // The level word, the text and its NUL.
  sdwrap_hist_event(kTraceModule, static_cast<int>(strlen(record.text) + 5), &record);
}

}  // namespace vsan_mib
