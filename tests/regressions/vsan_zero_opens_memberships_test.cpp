// A role with VSAN 0 opened every membership to a GET, also of VSANs outside the role.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(VsanZero, InARoleIsMalformedAndClosesTheGroup) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRole closeds 0,10\n"});
  snmp::client c(l, snmp::user("closed"), 10);
  EXPECT_EQ(snmp::get(c, {summary(10, kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {summary(5, kFc1)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(seen_by(l, snmp::user("closed")), 0u);
  EXPECT_EQ(count(log_lines(l, "snmpd.conf: line"), "vsanRole closeds: a number is too small"), 1u) << log_of(l);
}

}  // namespace
