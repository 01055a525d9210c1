// Random SETs of one to twenty varbinds by users of every kind of role, some of them refused by the switch on the way,
// against a model of agent, module and switch: after each the answer, the store, the module's lists and walks are the
// model's.
//   MODEL_PDUS   how many (10000; under the sanitizers 1000)
//   MODEL_SEED   repeats a run; the seed of each run is printed
#include <gtest/gtest.h>
#include <stdlib.h>

#include "model_lab.h"
#include "random_pdu.h"

namespace {

using model_lab::user;

unsigned long from_environment(const char *variable, unsigned long otherwise) {
  const char *text = getenv(variable);
  return text == nullptr ? otherwise : strtoul(text, nullptr, 10);
}

struct counters {
  unsigned long accepted = 0, refused = 0, struck = 0, of_restricted = 0;
};

const user &random_user(model::dice &random) {
  return model::once_in(random, 2) ? model_lab::users()[0] : model::one_of(random, model_lab::users());
}

// One PDU, perhaps with a write of it refused. Returns what differs, and then the last events.
std::string step(model_lab::pair &p, model::dice &random, const std::vector<unsigned long> &interfaces, counters &c,
                 std::string &history) {
  const user &who = random_user(random);
  const bool struck = model::once_in(random, 10);
  const int opcode = model::one_of<int>(random, {149, 149, 149, 149, 124, 127, 136, 140});
  const auto nth = static_cast<unsigned>(1 + random() % 3);
  const int status = model::one_of<int>(random, {0x40190001, 0x40190004, 0x4049002C});
  const std::vector<mib::varbind> pdu = model::random_pdu(random, interfaces);
  std::string out;
  if (struck && !model_lab::refuse_write(p, opcode, nth, status)) {
    out += "the switch takes no fault\n";
  }
  model::outcome expected;
  out += model_lab::compare_set(p, who, pdu, !model::once_in(random, 4), expected);
  if (!out.empty()) {
    out += "by " + who.name + model::in_words(pdu);
    if (struck) {
      out += "\nwith write " + std::to_string(nth) + " of opcode " + std::to_string(opcode) + " refused\n";
    }
    history = lab::ctl(p.l, {"history", "-n", "400"}).output;
  }
  if (struck && !model_lab::clear_refusals(p)) {
    out += "the switch keeps its fault\n";
  }
  ++(expected.status == 0 ? c.accepted : c.refused);
  c.struck += struck ? 1 : 0;
  c.of_restricted += &who != &model_lab::users()[0] ? 1 : 0;
  return out;
}

TEST(WholeModel, AfterEveryRandomPduAgentAndSwitchAreWhatTheModelSays) {
  const unsigned long pdus = from_environment("MODEL_PDUS", MODEL_PDUS);
  const unsigned long seed = from_environment("MODEL_SEED", std::random_device()());
  printf("MODEL_SEED=%lu\n", seed);
  fflush(stdout);
  model::dice random(seed);
  model_lab::pair p;
  model_lab::start(p);
  std::vector<unsigned long> interfaces;
  for (const auto &[index, each] : p.model.switch_side.interfaces) {
    interfaces.push_back(index);
  }
  counters c;
  std::string history;
  for (unsigned long i = 0; i < pdus; ++i) {
    ASSERT_EQ(step(p, random, interfaces, c, history), "") << "PDU " << i << " of MODEL_SEED=" << seed << "\n"
                                                           << history;
  }
  printf("%lu PDUs: %lu accepted, %lu refused; %lu of restricted users, %lu with a refusal by the switch in wait\n",
         pdus, c.accepted, c.refused, c.of_restricted, c.struck);
  printf("%lu times the time of the last change had to go on\n", p.changes_told_apart);
  EXPECT_GT(p.changes_told_apart, pdus / 1000);
  EXPECT_GT(c.accepted, pdus / 10);
  EXPECT_GT(c.refused, pdus / 10);
}

}  // namespace
