#include "peer_link.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "bench_rows.h"
#include "ber.h"

namespace bench {
namespace {

enum : uint8_t { kResponse = 0xA2 };
constexpr size_t kAnswerMax = 65536;
constexpr uint32_t kFirstId = 0x10000000;  // ids are four octets, the top one below 0x80
constexpr uint32_t kIds = 0x40000000;

void put_id(exchange &request, uint32_t id) {
  for (int i = 0; i < 4; ++i) {
    request.message[request.id_at + static_cast<size_t>(i)] = static_cast<char>(id >> (24 - 8 * i));
  }
}

std::string wrong(const cell &expected, const std::string &got) {
  return text_of_oid(expected.name) + ": expected " + text_of_value(expected.type, expected.value) + ", got " + got;
}

// The numbers in front of the varbinds. Takes them off `message` so that it is the varbinds.
std::string check_head(std::string_view &message, uint32_t id, const cell &first) {
  element outer, community, pdu, varbinds;
  int64_t version = 0, answered = 0, status = 0, index = 0;
  std::string_view rest = message;
  if (!take(rest, outer) || outer.tag != kSequence || !rest.empty() ||
      !take_integer(outer.content, kInteger, version) || !take(outer.content, community) || !take(outer.content, pdu) ||
      pdu.tag != kResponse || !take_integer(pdu.content, kInteger, answered) ||
      !take_integer(pdu.content, kInteger, status) || !take_integer(pdu.content, kInteger, index) ||
      !take(pdu.content, varbinds) || varbinds.tag != kSequence) {
    return wrong(first, "what is no response");
  }
  if (answered != id) {
    return wrong(first, "request id " + std::to_string(answered) + " instead of " + std::to_string(id));
  }
  if (status != 0) {
    return wrong(first, "error status " + std::to_string(status) + " at " + std::to_string(index));
  }
  message = varbinds.content;
  return "";
}

std::string check_varbind(std::string_view &rest, const cell &expected) {
  element varbind, name, value;
  if (!take(rest, varbind) || varbind.tag != kSequence || !take(varbind.content, name) || name.tag != kOid ||
      !take(varbind.content, value)) {
    return wrong(expected, rest.empty() ? "no varbind" : "what is no varbind");
  }
  if (name.content != expected.name || value.tag != expected.type || value.content != expected.value) {
    return wrong(expected, text_of_oid(name.content) + " " + text_of_value(value.tag, value.content));
  }
  return "";
}

std::string check_answer(std::string_view message, uint32_t id, const workload &work, const exchange &request) {
  std::string problem = check_head(message, id, work.cells[request.expected[0]]);
  for (size_t i = 0; problem.empty() && i < request.expected.size(); ++i) {
    problem = check_varbind(message, work.cells[request.expected[i]]);
  }
  if (problem.empty() && !message.empty()) {
    problem = wrong(work.cells[request.expected.back()], "more varbinds after it");
  }
  return problem;
}

}  // namespace

std::string open_link(peer_link &link, uint16_t port, int wait_ms) {
  link.socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval wait = {.tv_sec = wait_ms / 1000, .tv_usec = wait_ms % 1000 * 1000L};
  if (link.socket < 0 || setsockopt(link.socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait) != 0 ||
      connect(link.socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    return "no socket to port " + std::to_string(port) + ": " + strerror(errno);
  }
  return "";
}

void close_link(peer_link &link) {
  close(link.socket);
  link.socket = -1;
}

std::string ask(peer_link &link, const workload &work, exchange &request) {
  static char answer[kAnswerMax];

  link.last_id = (link.last_id + 1) % kIds;
  const uint32_t id = kFirstId + link.last_id;
  put_id(request, id);
  const cell &first = work.cells[request.expected[0]];
  if (send(link.socket, request.message.data(), request.message.size(), 0) < 0) {
    return wrong(first, std::string("nothing: ") + strerror(errno));
  }
  const ssize_t size = recv(link.socket, answer, sizeof answer, 0);
  if (size < 0) {
    return wrong(first, errno == EAGAIN ? "no answer" : std::string("nothing: ") + strerror(errno));
  }
  return check_answer({answer, static_cast<size_t>(size)}, id, work, request);
}

}  // namespace bench
