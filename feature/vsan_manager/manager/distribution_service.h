// The operator's commands for the distribution of timers, served on kServiceDistribution. All integers are big-endian
// words.
#ifndef FEATURE_VSAN_MANAGER_MANAGER_DISTRIBUTION_SERVICE_H
#define FEATURE_VSAN_MANAGER_MANAGER_DISTRIBUTION_SERVICE_H

#include "feature/vsan_manager/manager/vsan_manager.h"

// GET (no payload) answers: enabled, show-running mode, session open (0 or 1 each), number of pending values, 1 while
// another switch holds the lock, and the name of the session's owner with its NUL (64 octets).
// SET takes a command and its argument, and answers no payload.
enum {
  kOpDistribution = 9101,
  kDistributionAnswerSize = 84,
  kDistributionOwnerAt = 20,
  kDistributionOwnerSize = kSessionOwnerMax + 1
};

// GETNEXT: VSAN (0: the whole switch), timer, value. Answers the next pending value after the VSAN and timer.
enum { kOpPendingTimer = 9102, kPendingTimerSize = 12 };

// GETNEXT: VSAN. Answers the next VSAN after it that is kept out of distribution.
enum { kOpKeptOut = 9103, kKeptOutSize = 4 };

// The commands of kOpDistribution.
enum distribution_command : uint32_t {
  kDistributionEnable = 1,       // argument: 1 on, 0 off
  kDistributionShowRunning = 2,  // argument: 1 readers want running values, 0 pending ones
  kDistributionCommit = 3,
  kDistributionAbort = 4,
  kDistributionKeepOut = 5,     // argument: a VSAN
  kDistributionTakeIn = 6,      // argument: a VSAN
  kDistributionRemoteLock = 7,  // argument: 1 play another switch that holds the lock, 0 stop playing
};

// Serves kServiceDistribution; `context` is the switch_managers. Past the last row a GETNEXT answers kStatusNoEntry.
void distribution_handle(void *context, const message_request &request, message_reply &reply);

#endif
