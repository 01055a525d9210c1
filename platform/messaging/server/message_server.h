// The receiving side of the messaging library: one listening socket a service, inside a libevent loop.
//
// 1. All calls are made on the loop's thread. A handler answers before it returns, or says that the answer comes later.
// 2. A malformed message is answered with a status of ours, counted and logged; the connection stays, unless the frame
//    itself cannot be read.
// 3. Peers are checked with SO_PEERCRED: root, the server's own user, and members of the server's group may connect.
// 4. What a peer can make the server keep is bounded: a peer that does not read its answers is not read from, and an
//    idle connection is closed after a while. When all places are taken, who holds most of them loses one to who holds
//    less, and among equals one that is idle gives way. A client connects again.
#ifndef PLATFORM_MESSAGING_SERVER_MESSAGE_SERVER_H
#define PLATFORM_MESSAGING_SERVER_MESSAGE_SERVER_H

#include <stdint.h>
#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "message_frame.h"

struct event_base;
struct message_server;

// One request as it arrived. The views are valid until the handler returns.
struct message_request {
  int opcode;
  int msg_type;
  std::basic_string_view<uint8_t> payload;
  std::string_view user;     // empty for a read
  std::string_view session;  // empty for a read
  bool wants_payload;        // the client has room for an answer's payload
  uid_t peer_uid;
  pid_t peer_pid;
  uint64_t connection;               // that it came on: counted from 1, no number is given twice
  message_server *server = nullptr;  // that it came to
  uint64_t number = 0;               // of the request there: counted from 1
};

// What a handler answers. `payload` is sent when the client wants one.
struct message_reply {
  int status = 0;
  std::vector<uint8_t> payload;
  bool later = false;  // nothing is sent now; message_server_answer is due
};

using message_handler = void (*)(void *context, const message_request &request, message_reply &reply);

// Serves `service` in the run directory: an AF_UNIX SOCK_SEQPACKET socket of mode 0660. A socket file left over by a
// dead server is replaced. Returns null with `errno` on failure (EADDRINUSE: another server answers there).
message_server *message_server_open(event_base *base, const char *run_dir, int service, message_handler handler,
                                    void *context);

// Answers a request whose handler said that the answer comes later. A client that has gone in the meantime gets none.
void message_server_answer(message_server *server, uint64_t connection, uint64_t number, const message_reply &reply);

// Whether the client of such a request still waits for its answer.
bool message_server_is_awaited(const message_server *server, uint64_t connection, uint64_t number);

// Where malformed requests and refused peers are reported, one line of text each; `context` is that of the handler.
// Peers cause twenty lines at once and one a second; the next line says how many were left out.
// Nothing is reported until then, or when `log` is null.
using message_log = void (*)(void *context, const char *text);
void message_server_log_to(message_server *server, message_log log);

// Is called with the number of each connection that has ended; `context` is that of the handler. None: null.
using connection_ended = void (*)(void *context, uint64_t connection);
void message_server_on_end(message_server *server, connection_ended ended);

// How long a connection may be idle, in milliseconds: nothing is asked on it and nothing to be answered.
struct message_limits {
  // Then it is closed: whoever has nothing to ask for a minute can connect again.
  int64_t idle = int64_t{kMessageIdleMax} * 1000;
  // Then it makes room for a new peer that holds no more. While a client waits for an answer it does so only when its
  // process or user holds most of all places.
  int64_t gives_way = 5'000;
};
void message_server_limit(message_server *server, const message_limits &limits);

// Closes every connection and removes the socket file, unless another server has put its own there. Null is allowed.
void message_server_close(message_server *server);

// Counters since the start, for `vsanctl show status`.
struct message_counters {
  uint64_t requests = 0;
  uint64_t refused = 0;    // answered with a status other than 0
  uint64_t malformed = 0;  // frames that could not be read
  uint64_t connections = 0;
  uint64_t peers_refused = 0;
};
message_counters message_server_counters(const message_server *server);

// A fault switched on on purpose, for people who test what is in front of the managers.
enum class fault_kind { delay, status, drop, short_answer, hang };
enum class fault_side { both, reads, writes };

struct message_fault {
  fault_kind kind;
  int opcode = -1;  // -1: every opcode
  int count = -1;   // how many requests it hits; -1: until it is cleared
  int value = 0;    // delay: milliseconds; status: the status; short_answer: bytes of payload left
  fault_side side = fault_side::both;
  bool spares_operator = false;  // requests that say they are an operator's command are not hit
  int64_t ends = 0;              // monotonic milliseconds; 0: when it is cleared
};

// Faults are tried in the order they were added; the first that matches a request is applied to it.
// A request that gets a fault's status is not handled. A delayed answer is sent later without blocking the loop; a hang
// never answers, nor does a drop, which closes the connection. A request that is hung or dropped is not handled; one
// that is delayed or cut short is. An answer that its handler gives later is neither delayed nor cut.
void message_server_add_fault(message_server *server, const message_fault &fault);
void message_server_clear_faults(message_server *server);
// Those that are still on.
std::vector<message_fault> message_server_faults(message_server *server);
bool message_server_has_faults(message_server *server);

#endif
