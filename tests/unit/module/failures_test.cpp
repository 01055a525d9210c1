// The N-th platform call fails, for every N: no wrong value, nothing left behind, and the next request works.
#include <string.h>

#include "module_test.h"

namespace {

using namespace mib;

class Failures : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().history_on = false;
    make_world();
  }
  static void make_world() {
    fake::the().vsans.clear();
    for (uint32_t vsan : {5, 7}) {
      fake::add_vsan(vsan);
    }
    fake::the().interfaces.clear();
    fake::add_interface(100, 5);
    fake::the().kdx_enabled = 1;
  }
  static void arm(int nth) {
    fake::the().failable_calls = 0;
    fake::the().fail_at = nth;
  }
  // Whether the armed call was reached.
  static bool reached(int nth) { return fake::the().failable_calls >= nth; }
};

constexpr int kMostCalls = 200;

TEST_F(Failures, AWalkGivesNoWrongValue) {
  std::vector<varbind> whole;
  for (auto at = mini::getnext(root()); at; at = mini::getnext(at->name)) {
    whole.push_back(*at);
  }
  ASSERT_GT(whole.size(), 28u);
  int nth = 1;
  for (; nth <= kMostCalls; ++nth) {
    arm(nth);
    name_t at = root();
    for (auto answer = mini::getnext(at); answer; answer = mini::getnext(at)) {
      const bool known = std::find(whole.begin(), whole.end(), *answer) != whole.end();
      // A timer of a distribution whose state could not be read is the running one; the faked manager answers both
      // alike.
      EXPECT_TRUE(known) << "call " << nth << " failed";
      ASSERT_TRUE(before(at, answer->name));
      at = answer->name;
    }
    if (!reached(nth)) {
      break;
    }
  }
  EXPECT_LT(nth, kMostCalls) << "the sweep ends when no call is left to fail";
}

struct write {
  const char *name;
  std::vector<varbind> pdu;
};

const write kWrites[] = {
    {"columns", {octets(vsan_cell(kName, 5), "a"), integer(vsan_cell(kAdminState, 5), 2)}},
    {"two VSANs", {octets(vsan_cell(kName, 5), "a"), octets(vsan_cell(kName, 7), "b")}},
    {"create with a name", {octets(vsan_cell(kName, 30), "c"), integer(vsan_cell(kRowStatus, 30), kCreateAndGo)}},
    {"create, then name", {integer(vsan_cell(kRowStatus, 30), kCreateAndGo), octets(vsan_cell(kName, 30), "c")}},
    {"destroy", {integer(vsan_cell(kRowStatus, 5), kDestroy)}},
    {"active with a column", {integer(vsan_cell(kRowStatus, 5), kActive), integer(vsan_cell(kAdminState, 5), 2)}},
    {"timer", {gauge(timer_cell(kRatov, 5), 6000)}},
    {"global", {gauge(switch_wide(kSwitchRatov), 6000)}},
    {"interface", {integer(if_vsan(100), 7)}},
};

TEST_F(Failures, AWriteLeavesNothingToSendAndTheNextOneWorks) {
  for (const write &w : kWrites) {
    int nth = 1;
    for (; nth <= kMostCalls; ++nth) {
      make_world();
      arm(nth);
      mini::set_pdu(w.pdu);
      const bool was_reached = reached(nth);
      EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << w.name << ", call " << nth;
      arm(0);
      make_world();
      EXPECT_EQ(mini::set_pdu(w.pdu).status, 0) << w.name << ", after call " << nth << " failed";
      EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << w.name << ", after call " << nth << " failed";
      EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << w.name << ", after call " << nth << " failed";
      if (!was_reached) {
        break;
      }
    }
    EXPECT_LT(nth, kMostCalls) << w.name;
  }
}

TEST_F(Failures, AnAllocationThatFailsLeavesNothingListed) {
  for (const write &w : kWrites) {
    for (int nth = 1; nth <= 4; ++nth) {
      make_world();
      fake::the().callocs = 0;
      fake::the().fail_calloc_at = nth;
      const auto result = mini::set_pdu(w.pdu);
      const bool was_reached = fake::the().callocs >= nth;
      fake::the().fail_calloc_at = 0;
      EXPECT_EQ(result.status != 0, was_reached) << w.name << " " << nth;
      EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << w.name << " " << nth;
      EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << w.name << " " << nth;
    }
  }
}

}  // namespace
