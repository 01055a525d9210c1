// A vsanRoleInterfaces line without a vsanRole line of the same group restricted nobody.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(InterfaceListAlone, RestrictsToTheseInterfacesAndLeavesTheVsansAlone) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRoleInterfaces closeds 16777216\n"});
  snmp::client c(l, snmp::user("closed"), 10);
  EXPECT_EQ(snmp::get(c, {if_vsan(kFc1)}).varbinds.at(0), move(kFc1, 5));
  EXPECT_EQ(snmp::get(c, {if_vsan(kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_SET(snmp::set(c, {move(kFc2, 20)}), kGenErr, 1);
  EXPECT_DONE(snmp::set(c, {move(kFc1, 20)}));
  EXPECT_DONE(snmp::set(c, {move(kFc1, 5)}));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("closed")), 5u);
  EXPECT_EQ(snmp::get(c, {summary(10, kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {summary(5, kFc1)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(seen_by(l, snmp::user("closed"), summary_table()), seen_by(l, snmp::community("public"), summary_table()));
  EXPECT_DONE(snmp::set(c, {name(5, "x"), row_status(30, kCreateAndGo)}));
  EXPECT_DONE(snmp::set(c, {row_status(30, kDestroy), timer(kRatov, 20, 6000)}));
}

}  // namespace
