// Whether what the managers publish has changed, without asking them.
#ifndef SWITCHPLATFORM_PUBLISHED_CHANGE_H
#define SWITCHPLATFORM_PUBLISHED_CHANGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Writes a number that is another one after each change of what the managers keep, and with each start of switchd.
// Costs no exchange and no system call, wakes nobody, and never waits. Returns 0, or -1 when it cannot tell: this
// process has not got the published page (it gets it by reading), its owner is gone, or it is being changed.
int platform_published_change(uint64_t *number);

#ifdef __cplusplus
}
#endif

#endif
