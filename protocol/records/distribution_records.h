// The records of the distribution of timers, as an operator's commands use it.
#ifndef PROTOCOL_RECORDS_DISTRIBUTION_RECORDS_H
#define PROTOCOL_RECORDS_DISTRIBUTION_RECORDS_H

#include <stdint.h>

#include "vsan_values.h"

// kOpDistribution, GET: no payload asks, this answers.
struct distribution_status {
  uint32_t enabled;       // 0 or 1, and so are the next two
  uint32_t show_running;  // readers want running values, not pending ones
  uint32_t open;          // a session is open
  uint32_t pending;       // how many values it holds
  uint32_t remote_lock;   // 1 while another switch holds the lock
  char owner[kSessionOwnerMax + 1];
};
static_assert(sizeof(distribution_status) == 84);

// kOpDistributionLock, GET: no payload asks, this answers.
struct distribution_lock {
  uint32_t lost;                    // 1: the lock of the open session is gone, and its values are kept
  char holder[kSwitchNameMax + 1];  // the switch that holds the lock, if it is another one; else empty
};
static_assert(sizeof(distribution_lock) == 260);

// kOpDistribution, SET: answers no payload.
struct distribution_order {
  uint32_t command;  // a distribution_command
  uint32_t argument;
};
enum distribution_command : uint32_t {
  kDistributionEnable = 1,       // argument: 1 on, 0 off
  kDistributionShowRunning = 2,  // argument: 1 readers want running values, 0 pending ones
  kDistributionCommit = 3,
  kDistributionAbort = 4,
  kDistributionKeepOut = 5,     // argument: a VSAN
  kDistributionTakeIn = 6,      // argument: a VSAN
  kDistributionRemoteLock = 7,  // argument: 1 play another switch that holds the lock, 0 stop playing
  kDistributionResume = 8,      // the session whose lock was lost is opened anew
};

// kOpPendingTimer, GETNEXT: answers the next pending value after the VSAN (0: the whole switch) and timer.
struct pending_timer {
  uint32_t vsan;
  uint32_t key;
  uint32_t value;  // milliseconds
};

// kOpKeptOut, GETNEXT: answers the next VSAN after this one that is kept out of distribution.
struct kept_out_vsan {
  uint32_t vsan;
};

#endif
