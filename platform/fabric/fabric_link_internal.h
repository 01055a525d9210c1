// Shared by the units of the link.
#ifndef PLATFORM_FABRIC_FABRIC_LINK_INTERNAL_H
#define PLATFORM_FABRIC_FABRIC_LINK_INTERNAL_H

#include <list>
#include <string>
#include <vector>

#include "etcd_json.h"
#include "event_ptr.h"
#include "fabric_link.h"

// The one operation that is under way.
struct fabric_pending {
  bool busy = false;
  fabric_operation operation = fabric_operation::lock;
  uint64_t session = 0;
  std::string user;
  int64_t ends = 0;           // monotonic milliseconds
  bool calling = false;       // etcd is being asked; its answer comes in any case
  int64_t lock = 0;           // revision of the lock that a commit compares with
  uint64_t await = 0;         // the lock is ours; the commit of this revision has to be applied before it counts
  fabric_commit commit = {};  // that is tried
};

// What was read of the fabric.
struct fabric_found {
  std::string id;
  fabric_commit commit;  // number 0: nothing was committed yet
  etcd_value lock;
  int64_t revision = 0;
};

// Somebody who waits for an answer.
struct fabric_asker {
  fabric_link *link;
  fabric_shown shown;  // of one who asks what there is
  fabric_left left;    // of one who leaves
  void *caller;
};

struct fabric_link {
  event_base *base;
  std::string name;
  etcd_client *client;
  fabric_owner owner;
  fabric_timings timings;
  fabric_keys keys;
  fabric_phase phase = fabric_phase::joining;
  std::string why = "it was not reached yet";
  std::string id = {};
  fabric_take take = fabric_take::none;
  fabric_found given = {};  // this switch's values, while they are given to the fabric
  std::list<fabric_asker> askers = {};

  // The lease, and what tells that this switch lives.
  int64_t lease = 0;             // 0: none
  int64_t lease_sent = 0;        // when it was asked for last; monotonic milliseconds
  int64_t lease_ends = 0;        // until then etcd keeps it for sure
  std::string wwn = {};          // under which the switch is registered
  std::string registering = {};  // under which it wrote itself last
  int64_t registered = 0;        // revision at which it wrote that last
  std::string shown_name = {};
  void (*with_lease)(fabric_link *link) = nullptr;  // goes on when there is one
  event_ptr tick = {};                              // the next sign of life, or try
  event_ptr register_soon = {};
  int64_t retry = 0;  // milliseconds until the next try

  // What is read, and then watched.
  bool syncing = false;
  uint64_t sync_from = 0;  // revision that was applied when it was asked
  bool following = false;  // the watch tells everything from here on
  bool compacted = false;  // what happened since the applied commit is gone: the values are taken whole
  uint64_t applied = 0;    // revision
  uint64_t applied_session = 0;
  uint64_t caught_up = 0;  // revision from which on a lock that is missing is a lock that is lost
  int64_t applied_at = 0;  // milliseconds since the epoch
  fabric_lock lock = {};
  int64_t lock_seen = 0;  // revision at which it was that
  bool in_event = false;  // the lines of one revision are being taken

  // The session.
  uint64_t granted = 0;         // the lock was taken for this one, which is not open yet
  bool releasing = false;       // the lock is being given back, or renewed
  bool unresolved = false;      // a commit was not answered
  int64_t unresolved_lock = 0;  // the lock's revision then
  uint64_t unresolved_number = 0;
  uint64_t unresolved_session = 0;
  fabric_pending pending = {};
  event_ptr deadline = {};  // of the operation under way
};

// Milliseconds since the epoch, for people.
int64_t fabric_now_ms();
void fabric_log(fabric_link *link, bool warning, const std::string &line);

// fabric_join.cpp: finds the fabric, reads it and follows it. Tries again until it succeeds.
void fabric_sync(fabric_link *link);
// Looks again after so many milliseconds: gives a sign of life, or tries again.
void fabric_schedule(fabric_link *link, int64_t milliseconds);
// The fabric does not answer, or not as it should: what others hold is not known any more.
void fabric_away(fabric_link *link, const std::string &why);

// fabric_presence.cpp: the lease and what hangs on it. `then` goes on when there is a lease.
void fabric_take_lease(fabric_link *link, void (*then)(fabric_link *link));
void fabric_keep_alive(fabric_link *link);
// Writes what this switch is and has applied, a moment later: of many commits the last one is enough.
void fabric_register_soon(fabric_link *link, bool at_once);
// The switch has another world wide name: it leaves the lists under the old one and joins under the new one.
void fabric_go_by(fabric_link *link, const std::string &wwn);

// fabric_watch.cpp: follows from the revision on.
void fabric_follow(fabric_link *link, uint64_t from);
// Takes a commit into the switch. Returns 0 or a status; then the fabric is read again later.
int fabric_apply(fabric_link *link, const fabric_commit &commit);
// The lock as it is at the revision; what was seen of a later one stays.
void fabric_see_lock(fabric_link *link, const fabric_lock &lock, int64_t revision);
fabric_lock fabric_lock_in(const etcd_value &found);

// fabric_session.cpp: brings lock and session together, whichever of them is there without the other.
void fabric_reconcile(fabric_link *link);
// The watch is there: what waited for it goes on.
void fabric_go_on(fabric_link *link);
// Ends the operation that is under way, if there is one.
void fabric_finish(fabric_link *link, int status);
// The awaited commit may have been applied.
void fabric_check_await(fabric_link *link);

#endif
