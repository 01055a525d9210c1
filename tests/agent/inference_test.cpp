// What a user whose role has VSANs 10 and 20 learns of the others: docs/security.md lists it, these tests hold the list.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

struct Inference : FabricTest {
  void SetUp() override {
    FabricTest::SetUp();
    tenant = std::make_unique<snmp::client>(l, snmp::community("limited"), 30);
  }
  outcome set_as_tenant(const varbind &v) { return outcome_of(snmp::set(*tenant, {v})); }
  int type_for_tenant(const name_t &name) { return snmp::get(*tenant, {name}).varbinds.at(0).type; }

  std::unique_ptr<snmp::client> tenant;
};

// VSAN 5 is there and 77 is not; the tenant may use neither.
TEST_F(Inference, AHiddenVsanAndOneThatIsNotThereAnswerTheSame) {
  const auto answers = [&](unsigned long vsan) {
    std::vector<std::pair<int, long>> out;
    for (const varbind &v :
         {name(vsan, "x"), name(vsan, "e e"), admin_state(vsan, 1), integer(vsan_cell(kInterop, vsan), 0),
          gauge(vsan_cell(kDropLatency, vsan), 500), gauge(vsan_cell(kDropLatency, vsan), 0), row_status(vsan, kActive),
          row_status(vsan, kCreateAndGo), row_status(vsan, kDestroy), row_status(vsan, kNotReady), force(vsan, '\xe0'),
          timer(kRatov, vsan, 6000), timer(kRatov, vsan, 1), move(kFc2, static_cast<long>(vsan))}) {
      const outcome got = set_as_tenant(v);
      out.emplace_back(got.status, got.index);
    }
    for (const name_t &name : {vsan_cell(kName, vsan), vsan_cell(kOperState, vsan), timer_cell(kForceFlag, vsan),
                               timer_cell(kFstov, vsan), summary(vsan, kFc1)}) {
      out.emplace_back(type_for_tenant(name), 0);
    }
    return out;
  };
  EXPECT_EQ(answers(5), answers(77));
  EXPECT_EQ(changes(), difference{});
}

// What is listed as told.

TEST_F(Inference, ANameThatAHiddenVsanHasIsRefusedInAnotherWayThanAFreeOne) {
  EXPECT_EQ(set_as_tenant(name(10, "five")), (outcome{kInconsistentName, 1}));
  EXPECT_EQ(set_as_tenant(name(10, "nobodys")), (outcome{kNoError, 0}));
}

TEST_F(Inference, AnInterfaceOfAHiddenVsanAndOneThatIsNotThereDiffer) {
  EXPECT_EQ(set_as_tenant(move(kFc1, 10)), (outcome{kGenErr, 1}));
  EXPECT_EQ(set_as_tenant(move(77, 10)), (outcome{kNotWritable, 1}));
  EXPECT_EQ(snmp::walk(*tenant, if_column(kIfVsan)).size(), 5u) << "with the VSAN of each";
  EXPECT_EQ(snmp::walk(*tenant, if_column(kIfDenyList)).size(), 5u);
}

TEST_F(Inference, CountsAndTheTimeOfTheLastChangeAreTheWholeSwitchs) {
  EXPECT_EQ(snmp::get(*tenant, {vsan_number()}).varbinds.at(0).integer, 5);
  EXPECT_EQ(snmp::get(*tenant, {if_number()}).varbinds.at(0).integer, 5);
  const long before = snmp::get(*tenant, {last_change()}).varbinds.at(0).integer;
  EXPECT_DONE(set({name(5, "other")}));
  EXPECT_GT(snmp::get(*tenant, {last_change()}).varbinds.at(0).integer, before);
}

}  // namespace
