// A group with a malformed role line still read and wrote scalars and interface rows.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(ClosedGroup, GetsNothingAndSetsNothingWhicheverOfItsLinesIsMalformed) {
  for (const std::string line : {"vsanRole closeds 10,2x", "vsanRoleInterfaces closeds one"}) {
    lab::lab l;
    lab::start(l, {.agent_lines = line + "\n"});
    snmp::client c(l, snmp::user("closed"), 10);
    const std::string before = lab::settled_dump(l);
    for (const name_t &name : {vsan_number(), last_change(), if_number(), switch_wide(kSwitchRatov), if_vsan(kFc1),
                               deny_list(kFc1), vsan_cell(kName, 10)}) {
      EXPECT_EQ(snmp::get(c, {name}).varbinds.at(0).type, snmp::kNoSuchInstance) << line << " " << text(name);
    }
    EXPECT_TRUE(snmp::walk(c, root()).empty()) << line;
    EXPECT_TRUE(snmp::bulkwalk(c, root()).empty()) << line;
    for (const varbind &value : {scalar_gauge(kSwitchLatency, 7), scalar_gauge(kSwitchRatov, 9000), move(kFc1, 10),
                                 name(10, "x"), timer(kRatov, 20, 6000)}) {
      EXPECT_SET(snmp::set(c, {value}), kGenErr, 1) << line << " " << text(value.name);
    }
    EXPECT_EQ(lab::settled_dump(l), before) << line;
    const std::string errors = lab::ctl(l, {"show", "errors"}).output;
    EXPECT_NE(errors.find("the user's role is closed"), std::string::npos) << errors;
    EXPECT_EQ(seen_by(l, snmp::community("public")), 98u) << "others see what they saw";
  }
}

// A refused varbind must not reach the module in the phases that follow, nor spoil the PDUs after it.
TEST(ClosedGroup, APduOfSeveralVarbindsIsRefusedAtItsFirstAndTheNextOneOfAnotherUserIsServed) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRole closeds x\n"});
  snmp::client c(l, snmp::user("closed"), 10), operators(l, snmp::community("private"), 10);
  EXPECT_SET(snmp::set(c, {name(10, "x"), row_status(30, kCreateAndGo), scalar_gauge(kSwitchLatency, 7)}), kGenErr, 1);
  EXPECT_DONE(snmp::set(operators, {name(10, "y"), row_status(30, kCreateAndGo)}));
  EXPECT_EQ(sent_rows(l), (rows{"SET 10 y", "SET 30 VSAN0030"}));
}

}  // namespace
