// A refused PDU stayed applied when the answer to its own message, or to a later one, did not come in time: its UNDO
// was not sent to a receiver that was suspect.
#include <signal.h>

#include <thread>

#include "fault_lab.h"
#include "set_lab.h"

namespace {

using namespace set_lab;
using fault_lab::fault_at;

constexpr unsigned long kVsan = 900;

class LateRepair : public SetTest {
 protected:
  void SetUp() override {
    SetTest::SetUp();
    original = lab::store_rows(l);
  }
  void create() {
    ASSERT_EQ(outcome_of(set({name(kVsan, "nine"), row_status(kVsan, kCreateAndGo)})), (outcome{kNoError, 0}));
    original = lab::store_rows(l);
  }
  bool restored() {
    return lab::wait_until([&] { return lab::store_rows(l) == original; }, 20);
  }
  bool logged(const std::string &text) {
    return lab::wait_until([&] { return lab::read_file(l.dir + "/agent.log").find(text) != std::string::npos; }, 10);
  }

  std::string original;
};

TEST_F(LateRepair, ADestroyThatIsAnsweredLateIsPutBack) {
  create();
  fault_at(l, 2, {"delay", "4500"});
  EXPECT_SET(set({row_status(kVsan, kDestroy)}), kGenErr, 1);
  EXPECT_TRUE(restored()) << lab::store_rows(l);
  EXPECT_TRUE(logged("VSAN 900 was put back after a refused SET"));
}

TEST_F(LateRepair, ACreationThatIsAnsweredLateIsTakenBack) {
  fault_at(l, 3, {"delay", "4500"});
  EXPECT_SET(set({row_status(kVsan, kCreateAndGo)}), kGenErr, 1);
  EXPECT_TRUE(restored()) << lab::store_rows(l);
  EXPECT_TRUE(logged("VSAN 900 was put back after a refused SET"));
}

TEST_F(LateRepair, ADestroyIsPutBackWhenALaterMessageIsNeverAnswered) {
  create();
  fault_at(l, 5, {"hang"});
  EXPECT_SET(set({row_status(kVsan, kDestroy), name(5, "x")}), kGenErr, 2);
  EXPECT_TRUE(restored()) << lab::store_rows(l);
}

TEST_F(LateRepair, ManyRowsArePutBackInOrderOnceAStoppedSwitchGoesOn) {
  std::vector<varbind> create_all, destroy_all;
  for (unsigned long vsan = 900; vsan < 920; ++vsan) {
    create_all.push_back(row_status(vsan, kCreateAndGo));
    destroy_all.push_back(row_status(vsan, kDestroy));
  }
  EXPECT_DONE(set(create_all));
  original = lab::store_rows(l);
  destroy_all.push_back(name(5, "x"));
  // 21 rows are looked up, the last of them the name's; each of 20 is fetched and deleted; then the name's
  // row is sent.
  fault_at(l, 21 + 2 * 20 + 1, {"hang"});
  EXPECT_EQ(set(destroy_all).status, kGenErr);
  EXPECT_TRUE(restored()) << lab::store_rows(l);
}

TEST_F(LateRepair, WhatASwitchThatDiedTookIsPutBackWhenItIsThereAgain) {
  create();
  fault_at(l, 2, {"delay", "4500"});
  snmp::answer answer;
  std::thread client([&] { answer = set({row_status(kVsan, kDestroy)}); });
  EXPECT_TRUE(lab::wait_until([&] { return vsan_line(l, kVsan).empty(); }));
  lab::stop(l.switchd, SIGKILL);
  client.join();
  EXPECT_EQ(answer.status, kGenErr);
  lab::start_switchd(l);
  EXPECT_TRUE(lab::wait_until([&] { return !vsan_line(l, kVsan).empty(); }, 20));
}

TEST_F(LateRepair, WhatCannotBePutBackIsAnErrorInTheLogThatNamesTheVsan) {
  create();
  fault_at(l, 2, {"delay", "60000"});
  snmp::answer answer;
  std::thread client([&] { answer = set({row_status(kVsan, kDestroy)}); });
  EXPECT_TRUE(lab::wait_until([&] { return vsan_line(l, kVsan).empty(); }));
  lab::signal(l.switchd, SIGSTOP);
  client.join();
  EXPECT_EQ(answer.status, kGenErr);
  lab::signal(l.snmpd, SIGHUP);  // gives up what is under way
  EXPECT_TRUE(logged("VSAN 900 could not be put back after a refused SET"));
  lab::signal(l.switchd, SIGCONT);
}

}  // namespace
