// A local process that may open the sockets means ill, on each of them: it floods, keeps a thousand connections, sends
// halves and noise, reads no answer, and writes other users' names. Managers and vsanctl are served on meanwhile, each
// request within kServedWithin.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "fabric_lab.h"
#include "message_frame.h"
#include "socket_path.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

using bytes = std::vector<uint8_t>;
using clock = std::chrono::steady_clock;

constexpr double kServedWithin = 2;  // seconds; some milliseconds, as a rule
constexpr int kConnections = 1000, kSeconds = 3;

int connect_to(const lab::lab &l, const char *socket_file) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s/run/%s", l.dir.c_str(), socket_file);
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bytes request_of(int service, const std::string &user, uint32_t opcode, uint32_t type, size_t payload) {
  bytes frame(kMessageHeaderSize + user.size() + payload, 0x5A);
  message_header_write({.flags = kMessageWantsPayload,
                        .sequence = 1,
                        .opcode = opcode,
                        .msg_type = type,
                        .service = static_cast<uint32_t>(service),
                        .status = 0,
                        .user_size = static_cast<uint16_t>(user.size()),
                        .session_size = 0,
                        .payload_size = static_cast<uint32_t>(payload)},
                       frame.data());
  std::copy(user.begin(), user.end(), frame.begin() + kMessageHeaderSize);
  return frame;
}

// What is sent over and over on one connection; nothing that is done for it changes the switch.
bytes flood_of(int kind, int service) {
  switch (kind) {
    case 0:
      return request_of(service, "", 149, 1, 2632);  // a sound request, whose answer nobody reads
    case 1:
      return request_of(service, std::string(60000, 'u'), 124, 3, 16);
    case 2:
      return request_of(service, "operator\n\x1b[2J\xff", 9202, 3, 100);
    case 3: {
      bytes half = request_of(service, "", 149, 1, 2632);
      half.resize(half.size() / 2);
      return half;
    }
    default:
      return bytes(1000, 0xA5);
  }
}

// Floods every socket in every way until told to end; a connection that is closed is made anew.
void flood(const lab::lab &l, const std::atomic<bool> &ending, std::atomic<unsigned long> &sent) {
  struct line {
    const service_name *of;
    int kind;
    int fd;
  };
  std::vector<line> lines;
  for (const service_name &each : kServiceNames) {
    for (int kind = 0; kind < 5; ++kind) {
      lines.push_back({&each, kind, -1});
    }
  }
  while (!ending) {
    for (line &each : lines) {
      if (each.fd < 0) {
        each.fd = connect_to(l, each.of->socket_file);
        continue;
      }
      const bytes frame = flood_of(each.kind, each.of->service);
      if (send(each.fd, frame.data(), frame.size(), MSG_NOSIGNAL) >= 0) {
        ++sent;
      } else if (errno != EAGAIN) {
        close(each.fd);
        each.fd = -1;
      }
    }
  }
  for (const line &each : lines) {
    close(each.fd);
  }
}

struct Hostile : FabricTest {
  // The longest of the requests that are made for some seconds: a GET and a SET by SNMP, and vsanctl.
  double longest_request(bool with_vsanctl) {
    snmp::client c(l, snmp::community("private"), 30);
    double longest = 0;
    const auto end = clock::now() + std::chrono::seconds(kSeconds);
    for (long i = 0; clock::now() < end; ++i) {
      const auto begin = clock::now();
      EXPECT_EQ(snmp::get(c, {vsan_cell(kName, 10)}).varbinds.at(0).octets, "ten");
      EXPECT_DONE(snmp::set(c, {scalar_gauge(kSwitchLatency, static_cast<unsigned long>(500 + i % 2))}));
      if (with_vsanctl) {
        EXPECT_EQ(lab::ctl(l, {"show", "status"}).status, 0);
      }
      longest = std::max(longest, std::chrono::duration<double>(clock::now() - begin).count());
    }
    return longest;
  }
  void still_well() {
    EXPECT_TRUE(lab::is_running(l.switchd)) << lab::read_file(l.switchd.log);
    EXPECT_TRUE(lab::is_running(l.snmpd)) << lab::read_file(l.snmpd.log);
    EXPECT_DONE(set({scalar_gauge(kSwitchLatency, 500)}));
    EXPECT_EQ(changes(), difference{});
    EXPECT_TRUE(lab::wait_until([&] { return lab::ctl(l, {"show", "status"}).status == 0; }));
  }
};

TEST_F(Hostile, FloodsOnEverySocketLeaveOthersServed) {
  std::atomic<bool> ending = false;
  std::atomic<unsigned long> sent = 0;
  const long before = lab::resident_kib(l.switchd);
  std::thread attacker([&] { flood(l, ending, sent); });
  const double longest = longest_request(true);
  ending = true;
  attacker.join();
  printf("longest: %.3f s beside %lu frames\n", longest, sent.load());
  EXPECT_LT(longest, kServedWithin);
  EXPECT_GT(sent, 10000u);
  EXPECT_LT(lab::resident_kib(l.switchd) - before, LAB_PRELOAD[0] == '\0' ? 16 * 1024 : 64 * 1024);
  EXPECT_LT(lab::read_file(l.switchd.log).size(), 64u * 1024) << "the log is limited";
  still_well();
}

TEST_F(Hostile, AThousandConnectionsOfEachSocketLeaveThoseServedWhoAreConnected) {
  const rlimit many = {16384, 16384};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &many), 0);
  std::vector<int> held;
  for (const service_name &each : kServiceNames) {
    for (int i = 0; i < kConnections; ++i) {
      held.push_back(connect_to(l, each.socket_file));
    }
  }
  const double longest = longest_request(false);
  printf("longest: %.3f s\n", longest);
  EXPECT_LT(longest, kServedWithin);
  for (const int fd : held) {
    close(fd);
  }
  still_well();
}

TEST_F(Hostile, ANameInARequestGivesNobodyARightAndIsShownWithoutItsControlCharacters) {
  const int fd = connect_to(l, "vsan-manager.sock");
  ASSERT_GE(fd, 0);
  const bytes forged = request_of(15, "operator\x1b[2J\n", 136, 3, 12);
  ASSERT_GT(send(fd, forged.data(), forged.size(), MSG_NOSIGNAL), 0);
  bytes answer(kMessageMax);
  ASSERT_TRUE(lab::wait_until([&] { return recv(fd, answer.data(), answer.size(), 0) > 0; }));
  message_header header = {};
  ASSERT_EQ(message_header_read(answer.data(), answer.size(), &header), 0);
  EXPECT_NE(header.status, 0u) << "the payload is none";
  close(fd);
  for (const std::string &text : {lab::ctl(l, {"show", "errors"}).output, lab::ctl(l, {"history", "-n", "50"}).output,
                                  lab::read_file(l.switchd.log)}) {
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
  }
  still_well();
}

}  // namespace
