// A real switch and agent beside the model of them, and where the two differ.
#ifndef TESTS_MODEL_MODEL_LAB_H
#define TESTS_MODEL_MODEL_LAB_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "lab.h"
#include "pdu_model.h"
#include "snmp_client.h"
#include "store_reader.h"

namespace model_lab {

// Somebody who writes: a community, and the role of its group.
struct user {
  std::string name;
  model::role role;
};
// The operator first, who is in no role.
const std::vector<user> &users();

struct pair {
  lab::lab l;
  model::agent_model model;
  store_reader::reader store;
  std::vector<std::unique_ptr<snmp::client>> clients;  // by user
  mib::varbind changed_last;                           // the time of the last change, as the operator saw it last
  bool changed = false;                                // whether a VSAN changed since
  // When the last PDU that changed one was sent and answered, and when that one was of which he saw the time.
  std::chrono::steady_clock::time_point change_sent, change_answered, seen_answered;
  unsigned long changes_told_apart = 0;  // how often the time had to go on

  pair() = default;
  pair(const pair &) = delete;
  pair &operator=(const pair &) = delete;
};

// Starts the switch of the lab with an agent that has all users, and the model of it.
void start(pair &p);

// Refuses the `nth` write of `opcode` from now on with `status`, on both sides. Returns whether the switch took it.
bool refuse_write(pair &p, int opcode, unsigned nth, int status);
bool clear_refusals(pair &p);

// Sends the PDU as the user to both. Returns "" when all is the same afterwards: the answer, the store, the module's
// lists, the operator's walk and the user's; otherwise what differs.
// Without `walks` the last two are left out, so that what the module keeps of one PDU meets the next.
std::string compare_set(pair &p, const user &who, const std::vector<mib::varbind> &pdu, bool walks,
                        model::outcome &expected);

}  // namespace model_lab

#endif
