// What follows from a change: operational states, the time of the last table change, and notifications.
#ifndef FEATURE_MANAGERS_STATE_CHANGE_EFFECTS_H
#define FEATURE_MANAGERS_STATE_CHANGE_EFFECTS_H

#include <sys/time.h>

#include "state/switch_state.h"

// Completes a planned change. The time of the last table change becomes `now` when a VSAN comes, goes, or its row reads
// differently; while notifications are on, a moved interface raises 102, and a VSAN that comes, goes or changes its
// administrative or operational state raises 145. Notifications are numbered, and those that the queue has no room for
// counted.
void change_complete(const switch_state &state, switch_change &change, const timeval &now);

// The number up to which notifications are no longer kept after the change: taken, or pushed out by newer ones. `state`
// is as it is before the change.
uint64_t notification_floor(const switch_state &state, const switch_change &change);

#endif
