// While an operator suspends and activates a VSAN and an NMS renames it, acknowledged names and states go back to
// earlier ones.
#include <atomic>
#include <thread>

#include "set_lab.h"

namespace {

using namespace set_lab;

using OperatorAndNms = SetTest;

TEST_F(OperatorAndNms, NeitherUndoesWhatTheOtherWasAcknowledged) {
  int number = 0;
  for (int round = 0; round < 60; ++round) {
    const bool suspend = round % 2 == 0;
    std::atomic<bool> written = false;
    lab::result operated = {-1, ""};
    std::thread operating([&] {
      operated = lab::ctl(l, {"vsan", "set", "10", "--state", suspend ? "suspended" : "active"});
      written = true;
    });
    std::string wanted;
    do {
      wanted = "name-" + std::to_string(++number);
      EXPECT_DONE(set({name(10, wanted)}));
      EXPECT_EQ(get(vsan_cell(kName, 10)).octets, wanted);
    } while (!written && number < 20000);
    operating.join();
    ASSERT_EQ(operated.status, 0) << operated.output;
    ASSERT_EQ(get(vsan_cell(kAdminState, 10)).integer, suspend ? 2 : 1) << "round " << round;
    ASSERT_EQ(get(vsan_cell(kName, 10)).octets, wanted) << "round " << round;
  }
}

}  // namespace
