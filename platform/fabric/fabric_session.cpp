// The session of this switch: its lock, its commit, and what was asked without an answer.
#include <event2/event.h>
#include <sys/random.h>

#include "fabric_link_internal.h"
#include "monotonic_clock.h"
#include "statuses.h"

using nlohmann::json;

namespace {

constexpr uint64_t kCommitsKept = 64;

bool is_ours(const fabric_link *link) {
  return link->lock.modified != 0 && link->lock.wwn == link->wwn;
}

// By its own clock: whether etcd keeps the lock of the session for sure.
bool holds(const fabric_link *link, uint64_t session) {
  return link->following && is_ours(link) && session != 0 && link->lock.session == session &&
         monotonic_ms() < link->lease_ends;
}

uint64_t new_session() {
  uint64_t session = 0;
  while (session == 0) {
    static_cast<void>(getrandom(&session, sizeof session, 0));
  }
  return session;
}

// 0, or why nothing can be asked of the fabric now. One that is being read again may be asked in a moment.
int fabric_problem(const fabric_link *link) {
  if (link->phase == fabric_phase::conflict) {
    return kStatusNotJoined;
  }
  if (link->phase != fabric_phase::member) {
    return kStatusFabricAway;
  }
  return link->unresolved ? kStatusCommitUnknown : 0;
}

void on_deadline(evutil_socket_t, short, void *context) {
  auto *link = static_cast<fabric_link *>(context);
  if (!link->pending.calling) {
    fabric_finish(link, kStatusFabricAway);
  }
}

void wait_until(fabric_link *link, int64_t ends) {
  if (!link->deadline) {
    link->deadline.reset(event_new(link->base, -1, 0, on_deadline, link));
  }
  const int64_t left = std::max<int64_t>(ends - monotonic_ms(), 0);
  const timeval after = {static_cast<time_t>(left / 1000), static_cast<suseconds_t>(left % 1000 * 1000)};
  event_add(link->deadline.get(), &after);
}

void ask_lock(fabric_link *link);

// A lock that this switch took and does not know of any more: an answer was lost.
void on_stale_removed(void *context, const etcd_answer &) {
  auto *link = static_cast<fabric_link *>(context);
  link->pending.calling = false;
  if (monotonic_ms() < link->pending.ends) {
    return ask_lock(link);
  }
  fabric_finish(link, kStatusFabricAway);
}

void remove_stale(fabric_link *link, const fabric_lock &lock) {
  link->pending.calling = true;
  const etcd_list compare = {etcd_compare_modified(link->keys.lock, lock.modified)};
  const etcd_list remove = {etcd_delete(link->keys.lock)};
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction(compare, remove, {}),
            std::max<int64_t>(link->pending.ends - monotonic_ms(), 1), on_stale_removed, link);
}

void on_lock(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  link->pending.calling = false;
  // This switch was not heard of for too long: it asks again with a new lease.
  if (answer.end == etcd_end::refused && answer.code == kEtcdNotFound) {
    link->lease = 0;
    wait_until(link, link->pending.ends);
    return fabric_sync(link);
  }
  if (answer.end != etcd_end::ok) {
    fabric_away(link, answer.error);
    return fabric_finish(link, kStatusFabricAway);
  }
  const std::vector<etcd_value> values = etcd_values_of(answer.body);
  const int64_t revision = etcd_revision_of(answer.body);
  const fabric_lock lock = fabric_lock_in(etcd_find(values, link->keys.lock));
  fabric_see_lock(link, lock, revision);
  if (lock.wwn != link->wwn) {
    return fabric_finish(link, kStatusRemoteLock);
  }
  if (lock.session != link->pending.session) {
    return remove_stale(link, lock);
  }
  link->granted = lock.session;
  link->pending.await = static_cast<uint64_t>(etcd_find(values, link->keys.values).modified);
  wait_until(link, link->pending.ends);
  fabric_check_await(link);
}

// Create-only. Lock and values are read in either case, so that one that was created by an attempt whose answer was
// lost is known by its session.
void ask_lock(fabric_link *link) {
  const fabric_standing standing = link->owner.standing(link->owner.context);
  fabric_lock lock;
  lock.wwn = link->wwn;
  lock.switch_name = standing.name;
  lock.user = link->pending.user;
  lock.session = link->pending.session;
  const fabric_keys &keys = link->keys;
  const etcd_list reads = {etcd_get(keys.lock), etcd_get(keys.values)};
  etcd_list takes = {etcd_put(keys.lock, fabric_lock_text(lock), link->lease)};
  takes.insert(takes.end(), reads.begin(), reads.end());
  link->pending.calling = true;
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction({etcd_compare_created(keys.lock, 0)}, takes, reads),
            std::max<int64_t>(link->pending.ends - monotonic_ms(), 1), on_lock, link);
}

}  // namespace

std::string fabric_link_holder(const fabric_link *link) {
  const bool others = link->phase == fabric_phase::member && link->lock.modified != 0 && !is_ours(link);
  if (!others) {
    return "";
  }
  return link->lock.switch_name.empty() ? link->lock.wwn : link->lock.switch_name;
}

int fabric_link_lock(fabric_link *link, distribution_session &session) {
  if (const int problem = fabric_problem(link); problem != 0) {
    return problem;
  }
  const uint64_t number = session.number != 0 ? session.number : link->granted;
  if (!link->pending.busy && holds(link, number)) {
    session.number = number;
    return 0;
  }
  // Taken a moment ago, for whoever asks now.
  if (link->granted != 0 && holds(link, link->granted)) {
    session.number = link->granted;
    return 0;
  }
  if (link->pending.busy) {
    return kDistributionAgain;
  }
  link->pending = {.busy = true,
                   .operation = fabric_operation::lock,
                   .session = new_session(),
                   .user = session.owner,
                   .ends = monotonic_ms() + link->timings.request};
  if (link->following) {
    ask_lock(link);
  } else {
    wait_until(link, link->pending.ends);
  }
  return kDistributionAgain;
}

void fabric_check_await(fabric_link *link) {
  const fabric_pending &pending = link->pending;
  if (pending.busy && !pending.calling && pending.operation == fabric_operation::lock && link->granted != 0 &&
      link->granted == pending.session && link->applied >= pending.await) {
    fabric_finish(link, 0);
  }
}

namespace {

// A lock that was lost while this switch stood still is found out by the SET that takes a new one.
void tell_of_former(fabric_link *link) {
  const distribution_session session = link->owner.standing(link->owner.context).session;
  if (session.open != 0 && session.lost == 0 && session.number != link->granted) {
    fabric_log(
        link, true,
        "session " + fabric_session_text(session.number) + " lost: its lock is gone; its values go on in the next one");
  }
}

}  // namespace

void fabric_finish(fabric_link *link, int status) {
  if (!link->pending.busy) {
    return;
  }
  const fabric_operation operation = link->pending.operation;
  link->pending = {};
  if (link->deadline) {
    event_del(link->deadline.get());
  }
  if (status != 0) {
    link->granted = 0;
  }
  if (operation == fabric_operation::lock && status == 0) {
    tell_of_former(link);
    fabric_log(
        link, false,
        "session " + fabric_session_text(link->granted) + " opened at revision " + std::to_string(link->lock.modified));
  }
  link->owner.finished(link->owner.context, operation, status);
  link->granted = 0;
  fabric_reconcile(link);
}

namespace {

// What this switch's commit is compared with, and done by.
json commit_transaction(const fabric_link *link, const fabric_commit &commit,
                        const std::vector<distribution_value> &changed) {
  const fabric_keys &keys = link->keys;
  const std::string key = fabric_commit_key(keys, commit.number);
  const etcd_list compare = {etcd_compare_modified(keys.lock, link->lock.modified),
                             etcd_compare_modified(keys.values, static_cast<int64_t>(link->applied))};
  etcd_list success = {etcd_put(keys.values, fabric_commit_text(commit), 0),
                       etcd_put(key, fabric_commit_summary(commit, changed), 0), etcd_delete(keys.lock)};
  if (commit.number > kCommitsKept) {
    success.push_back(etcd_delete(fabric_commit_key(keys, commit.number - kCommitsKept)));
  }
  return etcd_transaction(compare, success, {etcd_get(keys.lock), etcd_get(keys.values), etcd_get(key)});
}

// The revision at which the session's commit was done; 0 when it was not.
uint64_t commit_revision(const fabric_link *link, const etcd_answer &answer, uint64_t number, uint64_t session) {
  const etcd_value done = etcd_find(etcd_values_of(answer.body), fabric_commit_key(link->keys, number));
  fabric_commit found;
  const bool ours = done.modified != 0 && fabric_commit_of(done.value, found) && found.session == session;
  return ours ? static_cast<uint64_t>(done.modified) : 0;
}

void commit_not_answered(fabric_link *link, const std::string &error) {
  link->unresolved = true;
  link->unresolved_lock = link->pending.lock;
  link->unresolved_number = link->pending.commit.number;
  link->unresolved_session = link->pending.session;
  fabric_log(link, true, "session " + fabric_session_text(link->pending.session) + ": its commit was not answered");
  link->following = false;
  fabric_finish(link, kStatusCommitUnknown);
  fabric_away(link, error);
}

void on_commit(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  // The watch may have told of it already.
  if (answer.end == etcd_end::silent && link->applied_session == link->pending.session) {
    return fabric_finish(link, 0);
  }
  if (answer.end == etcd_end::silent) {
    return commit_not_answered(link, answer.error);
  }
  if (answer.end == etcd_end::refused) {
    fabric_log(link, true, "the commit was refused: " + answer.error);
    return fabric_finish(link, kStatusFabricAway);
  }
  const int64_t revision = etcd_revision_of(answer.body);
  fabric_commit commit = link->pending.commit;
  if (json_at(answer.body, "succeeded") == true) {
    commit.revision = static_cast<uint64_t>(revision);
    fabric_see_lock(link, {}, revision);
  } else {
    commit.revision = commit_revision(link, answer, commit.number, commit.session);
    fabric_see_lock(link, fabric_lock_in(etcd_find(etcd_values_of(answer.body), link->keys.lock)), revision);
  }
  const int status = commit.revision == 0 ? int{kStatusSessionLost} : fabric_apply(link, commit);
  fabric_finish(link, status);
}

}  // namespace

int fabric_link_commit(fabric_link *link, const std::vector<distribution_value> &changed,
                       const std::vector<distribution_value> &all) {
  if (const int problem = fabric_problem(link); problem != 0) {
    return problem;
  }
  if (link->pending.busy) {
    return kStatusBusy;
  }
  const fabric_standing standing = link->owner.standing(link->owner.context);
  if (!holds(link, standing.session.number)) {
    return kStatusFabricAway;  // a lock that is gone is told of as soon as that is known
  }
  fabric_commit commit;
  commit.number = standing.commit + 1;
  commit.wwn = link->wwn;
  commit.switch_name = standing.name;
  commit.user = standing.session.owner;
  commit.session = standing.session.number;
  commit.at = fabric_now_ms();
  commit.timers = all;
  const json transaction = commit_transaction(link, commit, changed);
  link->pending = {.busy = true,
                   .operation = fabric_operation::commit,
                   .session = standing.session.number,
                   .user = standing.session.owner,
                   .ends = monotonic_ms() + link->timings.request,
                   .calling = true,
                   .lock = link->lock.modified};
  link->pending.commit = std::move(commit);
  etcd_call(link->client, "/v3/kv/txn", transaction, link->timings.request, on_commit, link);
  return kDistributionOutcome;
}

int fabric_link_may_abort(const fabric_link *link) {
  if (link->pending.busy && link->pending.operation == fabric_operation::commit) {
    return kStatusBusy;
  }
  return link->unresolved ? kStatusCommitUnknown : 0;
}

namespace {

// After it a commit that is still on its way finds another lock than it compares with.
void on_fence(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  link->releasing = false;
  if (answer.end != etcd_end::ok) {
    return fabric_away(link, answer.error);
  }
  const int64_t revision = etcd_revision_of(answer.body);
  const bool fenced = json_at(answer.body, "succeeded") == true;
  const uint64_t done = fenced ? 0 : commit_revision(link, answer, link->unresolved_number, link->unresolved_session);
  fabric_lock lock = link->lock;
  if (fenced) {
    lock.modified = revision;
    lock.lease = link->lease;
  } else {
    lock = fabric_lock_in(etcd_find(etcd_values_of(answer.body), link->keys.lock));
  }
  fabric_see_lock(link, lock, revision);
  link->unresolved = false;
  link->caught_up = std::max(link->caught_up, done);
  fabric_log(link, false,
             "session " + fabric_session_text(link->unresolved_session) + ": its commit was " +
                 (done != 0 ? "done at revision " + std::to_string(done) : "not done"));
  fabric_reconcile(link);
}

void fence(fabric_link *link) {
  const fabric_keys &keys = link->keys;
  link->releasing = true;
  const etcd_list success = {etcd_put(keys.lock, fabric_lock_text(link->lock), link->lease)};
  const etcd_list failure = {etcd_get(keys.lock), etcd_get(keys.values),
                             etcd_get(fabric_commit_key(keys, link->unresolved_number))};
  etcd_call(link->client, "/v3/kv/txn",
            etcd_transaction({etcd_compare_modified(keys.lock, link->unresolved_lock)}, success, failure),
            link->timings.request, on_fence, link);
}

// Renewed or given back; what came of it the watch tells.
void on_lock_changed(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  link->releasing = false;
  if (answer.end != etcd_end::ok) {
    return fabric_away(link, answer.error);
  }
  const int64_t revision = etcd_revision_of(answer.body);
  fabric_see_lock(link, fabric_lock_in(etcd_find(etcd_values_of(answer.body), link->keys.lock)), revision);
  fabric_reconcile(link);
}

void change_lock(fabric_link *link, const json &operation) {
  link->releasing = true;
  const json read = etcd_get(link->keys.lock);
  const etcd_list compare = {etcd_compare_modified(link->keys.lock, link->lock.modified)};
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction(compare, {operation, read}, {read}), link->timings.request,
            on_lock_changed, link);
}

void lose(fabric_link *link, uint64_t session) {
  fabric_log(link, true,
             "session " + fabric_session_text(session) +
                 " lost: its lock is gone; its values are kept until it is resumed or aborted");
  if (link->owner.lost(link->owner.context) != 0) {
    fabric_away(link, "the store could not take that a session was lost");
  }
}

}  // namespace

void fabric_reconcile(fabric_link *link) {
  if (link->phase != fabric_phase::member || !link->following || link->in_event || link->pending.busy ||
      link->releasing || link->applied < link->caught_up || link->lease == 0) {
    return;
  }
  if (link->unresolved) {
    return fence(link);
  }
  const fabric_standing standing = link->owner.standing(link->owner.context);
  const distribution_session &session = standing.session;
  const bool open = session.open != 0 && session.lost == 0;
  if (is_ours(link) && open && session.number == link->lock.session) {
    // Taken under the lease of the switch as it ran before.
    if (link->lock.lease != link->lease) {
      change_lock(link, etcd_put(link->keys.lock, fabric_lock_text(link->lock), link->lease));
    }
    return;
  }
  if (is_ours(link)) {
    fabric_log(link, false, "session " + fabric_session_text(link->lock.session) + " given back");
    return change_lock(link, etcd_delete(link->keys.lock));
  }
  if (open) {
    return lose(link, session.number);
  }
  // Not while it holds a lock, which is known by the name that it was taken with.
  if (standing.wwn != link->wwn) {
    fabric_go_by(link, standing.wwn);
  }
}

void fabric_go_on(fabric_link *link) {
  const fabric_pending &pending = link->pending;
  if (pending.busy && pending.operation == fabric_operation::lock && !pending.calling && link->granted == 0) {
    ask_lock(link);
  }
}

void fabric_link_look(fabric_link *link) {
  if (link->phase != fabric_phase::member) {
    return;
  }
  const fabric_standing standing = link->owner.standing(link->owner.context);
  if (standing.name != link->shown_name) {
    fabric_register_soon(link, true);
  }
  fabric_reconcile(link);
}
