// Load that reads: walks by GETNEXT and GETBULK, and a GET that tells when the service is there.
#include <stdio.h>

#include <random>

#include "lab.h"
#include "load.h"

namespace load {

namespace {

using namespace mib;

constexpr double kWalkTimeout = 30;  // seconds: that a PDU takes one time-out only is judged, not enforced
constexpr double kProbeTimeout = 30, kImpatientTimeout = 0.05;
constexpr int kRepetitions = 20;

void print_pdu(const char *kind, const outcome &done) {
  printf("pdu %s %ld %ld %s\n", kind, static_cast<long>(done.start), static_cast<long>(done.latency),
         done.result.c_str());
}

struct walk_state {
  name_t at;
  size_t varbinds = 0;
  std::string outcome{};  // empty while it goes on
};

// Takes one answer's varbinds into the walk.
void follow_walk(walk_state &state, const snmp::answer &answer) {
  if (!answer.sent_back || answer.status != 0) {
    state.outcome = "broken";
  }
  for (const varbind &each : answer.varbinds) {
    if (!state.outcome.empty()) {
      return;
    }
    if (!is_under(each.name, root()) || each.type >= snmp::kNoSuchObject) {
      state.outcome = "ascending";
    } else if (!before(state.at, each.name)) {
      state.outcome = text(each.name);
    } else {
      state.at = each.name;
      ++state.varbinds;
    }
  }
}

void walk_once(snmp::client &reader, bool by_bulk, pace &turns, orders &from) {
  const char *kind = by_bulk ? "getbulk" : "getnext";
  walk_state state = {root()};
  const int64_t start = now_us();
  while (state.outcome.empty() && !from.over && !from.away) {
    wait_for_turn(turns);
    const outcome done = timed(
        [&] { return by_bulk ? snmp::getbulk(reader, {state.at}, kRepetitions) : snmp::getnext(reader, {state.at}); });
    print_pdu(kind, done);
    follow_walk(state, done.answer);
  }
  printf("walk %s %ld %zu %s\n", kind, static_cast<long>(start), state.varbinds,
         state.outcome.empty() ? "broken" : state.outcome.c_str());
}

}  // namespace

int walk(const setting &how, orders &from) {
  lab::lab there;
  there.snmp_port = how.port;
  snmp::client reader(there, snmp::community("public"), kWalkTimeout);
  reader.gives_up = [&] { return from.away || from.over; };
  std::mt19937 random(how.seed);
  pace turns = {how.interval};
  while (!from.over) {
    wait_for_turn(turns);
    if (!from.away) {
      walk_once(reader, random() % 2 == 0, turns, from);
    }
  }
  return 0;
}

// While the agent is away it is asked again and again, so that its return is seen.
int probe(const setting &how, orders &from) {
  lab::lab there;
  there.snmp_port = how.port;
  snmp::client patient(there, snmp::community("public"), kProbeTimeout);
  snmp::client impatient(there, snmp::community("public"), kImpatientTimeout);
  patient.gives_up = [&] { return from.away || from.over; };
  pace turns = {how.interval};
  while (!from.over) {
    wait_for_turn(turns);
    snmp::client &reader = from.away ? impatient : patient;
    print_pdu("get", timed([&] { return snmp::get(reader, {vsan_number()}); }));
  }
  return 0;
}

}  // namespace load
