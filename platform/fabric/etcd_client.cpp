#include "etcd_client.h"

#include <event2/event.h>

#include <algorithm>
#include <list>

#include "etcd_json.h"
#include "event_ptr.h"
#include "monotonic_clock.h"

using nlohmann::json;

namespace {

constexpr int kPause = 100;  // milliseconds before the next member is asked; twice as long each time

}  // namespace

struct etcd_request {
  etcd_client *client;
  std::string path;
  std::string body;
  int64_t ends;  // monotonic milliseconds
  etcd_done done;
  void *caller;
  size_t endpoint = 0;  // that was asked last
  uint64_t http = 0;
  event_ptr pause = {};
  std::string error = {};  // of the last attempt
  bool authenticates = false;
  int pauses = 0;
};

struct etcd_client {
  event_base *base;
  http_transport transport;
  etcd_access access;
  size_t endpoint = 0;
  std::string token = {};
  std::list<etcd_request> requests = {};
  uint64_t watch = 0;  // of the transport; 0: none
  size_t watch_endpoint = 0;
  etcd_line watch_line = nullptr;
  etcd_done watch_done = nullptr;
  void *watch_caller = nullptr;
};

namespace {

void attempt(etcd_request &request);

void end(etcd_request &request, const etcd_answer &answer) {
  etcd_client *client = request.client;
  const etcd_done done = request.done;
  void *caller = request.caller;
  client->requests.remove_if([&](const etcd_request &each) { return &each == &request; });
  done(caller, answer);
}

void on_pause_over(evutil_socket_t, short, void *context) {
  attempt(*static_cast<etcd_request *>(context));
}

void attempt_after_pause(etcd_request &request) {
  const int milliseconds = kPause << std::min(request.pauses++, 3);
  const timeval after = {0, suseconds_t{milliseconds} * 1000};
  request.pause.reset(event_new(request.client->base, -1, 0, on_pause_over, &request));
  event_add(request.pause.get(), &after);
}

// The next member, unless another request has gone on to it already.
void go_on(etcd_request &request) {
  etcd_client *client = request.client;
  if (client->endpoint == request.endpoint) {
    client->endpoint = (client->endpoint + 1) % client->access.endpoints.size();
  }
  attempt_after_pause(request);
}

// What etcd refuses for a moment only: no leader, a member that stops, too much to do.
bool is_passing(long status, int code) {
  constexpr int kDeadline = 4, kExhausted = 8, kUnavailable = 14;
  return status == 0 || code == kDeadline || code == kExhausted || code == kUnavailable || (status >= 500 && code == 0);
}

bool is_token_problem(const etcd_request &request, int code, const std::string &error) {
  return !request.client->access.user.empty() && !request.authenticates &&
         (code == kEtcdUnauthenticated || error.find("user name is empty") != std::string::npos);
}

void on_http_done(void *caller, const http_outcome &outcome) {
  auto &request = *static_cast<etcd_request *>(caller);
  request.http = 0;
  etcd_answer answer;
  answer.body = json::parse(outcome.body, nullptr, false);
  if (outcome.status == 200 && answer.body.is_object()) {
    answer.end = etcd_end::ok;
    return end(request, answer);
  }
  answer.code = static_cast<int>(json_number(answer.body, "code"));
  answer.error = json_text(answer.body, "error");
  if (answer.error.empty()) {
    answer.error = outcome.status == 0 ? outcome.error : "HTTP status " + std::to_string(outcome.status);
  }
  request.error = request.client->access.endpoints[request.endpoint] + ": " + answer.error;
  if (is_token_problem(request, answer.code, answer.error)) {
    request.client->token.clear();
    return attempt_after_pause(request);
  }
  if (is_passing(outcome.status, answer.code)) {
    return go_on(request);
  }
  answer.end = etcd_end::refused;
  answer.error = request.error;
  end(request, answer);
}

void on_token(void *caller, const http_outcome &outcome) {
  auto &request = *static_cast<etcd_request *>(caller);
  const json body = json::parse(outcome.body, nullptr, false);
  request.client->token = json_text(body, "token");
  if (outcome.status == 200 && !request.client->token.empty()) {
    request.http = 0;
    return attempt(request);
  }
  request.authenticates = true;
  on_http_done(caller, outcome);
}

void attempt(etcd_request &request) {
  etcd_client *client = request.client;
  const int64_t left = request.ends - monotonic_ms();
  if (left <= 0) {
    return end(request, {etcd_end::silent, {}, 0, request.error.empty() ? "no answer in time" : request.error});
  }
  request.endpoint = client->endpoint;
  request.authenticates = false;
  const int64_t time = std::min(left, client->access.attempt);
  const std::string &base = client->access.endpoints[request.endpoint];
  if (!client->access.user.empty() && client->token.empty()) {
    const json who = {{"name", client->access.user}, {"password", client->access.password}};
    request.http = client->transport.start(
        client->transport.context, {base + "/v3/auth/authenticate", who.dump(), "", time}, nullptr, on_token, &request);
    return;
  }
  request.http =
      client->transport.start(client->transport.context, {base + request.path, request.body, client->token, time},
                              nullptr, on_http_done, &request);
}

void on_watch_line(void *caller, std::string_view text) {
  auto *client = static_cast<etcd_client *>(caller);
  const json line = json::parse(text, nullptr, false);
  client->watch_line(client->watch_caller, line);
}

void on_watch_done(void *caller, const http_outcome &outcome) {
  auto *client = static_cast<etcd_client *>(caller);
  client->watch = 0;
  const std::string why = outcome.status == 0 ? outcome.error : "the watch ended";
  client->watch_done(client->watch_caller,
                     {etcd_end::silent, {}, 0, client->access.endpoints[client->watch_endpoint] + ": " + why});
}

}  // namespace

etcd_client *etcd_client_open(event_base *base, const http_transport &transport, const etcd_access &access) {
  return new etcd_client{.base = base, .transport = transport, .access = access};
}

void etcd_client_close(etcd_client *client) {
  if (client != nullptr) {
    client->transport.close(client->transport.context);
    delete client;
  }
}

void etcd_call(etcd_client *client, const char *path, const json &body, int64_t time, etcd_done done, void *caller) {
  client->requests.push_back({client, path, body.dump(), monotonic_ms() + time, done, caller});
  attempt(client->requests.back());
}

void etcd_watch(etcd_client *client, const std::string &prefix, int64_t revision, etcd_line line, etcd_done done,
                void *caller) {
  etcd_unwatch(client);
  client->watch_line = line;
  client->watch_done = done;
  client->watch_caller = caller;
  client->watch_endpoint = client->endpoint;
  const json body = {{"create_request",
                      {{"key", base64_of(prefix)},
                       {"range_end", base64_of(etcd_range_end(prefix))},
                       {"start_revision", std::to_string(revision)}}}};
  client->watch = client->transport.start(
      client->transport.context,
      {client->access.endpoints[client->endpoint] + "/v3/watch", body.dump() + "\n", client->token, 0}, on_watch_line,
      on_watch_done, client);
}

void etcd_unwatch(etcd_client *client) {
  if (client->watch != 0) {
    client->transport.cancel(client->transport.context, client->watch);
    client->watch = 0;
  }
}

const std::string &etcd_endpoint(const etcd_client *client) {
  return client->access.endpoints[client->endpoint];
}

bool etcd_watch_is_there(const etcd_client *client) {
  return client->watch != 0 && client->watch_endpoint == client->endpoint;
}
