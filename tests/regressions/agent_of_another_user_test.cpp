// A switchd of root and an agent that had given up root, as Debian's does, shared nothing: no answers, no history, no
// distribution state.
#include "fabric_lab.h"

namespace {

using namespace set_lab;

TEST(AgentOfAnotherUser, ReadsWritesAndSharesTheHistoryOfASwitchdThatServesItsGroup) {
  lab::lab l;
  lab::start(l, {.agent_user = "Debian-snmp"});
  snmp::client c(l, snmp::community("private"), 10);
  EXPECT_EQ(snmp::bulkwalk(c, root()).size(), 98u);
  EXPECT_DONE(snmp::set(c, {name(10, "mine")}));
  EXPECT_EQ(sent_rows(l), (rows{"SET 10 mine"}));
  // The distribution state is the page's. While it is known, a read moves on past a VSAN that is kept out.
  ASSERT_EQ(lab::ctl(l, {"kdx", "enable"}).status, 0);
  ASSERT_EQ(lab::ctl(l, {"kdx", "keep-out", "20"}).status, 0);
  using namespace fabric_lab;
  EXPECT_EQ(snmp::get(c, {timer_cell(kRatov, 20)}).varbinds.at(0).name, timer_cell(kRatov, 4093));
}

}  // namespace
