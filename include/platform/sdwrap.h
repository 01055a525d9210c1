// Event history and debug print.
#ifndef PLATFORM_SDWRAP_H
#define PLATFORM_SDWRAP_H

#ifdef __cplusplus
extern "C" {
#endif

// 0 when events of `level` of the module are to be recorded, non-zero when they are to be skipped.
int sdwrap_hist_event_subtype_check(int module_id, int level);

// Records one event. `record` starts with a 32-bit level in host order, followed at once by a NUL-terminated text;
// `length` counts both, the NUL included. Never blocks. Returns 0, or -1 when there is no event history or the length
// is no record's.
int sdwrap_hist_event(int module_id, int length, const void *record);

// Non-zero when debug lines of `level` are to be printed. The other three numbers are not used.
int sdwrap_chk_int(int level, int, int, int);

// The name under which debug lines are printed.
extern char sdwrap_dbg_modname[];

// Prints one debug line, formatted as `printf` does, under `modname`. The two numbers are not used.
void buginf(int, void *modname, int, const char *format, ...) __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
