// How the fabric's engine is reached: HTTP requests that nobody waits for. The transport that ships is a library of its
// own, loaded when a switch is in a fabric, so that all others do without what it needs.
#ifndef PLATFORM_FABRIC_HTTP_TRANSPORT_H
#define PLATFORM_FABRIC_HTTP_TRANSPORT_H

#include <stdint.h>

#include <string>
#include <string_view>

struct event_base;

// One POST request with a JSON body.
struct http_request {
  std::string url;
  std::string body;
  std::string authorization;  // the header's value; empty: none
  int64_t timeout = 0;        // milliseconds; 0: a stream that goes on until it is cancelled or ends
};

struct http_outcome {
  long status = 0;    // HTTP's; 0: there was no answer
  std::string body;   // of a request that is no stream
  std::string error;  // why there was no answer
};

// What is called on the loop's thread; `caller` is that of the request. Neither is called after a cancel.
using http_line = void (*)(void *caller, std::string_view line);  // of a stream, without its end
using http_done = void (*)(void *caller, const http_outcome &outcome);

struct http_transport {
  void *context;
  // Starts a request. Returns its number, which is not 0; `done` comes later in any case. `line` is null when the
  // request is no stream.
  uint64_t (*start)(void *context, const http_request &request, http_line line, http_done done, void *caller);
  void (*cancel)(void *context, uint64_t request);
  // Cancels what is under way and frees the transport.
  void (*close)(void *context);
};

// What https asks for; empty names are left out.
struct http_credentials {
  std::string ca;    // file of certificates that the servers' are signed by
  std::string cert;  // this client's own
  std::string key;
};

// Loads the transport that ships. Returns false with `error` filled when it is not there.
bool http_transport_load(event_base *base, const http_credentials &credentials, http_transport &transport,
                         std::string &error);

// What the library of the transport exports under the name "http_transport_open".
using http_transport_opener = bool (*)(event_base *base, const http_credentials &credentials, http_transport &transport,
                                       std::string &error);

#endif
