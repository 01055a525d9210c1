// Role lines above the "dlmod switch_agent" line were unknown words, and restricted nobody.
#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

// The lab's configuration with its role lines, and those given, above both dlmod lines.
std::string roles_first(const lab::lab &l, const std::string &lines) {
  return lines + without(conf_of(l), "vsanRole ");
}

TEST(RoleLinesAboveDlmod, CountAsThoseBelowIt) {
  lab::lab l;
  lab::start(l);
  restart_agent(l, roles_first(l, "vsanRole tenants 10,20\nvsanRoleSwitch tenants none\nvsanRole closeds x\n"));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 2u);
  EXPECT_EQ(seen_by(l, snmp::user("tenant"), root({1, 4, 1})), 0u);
  EXPECT_EQ(seen_by(l, snmp::user("closed")), 0u);
}

TEST(RoleLinesAboveDlmod, AreReadAgainOnSighup) {
  lab::lab l;
  lab::start(l);
  reload_agent(l, roles_first(l, "vsanRole tenants 5\n"));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 1u);
  reload_agent(l, roles_first(l, "vsanRole tenants 5,10,20\n"));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 3u);
}

TEST(RoleLinesAboveDlmod, AddUpWithThoseBelowIt) {
  lab::lab l;
  lab::start(l);
  restart_agent(l, "vsanRole tenants 5\n" + conf_of(l));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 3u);
}

TEST(RoleLinesAboveDlmod, AreFoundInIncludedFilesAndInSectionsAndRunNobodyElsesLinesAgain) {
  lab::lab l;
  lab::start(l);
  lab::write_file(l.dir + "/roles.conf", "vsanRole tenants 10\n");
  restart_agent(l, roles_first(l, "includeFile roles.conf\n[snmpd] vsanRole closeds 20\n[snmpd]\n"));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 1u);
  EXPECT_EQ(vsans_seen_by(l, snmp::user("closed")), 1u);
  EXPECT_EQ(seen_by(l, snmp::community("public")), 98u);
  EXPECT_EQ(count(log_of(l), "duplicate registration"), 0u) << log_of(l);
}

TEST(RoleLinesAboveDlmod, AreComplainedAboutOnceEachAsThoseBelowIt) {
  lab::lab l;
  lab::start(l);
  restart_agent(l, "vsanRole closeds 1-\n" + conf_of(l) + "vsanRole closeds 2-\nvsanRoleSwitch closeds all\n");
  EXPECT_EQ(count(log_lines(l, "snmpd.conf: line 1: "), "vsanRole closeds"), 1u) << log_of(l);
  EXPECT_EQ(count(log_lines(l, "Error: vsanRole closeds"), "\n"), 2u) << log_of(l);
  EXPECT_EQ(count(log_lines(l, "Error: vsanRoleSwitch closeds"), "\n"), 1u) << log_of(l);
}

TEST(RoleLinesAboveDlmod, AndTheRunDirectoryToo) {
  lab::lab l;
  lab::start(l);
  const std::string conf = conf_of(l);
  restart_agent(l, "switchRunDir " + l.dir + "/run\n" + without(conf, "switchRunDir"));
  EXPECT_EQ(seen_by(l, snmp::community("public")), 98u);
}

}  // namespace
