#include "page_telling.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "message_frame.h"
#include "monotonic_clock.h"
#include "requests.h"
#include "socket_path.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr int64_t kSayAgainAfter = 30;  // seconds
static_assert(kSayAgainAfter * 2 <= kMessageIdleMax);
constexpr int kAnswersReadAtOnce = 16;

struct telling {
  int fd = -1;
  uint32_t sequence = 0;  // of the last request
  bool awaited = false;   // its answer
  bool answered = false;  // what is to be told was told on this connection
  int64_t said_at = 0;    // monotonic seconds
  std::string said = {};  // the payload; empty: the page is shared
};

telling current;

// What is no plain ASCII is a '?': a path need not be text.
void put_json_text(std::string &json, const char *text) {
  json += '"';
  for (size_t i = 0; text[i] != '\0' && i < kAgentPageTextMax; ++i) {
    const char each = text[i];
    if (each == '"' || each == '\\') {
      json += '\\';
    }
    json += each >= 0x20 && each < 0x7F ? each : '?';
  }
  json += '"';
}

void close_connection() {
  if (current.fd >= 0) {
    close(current.fd);
  }
  current.fd = -1;
  current.awaited = false;
  current.answered = false;
}

// Returns whether there is a connection.
bool connect_now() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (service_socket_path(platform_run_dir(), kServiceControl, address.sun_path, sizeof address.sun_path) != 0) {
    return false;
  }
  current.fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (current.fd < 0) {
    return false;
  }
  if (connect(current.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
    return true;
  }
  close_connection();
  return false;
}

void send_request() {
  message_header header = {};
  header.sequence = ++current.sequence;
  header.opcode = kOpAgentPage;
  header.msg_type = kMsgSet;
  header.service = kServiceControl;
  header.payload_size = static_cast<uint32_t>(current.said.size());
  uint8_t head[kMessageHeaderSize];
  message_header_write(header, head);
  std::string frame(reinterpret_cast<const char *>(head), sizeof head);
  frame += current.said;
  if (send(current.fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    return close_connection();
  }
  current.awaited = true;
  current.said_at = monotonic_seconds();
}

// A refusal is an answer, too: switchd is asked again when it is time to say it again.
void read_answers() {
  uint8_t head[kMessageHeaderSize];
  message_header header;
  for (int i = 0; i < kAnswersReadAtOnce && current.fd >= 0; ++i) {
    const ssize_t got = recv(current.fd, head, sizeof head, MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
      return;
    }
    if (got <= 0 || message_header_read(head, static_cast<size_t>(got), &header) != 0) {
      return close_connection();
    }
    if (current.awaited && header.sequence == current.sequence) {
      current.awaited = false;
      current.answered = true;
    }
  }
}

}  // namespace

void page_telling_say(const char *page, const char *why) {
  std::string json = "{\"page\": ";
  put_json_text(json, page);
  json += ", \"why\": ";
  put_json_text(json, why);
  current.said = json + "}";
  current.answered = false;
  current.awaited = false;  // an answer to what was said before is another request's
}

void page_telling_take_back() {
  current.said.clear();
  close_connection();
}

void page_telling_turn() {
  if (current.said.empty()) {
    return;
  }
  read_answers();
  if (current.fd < 0 && !connect_now()) {
    return;
  }
  const bool again = monotonic_seconds() - current.said_at >= kSayAgainAfter;
  if (!current.awaited && (!current.answered || again)) {
    send_request();
  }
}

void page_telling_stop() {
  close_connection();
}
