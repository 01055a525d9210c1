// A group restricted to its VSANs read and set every switch-wide object, and no line could close them.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(SwitchWideObjects, AreHiddenByNoneAndKeptFromWritingByRead) {
  lab::lab l;
  lab::start(l, {.agent_lines = member_lines("nothing", "nothings") + member_lines("reader2", "readers2") +
                                "vsanRoleSwitch nothings none\nvsanRoleSwitch readers2 read\n"});
  EXPECT_EQ(seen_by(l, snmp::community("nothing")), 98u - 10u - 10u) << "ten scalars, ten interface cells";
  EXPECT_EQ(seen_by(l, snmp::community("reader2")), 98u);
  for (const char *who : {"nothing", "reader2"}) {
    snmp::client c(l, snmp::community(who), 10);
    EXPECT_SET(snmp::set(c, {scalar_gauge(kSwitchLatency, 7)}), kGenErr, 1) << who;
    EXPECT_SET(snmp::set(c, {move(kFc1, 10)}), kGenErr, 1) << who;
    EXPECT_DONE(snmp::set(c, {name(5, who)}));
    const std::string errors = lab::ctl(l, {"show", "errors"}).output;
    EXPECT_NE(errors.find("the user's role may not set what belongs to the whole switch"), std::string::npos) << errors;
  }
}

}  // namespace
