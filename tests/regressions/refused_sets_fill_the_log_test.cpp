// Every refused SET wrote a line into the agent's log, without limit.
#include <chrono>

#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(RefusedSets, TakeTwentyLinesOfTheLogAndOneMoreASecond) {
  lab::lab l;
  lab::start(l);
  const auto start = std::chrono::steady_clock::now();
  snmp::client tenant(l, snmp::community("limited"), 10);
  constexpr int kRefused = 1000;
  for (int i = 0; i < kRefused; ++i) {
    ASSERT_EQ(outcome_of(snmp::set(tenant, {name(5, "x")})), (outcome{kGenErr, 1})) << i;
  }
  const auto took = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
  const size_t lines = count(log_of(l), "switch_agent: user ");
  EXPECT_GE(lines, 20u);
  EXPECT_LE(lines, 20u + static_cast<size_t>(took.count()) + 1);
  const std::string errors = lab::ctl(l, {"show", "errors"}).output;
  EXPECT_GE(count(errors, "the user may not touch this VSAN"), 30u) << "all that are kept: " << errors;
}

}  // namespace
