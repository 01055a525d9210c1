// Faults that strike a chosen message to the VSAN manager.
#ifndef TESTS_AGENT_FAULT_LAB_H
#define TESTS_AGENT_FAULT_LAB_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab.h"

namespace fault_lab {

constexpr int kVsanRow = 149;

// Switches a fault on, in vsanctl's words, for one opcode.
inline void fault(const lab::lab &l, std::vector<std::string> words, int opcode = kVsanRow) {
  words.insert(words.begin(), "fault");
  words.insert(words.end(), {"--opcode", std::to_string(opcode)});
  const lab::result r = lab::ctl(l, words);
  ASSERT_EQ(r.status, 0) << r.output;
}

// The fault strikes the n-th message of the opcode from now on; those before it pass.
inline void fault_at(const lab::lab &l, unsigned n, std::vector<std::string> words, int opcode = kVsanRow) {
  if (n > 1) {
    fault(l, {"delay", "0", "--count", std::to_string(n - 1)}, opcode);
  }
  words.insert(words.end(), {"--count", "1"});
  fault(l, words, opcode);
}

inline void clear_faults(const lab::lab &l) {
  ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
}

}  // namespace fault_lab

#endif
