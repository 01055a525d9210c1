#include "load.h"

#include <inttypes.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <utility>

#include "bench_rows.h"
#include "cpu_time.h"
#include "number_text.h"

namespace bench {
namespace {

using monotonic = std::chrono::steady_clock;

constexpr int kAnswerWaitMs = 10000;
constexpr int kProbeWaitMs = 500;
constexpr useconds_t kProbeEvery = 50000;

struct slice_result {
  uint64_t requests = 0;
  uint64_t varbinds = 0;
  double seconds = 0;
  uint64_t agent_ns = 0;
  uint64_t behind_ns = 0;
  std::string problem;
};

double since(monotonic::time_point start) {
  return std::chrono::duration<double>(monotonic::now() - start).count();
}

// Sends `step` requests from `at` on, and moves `at` on.
void ask_step(peer &peer, workload &work, size_t &at, slice_result &result) {
  for (size_t i = 0; i < work.step && result.problem.empty(); ++i) {
    exchange &request = work.exchanges[at];
    result.problem = ask(peer.link, work, request);
    result.varbinds += request.expected.size();
    ++result.requests;
    at = (at + 1) % work.exchanges.size();
  }
}

// `start` is the request to begin with.
slice_result run_slice(const plan &plan, peer &peer, workload &work, size_t start) {
  slice_result warm, result;
  size_t at = start - start % work.step;
  for (size_t i = 0; i < plan.warm_up && warm.problem.empty(); ++i) {
    ask_step(peer, work, at, warm);
  }
  if (!warm.problem.empty()) {
    return warm;
  }
  const uint64_t agent = cpu_time(peer.agent);
  const uint64_t behind = cpu_time(peer.behind);
  const auto begin = monotonic::now();
  do {
    ask_step(peer, work, at, result);
    result.seconds = since(begin);
  } while (result.problem.empty() && result.seconds < plan.slice &&
           (plan.requests == 0 || result.requests < plan.requests));
  result.agent_ns = cpu_time(peer.agent) - agent;
  result.behind_ns = cpu_time(peer.behind) - behind;
  return result;
}

void print_result(unsigned round, const peer &peer, const shape &shape, const slice_result &result) {
  printf("%u,%u,%s,%s,%" PRIu64 ",%" PRIu64 ",%.9f,%" PRIu64 ",%" PRIu64 "\n", round, peer.vsans, shape.name,
         peer.name.c_str(), result.requests, result.varbinds, result.seconds, result.agent_ns, result.behind_ns);
}

std::vector<std::string> parts_of(const std::string &text, char between) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string each; std::getline(in, each, between);) {
    parts.push_back(each);
  }
  return parts;
}

bool read_pids(const std::string &text, std::vector<pid_t> &pids) {
  for (const std::string &part : parts_of(text, ',')) {
    pids.push_back(0);
    if (!read_number(part, pids.back()) || pids.back() <= 0) {
      return false;
    }
  }
  return true;
}

// The sizes in the order of their first peers.
std::vector<uint32_t> sizes_of(const std::vector<peer> &peers) {
  std::vector<uint32_t> sizes;
  for (const peer &each : peers) {
    if (std::ranges::find(sizes, each.vsans) == sizes.end()) {
      sizes.push_back(each.vsans);
    }
  }
  return sizes;
}

// One shape on all peers of one size; the peer at `turn` goes first.
std::string run_turn(plan &plan, unsigned round, uint32_t vsans, const shape &shape, workload &work, size_t turn) {
  std::vector<peer *> peers;
  for (peer &each : plan.peers) {
    if (each.vsans == vsans) {
      peers.push_back(&each);
    }
  }
  std::rotate(peers.begin(), peers.begin() + static_cast<std::ptrdiff_t>(turn % peers.size()), peers.end());
  // Every peer answers the same part of the table; the next round takes another.
  const size_t start = work.exchanges.size() * round / plan.rounds;
  for (peer *each : peers) {
    const slice_result result = run_slice(plan, *each, work, start);
    if (!result.problem.empty()) {
      return "peer " + each->name + " with " + std::to_string(vsans) + " VSANs, shape " + shape.name + ": " +
             result.problem;
    }
    print_result(round, *each, shape, result);
  }
  return "";
}

}  // namespace

std::string read_peer(const std::string &text, peer &read) {
  std::vector<std::string> parts = parts_of(text, ':');
  parts.resize(5);
  read.name = parts[0];
  read.vsans = rows_wanted(parts[1].c_str());
  const bool sound = !read.name.empty() && read.vsans > 0 && read_number(parts[2], read.port) &&
                     read_pids(parts[3], read.agent) && read_pids(parts[4], read.behind);
  return sound ? "" : "\"" + text + "\" is no NAME:VSANS:PORT:PIDS:PIDS";
}

std::string wait_for_peer(peer &waited, double seconds) {
  workload first = make_workload(kShapes[0], 1);
  std::string problem;
  const auto begin = monotonic::now();
  do {
    if (problem = open_link(waited.link, waited.port, kProbeWaitMs); problem.empty()) {
      problem = ask(waited.link, first, first.exchanges[0]);
      close_link(waited.link);
    }
    if (problem.empty()) {
      return "";
    }
    usleep(kProbeEvery);
  } while (since(begin) < seconds);
  return "peer " + waited.name + " with " + std::to_string(waited.vsans) + " VSANs does not serve: " + problem;
}

std::string run_plan(plan &plan) {
  for (peer &each : plan.peers) {
    if (std::string problem = open_link(each.link, each.port, kAnswerWaitMs); !problem.empty()) {
      return problem;
    }
  }
  std::map<std::pair<uint32_t, const shape *>, workload> workloads;
  const std::vector<uint32_t> sizes = sizes_of(plan.peers);
  for (const uint32_t vsans : sizes) {
    for (const shape *each : plan.shapes) {
      workloads[{vsans, each}] = make_workload(*each, vsans);
    }
  }
  size_t turn = 0;
  for (unsigned round = 0; round < plan.rounds; ++round) {
    for (const shape *each : plan.shapes) {
      for (const uint32_t vsans : sizes) {
        std::string problem = run_turn(plan, round, vsans, *each, workloads[{vsans, each}], turn++);
        if (!problem.empty()) {
          return problem;
        }
      }
    }
    fflush(stdout);
  }
  return "";
}

}  // namespace bench
