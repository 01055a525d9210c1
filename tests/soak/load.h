// What the soak's load programs share: when to send, what the conductor says, and lines that the judge reads.
//
// Times are microseconds of the monotonic clock. A line is one of
//   pdu KIND START LATENCY RESULT                 KIND: get, getnext, getbulk
//   set START LATENCY RESULT SCOPE KEY=VALUE...   SCOPE: "row", "rows" of one PDU, or "wide"
//   read START LATENCY RESULT KEY=VALUE...        "-" is a row that is not there
//   walk KIND START VARBINDS OUTCOME              OUTCOME: "ascending", "broken" off, or the name that did not rise
//   trap TIME member INTERFACE VSAN | trap TIME status VSAN STATE | trap TIME other OID
//   sink DROPS                                    datagrams that the receiver had no room for
// RESULT is an SNMP error status, "absent" for an exception, "none" without an answer, or "left" when the agent went.
#ifndef TESTS_SOAK_LOAD_H
#define TESTS_SOAK_LOAD_H

#include <stdint.h>

#include <atomic>
#include <string>
#include <vector>

#include "snmp_client.h"

namespace load {

// What the conductor said last: whether the agent is away, how many read-backs it wants, and whether to end.
struct orders {
  std::atomic<bool> away = false;
  std::atomic<bool> over = false;
  std::atomic<unsigned> checks = 0;
};

// Follows the lines "away", "back" and "check" of standard input, until its end. Returns at that end.
void follow(orders &from);

int64_t now_us();

// Sleeps until the next request of a pace is due; at once when it is late. Times in microseconds.
struct pace {
  int64_t interval;
  int64_t next = 0;
};
void wait_for_turn(pace &p);

struct outcome {
  snmp::answer answer;
  int64_t start;
  int64_t latency;
  std::string result;
};

std::string result_of(const snmp::answer &answer);

// Makes one exchange: times it and names its result.
template <typename Exchange>
outcome timed(const Exchange &exchange) {
  outcome out = {};
  out.start = now_us();
  out.answer = exchange();
  out.latency = now_us() - out.start;
  out.result = result_of(out.answer);
  return out;
}

// The programs. Each ends when the conductor's lines do.
struct setting {
  int port;
  unsigned seed;
  int64_t interval;  // microseconds between requests
  unsigned number;   // of the writer, from 0
};
int write(const setting &how, orders &from);
int walk(const setting &how, orders &from);
int probe(const setting &how, orders &from);
int take_traps(const setting &how, orders &from);

}  // namespace load

#endif
