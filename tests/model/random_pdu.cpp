#include "random_pdu.h"

#include <algorithm>
#include <sstream>

#include "mib_objects.h"

namespace model {
namespace {

using namespace mib;

using numbers = std::vector<long>;

// How often a value, an index or an object is a bad one.
struct manner {
  unsigned bad_once_in;
};

struct number_object {
  unsigned long number;
  bool is_gauge;
  numbers good, bad;
};

const std::vector<number_object> kCells = {
    {kAdminState, false, {1, 1, 1, 2}, {0, 3, -1}},
    {kLoadBalancing, false, {1, 2}, {0, 3}},
    {kInterop, false, {0, 1, 2, 3, 4}, {5, 100, -1}},
    {kInorder, false, {1, 2}, {0, 3}},
    {kDropLatency, true, {1, 500, 2000, 60000}, {0, 60001}},
    {kMediaType, false, {}, {1}},
    {kMtu, false, {}, {2112}},
    {kOperState, false, {}, {1}},
};
const std::vector<number_object> kTimers = {
    {kRatov, true, {5000, 6000, 8000, 10000}, {4999, 10001, 0}},
    {kEdtov, true, {1000, 2345, 3000, 4000}, {999, 4001}},
    {kDstov, true, {5000, 7000, 10000}, {4999, 10001}},
    {kFstov, true, {}, {5000}},
};
const std::vector<number_object> kScalars = {
    {kSwitchRatov, true, {5000, 9000, 10000}, {4999, 10001}},
    {kSwitchEdtov, true, {1000, 2000, 4000}, {999, 4001}},
    {kSwitchDstov, true, {5000, 6000, 10000}, {4999, 10001}},
    {kNetworkLatency, true, {0, 1234, 60000}, {60001}},
    {kSwitchLatency, true, {0, 500, 60000}, {60001}},
    {kSwitchInorder, false, {1, 2}, {0, 3}},
    {kSwitchFstov, true, {}, {5000}},
};

const std::vector<std::string> kGoodNames = {
    "a", "b", "c", "d", "e", "f", "", "five", "ten", "VSAN0030", "thirty-two-octets-are-the-longes"};
const std::vector<std::string> kBadNames = {"e e", "thirty-three-octets-are-too-many.", " ", "bell\a"};

bool is_bad(dice &random, const manner &m) {
  return m.bad_once_in != 0 && once_in(random, m.bad_once_in);
}

// Now and then of the wrong type.
varbind number_value(dice &random, const manner &m, const name_t &name, const number_object &object) {
  const bool bad = object.good.empty() || is_bad(random, m);
  const long value = one_of(random, bad ? object.bad : object.good);
  if (bad && once_in(random, 4)) {
    return once_in(random, 2) ? octets(name, "x") : object.is_gauge ? integer(name, 1) : gauge(name, 1);
  }
  return object.is_gauge ? gauge(name, static_cast<unsigned long>(value)) : integer(name, value);
}

const number_object &object_of(dice &random, const manner &m, const std::vector<number_object> &objects) {
  while (true) {
    const number_object &object = one_of(random, objects);
    if (!object.good.empty() || is_bad(random, m)) {
      return object;
    }
  }
}

unsigned long vsan_named(dice &random, const manner &m) {
  return is_bad(random, m) ? one_of<unsigned long>(random, {0, 77, 4094, 4095, 4096}) : one_of(random, kVsansNamed);
}

varbind random_cell(dice &random, const manner &m) {
  const unsigned long vsan = vsan_named(random, m);
  switch (random() % 8) {
    case 0:
    case 1:
      return octets(vsan_cell(kName, vsan), one_of(random, is_bad(random, m) ? kBadNames : kGoodNames));
    case 2:
    case 3:
    case 4:
      return integer(vsan_cell(kRowStatus, vsan),
                     one_of(random, is_bad(random, m) ? numbers{0, kNotInService, kNotReady, kCreateAndWait, 7}
                                                      : numbers{kActive, kCreateAndGo, kCreateAndGo, kDestroy}));
    default: {
      const number_object &object = object_of(random, m, kCells);
      return number_value(random, m, vsan_cell(object.number, vsan), object);
    }
  }
}

varbind random_timer(dice &random, const manner &m) {
  const unsigned long vsan = vsan_named(random, m);
  if (once_in(random, 3)) {
    const name_t cell = timer_cell(kForceFlag, vsan);
    return is_bad(random, m) ? octets(cell, "ab")
                             : octets(cell, one_of<std::string>(random, {"\xe0", "\xe0", "\x80", "\x1f", "\x60"}));
  }
  const number_object &object = object_of(random, m, kTimers);
  return number_value(random, m, timer_cell(object.number, vsan), object);
}

varbind random_move(dice &random, const manner &m, const std::vector<unsigned long> &interfaces) {
  const unsigned long index = is_bad(random, m) ? 77 : one_of(random, interfaces);
  const auto to = static_cast<long>(vsan_named(random, m));
  if (is_bad(random, m)) {
    return one_of<varbind>(random, {gauge(if_vsan(index), 10), integer(deny_list(index), 0)});
  }
  return integer(if_vsan(index), to);
}

varbind random_varbind(dice &random, const manner &m, const std::vector<unsigned long> &interfaces) {
  switch (random() % 10) {
    case 0:
    case 1:
      return random_timer(random, m);
    case 2:
    case 3:
      return random_move(random, m, interfaces);
    case 4: {
      const number_object &object = object_of(random, m, kScalars);
      return number_value(random, m, switch_wide(object.number), object);
    }
    default:
      return random_cell(random, m);
  }
}

bool is_creation(const varbind &v) {
  return is_under(v.name, vsan_column(kRowStatus)) && v.integer == kCreateAndGo;
}

}  // namespace

std::vector<varbind> random_pdu(dice &random, const std::vector<unsigned long> &interfaces) {
  const manner m = {one_of<unsigned>(random, {0, 0, 0, 40, 8})};
  const uint64_t size = 1 + random() % one_of<uint64_t>(random, {1, 2, 3, 3, 6, 20});
  std::vector<varbind> pdu;
  while (pdu.size() < size) {
    const varbind v = random_varbind(random, m, interfaces);
    const bool is_named = std::any_of(pdu.begin(), pdu.end(), [&](const varbind &each) { return each.name == v.name; });
    if (!is_named || once_in(random, 4)) {
      pdu.push_back(v);
    }
    // What a PDU makes it may go on to name.
    if (is_creation(v) && once_in(random, 4)) {
      pdu.push_back(integer(v.name, one_of<long>(random, {kActive, kDestroy})));
    }
  }
  return pdu;
}

std::string in_words(const std::vector<varbind> &pdu) {
  std::ostringstream out;
  for (const varbind &v : pdu) {
    out << "\n  ";
    PrintTo(v, &out);
  }
  return out.str();
}

}  // namespace model
