// One connection: requests in, answers out.
#include <errno.h>
#include <event2/event.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "message_frame.h"
#include "message_server_internal.h"
#include "monotonic_clock.h"
#include "statuses.h"

namespace {

constexpr size_t kAnswersHeldMax = 64;  // unsent, delayed and awaited ones, before nothing more is read

size_t answers_held(const server_connection *connection) {
  return connection->output.size() + connection->delayed.size() + connection->awaited.size();
}

frame_bytes build_answer(const message_header &request, const message_reply &reply) {
  const bool too_large = reply.payload.size() > kMessageMax - kMessageHeaderSize;
  const bool with_payload = (request.flags & kMessageWantsPayload) != 0 && !too_large;
  message_header header = request;
  header.flags = kMessageIsAnswer;
  header.status = static_cast<uint32_t>(too_large ? kStatusAnswerTooLarge : reply.status);
  header.user_size = 0;
  header.session_size = 0;
  header.payload_size = with_payload ? static_cast<uint32_t>(reply.payload.size()) : 0;
  frame_bytes frame(kMessageHeaderSize + header.payload_size);
  message_header_write(header, frame.data());
  if (with_payload) {
    std::copy(reply.payload.begin(), reply.payload.end(), frame.begin() + kMessageHeaderSize);
  }
  return frame;
}

// Sends what the socket takes. Returns false when the connection broke.
bool send_output(server_connection *connection) {
  while (!connection->output.empty()) {
    const frame_bytes &frame = connection->output.front();
    if (send(connection->fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
      if (errno == EINTR) {
        continue;
      }
      if (errno != EAGAIN) {
        return false;
      }
      event_add(connection->writable.get(), nullptr);
      return true;
    }
    connection->output.pop_front();
    connection->used = monotonic_ms();
  }
  return true;
}

void watch_requests(server_connection *connection) {
  if (answers_held(connection) < kAnswersHeldMax) {
    event_add(connection->readable.get(), nullptr);
  } else {
    event_del(connection->readable.get());
  }
}

// Hands the frame to the peer, after those that wait already. Returns false when the connection broke.
bool send_answer(server_connection *connection, frame_bytes frame) {
  connection->output.push_back(std::move(frame));
  return send_output(connection);
}

void on_delay_over(evutil_socket_t, short, void *context) {
  auto *delayed = static_cast<delayed_answer *>(context);
  server_connection *connection = delayed->connection;
  frame_bytes frame = std::move(delayed->frame);
  connection->delayed.remove_if([delayed](const delayed_answer &each) { return &each == delayed; });
  if (!send_answer(connection, std::move(frame))) {
    return server_connection_close(connection);
  }
  watch_requests(connection);
}

bool send_answer_later(server_connection *connection, frame_bytes frame, int milliseconds) {
  connection->delayed.push_back({connection, std::move(frame), nullptr});
  delayed_answer &delayed = connection->delayed.back();
  delayed.timer.reset(event_new(connection->server->base, -1, 0, on_delay_over, &delayed));
  const int wait = std::max(milliseconds, 0);
  const timeval after = {wait / 1000, suseconds_t{wait % 1000} * 1000};
  return delayed.timer && event_add(delayed.timer.get(), &after) == 0;
}

bool malformed(server_connection *connection, const message_header &header, int status, const char *what) {
  message_server *server = connection->server;
  ++server->counters.malformed;
  ++server->counters.refused;
  message_server_report(server, "malformed request from process %d: opcode %u: %s", static_cast<int>(connection->pid),
                        static_cast<unsigned>(header.opcode), what);
  return send_answer(connection, build_answer(header, {status, {}}));
}

message_request request_view(const server_connection *connection, const message_header &header, const uint8_t *frame) {
  const uint8_t *user = frame + kMessageHeaderSize;
  const uint8_t *session = user + header.user_size;
  return {static_cast<int>(header.opcode),
          static_cast<int>(header.msg_type),
          {session + header.session_size, header.payload_size},
          {reinterpret_cast<const char *>(user), header.user_size},
          {reinterpret_cast<const char *>(session), header.session_size},
          (header.flags & kMessageWantsPayload) != 0,
          connection->uid,
          connection->pid,
          connection->number,
          connection->server,
          connection->server->counters.requests};
}

// A probe asks whether the loop turns; it is no request. A switch that is told to hang answers none.
bool answer_probe(server_connection *connection, const message_header &header) {
  const auto &faults = connection->server->faults;
  const bool hung = std::ranges::any_of(
      faults, [](const message_fault &each) { return each.kind == fault_kind::hang && each.opcode == -1; });
  return hung || send_answer(connection, build_answer(header, {}));
}

// Answers one sound request. Returns false when the connection is to be closed.
bool serve(server_connection *connection, const message_header &header, const uint8_t *frame) {
  message_server *server = connection->server;
  ++server->counters.requests;
  const auto fault = message_server_take_fault(server, header);
  if (fault && fault->kind == fault_kind::drop) {
    return false;
  }
  if (fault && fault->kind == fault_kind::hang) {
    return true;
  }
  message_reply reply;
  if (fault && fault->kind == fault_kind::status) {
    reply.status = fault->value;
  } else {
    server->handler(server->context, request_view(connection, header, frame), reply);
  }
  if (reply.later) {
    connection->awaited.push_back({server->counters.requests, header});
    return true;
  }
  if (fault && fault->kind == fault_kind::short_answer) {
    reply.payload.resize(std::min(reply.payload.size(), static_cast<size_t>(std::max(fault->value, 0))));
  }
  if (reply.status != 0) {
    ++server->counters.refused;
  }
  frame_bytes answer = build_answer(header, reply);
  if (fault && fault->kind == fault_kind::delay) {
    return send_answer_later(connection, std::move(answer), fault->value);
  }
  return send_answer(connection, std::move(answer));
}

// Reads and answers one frame. A frame without a header cannot be answered, so it ends the connection.
// Returns false when the connection is to be closed.
bool read_one(server_connection *connection) {
  static thread_local uint8_t frame[kMessageMax];
  iovec whole = {frame, sizeof frame};
  msghdr message = {};
  message.msg_iov = &whole;
  message.msg_iovlen = 1;
  const ssize_t got = recvmsg(connection->fd, &message, MSG_DONTWAIT);
  if (got <= 0) {
    return got < 0 && (errno == EINTR || errno == EAGAIN);
  }
  const auto size = static_cast<size_t>(got);
  message_header header;
  if ((message.msg_flags & MSG_TRUNC) != 0 || message_header_read(frame, size, &header) != 0) {
    ++connection->server->counters.malformed;
    message_server_report(connection->server, "no frame from process %d: %zd bytes; its connection is closed",
                          static_cast<int>(connection->pid), got);
    return false;
  }
  bool alive;
  if (!message_sizes_agree(header, size)) {
    alive = malformed(connection, header, kStatusMalformed, "its sizes do not add up");
  } else if ((header.flags & kMessageIsAnswer) != 0) {
    alive = malformed(connection, header, kStatusMalformed, "it is an answer");
  } else if (header.service != static_cast<uint32_t>(connection->server->service)) {
    alive = malformed(connection, header, kStatusWrongService, "it names another receiver");
  } else if ((header.flags & kMessageIsProbe) != 0) {
    alive = answer_probe(connection, header);
  } else {
    alive = serve(connection, header, frame);
  }
  return alive;
}

// One request at a time: a client waits for its answer before it sends the next, and the other connections have their
// turn. The loop tells when there is more.
void on_readable(evutil_socket_t, short, void *context) {
  auto *connection = static_cast<server_connection *>(context);
  connection->used = monotonic_ms();
  if (read_one(connection)) {
    watch_requests(connection);
  } else {
    server_connection_close(connection);
  }
}

void on_writable(evutil_socket_t, short, void *context) {
  auto *connection = static_cast<server_connection *>(context);
  if (!send_output(connection)) {
    return server_connection_close(connection);
  }
  watch_requests(connection);
}

}  // namespace

bool server_connection_add(message_server *server, int fd, uid_t uid, pid_t pid) {
  server_connection &connection = server->connections.emplace_back();
  connection.server = server;
  connection.fd = fd;
  connection.uid = uid;
  connection.pid = pid;
  connection.used = monotonic_ms();
  connection.readable.reset(event_new(server->base, fd, EV_READ | EV_PERSIST, on_readable, &connection));
  connection.writable.reset(event_new(server->base, fd, EV_WRITE, on_writable, &connection));
  if (connection.readable && connection.writable && event_add(connection.readable.get(), nullptr) == 0) {
    connection.number = ++server->counters.connections;
    return true;
  }
  server->connections.pop_back();
  return false;
}

int64_t server_connection_idle(const server_connection *connection, int64_t now) {
  return answers_held(connection) == 0 ? now - connection->used : -1;
}

bool server_connection_retire(server_connection *connection) {
  // From here on the peer's requests fail before they are sent. What it sent already is read and answered by the loop,
  // which then finds the end.
  shutdown(connection->fd, SHUT_RD);
  connection->leaving = true;
  uint8_t byte;
  if (recv(connection->fd, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) > 0) {
    return false;
  }
  server_connection_close(connection);
  return true;
}

namespace {

const server_connection *awaiting(const message_server *server, uint64_t connection, uint64_t number) {
  for (const server_connection &each : server->connections) {
    if (each.number == connection && std::ranges::count(each.awaited, number, &awaited_answer::number) > 0) {
      return &each;
    }
  }
  return nullptr;
}

}  // namespace

bool message_server_is_awaited(const message_server *server, uint64_t connection, uint64_t number) {
  return awaiting(server, connection, number) != nullptr;
}

void message_server_answer(message_server *server, uint64_t connection, uint64_t number, const message_reply &reply) {
  auto *waits = const_cast<server_connection *>(awaiting(server, connection, number));
  if (waits == nullptr) {
    return;
  }
  if (reply.status != 0) {
    ++server->counters.refused;
  }
  const auto request = std::ranges::find(waits->awaited, number, &awaited_answer::number);
  frame_bytes frame = build_answer(request->request, reply);
  waits->awaited.erase(request);
  if (!send_answer(waits, std::move(frame))) {
    return server_connection_close(waits);
  }
  watch_requests(waits);
}

void server_connection_close(server_connection *connection) {
  message_server *server = connection->server;
  connection->readable.reset();
  connection->writable.reset();
  close(connection->fd);
  if (server->ended != nullptr) {
    server->ended(server->context, connection->number);
  }
  server->connections.remove_if([connection](const server_connection &each) { return &each == connection; });
}
