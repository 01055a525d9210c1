// Role lines in a file that the agent could no longer read, after it gave up its privileges, were left out in silence.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/agent/role_lab.h"

namespace {

using namespace role_lab;

TEST(UnreadableRoleFile, ClosesEverybodyAtTheNextReading) {
  if (geteuid() != 0) GTEST_SKIP() << "only root has privileges to give up";
  lab::lab l;
  lab::start(l);
  const std::string conf = conf_of(l);
  lab::stop(l.snmpd);
  chmod(l.dir.c_str(), 0755);
  lab::write_file(l.dir + "/snmpd.conf", without(conf, "vsanRole"));
  lab::write_file(l.dir + "/roles.conf", "vsanRole tenants 10,20\n");
  chmod((l.dir + "/roles.conf").c_str(), 0600);
  const std::string files = l.dir + "/snmpd.conf," + l.dir + "/roles.conf";
  l.snmpd = lab::launch({"snmpd", "-f", "-C", "-c", files, "-u", "nobody", "-I", "-smux",
                         "--persistentDir=" + l.dir + "/agent", "-Lf", l.dir + "/agent.log", lab::agent_address(l)},
                        l.dir + "/snmpd.log", true);
  ASSERT_TRUE(agent_answers(l)) << log_of(l);
  EXPECT_TRUE(log_gets(l, "role \"tenants\": VSANs 10,20"));
  lab::signal(l.snmpd, SIGHUP);
  EXPECT_TRUE(log_gets(l, "roles.conf: Permission denied; it may hold roles")) << log_of(l);
  EXPECT_TRUE(log_gets(l, "the objects are closed for everybody")) << log_of(l);
  ASSERT_TRUE(agent_answers(l));
  EXPECT_EQ(seen_by(l, snmp::community("public")), 0u);
}

}  // namespace
