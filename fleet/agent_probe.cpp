#include "agent_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <chrono>

namespace {

constexpr int kAskAgain = 100;     // milliseconds
constexpr long kNap = 25'000'000;  // nanoseconds

// A BER value of less than 128 octets.
std::string ber(char tag, const std::string &content) {
  return std::string{tag, static_cast<char>(content.size())} + content;
}

}  // namespace

std::string uptime_request(const std::string &community) {
  using namespace std::string_literals;
  const std::string name = ber('\x06', "\x2b\x06\x01\x02\x01\x01\x03\x00"s);  // 1.3.6.1.2.1.1.3.0
  const std::string varbind = ber('\x30', name + ber('\x05', ""));
  const std::string numbers = ber('\x02', "\x01"s) + ber('\x02', "\0"s) + ber('\x02', "\0"s);
  const std::string pdu = ber('\xa0', numbers + ber('\x30', varbind));
  return ber('\x30', ber('\x02', "\x01"s) + ber('\x04', community) + pdu);
}

bool agent_answers(const std::string &address, uint16_t port, const std::string &community, uint32_t seconds) {
  const std::string request = uptime_request(community);
  sockaddr_in agent = {};
  agent.sin_family = AF_INET;
  agent.sin_port = htons(port);
  inet_pton(AF_INET, address == "0.0.0.0" ? "127.0.0.1" : address.c_str(), &agent.sin_addr);
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr *>(&agent), sizeof agent) != 0) {
    if (fd >= 0) {
      close(fd);
    }
    return false;
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  bool answered = false;
  while (!answered && std::chrono::steady_clock::now() < end) {
    char answer[512];
    pollfd polled = {fd, POLLIN, 0};
    const bool sent = send(fd, request.data(), request.size(), 0) > 0;
    const bool came = sent && poll(&polled, 1, kAskAgain) > 0;
    answered = came && recv(fd, answer, sizeof answer, 0) > 0;
    if (!answered && (!sent || came)) {  // nobody listens there yet, and the kernel says so at once
      const timespec nap = {0, kNap};
      nanosleep(&nap, nullptr);
    }
  }
  close(fd);
  return answered;
}
