#include "fake_etcd.h"

#include <event2/event.h>

#include <algorithm>
#include <utility>

#include "monotonic_clock.h"

using nlohmann::json;

void fake_put(fake_etcd *etcd, const std::string &key, const std::string &value, int64_t lease) {
  etcd_value &kept = etcd->values[key];
  const int64_t created = kept.modified == 0 ? etcd->revision : kept.created;
  kept = {key, value, created, etcd->revision, lease};
  etcd->history.push_back({false, kept});
}

void fake_delete(fake_etcd *etcd, const std::string &key) {
  if (etcd->values.erase(key) > 0) {
    etcd_value gone;
    gone.key = key;
    gone.modified = etcd->revision;
    etcd->history.push_back({true, gone});
  }
}

void fake_end_lease(fake_etcd *etcd, int64_t lease) {
  etcd->leases.erase(lease);
  ++etcd->revision;
  std::vector<std::string> keys;
  for (const auto &[key, value] : etcd->values) {
    if (value.lease == lease) {
      keys.push_back(key);
    }
  }
  for (const std::string &key : keys) {
    fake_delete(etcd, key);
  }
}

namespace {

json kv_of(const etcd_value &value) {
  return {{"key", base64_of(value.key)},
          {"value", base64_of(value.value)},
          {"create_revision", std::to_string(value.created)},
          {"mod_revision", std::to_string(value.modified)},
          {"lease", std::to_string(value.lease)}};
}

etcd_value found_of(const fake_etcd *etcd, const std::string &key) {
  const auto found = etcd->values.find(key);
  return found == etcd->values.end() ? etcd_value{} : found->second;
}

bool holds(const fake_etcd *etcd, const json &compare) {
  const etcd_value found = found_of(etcd, bytes_of_base64(json_text(compare, "key")));
  const bool by_creation = json_text(compare, "target") == "CREATE";
  const int64_t is = by_creation ? found.created : found.modified;
  const int64_t wanted = json_number(compare, by_creation ? "create_revision" : "mod_revision");
  return json_text(compare, "result") == "GREATER" ? is > wanted : is == wanted;
}

json range(const fake_etcd *etcd, const json &wanted) {
  const std::string key = bytes_of_base64(json_text(wanted, "key"));
  const std::string end = bytes_of_base64(json_text(wanted, "range_end"));
  json kvs = json::array();
  for (const auto &[each, value] : etcd->values) {
    if (end.empty() ? each == key : each >= key && each < end) {
      kvs.push_back(kv_of(value));
    }
  }
  return {{"response_range", {{"kvs", kvs}}}};
}

bool names_unknown_lease(const fake_etcd *etcd, const json &operations) {
  return std::ranges::any_of(operations, [&](const json &each) {
    const int64_t lease = json_number(json_at(each, "request_put"), "lease");
    return lease != 0 && !etcd->leases.contains(lease);
  });
}

json refusal(int code, const char *text) {
  return {{"error", text}, {"code", code}};
}

json transact(fake_etcd *etcd, const json &body) {
  const json &compare = json_at(body, "compare");
  const bool succeeded = std::ranges::all_of(compare, [&](const json &each) { return holds(etcd, each); });
  const json &operations = json_at(body, succeeded ? "success" : "failure");
  if (names_unknown_lease(etcd, operations)) {
    return refusal(5, "etcdserver: requested lease not found");
  }
  const bool writes = std::ranges::any_of(operations, [](const json &each) { return !each.contains("request_range"); });
  etcd->revision += writes ? 1 : 0;
  json responses = json::array();
  for (const json &each : operations) {
    if (each.contains("request_put")) {
      const json &put = each.at("request_put");
      fake_put(etcd, bytes_of_base64(json_text(put, "key")), bytes_of_base64(json_text(put, "value")),
               json_number(put, "lease"));
      responses.push_back({{"response_put", json::object()}});
    } else if (each.contains("request_delete_range")) {
      fake_delete(etcd, bytes_of_base64(json_text(each.at("request_delete_range"), "key")));
      responses.push_back({{"response_delete_range", json::object()}});
    } else {
      responses.push_back(range(etcd, each.at("request_range")));
    }
  }
  return {
      {"header", {{"revision", std::to_string(etcd->revision)}}}, {"succeeded", succeeded}, {"responses", responses}};
}

json grant(fake_etcd *etcd, const json &body) {
  const int64_t seconds = json_number(body, "TTL");
  const int64_t lease = 1000 + static_cast<int64_t>(etcd->started);
  etcd->leases[lease] = {monotonic_ms() + seconds * 1000, seconds};
  return {{"ID", std::to_string(lease)}, {"TTL", std::to_string(seconds)}};
}

json keep_alive(fake_etcd *etcd, const json &body) {
  const int64_t lease = json_number(body, "ID");
  if (etcd->lease_refusals > 0) {
    --etcd->lease_refusals;
    fake_end_lease(etcd, lease);
  }
  const auto found = etcd->leases.find(lease);
  if (found == etcd->leases.end()) {
    return {{"result", {{"ID", std::to_string(lease)}}}};
  }
  found->second.ends = monotonic_ms() + found->second.seconds * 1000;
  return {{"result", {{"ID", std::to_string(lease)}, {"TTL", std::to_string(found->second.seconds)}}}};
}

json authenticate(fake_etcd *etcd, const json &body) {
  if (json_text(body, "name") != etcd->user || json_text(body, "password") != etcd->password) {
    return refusal(3, "etcdserver: authentication failed, invalid user ID or password");
  }
  ++etcd->authentications;
  return {{"token", "token" + std::to_string(etcd->authentications)}};
}

bool writes_session(const std::string &body) {
  return body.find(base64_of("/switch/lab/kdx").substr(0, 16)) != std::string::npos &&
         json_at(json::parse(body), "compare").size() > 0 &&
         std::ranges::any_of(json_at(json::parse(body), "success"), [](const json &each) {
           return each.contains("request_put") || each.contains("request_delete_range");
         });
}

json answer_of(fake_etcd *etcd, const std::string &url, const std::string &text) {
  const json body = json::parse(text, nullptr, false);
  const auto is = [&](const char *path) { return url.ends_with(path); };
  if (is("/v3/kv/txn")) {
    return transact(etcd, body);
  }
  if (is("/v3/lease/grant")) {
    return grant(etcd, body);
  }
  return is("/v3/lease/keepalive") ? keep_alive(etcd, body) : authenticate(etcd, body);
}

void finish(fake_etcd *etcd, uint64_t number, const http_outcome &outcome) {
  const fake_request request = etcd->requests.at(number);
  etcd->requests.erase(number);
  request.done(request.caller, outcome);
}

json events_of(const fake_etcd *etcd, fake_request &request) {
  json events = json::array();
  int64_t revision = 0;
  for (; request.told < etcd->history.size(); ++request.told) {
    const fake_event &event = etcd->history[request.told];
    if (event.value.modified < request.from || !event.value.key.starts_with(request.prefix)) {
      continue;
    }
    if (revision != 0 && event.value.modified != revision) {
      break;  // one revision a line
    }
    revision = event.value.modified;
    json one = {{"kv", kv_of(event.value)}};
    if (event.deleted) {
      one["type"] = "DELETE";
    }
    events.push_back(one);
  }
  return events;
}

// Returns whether there was something to tell.
bool tell_watch(fake_etcd *etcd, fake_request &request) {
  if (!request.created) {
    request.created = true;
    const bool is_gone = request.from <= etcd->compacted;
    const json line = is_gone ? json{{"result", {{"canceled", true}, {"compact_revision", "7"}}}}
                              : json{{"result", {{"created", true}}}};
    request.line(request.caller, line.dump());
    return true;
  }
  const json events = events_of(etcd, request);
  if (!events.empty()) {
    request.line(request.caller, json{{"result", {{"events", events}}}}.dump());
  }
  return !events.empty();
}

bool is_watch(const fake_request &request) {
  return request.line != nullptr;
}

void do_one(fake_etcd *etcd, uint64_t number) {
  fake_request &request = etcd->requests.at(number);
  if (etcd->gone) {
    return finish(etcd, number, {0, "", "nobody listens"});
  }
  const bool writes = request.url.ends_with("/v3/kv/txn") && writes_session(request.body);
  if (writes && (etcd->lost_requests > 0 || etcd->late > 0)) {
    if (etcd->late > 0) {
      etcd->later.emplace_back(monotonic_ms() + etcd->late, request.body);
      etcd->late = 0;
    } else {
      --etcd->lost_requests;
    }
    request.silent = true;
    return;
  }
  if (writes && etcd->slow_write > 0) {
    request.done_at = monotonic_ms() + std::exchange(etcd->slow_write, 0);
  }
  if (request.done_at > monotonic_ms()) {
    return;
  }
  const json body = answer_of(etcd, request.url, request.body);
  if (etcd->slow_read > 0 && request.body.find(base64_of("/switch/lab/id")) != std::string::npos) {
    request.told_at = monotonic_ms() + std::exchange(etcd->slow_read, 0);
    request.answer = {200, body.dump(), ""};
    return;
  }
  if (writes && etcd->lost_answers > 0) {
    --etcd->lost_answers;
    request.silent = true;
    return;
  }
  finish(etcd, number, {body.contains("code") ? 400L : 200L, body.dump(), ""});
}

void expire_leases(fake_etcd *etcd) {
  std::vector<int64_t> ended;
  for (const auto &[lease, kept] : etcd->leases) {
    if (kept.ends < monotonic_ms()) {
      ended.push_back(lease);
    }
  }
  for (const int64_t lease : ended) {
    fake_end_lease(etcd, lease);
  }
}

void do_later(fake_etcd *etcd) {
  for (size_t i = 0; i < etcd->later.size(); ++i) {
    if (etcd->later[i].first <= monotonic_ms()) {
      const json body = json::parse(etcd->later[i].second);
      etcd->later.erase(etcd->later.begin() + static_cast<std::ptrdiff_t>(i--));
      transact(etcd, body);
    }
  }
}

void on_turn(evutil_socket_t, short, void *context) {
  auto *etcd = static_cast<fake_etcd *>(context);
  do_later(etcd);
  expire_leases(etcd);
  std::vector<uint64_t> numbers;
  for (const auto &[number, request] : etcd->requests) {
    numbers.push_back(number);
  }
  for (const uint64_t number : numbers) {
    const auto found = etcd->requests.find(number);
    if (found == etcd->requests.end()) {
      continue;
    }
    if (is_watch(found->second) && etcd->gone) {
      finish(etcd, number, {0, "", "nobody listens"});
    } else if (is_watch(found->second) && !etcd->watch_stands) {
      tell_watch(etcd, found->second);
    } else if (!is_watch(found->second) && found->second.silent && found->second.ends <= monotonic_ms()) {
      finish(etcd, number, {0, "", "timed out"});
    } else if (found->second.told_at != 0) {
      if (found->second.told_at <= monotonic_ms()) {
        finish(etcd, number, http_outcome(found->second.answer));
      }
    } else if (!is_watch(found->second) && !found->second.silent) {
      do_one(etcd, number);
    }
  }
}

// One client's way to it.
struct fake_port {
  fake_etcd *etcd;
};

uint64_t start(void *context, const http_request &request, http_line line, http_done done, void *caller) {
  fake_etcd *etcd = static_cast<fake_port *>(context)->etcd;
  fake_request kept;
  kept.number = ++etcd->started;
  kept.port = context;
  kept.url = request.url;
  kept.body = request.body;
  kept.ends = monotonic_ms() + request.timeout;
  kept.line = line;
  kept.done = done;
  kept.caller = caller;
  if (line != nullptr) {
    const json create = json_at(json::parse(request.body), "create_request");
    kept.prefix = bytes_of_base64(json_text(create, "key"));
    kept.from = json_number(create, "start_revision");
  }
  etcd->requests[kept.number] = kept;
  return kept.number;
}

void cancel(void *context, uint64_t number) {
  static_cast<fake_port *>(context)->etcd->requests.erase(number);
}

void close_transport(void *context) {
  auto *port = static_cast<fake_port *>(context);
  std::erase_if(port->etcd->requests, [port](const auto &each) { return each.second.port == port; });
  delete port;
}

}  // namespace

http_transport fake_etcd_transport(fake_etcd *etcd) {
  if (!etcd->timer) {
    static constexpr timeval kTurn = {0, 1000};
    etcd->timer.reset(event_new(etcd->base, -1, EV_PERSIST, on_turn, etcd));
    event_add(etcd->timer.get(), &kTurn);
  }
  return {new fake_port{etcd}, start, cancel, close_transport};
}

bool fake_end_watch(fake_etcd *etcd) {
  const auto found = std::ranges::find_if(etcd->requests, [](const auto &each) { return is_watch(each.second); });
  if (found == etcd->requests.end()) {
    return false;
  }
  finish(etcd, found->first, {0, "", "the stream ended"});
  return true;
}
