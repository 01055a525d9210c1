// One exchange: the request is sent once, and the answer with its number is waited for until the deadline. Repairs go
// through their queue. Reads of what the managers publish are answered from there.
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "client_connection.h"
#include "distribution_client.h"
#include "event_clock.h"
#include "message_frame.h"
#include "platform/cmi.h"
#include "published_memory.h"
#include "published_reads.h"
#include "repair_queue.h"
#include "requests.h"
#include "served_pdu_scope.h"
#include "switchplatform/operator_requests.h"

namespace {

constexpr int kDefaultTimeoutSeconds = 5;

unsigned exchanges_begun;
platform_failures failures;
uint16_t flags_of_all;  // of every request of this process
uint8_t answer_frame[kMessageMax];

struct outgoing {
  message_header header;
  const void *user;
  const void *session;
  const void *payload;
};

int fail(int why) {
  errno = why;
  return -1;
}

int broken(receiver_connection &to, int why) {
  receiver_close(to);
  return fail(why);
}

size_t text_size(const char *text) {
  return text == nullptr ? 0 : strlen(text);
}

int send_request(receiver_connection &to, const outgoing &request, int64_t deadline) {
  uint8_t head[kMessageHeaderSize];
  message_header_write(request.header, head);
  iovec parts[] = {{head, sizeof head},
                   {const_cast<void *>(request.user), request.header.user_size},
                   {const_cast<void *>(request.session), request.header.session_size},
                   {const_cast<void *>(request.payload), request.header.payload_size}};
  msghdr message = {};
  message.msg_iov = parts;
  message.msg_iovlen = sizeof parts / sizeof parts[0];
  while (sendmsg(to.fd, &message, MSG_NOSIGNAL) < 0) {
    if (errno == EINTR) {
      continue;
    }
    if (errno != EAGAIN) {
      return broken(to, ECONNRESET);
    }
    if (receiver_wait(to, POLLOUT, deadline) != 0) {
      return -1;
    }
  }
  return 0;
}

// Waits for the answer to `request` and leaves it in answer_frame.
int receive_answer(receiver_connection &to, const message_header &request, int64_t deadline, message_header *answer) {
  for (;;) {
    if (receiver_wait(to, POLLIN, deadline) != 0) {
      return -1;
    }
    iovec whole = {answer_frame, sizeof answer_frame};
    msghdr message = {};
    message.msg_iov = &whole;
    message.msg_iovlen = 1;
    const ssize_t got = recvmsg(to.fd, &message, MSG_DONTWAIT);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
      continue;
    }
    if (got <= 0) {
      return broken(to, ECONNRESET);
    }
    const size_t size = static_cast<size_t>(got);
    if ((message.msg_flags & MSG_TRUNC) != 0 || message_header_read(answer_frame, size, answer) != 0 ||
        !message_sizes_agree(*answer, size) || (answer->flags & kMessageIsAnswer) == 0) {
      return broken(to, EPROTO);
    }
    to.suspect = false;
    if (answer->sequence != request.sequence) {
      repairs_take_answer(to.service, *answer);
      continue;  // late
    }
    return answer->opcode == request.opcode ? 0 : broken(to, EPROTO);
  }
}

// The answer's status as cmi_req_resp returns it: no receiver answers -1, which is what a failed call returns.
int status_of(const message_header &answer) {
  const int status = static_cast<int>(answer.status);
  return status == -1 ? fail(EPROTO) : status;
}

int hand_over(const message_header &answer, void **response, uint32_t *size) {
  if (response != nullptr && answer.payload_size > 0) {
    void *copy = malloc(answer.payload_size);
    if (copy == nullptr) {
      return fail(ENOMEM);
    }
    memcpy(copy, answer_frame + kMessageHeaderSize + answer.user_size + answer.session_size, answer.payload_size);
    *response = copy;
    *size = answer.payload_size;
  }
  if (answer.status == 0 && response != nullptr && answer.payload_size == 0) {
    return fail(EPROTO);  // success without the payload that was asked for says nothing
  }
  return status_of(answer);
}

void append(std::vector<uint8_t> &frame, const void *from, size_t size) {
  const auto *bytes = static_cast<const uint8_t *>(from);
  frame.insert(frame.end(), bytes, bytes + size);
}

// Queues the repair, sends what can be sent, and waits for its answer where that is still allowed.
int send_repair(receiver_connection &to, const outgoing &request, int64_t deadline) {
  const message_header &header = request.header;
  std::vector<uint8_t> frame(kMessageHeaderSize);
  message_header_write(header, frame.data());
  append(frame, request.user, header.user_size);
  append(frame, request.session, header.session_size);
  append(frame, request.payload, header.payload_size);
  if (repairs_add(header, std::move(frame)) != 0) {
    return -1;
  }
  receiver_read_late(to);
  if (receiver_connect(to) == 0) {
    receiver_send_repairs(to);
  }
  int why = to.fd < 0 ? errno : ETIMEDOUT;
  int status = 0;
  while (!repairs_answered(header.sequence, &status)) {
    if (to.fd < 0 || !receiver_may_be_waited_for(to) || receiver_wait(to, POLLIN, deadline) != 0) {
      repairs_not_waited_for(header.sequence);
      return fail(why);
    }
    receiver_read_late(to);
    receiver_send_repairs(to);  // the socket may have had no room before
    why = to.fd < 0 ? ECONNRESET : ETIMEDOUT;
  }
  return status;
}

// Answers from what the receiver publishes, when an exchange would be answered now: the connection is open as far as is
// known, and nothing is under way that the receiver is to get first.
bool read_published(const receiver_connection &to, const read_request &request, read_answer *answer) {
  const uint32_t bit = to.fd < 0 ? 0 : published_bit(request);
  if (bit == 0 || !receiver_may_be_waited_for(to) || !repairs_all().empty()) {
    return false;
  }
  const published_page *page = published_memory(to.peer, bit);
  return page != nullptr && published_read(*page, request, answer);
}

int hand_over_read(const read_answer &answer, void **response, uint32_t *size) {
  if (answer.payload != nullptr) {
    *response = answer.payload;
    *size = answer.size;
  }
  return answer.status;
}

}  // namespace

platform_failures platform_exchanges_failed() {
  return failures;
}

void platform_operator_requests() {
  flags_of_all = kMessageIsSpared;
}

unsigned platform_exchanges_begun() {
  return exchanges_begun;
}

namespace {

int make_exchange(int opcode, int msg_type, void *request, void **response, uint32_t *size, const char *user,
                  const char *session, int service, mts_queue_t, int timeout) {
  if (size == nullptr) {
    return fail(EINVAL);
  }
  receiver_connection *to = receiver_of(service);
  if (to == nullptr) {
    return fail(ENOENT);
  }
  const uint64_t payload_size = request == nullptr ? 0 : *size;
  const uint64_t user_size = text_size(user);
  const uint64_t session_size = text_size(session);
  if (kMessageHeaderSize + user_size + session_size + payload_size > kMessageMax) {
    return fail(EMSGSIZE);
  }
  // Whoever could not learn which value of a timer is wanted, the pending or the running one, gets neither.
  int why_unknown = 0;
  if (response != nullptr && service == kServiceVsanManager && opcode == kOpFcTimer &&
      distribution_is_unknown(&why_unknown)) {
    return fail(why_unknown);
  }

  const event_clock_break time_passes;
  ++exchanges_begun;
  const read_request read = {service, opcode, msg_type, request, static_cast<uint32_t>(payload_size)};
  read_answer published;
  if (response != nullptr && read_published(*to, read, &published)) {
    return hand_over_read(published, response, size);
  }
  const int64_t deadline = exchange_deadline(timeout > 0 ? timeout : kDefaultTimeoutSeconds);
  const auto flags = static_cast<uint16_t>(flags_of_all | (response == nullptr ? 0 : kMessageWantsPayload));
  const outgoing message = {{flags, next_sequence(), static_cast<uint32_t>(opcode), static_cast<uint32_t>(msg_type),
                             static_cast<uint32_t>(service), 0, static_cast<uint16_t>(user_size),
                             static_cast<uint16_t>(session_size), static_cast<uint32_t>(payload_size)},
                            user,
                            session,
                            request};
  if (response == nullptr && repairs_are_made()) {
    return send_repair(*to, message, deadline);
  }
  if (receiver_ready(*to, deadline) != 0) {
    return -1;
  }
  // A connection that the receiver gives up in this very moment takes nothing: the request was not sent yet.
  int sent = send_request(*to, message, deadline);
  if (sent != 0 && errno == ECONNRESET && receiver_ready(*to, deadline) == 0) {
    sent = send_request(*to, message, deadline);
  }
  if (sent != 0) {
    return -1;
  }
  message_header answer;
  if (receive_answer(*to, message.header, deadline, &answer) != 0) {
    return -1;
  }
  if (response != nullptr && published_bit(read) != 0) {
    published_memory_seek(to->peer);
  }
  return hand_over(answer, response, size);
}

}  // namespace

int cmi_req_resp(int opcode, int msg_type, void *request, void **response, uint32_t *size, const char *user,
                 const char *session, int service, mts_queue_t queue, int timeout) {
  const int status = make_exchange(opcode, msg_type, request, response, size, user, session, service, queue, timeout);
  if (status == -1) {
    failures = {failures.count + 1, errno};
  }
  return status;
}
