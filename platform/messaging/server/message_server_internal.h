// What the files of the message server share.
#ifndef PLATFORM_MESSAGING_SERVER_MESSAGE_SERVER_INTERNAL_H
#define PLATFORM_MESSAGING_SERVER_MESSAGE_SERVER_INTERNAL_H

#include <stdint.h>

#include <deque>
#include <list>
#include <memory>
#include <vector>

#include "event_ptr.h"
#include "log_limit.h"
#include "message_frame.h"
#include "message_server.h"
#include "socket_listener.h"

using frame_bytes = std::vector<uint8_t>;

struct server_connection;

// An answer that a fault holds back.
struct delayed_answer {
  server_connection *connection;
  frame_bytes frame;
  event_ptr timer;
};

// A request that its handler answers later.
struct awaited_answer {
  uint64_t number;
  message_header request;
};

struct server_connection {
  message_server *server;
  int fd;
  uid_t uid;
  pid_t pid;
  uint64_t number = 0;  // counted from 1
  event_ptr readable;
  event_ptr writable;
  int64_t used = 0;                // when it last carried a frame; monotonic milliseconds
  bool leaving = false;            // it is read to its end and then closed
  std::deque<frame_bytes> output;  // answers that the socket had no room for
  std::list<delayed_answer> delayed;
  std::vector<awaited_answer> awaited;
};

struct message_server {
  event_base *base;
  int service;
  message_handler handler;
  void *context;
  message_log log = nullptr;
  connection_ended ended = nullptr;
  socket_listener *listener = nullptr;
  event_ptr sweep = {};  // closes idle connections
  message_limits limits = {};
  std::list<server_connection> connections = {};
  std::vector<message_fault> faults = {};
  message_counters counters = {};
  log_limit reports = {};
};

// Takes over the accepted socket `fd`. Returns false when there is no memory for it; `fd` is still the caller's then.
bool server_connection_add(message_server *server, int fd, uid_t uid, pid_t pid);

// Milliseconds for which nothing was outstanding on the connection, which may then be closed; -1 while something is.
int64_t server_connection_idle(const server_connection *connection, int64_t now);

// Closes a connection that is idle, if no request has arrived in the meantime; that is answered first. Returns whether
// it is closed.
bool server_connection_retire(server_connection *connection);

// Closes the connection and frees it.
void server_connection_close(server_connection *connection);

// Ends a connection of a server whose places are all taken, in favour of a new one of `uid` and `pid`: one of the user
// who holds most, or else of that user's own process which holds most, if that is more than these hold; else one that
// has been idle for `gives_way`, of somebody who does not hold less. Returns whether there is room, or will be once the
// request that has arrived there is answered.
bool message_server_make_room(message_server *server, uid_t uid, pid_t pid);

// The fault that hits the request, or null. Its count goes down by one.
std::unique_ptr<message_fault> message_server_take_fault(message_server *server, const message_header &header);

// Reports one line, formatted as printf does, as far as the limit of lines that peers can cause allows.
void message_server_report(message_server *server, const char *format, ...) __attribute__((format(printf, 2, 3)));

#endif
