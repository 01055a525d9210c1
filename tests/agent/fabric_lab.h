// What tests of interfaces, timers and switch-wide values share: their OIDs, and a walk before and after a change.
#ifndef TESTS_AGENT_FABRIC_LAB_H
#define TESTS_AGENT_FABRIC_LAB_H

#include <map>

#include "set_lab.h"

namespace fabric_lab {

using namespace mib;

// Interfaces of the lab's small switch: fc1/1 in VSAN 5, fc1/2 and fc1/3 in 10, fc1/4 (down) in 20, fc1/5 in 4093
// (suspended).
constexpr unsigned long kFc1 = 16777216, kFc2 = 16781312, kFc3 = 16785408, kFc4 = 16789504, kFc5 = 16793600;

inline varbind member(unsigned long vsan, unsigned long interface) {
  return integer(summary(vsan, interface), static_cast<long>(interface));
}
inline varbind move(unsigned long interface, long vsan) {
  return integer(if_vsan(interface), vsan);
}

inline varbind timer(unsigned long column, unsigned long vsan, unsigned long value) {
  return gauge(timer_cell(column, vsan), value);
}
inline varbind force(unsigned long vsan, char flags) {
  return octets(timer_cell(kForceFlag, vsan), std::string(1, flags));
}

inline varbind scalar_gauge(unsigned long which, unsigned long value) {
  return gauge(switch_wide(which), value);
}

// Every value that the agent serves, without the time of the last change.
using values = std::map<name_t, varbind>;

struct difference {
  std::vector<varbind> now;  // changed or new
  std::vector<name_t> gone;
  bool operator==(const difference &other) const = default;
};
inline void PrintTo(const difference &d, std::ostream *out) {
  for (const varbind &v : d.now) {
    *out << "\n  now ";
    PrintTo(v, out);
  }
  for (const name_t &name : d.gone) {
    *out << "\n  gone " << text(name);
  }
}

class FabricTest : public set_lab::SetTest {
 protected:
  values everything() {
    snmp::client reader(l, snmp::community("public"), 30);
    values out;
    for (const varbind &v : snmp::bulkwalk(reader, root())) {
      if (v.name != last_change()) {
        out[v.name] = v;
      }
    }
    return out;
  }
  // What a walk shows now and did not at the last call.
  difference changes() {
    const values now = everything();
    difference d;
    for (const auto &[name, value] : now) {
      const auto old = before.find(name);
      if (old == before.end() || !(old->second == value)) {
        d.now.push_back(value);
      }
    }
    for (const auto &[name, value] : before) {
      if (now.count(name) == 0) {
        d.gone.push_back(name);
      }
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
