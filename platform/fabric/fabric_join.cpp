// How a switch finds its fabric: it reads lock and values, decides whose values hold, and follows from there.
#include <event2/event.h>
#include <sys/random.h>

#include <algorithm>
#include <array>

#include "fabric_link_internal.h"
#include "monotonic_clock.h"
#include "statuses.h"

using nlohmann::json;

namespace {

constexpr int64_t kRetryMost = 4000;  // milliseconds

std::string new_id() {
  std::array<uint64_t, 2> words{};
  static_cast<void>(getrandom(words.data(), sizeof words, 0));
  return fabric_session_text(words[0]) + fabric_session_text(words[1]);
}

// Of the switch's own values, as the fabric's are written.
fabric_commit own_commit(const fabric_link *link, const fabric_standing &standing, uint64_t number) {
  fabric_commit commit;
  commit.number = number;
  commit.wwn = link->wwn;
  commit.switch_name = standing.name;
  commit.user = "(join)";
  commit.at = fabric_now_ms();
  commit.timers = standing.values;
  return commit;
}

// Whether the fabric's values of everything that takes part here are the switch's own.
bool same_values(const fabric_standing &standing, const fabric_commit &commit) {
  std::vector<distribution_value> here;
  std::ranges::copy_if(commit.timers, std::back_inserter(here), [&](const distribution_value &value) {
    return std::ranges::find(standing.vsans, value.vsan) != standing.vsans.end();
  });
  return std::ranges::is_permutation(here, standing.values);
}

void join_on(fabric_link *link) {
  fabric_register_soon(link, true);
  const bool whole = link->compacted;
  link->compacted = false;
  const uint64_t next = link->applied + 1;
  const auto seen = static_cast<uint64_t>(link->lock_seen);
  fabric_follow(link, whole || next > link->caught_up ? std::max(seen + 1, next) : next);
  fabric_schedule(link, link->timings.keepalive);
}

void stay_out(fabric_link *link, const std::string &why) {
  if (link->phase != fabric_phase::conflict || link->why != why) {
    fabric_log(link, true, "not joined: " + why);
  }
  link->phase = fabric_phase::conflict;
  link->why = why;
  link->take = fabric_take::none;
  fabric_finish(link, kStatusNotJoined);
  fabric_schedule(link, link->timings.keepalive);
}

// From here on the switch is in the fabric and follows it.
void enter(fabric_link *link, const fabric_found &found) {
  if (link->phase == fabric_phase::unreachable) {
    fabric_log(link, false, "reached again at revision " + std::to_string(found.revision));
  }
  link->id = found.id;
  link->phase = fabric_phase::member;
  link->why.clear();
  link->retry = 0;
  link->take = fabric_take::none;
  link->caught_up = std::max(link->caught_up, found.commit.revision);
  fabric_see_lock(link, fabric_lock_in(found.lock), found.revision);
  fabric_take_lease(link, join_on);
}

// Takes the fabric's values and its membership.
void take_theirs(fabric_link *link, const fabric_found &found) {
  const int status = link->owner.apply(link->owner.context, link->name, found.id, found.commit);
  if (status != 0) {
    return fabric_away(link, "the store could not take the fabric's values");
  }
  link->applied = found.commit.revision;
  link->applied_at = fabric_now_ms();
  fabric_log(link, false,
             "joined " + link->name + " at commit " + std::to_string(found.commit.number) + ", revision " +
                 std::to_string(found.commit.revision));
  enter(link, found);
}

void on_given(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  if (answer.end != etcd_end::ok) {
    return fabric_away(link, answer.error);
  }
  if (json_at(answer.body, "succeeded") != true) {
    if (link->take == fabric_take::ours) {
      return stay_out(link, "another switch holds the lock: give this one's values when its session has ended");
    }
    return fabric_sync(link);  // another switch was faster
  }
  fabric_found found = std::move(link->given);
  found.revision = etcd_revision_of(answer.body);
  found.commit.revision = static_cast<uint64_t>(found.revision);
  take_theirs(link, found);
}

void give_ours(fabric_link *link, const fabric_standing &standing, const fabric_found &found) {
  link->given = found;
  link->given.commit = own_commit(link, standing, found.commit.number + 1);
  const etcd_list compare = {
      etcd_compare_modified(link->keys.values, static_cast<int64_t>(found.commit.revision)),
      etcd_compare_created(link->keys.lock, 0),
  };
  const fabric_commit &commit = link->given.commit;
  const etcd_list success = {
      etcd_put(link->keys.values, fabric_commit_text(commit), 0),
      etcd_put(fabric_commit_key(link->keys, commit.number), fabric_commit_summary(commit, commit.timers), 0),
  };
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction(compare, success, {}), link->timings.request, on_given, link);
}

// The switch and the fabric meet, or meet again after one of them was made anew.
void merge(fabric_link *link, const fabric_standing &standing, const fabric_found &found) {
  const bool nothing_there = found.commit.number == 0;
  if (link->take == fabric_take::ours || (nothing_there && standing.has_values)) {
    return give_ours(link, standing, found);
  }
  if (nothing_there || link->take == fabric_take::theirs || !standing.has_values ||
      same_values(standing, found.commit)) {
    return take_theirs(link, found);
  }
  stay_out(link,
           "the fabric and this switch have timers that differ: \"vsanctl fabric join --take theirs\" or "
           "\"--take ours\" says whose hold");
}

void decide(fabric_link *link, const fabric_found &found) {
  const fabric_standing standing = link->owner.standing(link->owner.context);
  const bool known = standing.fabric == link->name && standing.fabric_id == found.id &&
                     found.commit.revision >= standing.revision && standing.session.enabled != 0;
  // A commit of this switch was under way when it read, and came in between: what it read was right before that.
  const bool outrun = standing.fabric_id == found.id && found.commit.revision < standing.revision &&
                      found.commit.revision >= link->sync_from;
  if (outrun) {
    return fabric_sync(link);
  }
  if (!known) {
    return merge(link, standing, found);
  }
  link->applied = standing.revision;
  link->id = found.id;
  if (link->compacted && fabric_apply(link, found.commit) != 0) {
    return;
  }
  enter(link, found);
}

// Another switch that lives under the same world wide name; empty when there is none.
std::string namesake(const fabric_link *link, const etcd_value &registered) {
  if (registered.modified == 0 || (link->lease != 0 && registered.lease == link->lease)) {
    return "";
  }
  const fabric_switch other = fabric_switch_of(registered.value);
  const fabric_standing standing = link->owner.standing(link->owner.context);
  return other.store == standing.store ? "" : "the switch " + other.name + " lives under the same world wide name";
}

void on_read(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  link->syncing = false;
  if (answer.end != etcd_end::ok) {
    return fabric_away(link, answer.error);
  }
  const std::vector<etcd_value> values = etcd_values_of(answer.body);
  fabric_found found;
  found.revision = etcd_revision_of(answer.body);
  found.lock = etcd_find(values, link->keys.lock);
  found.id = etcd_find(values, link->keys.id).value;
  if (found.id.empty()) {
    return fabric_schedule(link, 0);  // it was made just now: it is read with its name
  }
  const std::string other = namesake(link, etcd_find(values, link->keys.switches + link->wwn));
  if (!other.empty()) {
    return stay_out(link, other);
  }
  const etcd_value committed = etcd_find(values, link->keys.values);
  if (committed.modified != 0 && !fabric_commit_of(committed.value, found.commit)) {
    return stay_out(link, "the fabric's values cannot be read");
  }
  found.commit.revision = static_cast<uint64_t>(committed.modified);
  decide(link, found);
}

void on_tick(evutil_socket_t, short, void *context) {
  auto *link = static_cast<fabric_link *>(context);
  if (link->phase == fabric_phase::member && link->following && link->lease != 0) {
    return fabric_keep_alive(link);
  }
  fabric_sync(link);
}

}  // namespace

void fabric_schedule(fabric_link *link, int64_t milliseconds) {
  if (!link->tick) {
    link->tick.reset(event_new(link->base, -1, 0, on_tick, link));
  }
  const timeval after = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  event_add(link->tick.get(), &after);
}

void fabric_away(fabric_link *link, const std::string &why) {
  if (link->phase == fabric_phase::member || link->phase == fabric_phase::joining) {
    fabric_log(link, true, "away: " + why);
  }
  link->phase = fabric_phase::unreachable;
  link->why = why;
  link->following = false;
  etcd_unwatch(link->client);
  if (link->lock.wwn != link->wwn) {
    fabric_see_lock(link, {}, link->lock_seen);
  }
  link->retry = std::min(std::max(link->retry * 2, link->timings.retry), kRetryMost);
  fabric_schedule(link, link->retry);
  if (!link->pending.calling) {
    fabric_finish(link, kStatusFabricAway);
  }
}

void fabric_sync(fabric_link *link) {
  if (link->syncing) {
    return;
  }
  link->syncing = true;
  if (link->registered == 0 && link->lock.modified == 0) {
    link->wwn = link->owner.standing(link->owner.context).wwn;
  }
  link->sync_from = link->owner.standing(link->owner.context).revision;
  link->following = false;
  etcd_unwatch(link->client);
  const fabric_keys &keys = link->keys;
  etcd_list reads = {etcd_get(keys.id), etcd_get(keys.lock), etcd_get(keys.values),
                     etcd_get(keys.switches + link->wwn)};
  etcd_call(link->client, "/v3/kv/txn",
            etcd_transaction({etcd_compare_exists(keys.id)}, reads, {etcd_put(keys.id, new_id(), 0)}),
            link->timings.request, on_read, link);
}
