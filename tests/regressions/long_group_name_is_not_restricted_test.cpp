// A role for a group whose name has 32 characters, the longest there is, restricted nobody.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(LongGroupName, OfThirtyTwoCharactersIsTheOneThatTheRoleIsFor) {
  lab::lab l;
  const std::string group(32, 'g');
  lab::start(l, {.agent_lines = member_lines("longest", group) + "vsanRole " + group + " 10,20\n"});
  EXPECT_EQ(vsans_seen_by(l, snmp::community("longest")), 2u);
  EXPECT_EQ(log_lines(l, "snmpd.conf: line"), "");
}

// The agent cuts it without a word: its users are those of the name that is left.
TEST(LongGroupName, OfMoreIsClosedUnderTheNameThatTheAgentCutsItTo) {
  lab::lab l;
  const std::string known(32, 'g');
  const std::string group = known + "hijk";
  lab::start(l, {.agent_lines = member_lines("toolong", group) + "vsanRole " + group + " 10,20\n"});
  EXPECT_EQ(seen_by(l, snmp::community("toolong")), 0u);
  const std::string complaint = log_lines(l, "snmpd.conf: line");
  EXPECT_NE(complaint.find("vsanRole " + known), std::string::npos) << complaint;
  EXPECT_NE(complaint.find("longer than 32"), std::string::npos) << complaint;
  EXPECT_EQ(count(complaint, "\n"), 1u) << complaint;
}

}  // namespace
