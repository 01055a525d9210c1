// A role with thousands of ranges held the agent for seconds at every GETNEXT of many varbinds.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(RoleWithManyRanges, AnswersAWideGetNextInTime) {
  lab::lab l;
  lab::options how;  // 120,000 ranges
  for (int line = 0; line < 6000; ++line) {
    how.agent_lines += "vsanRole closeds 2-4095";
    for (int range = 1; range < 20; ++range) {
      how.agent_lines += "," + std::to_string(2 + range) + "-4095";
    }
    how.agent_lines += "\n";
  }
  lab::start(l, how);
  snmp::client c(l, snmp::user("closed"), 10);
  std::vector<name_t> names;
  for (unsigned long column : kVsanColumns) {
    for (unsigned long vsan : {0, 1, 4, 5, 10, 19}) {
      names.push_back(vsan_cell(column, vsan));
    }
  }
  const snmp::answer answer = snmp::getnext(c, names);
  ASSERT_TRUE(answer.sent_back) << "within ten seconds";
  ASSERT_EQ(answer.varbinds.size(), 60u);
  EXPECT_EQ(answer.varbinds[0], octets(vsan_cell(kName, 5), "five")) << "VSAN 1 is not in the role";
}

}  // namespace
