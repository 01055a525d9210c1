// Outside a PDU every call got the same number, so that a row kept by it was never fetched again.
#include <gtest/gtest.h>

#include <set>

#include "platform/agent.h"

namespace {

TEST(NumberOutsidePdus, IsAnotherOneEachTimeAndNeverAPdus) {
  std::set<int> seen;
  for (int i = 0; i < 1000; ++i) {
    const int number = get_pdu_reqid();
    EXPECT_LT(number, 0) << "a PDU's is positive";
    EXPECT_TRUE(seen.insert(number).second) << number;
  }
}

}  // namespace
