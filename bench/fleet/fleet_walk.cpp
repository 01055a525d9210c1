// fleet_walk: one poller that walks the module's objects of many agents by GETBULK, some of them at a time. Reads
// ADDRESS:PORT from standard input, a line an agent, and prints what it took as JSON.
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "bench_rows.h"
#include "ber.h"

namespace {

using bench::element;
using steady = std::chrono::steady_clock;

enum : uint8_t { kGetBulk = 0xA5, kResponse = 0xA2 };
constexpr int kRepetitions = 25;
constexpr size_t kOutstanding = 64;
constexpr auto kAskAgain = std::chrono::seconds(2);
constexpr int kTries = 4;
constexpr int kReceiveBuffer = 4 << 20;
const std::vector<uint32_t> kRoot = {1, 3, 6, 1, 4, 1, 32473, 9, 282};

struct walked_agent {
  sockaddr_in address = {};
  std::string next;  // the name that is asked for, as it travels
  steady::time_point asked;
  int tries = 0;
  size_t varbinds = 0;
  enum { kWaiting, kAsked, kDone, kFailed } state = kWaiting;
};

struct walk {
  int socket = -1;
  std::string root = bench::oid_content(kRoot);
  std::vector<walked_agent> agents;
  size_t asked = 0;  // how many are being walked
  size_t over = 0;
  size_t requests = 0;
  size_t repeated = 0;
};

std::string bulk_request(const std::string &name, size_t id) {
  using bench::tlv;
  const auto number = [](int64_t value) { return tlv(bench::kInteger, bench::integer_content(value)); };
  const std::string varbind = tlv(bench::kSequence, tlv(bench::kOid, name) + tlv(bench::kNull, ""));
  const std::string pdu =
      number(static_cast<int64_t>(id)) + number(0) + number(kRepetitions) + tlv(bench::kSequence, varbind);
  return tlv(bench::kSequence, number(1) + tlv(4, "public") + tlv(kGetBulk, pdu));
}

void ask(walk &walk, size_t number) {
  walked_agent &agent = walk.agents[number];
  const std::string request = bulk_request(agent.next, number);
  static_cast<void>(sendto(walk.socket, request.data(), request.size(), 0,
                           reinterpret_cast<const sockaddr *>(&agent.address), sizeof agent.address));
  agent.asked = steady::now();
  ++agent.tries;
  ++walk.requests;
}

void end(walk &walk, walked_agent &agent, bool well) {
  agent.state = well ? walked_agent::kDone : walked_agent::kFailed;
  --walk.asked;
  ++walk.over;
}

// Counts what is below the root. Returns false when the walk of the agent is at its end, or the answer is none.
bool count_varbinds(const walk &walk, walked_agent &agent, std::string_view varbinds, bool &well) {
  for (element varbind, name, value; bench::take(varbinds, varbind);) {
    well = bench::take(varbind.content, name) && bench::take(varbind.content, value);
    const bool inside = well && name.content.starts_with(walk.root) && value.tag < 0x80;
    if (!inside || name.content == agent.next) {
      return false;
    }
    agent.next = name.content;
    ++agent.varbinds;
  }
  return well;
}

void take_answer(walk &walk, std::string_view message) {
  element outer, community, pdu, varbinds;
  int64_t version = 0, id = 0, status = 0, index = 0;
  const bool whole = bench::take(message, outer) && bench::take_integer(outer.content, bench::kInteger, version) &&
                     bench::take(outer.content, community) && bench::take(outer.content, pdu) && pdu.tag == kResponse &&
                     bench::take_integer(pdu.content, bench::kInteger, id) &&
                     bench::take_integer(pdu.content, bench::kInteger, status) &&
                     bench::take_integer(pdu.content, bench::kInteger, index) && bench::take(pdu.content, varbinds);
  if (!whole || id < 0 || static_cast<size_t>(id) >= walk.agents.size()) {
    return;
  }
  walked_agent &agent = walk.agents[static_cast<size_t>(id)];
  if (agent.state != walked_agent::kAsked) {
    return;  // the second answer to what was asked twice
  }
  bool well = status == 0;
  if (well && count_varbinds(walk, agent, varbinds.content, well)) {
    agent.tries = 0;
    ask(walk, static_cast<size_t>(id));
  } else {
    end(walk, agent, well && agent.varbinds > 0);
  }
}

void ask_again(walk &walk) {
  for (size_t i = 0; i < walk.agents.size(); ++i) {
    walked_agent &agent = walk.agents[i];
    if (agent.state == walked_agent::kAsked && steady::now() - agent.asked > kAskAgain) {
      ++walk.repeated;
      agent.tries < kTries ? ask(walk, i) : end(walk, agent, false);
    }
  }
}

void walk_all(walk &walk) {
  size_t next = 0;
  while (walk.over < walk.agents.size()) {
    for (; walk.asked < kOutstanding && next < walk.agents.size(); ++next) {
      ++walk.asked;
      walk.agents[next].state = walked_agent::kAsked;
      walk.agents[next].next = walk.root;
      ask(walk, next);
    }
    pollfd polled = {walk.socket, POLLIN, 0};
    if (poll(&polled, 1, 200) <= 0) {
      ask_again(walk);
      continue;
    }
    static char answer[65536];
    for (ssize_t size; (size = recv(walk.socket, answer, sizeof answer, MSG_DONTWAIT)) > 0;) {
      take_answer(walk, {answer, static_cast<size_t>(size)});
    }
  }
}

bool read_agents(walk &walk) {
  for (std::string line; std::getline(std::cin, line);) {
    const size_t colon = line.find(':');
    walked_agent agent;
    agent.address.sin_family = AF_INET;
    if (colon == std::string::npos || inet_pton(AF_INET, line.substr(0, colon).c_str(), &agent.address.sin_addr) != 1) {
      fprintf(stderr, "fleet_walk: \"%s\" is no ADDRESS:PORT\n", line.c_str());
      return false;
    }
    agent.address.sin_port = htons(static_cast<uint16_t>(strtoul(line.c_str() + colon + 1, nullptr, 10)));
    walk.agents.push_back(agent);
  }
  return true;
}

}  // namespace

int main() {
  walk walk;
  walk.socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (walk.socket < 0 || setsockopt(walk.socket, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
    fprintf(stderr, "fleet_walk: no socket: %s\n", strerror(errno));
    return 1;
  }
  if (!read_agents(walk)) {
    return 2;
  }
  const auto began = steady::now();
  walk_all(walk);
  const double seconds = std::chrono::duration<double>(steady::now() - began).count();
  size_t varbinds = 0;
  for (const walked_agent &agent : walk.agents) {
    varbinds += agent.varbinds;
  }
  const auto failed =
      std::ranges::count_if(walk.agents, [](const walked_agent &each) { return each.state != walked_agent::kDone; });
  printf(
      "{\"agents\": %zu, \"failed\": %zu, \"varbinds\": %zu, \"requests\": %zu, \"repeated\": %zu, "
      "\"seconds\": %.3f}\n",
      walk.agents.size(), static_cast<size_t>(failed), varbinds, walk.requests, walk.repeated, seconds);
  close(walk.socket);
  return failed == 0 ? 0 : 1;
}
