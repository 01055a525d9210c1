// What a user whose role has VSANs 10 and 20 learns of the others: docs/security.md lists it, this holds the list.
#include <algorithm>

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
  // A walk by GETNEXT and one by GETBULK, which must show the same. The time of the last change is left out.
  values seen_by_tenant() {
    values out, in_bulk;
    for (const varbind &v : snmp::walk(*tenant, root())) {
      out[v.name] = v;
    }
    for (const varbind &v : snmp::bulkwalk(*tenant, root())) {
      in_bulk[v.name] = v;
    }
    out.erase(last_change());
    in_bulk.erase(last_change());
    EXPECT_EQ(out, in_bulk);
    return out;
  }
  int type_for_tenant(const name_t &name) { return snmp::get(*tenant, {name}).varbinds.at(0).type; }

  std::unique_ptr<snmp::client> tenant;
};

// VSAN 5 is there and 77 is not; the tenant may use neither.
constexpr unsigned long kHidden = 5, kAbsent = 77;

std::vector<varbind> attempts_on(unsigned long vsan) {
  return {name(vsan, "x"),
          name(vsan, "e e"),
          admin_state(vsan, 1),
          integer(vsan_cell(kInterop, vsan), 0),
          gauge(vsan_cell(kDropLatency, vsan), 500),
          gauge(vsan_cell(kDropLatency, vsan), 0),
          row_status(vsan, kActive),
          row_status(vsan, kCreateAndGo),
          row_status(vsan, kDestroy),
          row_status(vsan, kNotReady),
          force(vsan, '\xe0'),
          timer(kRatov, vsan, 6000),
          timer(kRatov, vsan, 1),
          move(kFc2, static_cast<long>(vsan))};
}

TEST_F(Inference, AHiddenVsanAndOneThatIsNotThereAnswerTheSame) {
  const auto answers = [&](unsigned long vsan) {
    std::vector<outcome> out;
    for (const varbind &v : attempts_on(vsan)) {
      out.push_back(set_as_tenant(v));
    }
    for (const name_t &name : {vsan_cell(kName, vsan), vsan_cell(kOperState, vsan), timer_cell(kForceFlag, vsan),
                               timer_cell(kFstov, vsan), summary(vsan, kFc1)}) {
      out.push_back({type_for_tenant(name), 0});
    }
    return out;
  };
  EXPECT_EQ(answers(kHidden), answers(kAbsent));
  EXPECT_EQ(changes(), difference{});
}

// Two attempts, and three varbinds: the same two around a valid one on a VSAN of the tenant's own.
TEST_F(Inference, TheyAnswerTheSameInPdusOfTwoAndThree) {
  const auto answers = [&](unsigned long vsan) {
    std::vector<outcome> out;
    for (const varbind &first : attempts_on(vsan)) {
      for (const varbind &last : attempts_on(vsan)) {
        out.push_back(outcome_of(snmp::set(*tenant, {first, last})));
        out.push_back(outcome_of(snmp::set(*tenant, {first, name(10, "mine"), last})));
      }
      out.push_back(outcome_of(snmp::set(*tenant, {name(10, "mine"), first})));
      out.push_back(outcome_of(snmp::set(*tenant, {first, name(10, "mine")})));
    }
    return out;
  };
  EXPECT_EQ(answers(kHidden), answers(kAbsent));
  EXPECT_EQ(changes(), difference{});
}

// From 5, which is hidden, and from 4 and 6, which are not there: 10 is the next that the tenant sees after each.
TEST_F(Inference, WalksPassAHiddenVsanAsOneThatIsNotThere) {
  const auto what_follows = [&](unsigned long vsan) {
    std::vector<varbind> out;
    for (const name_t &name :
         {vsan_cell(kName, vsan), vsan_cell(kRowStatus, vsan), timer_cell(kForceFlag, vsan), timer_cell(kRatov, vsan),
          summary(vsan, kFc1 - 1), summary(vsan, kFc1), summary(vsan, kFc2)}) {
      for (const snmp::answer &answer : {snmp::getnext(*tenant, {name}), snmp::getbulk(*tenant, {name}, 3)}) {
        out.insert(out.end(), answer.varbinds.begin(), answer.varbinds.end());
      }
    }
    return out;
  };
  EXPECT_EQ(what_follows(6).size(), 28u);
  EXPECT_EQ(what_follows(5), what_follows(6));
  EXPECT_EQ(what_follows(4), what_follows(6));
}

// Hidden VSANs come, go and change: of all values only the number of VSANs does.
TEST_F(Inference, AWalkShowsNothingOfHiddenVsansButTheirNumber) {
  values expected = seen_by_tenant();
  EXPECT_GT(expected.size(), 40u);
  EXPECT_DONE(set({name(30, "thirty"), row_status(30, kCreateAndGo)}));
  EXPECT_DONE(set({name(5, "other"), timer(kRatov, 4093, 9000)}));
  expected[vsan_number()].integer = 6;
  EXPECT_EQ(seen_by_tenant(), expected);
  EXPECT_DONE(set({row_status(30, kDestroy)}));
  expected[vsan_number()].integer = 5;
  EXPECT_EQ(seen_by_tenant(), expected);
}

// A SET of an operator, and one that is refused, change nothing of what the tenant sees of the module.
TEST_F(Inference, AWalkShowsNeitherUsersNorErrorsOfOthers) {
  const values seen = seen_by_tenant();
  snmp::client by_user(l, snmp::user("operator"), 30);
  EXPECT_DONE(snmp::set(by_user, {name(5, "other")}));
  EXPECT_EQ(snmp::set(by_user, {name(5, "ten")}).status, kInconsistentName);
  EXPECT_NE(errors().find("operator"), std::string::npos);
  EXPECT_EQ(seen_by_tenant(), seen);
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

// The lab's view has all of the agent in it.
TEST_F(Inference, TheAgentsOwnTableNamesUsersToWhoMayReadIt) {
  const name_t user_names = {1, 3, 6, 1, 6, 3, 15, 1, 2, 2, 1, 3};
  const std::vector<varbind> found = snmp::walk(*tenant, user_names);
  EXPECT_TRUE(std::ranges::any_of(found, [](const varbind &v) { return v.octets == "operator"; }));
}

TEST_F(Inference, CountsAndTheTimeOfTheLastChangeAreTheWholeSwitchs) {
  EXPECT_EQ(snmp::get(*tenant, {vsan_number()}).varbinds.at(0).integer, 5);
  EXPECT_EQ(snmp::get(*tenant, {if_number()}).varbinds.at(0).integer, 5);
  const long before = snmp::get(*tenant, {last_change()}).varbinds.at(0).integer;
  EXPECT_DONE(set({name(5, "other")}));
  EXPECT_GT(snmp::get(*tenant, {last_change()}).varbinds.at(0).integer, before);
}

}  // namespace
