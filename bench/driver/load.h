// The interleaved run: rounds, in each every shape on every peer in turn, a short slice each.
#ifndef BENCH_DRIVER_LOAD_H
#define BENCH_DRIVER_LOAD_H

#include <stdint.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "peer_link.h"
#include "shapes.h"

namespace bench {

struct peer {
  std::string name;
  uint32_t vsans = 0;
  uint16_t port = 0;
  std::vector<pid_t> agent;   // the snmpd
  std::vector<pid_t> behind;  // what it asks: the switch, a subagent, a program
  peer_link link;
};

// Reads "NAME:VSANS:PORT:PID,…:PID,…"; each list may be empty. Returns an empty text, or what is wrong with it.
std::string read_peer(const std::string &text, peer &read);

struct plan {
  std::vector<peer> peers;
  std::vector<const shape *> shapes;
  unsigned rounds = 1;
  double slice = 0.1;     // seconds of one shape on one peer
  uint64_t requests = 0;  // what ends a slice before its time does; 0: nothing. Rounded up to the workload's steps
  size_t warm_up = 4;     // requests in front of a slice that are not counted, in the workload's steps
};

// Waits until the peer's first GETNEXT is answered rightly, `seconds` at most. Returns an empty text, or the last
// problem.
std::string wait_for_peer(peer &waited, double seconds);

// Runs the plan and prints a row of CSV for each slice, without a headline: round, VSANs, shape, peer, requests,
// varbinds, seconds, and the CPU nanoseconds of the agent and of what is behind it. Peers of one size are taken in
// turn, another first each time. Stops at the first wrong or missing answer. Returns an empty text, or one that names
// peer, shape, OID, what was expected and what came.
std::string run_plan(plan &plan);

}  // namespace bench

#endif
