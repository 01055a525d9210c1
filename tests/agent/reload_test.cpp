// The module inside a living agent: what it exports, reloads by SIGHUP, unloading and loading through the agent's own
// table.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "lab.h"
#include "snmp_client.h"

namespace {

using namespace mib;

// Every name that others link against. Nothing else of ours may be seen from outside.
constexpr const char *kExports[] = {
    "__iscsi_vsan_list_operation_t_find",
    "__iscsi_vsan_list_operation_t_str2enum",
    "__port_membership_update_t_find",
    "__port_membership_update_t_str2enum",
    "__vsan_attr_key_t_find",
    "__vsan_attr_key_t_str2enum",
    "__vsan_kdx_attr_t_find",
    "__vsan_kdx_attr_t_str2enum",
    "__vsan_kdx_state_t_find",
    "__vsan_kdx_state_t_str2enum",
    "__vsan_loadbalancing_method_t_find",
    "__vsan_loadbalancing_method_t_str2enum",
    "__vsan_media_t_find",
    "__vsan_media_t_str2enum",
    "__vsan_oper_state_t_find",
    "__vsan_oper_state_t_str2enum",
    "__vsan_state_change_t_find",
    "__vsan_state_change_t_str2enum",
    "__vsan_state_t_find",
    "__vsan_state_t_str2enum",
    "check_valid_ifindex",
    "deinit_vsan_mib",
    "get_using_cmi",
    "get_vsanEntry",
    "get_vsanEntry_instance",
    "get_vsanFcTimerEntry",
    "get_vsanFcTimerEntry_instance",
    "get_vsanIfEntry",
    "get_vsanMembershipSummaryEntry",
    "get_vsan_mib",
    "handle_free_vsanEntryList",
    "handle_notifications",
    "handle_onepdu_undo_vsanEntryList",
    "handle_port_memb_change_notifications",
    "handle_set_vsanEntryList",
    "handle_undo_vsanEntryList",
    "header_vsanEntry",
    "header_vsanFcTimerEntry",
    "header_vsanIfEntry",
    "header_vsanMembershipSummaryEntry",
    "init_vsan_mib",
    "process_for_vsan_restriction",
    "set_Scalar",
    "set_fcInorderDelivery",
    "set_fcNetworkLatency",
    "set_fcSwitchLatency",
    "set_fcTimerDstov",
    "set_fcTimerEdtov",
    "set_fcTimerRatov",
    "set_fctimer_table_set_methods",
    "set_if_table_set_methods",
    "set_mib_vsanFcTimerForceFlag",
    "set_table_set_methods",
    "set_vsanAdminState",
    "set_vsanFcTimerDstov",
    "set_vsanFcTimerEdtov",
    "set_vsanFcTimerForceFlag",
    "set_vsanFcTimerRatov",
    "set_vsanIfDenyList",
    "set_vsanIfVsan",
    "set_vsanInorderDelivery",
    "set_vsanInterOperMode",
    "set_vsanInterOperType",
    "set_vsanLoadBalancingType",
    "set_vsanMediaType",
    "set_vsanMtu",
    "set_vsanName",
    "set_vsanNetworkDropLatency",
    "set_vsanRowStatus",
    "to_snmp_error_code",
    "vsanEntry_comp",
    "vsanEntry_defaults",
    "vsanEntry_hton",
    "vsanEntry_list",
    "vsanEntry_ntoh",
    "vsanEntry_undo_list",
    "vsanIfEntry_comp",
    "vsanIfEntry_defaults",
    "vsanIfEntry_hton",
    "vsanIfEntry_ntoh",
    "vsanNewFcTimer_ntoh",
    "vsan_mib_variables",
    "vsan_mib_variables_oid",
    "vsan_trap_vsan_set",
    "write_vsanNotificationCntl",
};

TEST(Exports, TheModuleExportsItsNamesAndNoOther) {
  const auto nm = lab::run({"nm", "-D", "--defined-only", lab::library("libvsanmib.so")});
  ASSERT_EQ(nm.status, 0) << nm.output;
  std::set<std::string> found;
  std::istringstream lines(nm.output);
  std::string address, kind, name;
  while (lines >> address >> kind >> name) {
    // The sanitizers' instrumentation is not ours; without optimisation some compilers show what std's templates make.
    const bool is_of_template = LAB_PRELOAD[0] != '\0' && (kind == "W" || kind == "V");
    if (name.rfind("__odr_asan", 0) != 0 && name.rfind("_ZTI", 0) != 0 && !is_of_template) {
      found.insert(name);
    }
  }
  EXPECT_EQ(found, std::set<std::string>(std::begin(kExports), std::end(kExports)));
}

TEST(Exports, TheModuleNeedsOnlyNetSnmpThePlatformAndTheLanguagesRuntime) {
  const auto needed = lab::run(
      {"sh", "-c", "readelf -d " + lab::library("libvsanmib.so") + " | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\]/\\1/p'"});
  std::istringstream lines(needed.output);
  for (std::string library; std::getline(lines, library);) {
    const bool known = library.rfind("libnetsnmp", 0) == 0 || library == "libswitchplatform.so" ||
                       library == "libswitchagent.so" || library == "libc.so.6" || library == "libstdc++.so.6" ||
                       library == "libgcc_s.so.1" || library == "libm.so.6" || library.rfind("ld-linux", 0) == 0 ||
                       library.rfind("libasan", 0) == 0 || library.rfind("libubsan", 0) == 0 ||
                       library.rfind("libclang_rt", 0) == 0;
    EXPECT_TRUE(known) << library;
  }
}

class Reload : public ::testing::Test {
 protected:
  void SetUp() override { lab::start(l); }
  size_t count_in_log(const std::string &text) const {
    const std::string log = lab::read_file(l.dir + "/agent.log") + lab::read_file(l.snmpd.log);
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
      ++count;
    }
    return count;
  }
  lab::lab l;
};

TEST_F(Reload, AHundredSighupsLeaveACleanLogFlatMemoryAndAnswersRightAfter) {
  snmp::client c(l, snmp::community("public"));
  const auto whole = snmp::bulkwalk(c, root());
  ASSERT_EQ(whole.size(), 98u);
  long after_warm_up = 0;
  for (int i = 1; i <= 100; ++i) {
    lab::signal(l.snmpd, SIGHUP);
    ASSERT_TRUE(lab::wait_until([&] { return count_in_log("Reconfiguring daemon") >= static_cast<size_t>(i); })) << i;
    const auto answer = snmp::get(c, {vsan_cell(kName, 5), vsan_number()});
    ASSERT_TRUE(answer.sent_back) << "after SIGHUP " << i;
    ASSERT_EQ(answer.varbinds.at(0), octets(vsan_cell(kName, 5), "five")) << i;
    if (i == 20) {
      after_warm_up = lab::resident_kib(l.snmpd);
    }
  }
  // A stock agent grows by 3 KiB a SIGHUP on its own. The sanitizers' runtime keeps books of every library that was
  // ever mapped, so that memory says nothing there.
  if (LAB_PRELOAD[0] == '\0') {
    EXPECT_LT(lab::resident_kib(l.snmpd) - after_warm_up, 1024) << "KiB grown over eighty reloads";
  }
  EXPECT_EQ(snmp::bulkwalk(c, root()), whole);
  const std::string root_text = "1.3.6.1.4.1.32473";
  std::istringstream log(lab::read_file(l.dir + "/agent.log") + lab::read_file(l.snmpd.log));
  for (std::string line; std::getline(log, line);) {
    EXPECT_TRUE(line.find("duplicate registration") == std::string::npos || line.find("vsan") == std::string::npos)
        << line;
    EXPECT_EQ(line.find("snmpd.conf: line"), std::string::npos) << line;
  }
}

TEST_F(Reload, RolesAreReadAgainOnSighup) {
  snmp::client tenant(l, snmp::user("tenant"));
  EXPECT_EQ(snmp::walk(tenant, vsan_column(kName)).size(), 2u);
  const std::string path = l.dir + "/snmpd.conf";
  std::string conf = lab::read_file(path);
  conf.replace(conf.find("vsanRole tenants 10,20"), 22, "vsanRole tenants 5     ");
  lab::write_file(path, conf);
  lab::signal(l.snmpd, SIGHUP);
  ASSERT_TRUE(lab::wait_until([&] {
    const auto seen = snmp::walk(tenant, vsan_column(kName));
    return seen.size() == 1 && seen[0].name == vsan_cell(kName, 5);
  }));
}

// The agent's own module table: a row a module; writing 4 to its status loads it, 5 unloads it.
class ModuleTable : public Reload {
 protected:
  static name_t cell(unsigned long column, unsigned long row) {
    return {1, 3, 6, 1, 4, 1, 2021, 13, 14, 2, 1, column, row};
  }
  unsigned long row_of_module(snmp::client &c) {
    for (const auto &v : snmp::walk(c, {1, 3, 6, 1, 4, 1, 2021, 13, 14, 2, 1, 2})) {
      if (v.octets == "vsan_mib") {
        return v.name.back();
      }
    }
    return 0;
  }
};

TEST_F(ModuleTable, UnloadingAndLoadingThroughTheAgentLeavesNothingBehindAndWorksAgain) {
  enum { kStatus = 5, kLoad = 4, kUnload = 5 };
  snmp::client c(l, snmp::community("private"));
  const auto whole = snmp::bulkwalk(c, root());
  const unsigned long row = row_of_module(c);
  ASSERT_NE(row, 0u);
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(snmp::set(c, {integer(cell(kStatus, row), kUnload)}).status, 0) << i;
    const auto gone = snmp::get(c, {vsan_number(), vsan_cell(kName, 5)});
    ASSERT_TRUE(gone.sent_back) << "the agent lives";
    for (const auto &v : gone.varbinds) {
      EXPECT_GE(v.type, snmp::kNoSuchObject);
    }
    EXPECT_TRUE(snmp::walk(c, root()).empty());
    ASSERT_EQ(snmp::set(c, {integer(cell(kStatus, row), kLoad)}).status, 0) << i;
    ASSERT_EQ(snmp::bulkwalk(c, root()), whole) << i;
  }
  EXPECT_TRUE(lab::is_running(l.snmpd));
}

TEST_F(Reload, TheAgentStopsCleanly) {
  EXPECT_EQ(lab::stop(l.snmpd), 0) << lab::read_file(l.dir + "/agent.log");
}

TEST_F(Reload, TheAgentStartsBeforeSwitchdAndAnswersOnceItIsThere) {
  lab::stop(l.snmpd);
  lab::stop(l.switchd);
  // Start the agent by hand: start_snmpd waits for values.
  const pid_t pid = fork();
  if (pid == 0) {
    setenv("MIBS", "", 1);
    if (LAB_PRELOAD[0] != '\0') {
      setenv("LD_PRELOAD", LAB_PRELOAD, 1);
      setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    }
    execlp(lab::agent_program().c_str(), "snmpd", "-f", "-C", "-c", (l.dir + "/snmpd.conf").c_str(), "-I", "-smux",
           ("--persistentDir=" + l.dir + "/agent").c_str(), "-Lf", (l.dir + "/agent.log").c_str(),
           lab::agent_address(l).c_str(), static_cast<char *>(nullptr));
    _exit(127);
  }
  l.snmpd = {pid, l.dir + "/snmpd.log"};
  snmp::client c(l, snmp::community("public"), 0.5);
  ASSERT_TRUE(lab::wait_until([&] { return snmp::get(c, {vsan_number()}).sent_back; }));
  EXPECT_EQ(snmp::get(c, {vsan_number()}).varbinds.at(0).type, snmp::kNoSuchInstance);
  lab::start_switchd(l);
  EXPECT_TRUE(lab::wait_until([&] { return snmp::get(c, {vsan_number()}).varbinds.at(0).type == 2; }, 2));
}

}  // namespace
