// Requests to a cluster of etcd: whichever member answers. Nothing here waits.
#ifndef PLATFORM_FABRIC_ETCD_CLIENT_H
#define PLATFORM_FABRIC_ETCD_CLIENT_H

#include <stdint.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "http_transport.h"

struct etcd_client;

struct etcd_access {
  std::vector<std::string> endpoints;  // URLs without a path
  std::string user;                    // empty: none
  std::string password;
  int64_t attempt = 1000;  // milliseconds for which one member is asked
};

// What a request ended with.
enum class etcd_end {
  ok,
  refused,  // etcd said no; `code` tells why
  silent,   // nobody answered in time: what was asked may have been done, or may still be
};

// NOLINTNEXTLINE(bugprone-exception-escape): moving a JSON value only looks as if it could throw
struct etcd_answer {
  etcd_end end = etcd_end::silent;
  nlohmann::json body;
  int code = 0;       // gRPC's
  std::string error;  // for people
};

enum { kEtcdNotFound = 5, kEtcdCompacted = 11, kEtcdUnauthenticated = 16 };

using etcd_done = void (*)(void *caller, const etcd_answer &answer);

// `access.endpoints` is not empty. The transport is the client's from then on.
etcd_client *etcd_client_open(event_base *base, const http_transport &transport, const etcd_access &access);
// Null is allowed. No caller is told of what was under way.
void etcd_client_close(etcd_client *client);

// Asks member after member for up to `time` milliseconds, then calls `done`. A request may reach etcd more than once:
// it has to be one that does no harm then.
void etcd_call(etcd_client *client, const char *path, const nlohmann::json &body, int64_t time, etcd_done done,
               void *caller);

// Watches all keys that start with the prefix, from the revision on. Each line of the stream is handed to `line`; it
// ends with `done`, unless etcd_unwatch came first. One watch at a time.
using etcd_line = void (*)(void *caller, const nlohmann::json &line);
void etcd_watch(etcd_client *client, const std::string &prefix, int64_t revision, etcd_line line, etcd_done done,
                void *caller);
void etcd_unwatch(etcd_client *client);

// The member that is asked now, and whether the watch goes to it.
const std::string &etcd_endpoint(const etcd_client *client);
bool etcd_watch_is_there(const etcd_client *client);

#endif
