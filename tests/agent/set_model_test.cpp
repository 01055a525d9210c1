// Random SET PDUs over every table that can be written, against a model: after each, the store, the distribution
// marks and the force flags are what the model says, whether the PDU was accepted or refused in any phase.
//   MODEL_PDUS   how many PDUs (300)
//   MODEL_SEED   repeats a run; the seed of each run is printed
#include <stdlib.h>

#include <algorithm>
#include <random>

#include "fabric_lab.h"
#include "set_model.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

unsigned long from_environment(const char *variable, unsigned long otherwise) {
  const char *text = getenv(variable);
  return text == nullptr ? otherwise : strtoul(text, nullptr, 10);
}

using dice = std::mt19937;

template <typename Value>
Value one_of(dice &random, const std::vector<Value> &values) {
  return values[std::uniform_int_distribution<size_t>(0, values.size() - 1)(random)];
}

const std::vector<unsigned long> kVsans = {1, 5, 5, 9, 10, 10, 20, 30, 31, 4093};
const std::vector<unsigned long> kInterfaces = {kFc1, kFc2, kFc3, kFc4, kFc5};

varbind random_cell(dice &random) {
  const unsigned long vsan = one_of(random, kVsans);
  switch (one_of<int>(random, {0, 0, 1, 2, 3, 4, 5, 6, 6, 6, 6})) {
    case 0:
      return name(vsan, one_of<std::string>(random, {"a", "b", "c", "d", "", "five", "ten", "e e", "f", "g"}));
    case 1:
      return admin_state(vsan, one_of<long>(random, {1, 1, 2, 2, 3}));
    case 2:
      return integer(vsan_cell(kLoadBalancing, vsan), one_of<long>(random, {1, 2, 2, 1, 0}));
    case 3:
      return integer(vsan_cell(kInterop, vsan), one_of<long>(random, {0, 1, 2, 3, 4}));
    case 4:
      return integer(vsan_cell(kInorder, vsan), one_of<long>(random, {1, 2}));
    case 5:
      return gauge(vsan_cell(kDropLatency, vsan), one_of<unsigned long>(random, {1, 777, 60000, 500}));
    default:
      return row_status(vsan,
                        one_of<long>(random, {kActive, kCreateAndGo, kCreateAndGo, kDestroy, kDestroy, kDestroy}));
  }
}

varbind random_timer(dice &random) {
  const unsigned long vsan = one_of(random, kVsans);
  switch (one_of<int>(random, {0, 1, 2, 3})) {
    case 0:
      return force(vsan, one_of<char>(random, {'\0', '\xe0', '\x80', '\x1f'}));
    case 1:
      return timer(kRatov, vsan, one_of<unsigned long>(random, {5000, 6000, 10000, 8000, 4999}));
    case 2:
      return timer(kEdtov, vsan, one_of<unsigned long>(random, {1000, 4000, 2345, 3000}));
    default:
      return timer(kDstov, vsan, one_of<unsigned long>(random, {5000, 6000, 7000, 10000}));
  }
}

varbind random_varbind(dice &random) {
  switch (one_of<int>(random, {0, 0, 0, 0, 0, 1, 1, 2, 2, 3})) {
    case 0:
      return random_cell(random);
    case 1:
      return random_timer(random);
    case 2:
      return move(one_of(random, kInterfaces), static_cast<long>(one_of(random, kVsans)));
    default:
      return scalar_gauge(one_of<unsigned long>(random, {kNetworkLatency, kSwitchLatency}),
                          one_of<unsigned long>(random, {0, 60000, 1234, 60001}));
  }
}

// No cell twice in one PDU.
std::vector<varbind> random_pdu(dice &random) {
  std::vector<varbind> pdu;
  const int size = std::uniform_int_distribution<int>(1, 6)(random);
  while (pdu.size() < static_cast<size_t>(size)) {
    const varbind v = random_varbind(random);
    const bool there = std::any_of(pdu.begin(), pdu.end(), [&](const auto &each) { return each.name == v.name; });
    if (!there) {
      pdu.push_back(v);
    }
  }
  return pdu;
}

// The small switch of the lab as the model has it, with two VSANs kept out of distribution.
set_model::world small_switch() {
  set_model::world w;
  const auto row = [](const char *name, long admin, long balancing, long interop, long inorder, long latency) {
    return set_model::vsan{name,
                           {{kAdminState, admin},
                            {kLoadBalancing, balancing},
                            {kInterop, interop},
                            {kInorder, inorder},
                            {kDropLatency, latency}}};
  };
  w.vsans = {{1, row("default", 1, 2, 100, 2, 2000)},
             {5, row("five", 1, 1, 3, 1, 3000)},
             {10, row("ten", 1, 2, 100, 2, 2000)},
             {20, row("twenty", 1, 2, 100, 2, 2000)},
             {4093, row("last", 2, 2, 100, 2, 2000)}};
  w.interfaces = {{kFc1, {5, true, true}},
                  {kFc2, {10, true, true}},
                  {kFc3, {10, true, true}},
                  {kFc4, {20, false, true}},
                  {kFc5, {4093, true, true}}};
  w.timers = {{{0, 7}, 2000}, {{0, 8}, 10000}, {{0, 9}, 5000}, {{0, 10}, 5000}, {{5, 7}, 2500}, {{5, 8}, 9000}};
  w.kept_out = {10, 20};
  w.scalars = {{kNetworkLatency, 2000}, {kSwitchLatency, 500}};
  return w;
}

std::string store_text(const lab::lab &l) {
  return lab::run({"sqlite3", "-readonly", l.dir + "/switch.db",
                   "SELECT 'vsan ' || id, name, admin_state, load_balancing, interop, inorder, drop_latency FROM vsan"
                   " ORDER BY id;"
                   "SELECT 'interface ' || ifindex, vsan, up, is_static FROM interface ORDER BY ifindex;"
                   "SELECT 'timer ' || vsan, key, value FROM timer ORDER BY vsan, key;"
                   "SELECT 'kept out ' || vsan FROM kept_out ORDER BY vsan;"
                   "SELECT 'scalar 5', value FROM setting WHERE name = 'network_latency';"
                   "SELECT 'scalar 6', value FROM setting WHERE name = 'switch_latency';"})
      .output;
}

std::string in_words(const std::vector<varbind> &pdu) {
  std::ostringstream out;
  for (const varbind &v : pdu) {
    out << "\n  ";
    PrintTo(v, &out);
  }
  return out.str();
}

TEST(SetModel, AfterEveryRandomPduTheSwitchIsWhatTheModelSays) {
  const unsigned long pdus = from_environment("MODEL_PDUS", 300);
  const auto seed = static_cast<unsigned>(from_environment("MODEL_SEED", std::random_device()()));
  printf("MODEL_SEED=%u\n", seed);
  dice random(seed);
  lab::lab l;
  lab::start(l);
  for (const char *vsan : {"10", "20"}) {
    ASSERT_EQ(lab::ctl(l, {"kdx", "keep-out", vsan}).status, 0);
  }
  set_model::world model = small_switch();
  ASSERT_EQ(store_text(l), set_model::text_of(model));

  snmp::client writer(l, snmp::community("private"), 30);
  unsigned long accepted = 0, undone = 0;
  for (unsigned long i = 0; i < pdus; ++i) {
    const std::vector<varbind> pdu = random_pdu(random);
    const std::string before = set_model::text_of(model);
    const bool expected = set_model::serve(model, pdu);
    const snmp::answer answer = snmp::set(writer, pdu);
    ASSERT_TRUE(answer.sent_back) << "PDU " << i << in_words(pdu);
    ASSERT_EQ(answer.status == kNoError, expected) << "PDU " << i << in_words(pdu) << "\nbefore:\n" << before;
    ASSERT_EQ(store_text(l), set_model::text_of(model)) << "PDU " << i << in_words(pdu) << "\nbefore:\n" << before;
    for (const varbind &v : snmp::walk(writer, timer_column(kForceFlag))) {
      ASSERT_EQ(static_cast<unsigned char>(v.octets.at(0)), model.forced[v.name.back()])
          << "PDU " << i << in_words(pdu);
    }
    accepted += expected ? 1 : 0;
    undone += !expected && before != set_model::text_of(model) ? 1 : 0;
  }
  printf("%lu PDUs: %lu accepted, %lu refused, of which %lu left what is not undone\n", pdus, accepted, pdus - accepted,
         undone);
  EXPECT_GT(accepted, pdus / 20);
  EXPECT_GT(pdus - accepted, pdus / 20);
}

}  // namespace
