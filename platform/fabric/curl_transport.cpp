// The transport that ships: libcurl's multi interface in the switch's own event loop.
#include <curl/curl.h>
#include <event2/event.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "event_ptr.h"
#include "http_transport.h"

namespace {

constexpr long kConnectMax = 500;     // milliseconds; a member that is there answers on the first packet
constexpr size_t kLineMax = 8 << 20;  // octets of a stream's line, or of an answer; no fabric has more
constexpr long kStreamSilence = 30;   // seconds after which the kernel looks whether a silent peer is there
constexpr long kConnectionsKept = 4;  // of requests that have ended
constexpr const char *kStatusNotHttp = "no answer";

struct curl_slist_deleter {
  void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

struct curl_request {
  struct curl_transport *owner = nullptr;
  uint64_t number = 0;
  CURL *handle = nullptr;
  std::unique_ptr<curl_slist, curl_slist_deleter> headers;
  std::string body;   // that is sent
  std::string input;  // that came and was not handed on
  char error[CURL_ERROR_SIZE] = {};
  http_line line = nullptr;
  http_done done = nullptr;
  void *caller = nullptr;
  event_ptr failed = {};  // tells of a request that could not be started
};

struct curl_transport {
  event_base *base;
  http_credentials credentials;
  CURLM *multi = nullptr;
  event_ptr timer = {};
  std::map<curl_socket_t, event_ptr> sockets = {};
  std::map<uint64_t, curl_request> requests = {};
  std::vector<uint64_t> fresh = {};  // streams with input
  uint64_t started = 0;
};

void finish(curl_transport *transport, uint64_t number, CURLcode code) {
  const auto found = transport->requests.find(number);
  if (found == transport->requests.end()) {
    return;
  }
  curl_request &request = found->second;
  http_outcome outcome;
  if (code == CURLE_OK) {
    curl_easy_getinfo(request.handle, CURLINFO_RESPONSE_CODE, &outcome.status);
    outcome.body = std::move(request.input);
  }
  if (outcome.status == 0) {
    const char *why = request.error[0] != '\0' ? request.error : curl_easy_strerror(code);
    outcome.error = code == CURLE_OK ? kStatusNotHttp : why;
  }
  const http_done done = request.done;
  void *caller = request.caller;
  curl_multi_remove_handle(transport->multi, request.handle);
  curl_easy_cleanup(request.handle);
  transport->requests.erase(found);
  done(caller, outcome);
}

// A request may start others, or be cancelled, while it is told of its end.
void finish_all(curl_transport *transport) {
  int left = 0;
  while (const CURLMsg *message = curl_multi_info_read(transport->multi, &left)) {
    if (message->msg == CURLMSG_DONE) {
      char *kept = nullptr;
      const CURLcode code = message->data.result;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &kept);
      finish(transport, reinterpret_cast<curl_request *>(kept)->number, code);
    }
  }
}

// The first whole line of the stream. Returns false when there is none, or no such stream any more.
bool take_line(curl_transport *transport, uint64_t number, std::string &line) {
  const auto found = transport->requests.find(number);
  const size_t end = found == transport->requests.end() ? std::string::npos : found->second.input.find('\n');
  if (end == std::string::npos) {
    return false;
  }
  line = found->second.input.substr(0, end);
  found->second.input.erase(0, end + 1);
  return true;
}

// Outside of curl's own calls, since what is told may start and cancel requests.
void hand_on_lines(curl_transport *transport) {
  for (const uint64_t number : std::exchange(transport->fresh, {})) {
    std::string line;
    while (take_line(transport, number, line)) {
      const curl_request &request = transport->requests.at(number);
      request.line(request.caller, line);
    }
  }
}

void act(curl_transport *transport, curl_socket_t fd, int ready) {
  int running = 0;
  curl_multi_socket_action(transport->multi, fd, ready, &running);
  hand_on_lines(transport);
  finish_all(transport);
}

void on_socket_ready(evutil_socket_t fd, short what, void *context) {
  const int ready = ((what & EV_READ) != 0 ? CURL_CSELECT_IN : 0) | ((what & EV_WRITE) != 0 ? CURL_CSELECT_OUT : 0);
  act(static_cast<curl_transport *>(context), fd, ready);
}

void on_curl_timer(evutil_socket_t, short, void *context) {
  act(static_cast<curl_transport *>(context), CURL_SOCKET_TIMEOUT, 0);
}

int watch_socket(CURL *, curl_socket_t fd, int what, void *context, void *) {
  auto *transport = static_cast<curl_transport *>(context);
  transport->sockets.erase(fd);
  if (what == CURL_POLL_REMOVE) {
    return 0;
  }
  const int wanted =
      EV_PERSIST | ((what & CURL_POLL_IN) != 0 ? EV_READ : 0) | ((what & CURL_POLL_OUT) != 0 ? EV_WRITE : 0);
  event_ptr watch(event_new(transport->base, fd, static_cast<short>(wanted), on_socket_ready, transport));
  if (!watch || event_add(watch.get(), nullptr) != 0) {
    return -1;
  }
  transport->sockets[fd] = std::move(watch);
  return 0;
}

int set_timer(CURLM *, long milliseconds, void *context) {
  auto *transport = static_cast<curl_transport *>(context);
  if (milliseconds < 0) {
    event_del(transport->timer.get());
    return 0;
  }
  const timeval after = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  return event_add(transport->timer.get(), &after);
}

size_t take_input(char *bytes, size_t, size_t count, void *context) {
  auto &request = *static_cast<curl_request *>(context);
  if (request.input.size() + count > kLineMax) {
    return 0;
  }
  request.input.append(bytes, count);
  if (request.line != nullptr) {
    request.owner->fresh.push_back(request.number);
  }
  return count;
}

void set_credentials(CURL *handle, const http_credentials &credentials) {
  const struct {
    CURLoption option;
    const std::string &file;
  } files[] = {
      {CURLOPT_CAINFO, credentials.ca}, {CURLOPT_SSLCERT, credentials.cert}, {CURLOPT_SSLKEY, credentials.key}};
  for (const auto &each : files) {
    if (!each.file.empty()) {
      curl_easy_setopt(handle, each.option, each.file.c_str());
    }
  }
}

void describe(curl_transport *transport, curl_request &kept, const http_request &request) {
  CURL *handle = kept.handle;
  curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, kept.body.c_str());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(kept.body.size()));
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, kept.headers.get());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take_input);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &kept);
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, kept.error);
  curl_easy_setopt(handle, CURLOPT_PRIVATE, &kept);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");  // what the environment says is for people's programs
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectMax);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout));
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPIDLE, kStreamSilence);
  set_credentials(handle, transport->credentials);
}

// Of a request that could not be started.
void report_failure(evutil_socket_t, short, void *context) {
  auto *request = static_cast<curl_request *>(context);
  finish(request->owner, request->number, CURLE_FAILED_INIT);
}

uint64_t start(void *context, const http_request &request, http_line line, http_done done, void *caller) {
  auto *transport = static_cast<curl_transport *>(context);
  const uint64_t number = ++transport->started;
  curl_request &kept = transport->requests[number];
  kept.owner = transport;
  kept.number = number;
  kept.body = request.body;
  kept.line = line;
  kept.done = done;
  kept.caller = caller;
  curl_slist *headers = curl_slist_append(nullptr, "Content-Type: application/json");
  headers = curl_slist_append(headers, "Expect:");  // no round trip before a large body
  if (!request.authorization.empty()) {
    headers = curl_slist_append(headers, ("Authorization: " + request.authorization).c_str());
  }
  kept.headers.reset(headers);
  kept.handle = curl_easy_init();
  if (kept.handle != nullptr) {
    describe(transport, kept, request);
  }
  if (kept.handle == nullptr || curl_multi_add_handle(transport->multi, kept.handle) != CURLM_OK) {
    const timeval now = {};
    kept.failed.reset(event_new(transport->base, -1, 0, report_failure, &kept));
    event_add(kept.failed.get(), &now);
  }
  return number;
}

void cancel(void *context, uint64_t number) {
  auto *transport = static_cast<curl_transport *>(context);
  const auto found = transport->requests.find(number);
  if (found == transport->requests.end()) {
    return;
  }
  curl_multi_remove_handle(transport->multi, found->second.handle);
  curl_easy_cleanup(found->second.handle);
  transport->requests.erase(found);
}

void close_transport(void *context) {
  auto *transport = static_cast<curl_transport *>(context);
  while (!transport->requests.empty()) {
    cancel(transport, transport->requests.begin()->first);
  }
  curl_multi_cleanup(transport->multi);
  delete transport;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool http_transport_open(event_base *base,
                                                                           const http_credentials &credentials,
                                                                           http_transport &transport,
                                                                           std::string &error) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  auto *opened = new curl_transport{.base = base, .credentials = credentials};
  opened->multi = curl_multi_init();
  opened->timer.reset(event_new(base, -1, 0, on_curl_timer, opened));
  if (opened->multi == nullptr || !opened->timer) {
    error = "no memory for requests to the fabric";
    delete opened;
    return false;
  }
  curl_multi_setopt(opened->multi, CURLMOPT_SOCKETFUNCTION, watch_socket);
  curl_multi_setopt(opened->multi, CURLMOPT_SOCKETDATA, opened);
  curl_multi_setopt(opened->multi, CURLMOPT_TIMERFUNCTION, set_timer);
  curl_multi_setopt(opened->multi, CURLMOPT_TIMERDATA, opened);
  curl_multi_setopt(opened->multi, CURLMOPT_MAXCONNECTS, kConnectionsKept);
  transport = {opened, start, cancel, close_transport};
  return true;
}
