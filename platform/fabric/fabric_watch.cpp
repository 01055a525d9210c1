// What the others do: commits are applied in the order in which etcd has them, the lock is known.
#include "fabric_link_internal.h"
#include "statuses.h"

using nlohmann::json;

fabric_lock fabric_lock_in(const etcd_value &found) {
  if (found.modified == 0) {
    return {};
  }
  fabric_lock lock = fabric_lock_of(found.value);
  lock.modified = found.modified;
  lock.lease = found.lease;
  return lock;
}

void fabric_see_lock(fabric_link *link, const fabric_lock &lock, int64_t revision) {
  if (revision < link->lock_seen) {
    return;
  }
  link->lock_seen = revision;
  const bool same_holder = lock.modified == link->lock.modified || lock.switch_name == link->lock.switch_name;
  const bool was_held = link->lock.modified != 0;
  link->lock = lock;
  if (!same_holder || was_held != (lock.modified != 0)) {
    link->owner.holder_changed(link->owner.context);
  }
}

int fabric_apply(fabric_link *link, const fabric_commit &commit) {
  if (commit.revision <= link->applied) {
    return 0;
  }
  const int status = link->owner.apply(link->owner.context, link->name, link->id, commit);
  if (status != 0) {
    fabric_log(link, true, "commit " + std::to_string(commit.number) + " could not be applied; it is tried again");
    fabric_away(link, "the store could not take a commit");
    return status;
  }
  link->applied = commit.revision;
  link->applied_session = commit.session;
  link->applied_at = fabric_now_ms();
  fabric_log(link, false,
             "applied commit " + std::to_string(commit.number) + " of " + commit.switch_name + " at revision " +
                 std::to_string(commit.revision) + ", session " + fabric_session_text(commit.session));
  fabric_register_soon(link, false);
  return 0;
}

namespace {

constexpr int64_t kWatchAgain = 100;  // milliseconds

void take_values(fabric_link *link, const etcd_value &found, bool deleted) {
  fabric_commit commit;
  if (deleted || !fabric_commit_of(found.value, commit)) {
    return fabric_log(link, true,
                      std::string("the values were ") + (deleted ? "removed" : "written unreadably") +
                          " by somebody else at revision " + std::to_string(found.modified) + ": nothing is changed");
  }
  commit.revision = static_cast<uint64_t>(found.modified);
  fabric_apply(link, commit);
}

void take_event(fabric_link *link, const json &event) {
  const etcd_value found = etcd_value_of(json_at(event, "kv"));
  const bool deleted = json_text(event, "type") == "DELETE";
  if (found.key == link->keys.lock) {
    fabric_see_lock(link, deleted ? fabric_lock{} : fabric_lock_in(found), found.modified);
  } else if (found.key == link->keys.values) {
    take_values(link, found, deleted);
  }
}

void on_line(void *context, const json &line) {
  auto *link = static_cast<fabric_link *>(context);
  const json &result = json_at(line, "result");
  if (!result.is_object() || json_at(result, "canceled") == true) {
    link->compacted = json_number(result, "compact_revision") != 0;
    return fabric_sync(link);
  }
  link->in_event = true;
  for (const json &event : json_at(result, "events")) {
    take_event(link, event);
    if (link->phase != fabric_phase::member) {
      break;  // it was not applied: what follows is read again
    }
  }
  link->in_event = false;
  if (link->phase == fabric_phase::member) {
    const bool begins = !link->following;
    link->following = true;
    if (begins) {
      fabric_go_on(link);
    }
    fabric_check_await(link);
    fabric_reconcile(link);
  }
}

void on_watch_end(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  link->following = false;
  link->why = answer.error;
  fabric_schedule(link, kWatchAgain);
}

}  // namespace

void fabric_follow(fabric_link *link, uint64_t from) {
  link->following = false;
  etcd_watch(link->client, link->keys.shared, static_cast<int64_t>(from), on_line, on_watch_end, link);
}
