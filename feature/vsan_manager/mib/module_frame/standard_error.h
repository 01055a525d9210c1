// The plain lines that some value checks leave on the agent's standard error, outside the trace.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_STANDARD_ERROR_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_STANDARD_ERROR_H

#include <stdio.h>
#include <string.h>

namespace vsan_mib {

inline void complain(const char *line) {
  fwrite(line, 1, strlen(line), stderr);
}

}  // namespace vsan_mib

#endif
