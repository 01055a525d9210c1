// The state of configuration distribution (KDX). The module asks both before each read of a timer and of a scalar. The
// reference platform answers from the shared page, and where that does not know it by one exchange a PDU.
#ifndef PLATFORM_KDX_H
#define PLATFORM_KDX_H

#ifdef __cplusplus
extern "C" {
#endif

// Whether distribution is on for `application`; the module asks for "fctimer". A platform without distribution says
// 0, and is never sent a KDX_GET. Returns 0, or -1 when the state is not known (nobody answers, an application that is
// not distributed); `*enabled` is then left as it was, and the module goes on as if distribution were off. A platform
// that has distribution must then fail the reads of timers that follow, or a running value is told for a pending one.
int is_kdx_enabled(const char *application, int *enabled);

// The show-running mode of `application`: 0 reads pending values, non-zero reads the running ones. Returns as above.
int get_kdx_show_run_mode(const char *application, int *mode);

#ifdef __cplusplus
}
#endif

#endif
