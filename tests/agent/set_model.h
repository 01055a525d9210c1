// A model of what a SET PDU comes to: the tables, marks and flags of a switch, and what the agent, the module and the
// managers together make of them. One client writes; nobody else does.
#ifndef TESTS_AGENT_SET_MODEL_H
#define TESTS_AGENT_SET_MODEL_H

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "snmp_client.h"

namespace set_model {

using namespace mib;

struct vsan {
  std::string name;
  // By column; media type and MTU are never written.
  std::map<unsigned long, long> values;
  bool operator==(const vsan &other) const = default;
};

struct interface {
  unsigned long vsan;
  bool up;
  bool is_static;
  bool operator==(const interface &other) const = default;
};

using timer_key = std::pair<unsigned long, unsigned long>;  // VSAN, attribute key

// What a DELETE took and an undone one gives back.
struct deleted {
  vsan row;
  std::map<unsigned long, bool> interfaces;  // by index: whether it was static
  std::map<timer_key, long> timers;
  bool kept_out;
};

struct world {
  std::map<unsigned long, vsan> vsans;
  std::map<unsigned long, interface> interfaces;
  std::map<timer_key, long> timers;
  std::set<unsigned long> kept_out;
  std::map<unsigned long, long> scalars;          // by the last number of their OID under 1.4
  std::map<unsigned long, unsigned char> forced;  // by VSAN; what is not there is 0
  std::map<unsigned long, deleted> taken;
};

// Serves the PDU as the switch would. Returns whether it is accepted.
bool serve(world &w, const std::vector<varbind> &pdu);

// The world's tables as text, a line a row: what tests compare.
std::string text_of(const world &w);

}  // namespace set_model

#endif
