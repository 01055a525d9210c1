#include "trap_sink.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "bench_rows.h"
#include "ber.h"

namespace bench {
namespace {

enum : uint8_t { kTrap = 0xA7 };
constexpr int kBufferBytes = 4 << 20;
constexpr size_t kTrapMax = 65536;

// The varbinds: sysUpTime, the trap's name, the switch, the interface, the VSAN.
bool read_varbinds(std::string_view rest, membership_trap &trap) {
  static const std::string kName = oid_content({1, 3, 6, 1, 4, 1, 32473, 9, 282, 1, 3, 0, 2});

  constexpr int kVarbinds = 5, kNameAt = 1, kInterfaceAt = 3, kVsanAt = 4;
  for (int i = 0; i < kVarbinds; ++i) {
    element varbind, name, value;
    int64_t number = 0;
    if (!take(rest, varbind) || !take(varbind.content, name)) {
      return false;
    }
    if (i == kInterfaceAt || i == kVsanAt) {
      if (!take_integer(varbind.content, kInteger, number)) {
        return false;
      }
      (i == kVsanAt ? trap.vsan : trap.interface) = static_cast<uint32_t>(number);
    } else if (!take(varbind.content, value) || (i == kNameAt && value.content != kName)) {
      return false;
    }
  }
  return rest.empty();
}

bool read_trap(std::string_view message, membership_trap &trap) {
  element outer, version, community, pdu, varbinds;
  int64_t id = 0, status = 0, index = 0;
  return take(message, outer) && take(outer.content, version) && take(outer.content, community) &&
         take(outer.content, pdu) && pdu.tag == kTrap && take_integer(pdu.content, kInteger, id) &&
         take_integer(pdu.content, kInteger, status) && take_integer(pdu.content, kInteger, index) &&
         take(pdu.content, varbinds) && read_varbinds(varbinds.content, trap);
}

}  // namespace

int open_sink(uint16_t port) {
  const int sink = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  setsockopt(sink, SOL_SOCKET, SO_RCVBUF, &kBufferBytes, sizeof kBufferBytes);
  return bind(sink, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 ? sink : -1;
}

received receive_trap(int sink, int wait_ms, membership_trap &trap, std::string &problem) {
  static char message[kTrapMax];

  pollfd ready = {.fd = sink, .events = POLLIN, .revents = 0};
  if (poll(&ready, 1, wait_ms) <= 0) {
    return received::nothing;
  }
  const ssize_t size = recv(sink, message, sizeof message, MSG_DONTWAIT);
  if (size < 0) {
    return received::nothing;
  }
  if (!read_trap({message, static_cast<size_t>(size)}, trap)) {
    problem = std::to_string(size) + " octets that are no trap of a membership";
    return received::garbage;
  }
  return received::trap;
}

}  // namespace bench
