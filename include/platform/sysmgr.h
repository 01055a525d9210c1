// The system manager, which watches that processes are alive.
#ifndef PLATFORM_SYSMGR_H
#define PLATFORM_SYSMGR_H

#ifdef __cplusplus
extern "C" {
#endif

// 1 before a call that may block long, 0 after it. Returns 0. Harmless where nothing watches.
int sysmgr_heartbeat(int blocking);

#ifdef __cplusplus
}
#endif

#endif
