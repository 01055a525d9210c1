// What tests of interfaces, timers and switch-wide values share: their OIDs, and a walk before and after a change.
#ifndef TESTS_AGENT_FABRIC_LAB_H
#define TESTS_AGENT_FABRIC_LAB_H

#include <map>

#include "set_lab.h"

namespace fabric_lab {

// Interfaces of the lab's small switch: fc1/1 in VSAN 5, fc1/2 and fc1/3 in 10, fc1/4 (down) in 20, fc1/5 in 4093
// (suspended).
constexpr unsigned long kFc1 = 16777216, kFc2 = 16781312, kFc3 = 16785408, kFc4 = 16789504, kFc5 = 16793600;

inline snmp::name_t if_vsan(unsigned long interface) {
  return snmp::root({1, 2, 5, 1, 1, interface});
}
inline snmp::name_t deny_list(unsigned long interface) {
  return snmp::root({1, 2, 5, 1, 2, interface});
}
inline snmp::name_t summary(unsigned long vsan, unsigned long interface) {
  return snmp::root({1, 2, 8, 1, 1, vsan, interface});
}
inline snmp::varbind member(unsigned long vsan, unsigned long interface) {
  return snmp::integer(summary(vsan, interface), static_cast<long>(interface));
}
inline snmp::varbind move(unsigned long interface, long vsan) {
  return snmp::integer(if_vsan(interface), vsan);
}

enum timer_column : unsigned long { kForceFlag = 1, kRatov = 2, kEdtov = 3, kDstov = 4, kFstov = 5 };
inline snmp::name_t timer_cell(unsigned long column, unsigned long vsan) {
  return snmp::root({1, 4, 8, 1, column, vsan});
}
inline snmp::varbind timer(unsigned long column, unsigned long vsan, unsigned long value) {
  return snmp::gauge(timer_cell(column, vsan), value);
}
inline snmp::varbind force(unsigned long vsan, char flags) {
  return snmp::octets(timer_cell(kForceFlag, vsan), std::string(1, flags));
}

enum scalar : unsigned long {
  kSwitchRatov = 1,
  kSwitchEdtov,
  kSwitchFstov,
  kSwitchDstov,
  kNetworkLatency,
  kSwitchLatency,
  kSwitchInorder
};
inline snmp::varbind scalar_gauge(unsigned long which, unsigned long value) {
  return snmp::gauge(snmp::root({1, 4, which, 0}), value);
}

inline snmp::name_t last_change() {
  return snmp::root({1, 1, 2, 0});
}

// Every value that the agent serves, without the time of the last change.
using values = std::map<snmp::name_t, snmp::varbind>;

struct difference {
  std::vector<snmp::varbind> now;  // changed or new
  std::vector<snmp::name_t> gone;
  bool operator==(const difference &other) const = default;
};
inline void PrintTo(const difference &d, std::ostream *out) {
  for (const snmp::varbind &v : d.now) {
    *out << "\n  now ";
    snmp::PrintTo(v, out);
  }
  for (const snmp::name_t &name : d.gone) *out << "\n  gone " << snmp::text(name);
}

class FabricTest : public set_lab::SetTest {
 protected:
  values everything() {
    snmp::client reader(l, snmp::community("public"), 30);
    values out;
    for (const snmp::varbind &v : snmp::bulkwalk(reader, snmp::root({}))) {
      if (v.name != last_change()) out[v.name] = v;
    }
    return out;
  }
  // What a walk shows now and did not at the last call.
  difference changes() {
    const values now = everything();
    difference d;
    for (const auto &[name, value] : now) {
      const auto old = before.find(name);
      if (old == before.end() || !(old->second == value)) d.now.push_back(value);
    }
    for (const auto &[name, value] : before) {
      if (now.count(name) == 0) d.gone.push_back(name);
    }
    before = now;
    return d;
  }
  void SetUp() override {
    SetTest::SetUp();
    before = everything();
    ASSERT_GT(before.size(), 80u);
  }
  std::string errors() { return lab::ctl(l, {"show", "errors"}).output; }

  values before;
};

}  // namespace fabric_lab

#endif
