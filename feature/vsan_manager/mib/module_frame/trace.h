// Trace lines: every step of the module goes to the event history, and to the debug print when that is on.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_TRACE_H

// The same lines either way.
#ifdef VSANMIB_SMALL_TRACES
#include "module_frame/small_trace.h"
#else
#include "module_frame/fast_trace.h"
#endif

// One line, its format a literal.
#define TRACE(...) TRACE_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

// One line, its format a table's.
#define TRACE_ROW(...) TRACE_ROW_AT(::vsan_mib::kTraceLine, __VA_ARGS__)

#endif
