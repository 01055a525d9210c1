// That this switch lives: its lease, and what it says of itself.
#include <event2/event.h>
#include <stdlib.h>
#include <unistd.h>

#include "fabric_link_internal.h"
#include "monotonic_clock.h"

using nlohmann::json;

namespace {

void on_lease(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  const int64_t lease = json_number(answer.body, "ID");
  if (answer.end != etcd_end::ok || lease == 0) {
    return fabric_away(link, answer.error);
  }
  link->lease = lease;
  link->lease_ends = link->lease_sent + link->timings.lease;
  link->with_lease(link);
}

void on_alive(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  const int64_t left = json_number(json_at(answer.body, "result"), "TTL");
  if (answer.end == etcd_end::silent || (answer.end == etcd_end::refused && answer.code != kEtcdNotFound)) {
    return fabric_away(link, answer.error);
  }
  if (left <= 0) {
    fabric_log(link, true, "this switch was not heard of for too long: what it held is gone");
    link->lease = 0;
    return fabric_sync(link);
  }
  link->lease_ends = link->lease_sent + link->timings.lease;
  // The member that the watch goes to did not answer.
  if (!etcd_watch_is_there(link->client)) {
    return fabric_sync(link);
  }
  fabric_schedule(link, link->timings.keepalive);
}

}  // namespace

void fabric_take_lease(fabric_link *link, void (*then)(fabric_link *link)) {
  if (link->lease != 0) {
    return then(link);
  }
  link->with_lease = then;
  link->lease_sent = monotonic_ms();
  const int64_t seconds = (link->timings.lease + 999) / 1000;
  etcd_call(link->client, "/v3/lease/grant", {{"TTL", std::to_string(seconds)}}, link->timings.request, on_lease, link);
}

void fabric_keep_alive(fabric_link *link) {
  link->lease_sent = monotonic_ms();
  etcd_call(link->client, "/v3/lease/keepalive", {{"ID", std::to_string(link->lease)}}, link->timings.request, on_alive,
            link);
}

namespace {

constexpr int kRegisterSpread = 400;  // milliseconds over which many switches spread what they write after a commit

void on_registered(void *context, const etcd_answer &answer) {
  auto *link = static_cast<fabric_link *>(context);
  if (link->registering != link->wwn) {
    return;  // it goes by another name since
  }
  if (answer.end == etcd_end::refused && answer.code == kEtcdNotFound) {
    link->lease = 0;
    return fabric_sync(link);
  }
  if (answer.end != etcd_end::ok) {
    return fabric_register_soon(link, false);
  }
  if (json_at(answer.body, "succeeded") == true) {
    link->registered = etcd_revision_of(answer.body);
    return;
  }
  link->registered = etcd_find(etcd_values_of(answer.body), link->keys.switches + link->wwn).modified;
  fabric_register_soon(link, false);
}

// Upon what it wrote last: a request whose answer was lost may come to etcd late, behind one that tells more.
void on_register(evutil_socket_t, short, void *context) {
  auto *link = static_cast<fabric_link *>(context);
  if (link->phase != fabric_phase::member || link->lease == 0) {
    return;
  }
  const fabric_standing standing = link->owner.standing(link->owner.context);
  fabric_switch self;
  self.name = standing.name;
  self.wwn = link->wwn;
  self.version = standing.version;
  self.pid = getpid();
  self.store = standing.store;
  self.revision = standing.revision;
  self.commit = standing.commit;
  self.applied_at = link->applied_at;
  link->shown_name = standing.name;
  link->registering = link->wwn;
  const std::string text = fabric_switch_text(self);
  const etcd_list operations = {etcd_put(link->keys.switches + self.wwn, text, link->lease),
                                etcd_put(link->keys.members + self.wwn, text, 0)};
  const std::string key = link->keys.switches + self.wwn;
  const etcd_list compare = {etcd_compare_modified(key, link->registered)};
  etcd_call(link->client, "/v3/kv/txn", etcd_transaction(compare, operations, {etcd_get(key)}), link->timings.request,
            on_registered, link);
}

}  // namespace

void fabric_go_by(fabric_link *link, const std::string &wwn) {
  if (link->registered != 0) {
    const etcd_list gone = {etcd_delete(link->keys.switches + link->wwn), etcd_delete(link->keys.members + link->wwn)};
    etcd_call(
        link->client, "/v3/kv/txn", etcd_transaction({}, gone, {}), link->timings.request,
        [](void *, const etcd_answer &) {}, link);
  }
  link->wwn = wwn;
  link->registered = 0;
  link->lease = 0;  // what hangs on it, and may be on its way still, goes with it
  fabric_sync(link);
}

void fabric_register_soon(fabric_link *link, bool at_once) {
  if (!link->register_soon) {
    link->register_soon.reset(event_new(link->base, -1, 0, on_register, link));
  }
  const timeval after = {0, at_once ? 0 : rand() % kRegisterSpread * 1000};
  event_add(link->register_soon.get(), &after);
}
