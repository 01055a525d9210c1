// The link as its owner has it: opened, shown, left.
#include "fabric_link.h"

#include <event2/event.h>
#include <sys/time.h>

#include "fabric_link_internal.h"

using nlohmann::json;

int64_t fabric_now_ms() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return int64_t{now.tv_sec} * 1000 + now.tv_usec / 1000;
}

void fabric_log(fabric_link *link, bool warning, const std::string &line) {
  link->owner.log(link->owner.context, warning, "fabric: " + line);
}

fabric_link *fabric_link_open(event_base *base, const std::string &name, etcd_client *client, const fabric_owner &owner,
                              const fabric_timings &timings) {
  auto *link = new fabric_link{
      .base = base, .name = name, .client = client, .owner = owner, .timings = timings, .keys = fabric_keys_of(name)};
  const fabric_standing standing = owner.standing(owner.context);
  link->applied = standing.fabric == name ? standing.revision : 0;
  link->wwn = standing.wwn;
  fabric_schedule(link, 0);
  return link;
}

void fabric_link_close(fabric_link *link) {
  if (link != nullptr) {
    etcd_client_close(link->client);
    delete link;
  }
}

fabric_view fabric_link_view(const fabric_link *link) {
  return {link->phase, link->why, etcd_endpoint(link->client), link->lock};
}

void fabric_link_join(fabric_link *link, fabric_take take) {
  link->take = take;
  if (link->phase != fabric_phase::member) {
    link->phase = fabric_phase::joining;
    link->why = "it is being read";
    fabric_sync(link);
  }
}

namespace {

constexpr int64_t kShowTime = 1500;  // milliseconds; somebody waits for it

json rows_changed(const std::vector<distribution_value> &values) {
  json rows = json::array();
  for (const distribution_value &value : values) {
    rows.push_back({{"vsan", value.vsan}, {"timer", value.key}, {"value", value.value}});
  }
  return rows;
}

// Those that joined, each with what it says of itself while it lives.
json switch_rows(const fabric_keys &keys, const std::vector<etcd_value> &values) {
  json rows = json::array();
  for (const etcd_value &found : values) {
    if (!found.key.starts_with(keys.members)) {
      continue;
    }
    const std::string wwn = found.key.substr(keys.members.size());
    const etcd_value alive = etcd_find(values, keys.switches + wwn);
    const fabric_switch member = fabric_switch_of(alive.modified != 0 ? alive.value : found.value);
    rows.push_back({{"name", member.name},
                    {"wwn", wwn},
                    {"alive", alive.modified != 0},
                    {"version", member.version},
                    {"revision", member.revision},
                    {"commit", member.commit},
                    {"applied_at", member.applied_at}});
  }
  return rows;
}

json commit_rows(const fabric_keys &keys, const std::vector<etcd_value> &values) {
  json rows = json::array();
  for (const etcd_value &found : values) {
    fabric_commit commit;
    if (found.key.starts_with(keys.commits) && fabric_commit_of(found.value, commit)) {
      rows.push_back({{"number", commit.number},
                      {"revision", found.modified},
                      {"switch", commit.switch_name},
                      {"user", commit.user},
                      {"at", commit.at},
                      {"changed", rows_changed(commit.timers)}});
    }
  }
  return rows;
}

// The asker, who waits no longer.
fabric_asker take_asker(void *context) {
  const fabric_asker asker = *static_cast<fabric_asker *>(context);
  asker.link->askers.remove_if([context](const fabric_asker &each) { return &each == context; });
  return asker;
}

void on_lists(void *context, const etcd_answer &answer) {
  const fabric_asker asker = take_asker(context);
  json lists;
  if (answer.end == etcd_end::ok) {
    const std::vector<etcd_value> values = etcd_values_of(answer.body);
    lists = {{"switches", switch_rows(asker.link->keys, values)}, {"commits", commit_rows(asker.link->keys, values)}};
  }
  asker.shown(asker.caller, lists);
}

}  // namespace

void fabric_link_show(fabric_link *link, fabric_shown shown, void *caller) {
  const fabric_keys &keys = link->keys;
  const json all =
      etcd_transaction({}, {etcd_get_all(keys.members), etcd_get_all(keys.switches), etcd_get_all(keys.commits)}, {});
  link->askers.push_back({link, shown, nullptr, caller});
  etcd_call(link->client, "/v3/kv/txn", all, kShowTime, on_lists, &link->askers.back());
}

namespace {

void on_left(void *context, const etcd_answer &answer) {
  const fabric_asker asker = take_asker(context);
  asker.left(asker.caller, answer.end == etcd_end::ok);
}

}  // namespace

void fabric_link_leave(fabric_link *link, fabric_left left, void *caller) {
  etcd_list out;
  if (link->registered != 0) {  // else the name may be another's
    out = {etcd_delete(link->keys.switches + link->wwn), etcd_delete(link->keys.members + link->wwn)};
  }
  // The lock goes along, when it is ours.
  const bool holds = link->lock.modified != 0 && link->lock.wwn == link->wwn;
  etcd_list with_lock = out;
  with_lock.push_back(etcd_delete(link->keys.lock));
  const etcd_list compare = {etcd_compare_modified(link->keys.lock, link->lock.modified)};
  link->askers.push_back({link, nullptr, left, caller});
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction(compare, holds ? with_lock : out, out), kShowTime, on_left,
            &link->askers.back());
}
