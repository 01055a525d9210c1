// A switch's part in a fabric: one lock, one set of values, kept by etcd and followed by every switch.
//
// 1. All calls are made on the loop's thread, and none waits. What has to ask etcd first is done when `finished` tells.
// 2. Nothing depends on clocks that agree: every change in etcd is a transaction that compares what it stands on. The
//    monotonic clock only tells how long this switch may believe that it holds what hangs on its lease.
// 3. What is asked may reach etcd although no answer came. A lock that came so is given back; a commit of which this
//    switch does not know is looked for before anything else is committed.
#ifndef PLATFORM_FABRIC_FABRIC_LINK_H
#define PLATFORM_FABRIC_FABRIC_LINK_H

#include <stdint.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "distribution.h"
#include "etcd_client.h"
#include "fabric_records.h"

struct fabric_link;

// Milliseconds.
struct fabric_timings {
  int64_t lease = 10'000;     // for which a switch counts as alive that is not heard of
  int64_t keepalive = 3'000;  // between two signs of life
  int64_t request = 3'000;    // for which an operation asks; a client waits for five seconds
  int64_t retry = 500;        // until the fabric is looked for again
};

// What the link has to know of the switch.
struct fabric_standing {
  std::string name;
  std::string wwn;
  uint64_t store = 0;
  std::string version;
  std::string fabric;  // that it is in; empty: none
  std::string fabric_id;
  uint64_t revision = 0;  // of the commit that it applied last
  uint64_t commit = 0;
  distribution_session session;
  std::vector<distribution_value> values;  // its distributed values in force
  std::vector<uint32_t> vsans;             // those that take part, and 0
  bool has_values = false;                 // somebody set one
};

// What happened, as its owner is to make it true.
enum class fabric_operation { lock, commit };
struct fabric_owner {
  void *context;
  fabric_standing (*standing)(void *context);
  // Takes the commit, and that this switch is in the fabric `id`, into the store in one transaction. A commit of number
  // 0 has no values: only the membership changes. Returns 0 or a status.
  int (*apply)(void *context, const std::string &fabric, const std::string &id, const fabric_commit &commit);
  // The open session has lost its lock. Returns 0 or a status, upon which it is told again.
  int (*lost)(void *context);
  // The switch that holds the lock is another one now.
  void (*holder_changed)(void *context);
  // The operation that was begun has ended.
  void (*finished)(void *context, fabric_operation operation, int status);
  void (*log)(void *context, bool warning, const std::string &line);
};

// Joins the fabric `name` as soon as it can be reached. The client is the link's from then on.
fabric_link *fabric_link_open(event_base *base, const std::string &name, etcd_client *client, const fabric_owner &owner,
                              const fabric_timings &timings);
// Gives up what hangs on the lease without waiting for an answer. Null is allowed.
void fabric_link_close(fabric_link *link);

// Where the link stands.
enum class fabric_phase { joining, member, conflict, unreachable };
struct fabric_view {
  fabric_phase phase;
  std::string why;  // it is no member, or cannot be reached
  std::string endpoint;
  fabric_lock lock;
};
fabric_view fabric_link_view(const fabric_link *link);

// The operations of an engine (distribution.h), with the lock of `session`.
std::string fabric_link_holder(const fabric_link *link);
int fabric_link_lock(fabric_link *link, distribution_session &session);
int fabric_link_commit(fabric_link *link, const std::vector<distribution_value> &changed,
                       const std::vector<distribution_value> &all);
// 0, or why the session may not be dropped: a commit of it may have been done.
int fabric_link_may_abort(const fabric_link *link);

// To be called when a session was opened, closed or dropped, or the switch's name changed.
void fabric_link_look(fabric_link *link);

// When both the fabric and the switch have values: whose are to be taken.
enum class fabric_take { none, theirs, ours };
void fabric_link_join(fabric_link *link, fabric_take take);

// Reads the switches and the last commits; `shown` gets {"switches": [...], "commits": [...]}, or null when the fabric
// does not answer.
using fabric_shown = void (*)(void *caller, const nlohmann::json &lists);
void fabric_link_show(fabric_link *link, fabric_shown shown, void *caller);

// Takes the switch out of the fabric's lists, and gives its lock back. `left` tells whether etcd did so; the link is to
// be closed soon after, not from within `left`.
using fabric_left = void (*)(void *caller, bool done);
void fabric_link_leave(fabric_link *link, fabric_left left, void *caller);

#endif
