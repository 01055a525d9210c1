// Hands notifications to their one subscriber, as notification_frame.h has it. They stay in the store
// until they are acknowledged. Nothing here waits: a subscriber that does not read or acknowledge gets no more, and the
// queue's own bound does the rest.
//
// The first process that subscribes keeps the subscription for as long as it lives; a second one is told who has it.
#ifndef SWITCHD_NOTIFICATION_SERVER_H
#define SWITCHD_NOTIFICATION_SERVER_H

#include <stdint.h>

#include "managers.h"

struct event_base;
struct notification_server;

// Listens in the run directory. Returns null with `errno` on failure. `managers` must outlive the server.
notification_server *notification_server_open(event_base *base, const char *run_dir, switch_managers &managers);

// Sends what the subscriber has room for. To be called after each change.
void notification_server_pump(notification_server *server);

// Counters for people.
struct notification_counters {
  bool subscribed = false;
  uint64_t sent = 0;          // since the start, repetitions included
  uint64_t acknowledged = 0;  // the number up to which all are taken
};
notification_counters notification_server_counters(const notification_server *server);

// Stores what was acknowledged, closes all connections and removes the socket, unless another server has put its
// own there. Null is allowed.
void notification_server_close(notification_server *server);

#endif
