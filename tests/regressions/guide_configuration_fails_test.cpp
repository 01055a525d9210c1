// The lines of snmpd.conf in the guide failed when they were pasted.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

void replace(std::string &text, const std::string &what, const std::string &with) {
  const size_t at = text.find(what);
  ASSERT_NE(at, std::string::npos) << what << " is not in\n" << text;
  for (size_t i = at; i != std::string::npos; i = text.find(what, i + with.size())) {
    text.replace(i, what.size(), with);
  }
}

// The fenced block that loads the module.
std::string guide_block() {
  const std::string guide = lab::read_file(LAB_SOURCE_DIR "/docs/agent-configuration.md");
  const size_t line = guide.find("\ndlmod switch_agent ");
  const size_t end = guide.find("\n```", line);
  if (line == std::string::npos || end == std::string::npos) {
    return {};
  }
  return guide.substr(line + 1, end - line);
}

TEST(GuideConfiguration, WorksAsItStands) {
  lab::lab l;
  lab::start(l);
  std::string block = guide_block();
  ASSERT_NO_FATAL_FAILURE(replace(block, "/usr/lib/...", lab::library("")));
  ASSERT_NO_FATAL_FAILURE(replace(block, "switchRunDir /run/switchd", "switchRunDir " + l.dir + "/run"));
  const std::string conf = conf_of(l);
  lab::stop(l.snmpd);
  lab::write_file(l.dir + "/agent.log", "");
  restart_agent(l, conf.substr(0, conf.find("dlmod ")) + block);
  EXPECT_EQ(log_lines(l, "snmpd.conf: line"), "");
  EXPECT_EQ(log_lines(l, "error(s) in config"), "");

  EXPECT_EQ(seen_by(l, snmp::community("public")), 98u) << "no line, no restriction";
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 2u) << "10 and 20";
  snmp::client tenant(l, snmp::user("tenant"), 10);
  EXPECT_EQ(snmp::get(tenant, {if_vsan(kFc1)}).varbinds.at(0), move(kFc1, 5));
  EXPECT_EQ(snmp::get(tenant, {if_vsan(kFc2)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(tenant, {vsan_number()}).varbinds.at(0), integer(vsan_number(), 5));
  EXPECT_SET(snmp::set(tenant, {scalar_gauge(kSwitchLatency, 7)}), kGenErr, 1);
  EXPECT_DONE(snmp::set(tenant, {name(10, "mine")}));
  EXPECT_DONE(snmp::set(tenant, {move(kFc1, 10)}));
}

}  // namespace
