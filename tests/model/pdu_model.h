// What an agent, with the module loaded, makes of a SET PDU of one of its users, phase by phase: status and index that
// the client gets, what the switch is sent, and what the module keeps.
#ifndef TESTS_MODEL_PDU_MODEL_H
#define TESTS_MODEL_PDU_MODEL_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mib_objects.h"
#include "switch_model.h"
#include "varbind.h"

namespace model {

// What the agent's configuration gives a user's group. Lists that are not there restrict nothing.
struct role {
  enum class access { write, read, none };
  std::optional<std::set<unsigned long>> vsans{};
  std::optional<std::set<unsigned long>> interfaces{};
  access switch_wide = access::write;
  bool closed = false;
};

bool may_use_vsan(const role &who, unsigned long vsan);
bool may_see_interface(const role &who, unsigned long index);
// Scalars, and the interface table where no list of interfaces rules it.
bool may_read_switch_wide(const role &who);

// A row that a PDU listed, and whether row status or a column listed it.
struct listed_row {
  sent_row row{};
  bool by_column = false;
};

struct agent_model {
  switch_model switch_side{};
  std::map<unsigned long, unsigned char> forced{};  // by VSAN; what is not there is 0
  // The module's two lists. Only saved rows of a PDU that was refused in ACTION stay in one, until the VSAN's next PDU.
  std::map<unsigned long, listed_row> pending{}, saved{};
  std::set<unsigned long> over{};  // VSANs whose last PDU ended in UNDO
};

struct outcome {
  int status = 0;  // of SNMPv2
  long index = 0;  // of the varbind it is about, 1-based; 0 with status 0
  bool operator==(const outcome &other) const = default;
};
void PrintTo(const outcome &o, std::ostream *out);

outcome serve(agent_model &a, const role &who, const std::vector<mib::varbind> &pdu);

// "pending 5 saved 10 20": the VSANs of the module's lists.
std::string lists_of(const agent_model &a);

}  // namespace model

#endif
