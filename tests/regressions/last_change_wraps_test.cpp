// vsanTableLastChange of an agent on a 32-bit host: 249 days from the agent's start it read as a made-up time,
// or as 0.
#include "module_test.h"

extern "C" {

u_long __real_netsnmp_timeval_uptime(struct timeval *at);

// What the agent's own conversion comes to where a long has 32 bits.
u_long __wrap_netsnmp_timeval_uptime(struct timeval *at) {
  return static_cast<u_long>(static_cast<int32_t>(static_cast<uint32_t>(__real_netsnmp_timeval_uptime(at))));
}
}

namespace {

using namespace mib;

constexpr int64_t kAgentStart = 1'700'000'000;
constexpr int64_t kSecondsADay = 86'400;

class LastChange : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    struct timeval start = {kAgentStart, 250'000};
    netsnmp_set_agent_starttime(&start);
  }
  static int64_t read(int64_t seconds, uint32_t microseconds) {
    fake::the().change_seconds = static_cast<uint32_t>(seconds);
    fake::the().change_microseconds = microseconds;
    const auto answer = mini::get(last_change());
    return answer ? static_cast<uint32_t>(answer->integer) : -1;
  }
};

TEST_F(LastChange, ReadsZeroForEveryDayBeforeTheAgentsStart) {
  for (int64_t day = -600; day < 0; ++day) {
    EXPECT_EQ(read(kAgentStart + day * kSecondsADay, 250'000), 0) << "day " << day;
  }
}

TEST_F(LastChange, CountsHundredthsModulo32BitsForEveryDayAfterIt) {
  for (int64_t day = 0; day <= 600; ++day) {
    const int64_t hundredths = day * kSecondsADay * 100;
    EXPECT_EQ(read(kAgentStart + day * kSecondsADay, 250'000), hundredths % (int64_t{1} << 32)) << "day " << day;
  }
}

TEST_F(LastChange, IsExactAroundTheAgentsStart) {
  EXPECT_EQ(read(kAgentStart, 249'999), 0);
  EXPECT_EQ(read(kAgentStart - 1, 999'999), 0);
  EXPECT_EQ(read(kAgentStart, 259'999), 0);
  EXPECT_EQ(read(kAgentStart, 260'000), 1);
  EXPECT_EQ(read(kAgentStart + 1, 0), 75);
}

}  // namespace
