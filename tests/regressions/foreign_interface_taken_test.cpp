// A tenant took an interface out of a VSAN that was not its own into one that was.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

TEST(ForeignInterface, IsNotTakenFromAVsanOutsideTheRole) {
  lab::lab l;
  lab::start(l);
  snmp::client tenant(l, snmp::user("tenant"), 10);
  EXPECT_SET(snmp::set(tenant, {move(kFc1, 10)}), kGenErr, 1);
  EXPECT_EQ(snmp::get(tenant, {if_vsan(kFc1)}).varbinds.at(0), move(kFc1, 5));
  const std::string errors = lab::ctl(l, {"show", "errors"}).output;
  EXPECT_NE(errors.find("the user may not touch this VSAN"), std::string::npos) << errors;
  EXPECT_DONE(snmp::set(tenant, {move(kFc2, 20)})) << "both VSANs are its own";
}

TEST(ForeignInterface, IsTakenWhenAListOfTheGroupHoldsIt) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRoleInterfaces tenants 16777216\n"});
  snmp::client tenant(l, snmp::user("tenant"), 10);
  EXPECT_DONE(snmp::set(tenant, {move(kFc1, 10)}));
  EXPECT_SET(snmp::set(tenant, {move(kFc2, 20)}), kGenErr, 1);
}

TEST(ForeignInterface, IsNotMovedWhileTheVsanManagerCannotSayWhereItIs) {
  lab::lab l;
  lab::start(l);
  snmp::client tenant(l, snmp::user("tenant"), 30);
  // The module reads the row first, and is answered; the question of where the interface is comes second.
  const std::vector<std::string> fault = {"fault", "", "--opcode", "124", "--count", "1", ""};
  for (const auto &[kind, value] : {std::pair{"delay", "0"}, std::pair{"short-answer", "8"}}) {
    std::vector<std::string> words = fault;
    words[1] = kind;
    words[6] = value;
    const lab::result done = lab::ctl(l, words);
    ASSERT_EQ(done.status, 0) << done.output;
  }
  EXPECT_SET(snmp::set(tenant, {move(kFc2, 20)}), kGenErr, 1);
  EXPECT_EQ(lab::ctl(l, {"fault", "list", "--json"}).output.find("124"), std::string::npos) << "both were met";
  ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
  EXPECT_EQ(snmp::get(tenant, {if_vsan(kFc2)}).varbinds.at(0), move(kFc2, 10));
}

}  // namespace
