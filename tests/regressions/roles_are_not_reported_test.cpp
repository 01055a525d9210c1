// Nothing said which roles were in force, nor that a role was for a group that the agent does not know.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(RolesReport, IsALineAGroupAndAWarningForEachUnknownOneAtStartAtSighupAndAtLoading) {
  lab::lab l;
  lab::start(
      l, {.agent_lines = "vsanRole tenants 100-199,10-12\nvsanRoleInterfaces tenants 7\nvsanRoleSwitch tenants read\n"
                         "vsanRole closeds x\nvsanRoleSwitch nobodys none\n"});
  const auto expect_report = [&](size_t times) {
    EXPECT_TRUE(log_gets(l, "role \"tenants\": VSANs 10-12,20,100-199; interfaces 7; switch-wide read", times));
    EXPECT_TRUE(log_gets(l, "role \"closeds\": closed", times));
    EXPECT_TRUE(log_gets(l, "role \"nobodys\": VSANs all; interfaces all; switch-wide none", times));
    EXPECT_TRUE(log_gets(l, "role \"nobodys\": VACM knows no such group", times));
    EXPECT_EQ(count(log_of(l), "VACM knows no such group"), times) << log_of(l);
  };
  expect_report(1);
  reload_agent(l, conf_of(l));
  expect_report(2);
  ASSERT_EQ(set_module(l, "switch_agent", kUnload), 0);
  ASSERT_EQ(set_module(l, "switch_agent", kLoad), 0);
  expect_report(3);
}

}  // namespace
