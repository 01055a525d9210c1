// What the managers of one switch share: one state, one store, one way to change them.
#ifndef FEATURE_MANAGERS_MANAGERS_H
#define FEATURE_MANAGERS_MANAGERS_H

#include <string>

#include "distribution.h"
#include "log_limit.h"
#include "message_server.h"
#include "parked_requests.h"
#include "rows/dropped_vsans.h"
#include "rows/row_merge.h"
#include "state/switch_state.h"
#include "store/store.h"

struct published_page;

// Owned by whoever hosts the managers.
struct switch_managers {
  switch_state state;
  store *kept = nullptr;
  single_switch_fabric fabric;
  distribution_engine engine = {};
  published_page *published = nullptr;       // kept like the state; null: nobody reads it
  void (*served)(void *context) = nullptr;   // after each request of a manager
  void (*changed)(void *context) = nullptr;  // after each change: distribution state and notifications may be new
  void (*log)(void *context, const std::string &line) = nullptr;  // a refusal or failure, for people
  void *context = nullptr;                                        // handed to all three
  // The number up to which the agent has acknowledged notifications. It may be ahead of the store: the next change that
  // is committed, whatever it is, takes it along.
  uint64_t acknowledged = 0;
  // Notifications that were pushed out of the queue, and counted as dropped, while they were under way, and were then
  // acknowledged: the next change takes them off the count.
  uint64_t dropped_yet_taken = 0;
  uint64_t malformed = 0;                   // requests refused for their form
  log_limit refusals;                       // the log's lines about them
  std::map<uint32_t, row_writers> writers;  // by VSAN; empty after a start
  dropped_vsans dropped;                    // VSANs that were deleted a moment ago
  uint64_t sessions_closed = 0;             // distribution sessions, since the start
  std::vector<parked_request> parked;       // that wait for the distribution engine
};

// Completes the change, writes it to the store and makes it true. Returns 0, or kStatusStoreFailed with nothing
// changed. A change that changes nothing costs nothing.
int managers_commit(switch_managers &managers, switch_change &change);

// Whether another switch holds the lock of distribution.
bool managers_locked_out(const switch_managers &managers);

// Fills a state that has no VSANs yet and its store with a first configuration, in one transaction. Returns 0, or -1
// with `error` filled.
int managers_first_start(switch_managers &managers, switch_change &change, std::string &error);

// Notes a request that was refused, with what is wrong with it, in the log, as far as the limit of lines that clients
// can cause allows.
void managers_refuse(switch_managers &managers, const message_request &request, int status, const std::string &what);

#endif
