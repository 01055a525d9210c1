// A local process that may open the sockets means ill, on each of them: it floods, keeps a thousand connections, sends
// halves and noise, reads no answer, and writes other users' names. Managers and vsanctl are served on meanwhile, each
// request within kServedWithin.
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stop_token>
#include <thread>

#include "fabric_lab.h"
#include "message_frame.h"
#include "port_records.h"
#include "record_words.h"
#include "socket_path.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

using bytes = std::vector<uint8_t>;
using clock = std::chrono::steady_clock;

constexpr double kServedWithin = 2;  // seconds; some milliseconds, as a rule
constexpr int kConnections = 1000;   // of each socket
constexpr int kSeconds = 3;
constexpr int kKnocksFor = 7;  // seconds; a connection that is idle for 5 gives way
constexpr auto kAsksEvery = std::chrono::seconds(2);

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

bytes request_of(int service, const std::string &user, uint32_t opcode, uint32_t type, const bytes &payload) {
  bytes frame(kMessageHeaderSize);
  message_header_write({.flags = kMessageWantsPayload,
                        .sequence = 1,
                        .opcode = opcode,
                        .msg_type = type,
                        .service = static_cast<uint32_t>(service),
                        .status = 0,
                        .user_size = static_cast<uint16_t>(user.size()),
                        .session_size = 0,
                        .payload_size = static_cast<uint32_t>(payload.size())},
                       frame.data());
  frame.insert(frame.end(), user.begin(), user.end());
  frame.insert(frame.end(), payload.begin(), payload.end());
  return frame;
}

bytes filled(size_t size) {
  return bytes(size, 0x5A);
}

// What is sent over and over on one connection; nothing that is done for it changes the switch.
bytes flood_of(int kind, int service) {
  switch (kind) {
    case 0:
      return request_of(service, "", 149, 1, filled(2632));  // a sound request, whose answer nobody reads
    case 1:
      return request_of(service, std::string(60000, 'u'), 124, 3, filled(16));
    case 2:
      return request_of(service, "operator\n\x1b[2J\xff", 9202, 3, filled(100));
    case 3: {
      bytes half = request_of(service, "", 149, 1, filled(2632));
      half.resize(half.size() / 2);
      return half;
    }
    default:
      return bytes(1000, 0xA5);
  }
}

// Floods every socket in every way until told to end; a connection that is closed is made anew.
void flood(const std::stop_token &ending, const lab::lab &l, std::atomic<unsigned long> &sent) {
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
  while (!ending.stop_requested()) {
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

// A request that the service takes; empty for one that takes none.
bytes sound_request(int service) {
  switch (service) {
    case kServiceVsanManager:
      return request_of(service, "", kOpVsanNumber, kMsgGet, {});
    case kServiceIdentity:
      return request_of(service, "", kOpSwitchWwn, kMsgGet, {});
    case kServicePortManager:
      return request_of(service, "", kOpActiveMembership, kMsgGet, record_bytes(active_membership{}));
    case kServiceDistribution:
      return request_of(service, "", kOpDistribution, kMsgGet, {});
    case kServiceControl:
      return request_of(service, "", kOpStatus, kMsgGet, {});
    default:
      return {};
  }
}

// One of many connections to a socket, made anew whenever it is ended.
struct knocker {
  size_t at;  // row of kServiceNames
  int fd = -1;
  clock::time_point asked = {};
};

// Of one socket.
struct tally {
  unsigned long connected = 0, ended = 0, asked = 0;
  unsigned long open = 0;  // at the end
};

// Reads what came. Returns whether the connection stands.
bool stands(int fd) {
  bytes answer(kMessageMax);
  for (int i = 0; i < 4; ++i) {
    const ssize_t got = recv(fd, answer.data(), answer.size(), 0);
    if (got <= 0) {
      return got < 0 && errno == EAGAIN;
    }
  }
  return true;
}

void ask_again(knocker &each, const bytes &request, tally &of) {
  if (!request.empty() && clock::now() - each.asked >= kAsksEvery &&
      send(each.fd, request.data(), request.size(), MSG_NOSIGNAL) > 0) {
    each.asked = clock::now();
    ++of.asked;
  }
}

// Ends of connections, as poll tells them, and answers; those that stand ask again.
void look_after(std::vector<knocker> &all, const std::vector<bytes> &requests, std::vector<tally> &of) {
  std::vector<pollfd> polled;
  for (const knocker &each : all) {
    polled.push_back({each.fd, POLLIN, 0});
  }
  poll(polled.data(), polled.size(), 0);
  for (size_t i = 0; i < all.size(); ++i) {
    knocker &each = all[i];
    if (each.fd < 0) {
      continue;
    }
    if (polled[i].revents != 0 && !stands(each.fd)) {
      close(std::exchange(each.fd, -1));
      ++of[each.at].ended;
    } else {
      ask_again(each, requests[each.at], of[each.at]);
    }
  }
}

// Knocks at every socket with a thousand connections until told to end. Who meets a full backlog tries next turn.
std::vector<tally> knock(const std::stop_token &ending, const lab::lab &l) {
  std::vector<knocker> all;
  std::vector<bytes> requests;
  std::vector<tally> of(kServiceCount);
  for (size_t at = 0; at < kServiceCount; ++at) {
    all.insert(all.end(), kConnections, {at});
    requests.push_back(sound_request(kServiceNames[at].service));
  }
  while (!ending.stop_requested()) {
    for (knocker &each : all) {
      if (each.fd < 0 && (each.fd = connect_to(l, kServiceNames[each.at].socket_file)) >= 0) {
        ++of[each.at].connected;
      }
    }
    look_after(all, requests, of);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // who waits for his refusal has it now
  look_after(all, requests, of);
  for (const knocker &each : all) {
    of[each.at].open += each.fd >= 0 ? 1 : 0;
    close(each.fd);
  }
  return of;
}

// Another process with a connection to each service that takes requests. It asks nothing, and ends when it loses one.
pid_t start_bystander(const lab::lab &l) {
  const pid_t child = fork();
  if (child != 0) {
    return child;
  }
  std::vector<pollfd> held;
  for (const service_name &each : kServiceNames) {
    if (!sound_request(each.service).empty()) {
      held.push_back({connect_to(l, each.socket_file), POLLIN, 0});
    }
  }
  const bool connected = std::ranges::all_of(held, [](const pollfd &each) { return each.fd >= 0; });
  _exit(connected ? poll(held.data(), held.size(), 60'000) : -1);
}

message_header ask(int fd, const bytes &request) {
  EXPECT_GT(send(fd, request.data(), request.size(), MSG_NOSIGNAL), 0);
  bytes answer(kMessageMax);
  message_header header = {};
  EXPECT_TRUE(lab::wait_until([&] { return recv(fd, answer.data(), answer.size(), 0) > 0; }));
  EXPECT_EQ(message_header_read(answer.data(), answer.size(), &header), 0);
  return header;
}

struct Hostile : FabricTest {
  // The longest of the requests that are made for some seconds: a GET of both managers and a SET by SNMP, and vsanctl.
  double longest_request(int seconds) {
    snmp::client c(l, snmp::community("private"), 30);
    const std::vector<varbind> known = {name(10, "ten"), member(10, kFc3)};
    double longest = 0;
    unsigned long refused = 0;
    std::string last_refusal;
    const auto end = clock::now() + std::chrono::seconds(seconds);
    for (long i = 0; clock::now() < end; ++i) {
      const auto begin = clock::now();
      EXPECT_EQ(snmp::get(c, {known[0].name, known[1].name}).varbinds, known);
      EXPECT_DONE(snmp::set(c, {scalar_gauge(kSwitchLatency, static_cast<unsigned long>(500 + i % 2))}));
      const lab::result status = lab::ctl(l, {"show", "status"});
      refused += status.status != 0 ? 1 : 0;
      last_refusal = status.status != 0 ? status.output : last_refusal;
      longest = std::max(longest, std::chrono::duration<double>(clock::now() - begin).count());
    }
    EXPECT_EQ(refused, 0u) << "times of vsanctl: " << last_refusal;
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
  std::atomic<unsigned long> sent = 0;
  const long before = lab::resident_kib(l.switchd);
  std::jthread attacker([&](const std::stop_token &ending) { flood(ending, l, sent); });
  const double longest = longest_request(kSeconds);
  attacker.request_stop();
  attacker.join();
  printf("longest: %.3f s beside %lu frames\n", longest, sent.load());
  EXPECT_LT(longest, kServedWithin);
  EXPECT_GT(sent, 1000u);  // hundreds a second, on a machine that is busy with other things
  EXPECT_LT(lab::resident_kib(l.switchd) - before, LAB_PRELOAD[0] == '\0' ? 16 * 1024 : 64 * 1024);
  EXPECT_LT(lab::read_file(l.switchd.log).size(), 64u * 1024) << "the log is limited";
  still_well();
}

TEST_F(Hostile, AThousandConnectionsOfEachSocketLeaveOthersServed) {
  constexpr unsigned long kPlaces = 256, kBacklog = 64;
  const rlimit many = {16384, 16384};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &many), 0);
  const pid_t bystander = start_bystander(l);
  ASSERT_GT(bystander, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  std::vector<tally> of;
  std::jthread attacker([&](const std::stop_token &ending) { of = knock(ending, l); });
  const double longest = longest_request(kKnocksFor);
  attacker.request_stop();
  attacker.join();
  printf("longest: %.3f s\n", longest);
  EXPECT_LT(longest, kServedWithin);
  EXPECT_EQ(waitpid(bystander, nullptr, WNOHANG), 0) << "another process lost a connection";
  kill(bystander, SIGKILL);
  waitpid(bystander, nullptr, 0);
  const char *no_memory = "reads are not answered from memory: Function not implemented";
  const bool publishes = lab::read_file(l.switchd.log).find(no_memory) == std::string::npos;
  for (size_t at = 0; at < kServiceCount; ++at) {
    const service_name &service = kServiceNames[at];
    if (service.service == kServicePublished && !publishes) {
      continue;  // it has no such socket
    }
    SCOPED_TRACE(service.socket_file);
    printf("%s: %lu connected, %lu ended by the switch, %lu open, %lu requests\n", service.socket_file,
           of[at].connected, of[at].ended, of[at].open, of[at].asked);
    const bool takes_requests = !sound_request(service.service).empty();
    EXPECT_GE(of[at].connected, static_cast<unsigned long>(kConnections));
    EXPECT_GE(of[at].ended, kConnections - kPlaces - kBacklog);
    EXPECT_LE(of[at].open, kPlaces + kBacklog);
    EXPECT_GE(of[at].open, takes_requests ? kPlaces - 56 : 0) << "nearly all places are taken";
    EXPECT_GE(of[at].asked, takes_requests ? kPlaces : 0);
  }
  EXPECT_LT(lab::read_file(l.switchd.log).size(), 64u * 1024) << "the log is limited";
  still_well();
}

// Whoever may connect may do all, under whatever name; the name is shown, and does nothing to who reads it.
TEST_F(Hostile, ANameInARequestGivesNobodyARightAndIsShownWithoutItsControlCharacters) {
  const std::string forged = "operator\x1b[2J\n";
  const int fd = connect_to(l, "vsan-manager.sock");
  ASSERT_GE(fd, 0);
  EXPECT_NE(ask(fd, request_of(kServiceVsanManager, forged, kOpLatency, kMsgSet, filled(12))).status, 0u)
      << "the payload is none";
  EXPECT_EQ(changes(), difference{});
  const bytes sound = record_bytes(vsanLatency{kAttrSwitchLatency, 501, 0});
  EXPECT_EQ(ask(fd, request_of(kServiceVsanManager, forged, kOpLatency, kMsgSet, sound)).status, 0u);
  EXPECT_EQ(changes(), (difference{{scalar_gauge(kSwitchLatency, 501)}, {}}));
  close(fd);
  const std::string log = lab::read_file(l.switchd.log);
  EXPECT_NE(log.find("refused opcode 136 type 3 of user 'operator?[2J?' (uid "), std::string::npos) << log;
  for (const std::string &text :
       {log, lab::ctl(l, {"show", "errors"}).output, lab::ctl(l, {"history", "-n", "50"}).output}) {
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
  }
  EXPECT_DONE(set({scalar_gauge(kSwitchLatency, 500)}));
  EXPECT_EQ(changes(), (difference{{scalar_gauge(kSwitchLatency, 500)}, {}}));
  still_well();
}

}  // namespace
