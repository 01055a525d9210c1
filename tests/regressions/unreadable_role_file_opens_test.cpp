// Role lines in a file that the agent could no longer read, after it gave up its privileges, were left
// out in silence.
#include <sys/stat.h>
#include <unistd.h>

#include "role_lab.h"

namespace {

using namespace role_lab;

const std::string kRole = "vsanRole tenants 10,20\n";

void write_secret(const std::string &path, const std::string &text) {
  lab::write_file(path, text);
  chmod(path.c_str(), 0600);
}

// Starts the agent again under an account that may not read what is secret. `files` is what -c gives; `-C` goes
// without the files of the search path.
void restart_as_nobody(lab::lab &l, const std::string &files, bool searches = false) {
  chmod(l.dir.c_str(), 0755);
  std::vector<std::string> command = {lab::agent_program(),
                                      "-f",
                                      "-c",
                                      files,
                                      "-u",
                                      "nobody",
                                      "-I",
                                      "-smux",
                                      "--persistentDir=" + l.dir + "/agent",
                                      "-Lf",
                                      l.dir + "/agent.log"};
  if (!searches) {
    command.push_back("-C");
  }
  command.push_back(lab::agent_address(l));
  l.snmpd = lab::launch(command, l.dir + "/snmpd.log", true);
}

// The role holds after the start; after a reload, which cannot read `secret`, everybody is closed.
void expect_closed_by_reload(const lab::lab &l, const std::string &secret) {
  ASSERT_TRUE(agent_answers(l)) << log_of(l);
  EXPECT_TRUE(log_gets(l, "role \"tenants\": VSANs 10,20")) << log_of(l);
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 2u);
  lab::signal(l.snmpd, SIGHUP);
  EXPECT_TRUE(log_gets(l, secret + ": Permission denied; it may hold roles")) << log_of(l);
  EXPECT_TRUE(log_gets(l, "the objects are closed for everybody")) << log_of(l);
  ASSERT_TRUE(agent_answers(l));
  EXPECT_EQ(seen_by(l, snmp::community("public")), 0u);
  EXPECT_EQ(seen_by(l, snmp::user("tenant")), 0u);
}

class UnreadableRoleFile : public testing::Test {
 protected:
  lab::lab l;

  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root has privileges to give up";
    }
    lab::start(l);
    lab::stop(l.snmpd);
  }

  // The lab's configuration without its roles, and with `lines`.
  void configure(const std::string &lines) {
    lab::write_file(l.dir + "/snmpd.conf", without(conf_of(l), "vsanRole") + lines);
  }
};

TEST_F(UnreadableRoleFile, ClosesEverybodyAtTheNextReading) {
  configure("");
  write_secret(l.dir + "/roles.conf", kRole);
  restart_as_nobody(l, l.dir + "/snmpd.conf," + l.dir + "/roles.conf");
  expect_closed_by_reload(l, "/roles.conf");
}

TEST_F(UnreadableRoleFile, ClosesWhenItIsIncludedByItsName) {
  configure("  IncludeFile left.conf\nincludefile roles.conf\n");
  write_secret(l.dir + "/roles.conf", kRole);
  write_secret(l.dir + "/left.conf", "");
  restart_as_nobody(l, l.dir + "/snmpd.conf");
  expect_closed_by_reload(l, "/roles.conf");
  EXPECT_EQ(log_lines(l, "left.conf: Permission denied"), "") << "for the agent that is no include word";
}

TEST_F(UnreadableRoleFile, ClosesWhenAnIncludedFileIncludesIt) {
  configure("includeFile inner/first.conf\n");
  mkdir((l.dir + "/inner").c_str(), 0755);
  lab::write_file(l.dir + "/inner/first.conf", "includeFile first.conf\nincludeFile roles.conf\n");
  write_secret(l.dir + "/inner/roles.conf", kRole);
  restart_as_nobody(l, l.dir + "/snmpd.conf");
  expect_closed_by_reload(l, "/inner/roles.conf");
}

TEST_F(UnreadableRoleFile, ClosesWhenItIsInAnIncludedDirectory) {
  configure("includeDir " + l.dir + "/inner\n");
  mkdir((l.dir + "/inner").c_str(), 0755);
  write_secret(l.dir + "/inner/roles.conf", kRole);
  write_secret(l.dir + "/inner/notes.txt", "");
  restart_as_nobody(l, l.dir + "/snmpd.conf");
  expect_closed_by_reload(l, "/inner/roles.conf");
  EXPECT_EQ(log_lines(l, "notes.txt"), "") << "the agent reads no such files";
}

TEST_F(UnreadableRoleFile, ClosesWhenItsIncludedDirectoryIsUnreadable) {
  configure("includeDir " + l.dir + "/inner\n");
  mkdir((l.dir + "/inner").c_str(), 0700);
  lab::write_file(l.dir + "/inner/roles.conf", kRole);
  restart_as_nobody(l, l.dir + "/snmpd.conf");
  expect_closed_by_reload(l, "/inner");
}

// As on a disk with an error, or on a file system whose positions are too wide for a 32-bit program.
TEST_F(UnreadableRoleFile, ClosesFromTheStartWhenItsIncludedDirectoryCannotBeListedToTheEnd) {
  for (const auto &[name, why] :
       {std::pair{"/broken-list", "Input/output error"}, std::pair{"/closed-list", "Too many open files"}}) {
    const std::string directory = l.dir + name;
    configure("includeDir " + directory + "\n");
    mkdir(directory.c_str(), 0755);
    lab::write_file(directory + "/roles.conf", kRole);
    setenv("LD_PRELOAD", lab::preloaded("libbroken_list.so").c_str(), 1);
    restart_as_nobody(l, l.dir + "/snmpd.conf");
    unsetenv("LD_PRELOAD");
    ASSERT_TRUE(agent_answers(l)) << log_of(l);
    EXPECT_TRUE(log_gets(l, directory + ": " + why + "; it may hold roles")) << log_of(l);
    EXPECT_EQ(seen_by(l, snmp::user("tenant")), 0u);
    lab::stop(l.snmpd);
  }
}

TEST_F(UnreadableRoleFile, ClosesWhenAnIncludeSearchesForIt) {
  configure("includeSearch roles.conf\n");
  mkdir((l.dir + "/path").c_str(), 0755);
  write_secret(l.dir + "/path/roles.local.conf", kRole);
  setenv("SNMPCONFPATH", (l.dir + "/path").c_str(), 1);
  restart_as_nobody(l, l.dir + "/snmpd.conf", true);
  unsetenv("SNMPCONFPATH");
  expect_closed_by_reload(l, "/path/roles.local.conf");
}

TEST_F(UnreadableRoleFile, ClosesNobodyWhenItIsNotThere) {
  configure(kRole + "includeFile missing.conf\nincludeDir " + l.dir + "/missing\n");
  restart_as_nobody(l, l.dir + "/snmpd.conf");
  ASSERT_TRUE(agent_answers(l)) << log_of(l);
  const size_t before = count(log_of(l), "role \"tenants\": VSANs 10,20");
  lab::signal(l.snmpd, SIGHUP);
  EXPECT_TRUE(log_gets(l, "role \"tenants\": VSANs 10,20", before + 1)) << log_of(l);
  ASSERT_TRUE(agent_answers(l));
  EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 2u);
  EXPECT_EQ(log_lines(l, "it may hold roles"), "");
}

}  // namespace
