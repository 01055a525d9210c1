// The state of configuration distribution (KDX). Both calls read the shared page and cost no exchange.
#ifndef PLATFORM_KDX_H
#define PLATFORM_KDX_H

#ifdef __cplusplus
extern "C" {
#endif

// Whether distribution is on for `application`; the module asks for "fctimer". A platform without distribution says
// 0, and is never sent a KDX_GET. Returns 0, or -1 when the state is not known (no page, an application
// that is not distributed); `*enabled` is then left as it was.
int is_kdx_enabled(const char *application, int *enabled);

// The show-running mode of `application`: 0 reads pending values, non-zero reads the running ones. Returns as above.
int get_kdx_show_run_mode(const char *application, int *mode);

#ifdef __cplusplus
}
#endif

#endif
