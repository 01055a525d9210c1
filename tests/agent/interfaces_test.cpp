// The switch's interfaces and name as every NMS looks for them: IF-MIB and sysName, beside what the agent has itself.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <set>

#include "platform/cmi.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "role_lab.h"
#include "switch_records.h"
#include "switchplatform/run_dir.h"
#include "trap_lab.h"

namespace {

using namespace mib;

const std::string kLoadIt = "dlmod switch_interfaces " + lab::library("libswitchinterfaces.so") + "\n";
constexpr char kOff[] = "smux,ifTable,ifXTable";
constexpr unsigned long kFirst = 16777216, kSecond = 16781312, kFourth = 16789504;

const name_t kSysName = {1, 3, 6, 1, 2, 1, 1, 5, 0}, kSysUpTime = {1, 3, 6, 1, 2, 1, 1, 3, 0};
const name_t kInterfaces = {1, 3, 6, 1, 2, 1, 2}, kIfMib = {1, 3, 6, 1, 2, 1, 31};
const name_t kIfNumber = {1, 3, 6, 1, 2, 1, 2, 1, 0}, kTableLastChange = {1, 3, 6, 1, 2, 1, 31, 1, 5, 0};

name_t cell(unsigned long column, unsigned long index) {
  return {1, 3, 6, 1, 2, 1, 2, 2, 1, column, index};
}
name_t x_cell(unsigned long column, unsigned long index) {
  return {1, 3, 6, 1, 2, 1, 31, 1, 1, 1, column, index};
}

int ask_switch(const lab::lab &l, int service, int opcode, int msg_type, std::vector<uint8_t> payload) {
  if (platform_set_run_dir((l.dir + "/run").c_str()) != 0) {
    return -1;
  }
  auto size = static_cast<uint32_t>(payload.size());
  return cmi_req_resp(opcode, msg_type, payload.data(), nullptr, &size, "test", "", service, mts_response_q, 10);
}
int make_interface(const lab::lab &l, uint32_t index, const std::string &name, uint32_t vsan, bool up) {
  interface_definition row = {index, vsan, up ? 1U : 0U, {}};
  std::ranges::copy(name, row.name);
  return ask_switch(l, kServicePortManager, kOpInterfaceRow, kMsgSet, record_bytes(row));
}
int delete_interface(const lab::lab &l, uint32_t index) {
  const interface_definition row = {index, 0, 0, {}};
  return ask_switch(l, kServicePortManager, kOpInterfaceRow, kMsgDelete, record_bytes(row));
}

constexpr char kContextUsers[] =
    "com2sec -Cn switch inside default inside\n"
    "group insides v2c inside\n"
    "access insides switch any noauth exact all none none\n";

struct Interfaces : ::testing::Test {
  lab::lab l;

  void start(const std::string &lines = kLoadIt, const std::string &off = kOff, bool traps = false) {
    lab::start(l, {.agent_lines = lines, .traps = traps, .agent_modules_off = off});
  }
  varbind got(const name_t &name, const std::string &community = "public") {
    snmp::client c(l, snmp::community(community), 5);
    const snmp::answer answer = snmp::get(c, {name});
    return answer.varbinds.empty() ? varbind{} : answer.varbinds[0];
  }
  std::vector<varbind> walked(const name_t &prefix, const std::string &community = "public") {
    snmp::client c(l, snmp::community(community), 5);
    return snmp::walk(c, prefix);
  }
  // The indexes in ifTable, as somebody sees them.
  std::vector<unsigned long> seen(const std::string &community = "public") {
    std::vector<unsigned long> indexes;
    for (const varbind &v : walked({1, 3, 6, 1, 2, 1, 2, 2, 1, 1}, community)) {
      indexes.push_back(v.name.back());
    }
    return indexes;
  }
};

const std::vector<unsigned long> kAll = {16777216, 16781312, 16785408, 16789504, 16793600};

// Types and values of a row, by column: ifEntry's, then ifXEntry's.
struct cell_of {
  unsigned long column;
  int type;
  long number;
};
constexpr cell_of kFirstRow[] = {{1, 0x02, 16777216}, {3, 0x02, 56}, {4, 0x02, 2112}, {5, 0x42, 0},
                                 {7, 0x02, 1},        {8, 0x02, 1},  {9, 0x43, 0},    {10, 0x41, 0},
                                 {11, 0x41, 0},       {13, 0x41, 0}, {14, 0x41, 0},   {15, 0x41, 0},
                                 {16, 0x41, 0},       {17, 0x41, 0}, {19, 0x41, 0},   {20, 0x41, 0}};
constexpr cell_of kFirstXRow[] = {{2, 0x41, 0},  {3, 0x41, 0},  {4, 0x41, 0},  {5, 0x41, 0}, {14, 0x02, 1},
                                  {15, 0x42, 0}, {16, 0x02, 2}, {17, 0x02, 2}, {19, 0x43, 0}};

TEST_F(Interfaces, EveryColumnHasItsTypeAndItsValue) {
  start();
  for (const cell_of &each : kFirstRow) {
    const varbind v = got(cell(each.column, kFirst));
    EXPECT_EQ(v.type, each.type) << each.column;
    EXPECT_EQ(v.integer, each.number) << each.column;
  }
  for (const cell_of &each : kFirstXRow) {
    const varbind v = got(x_cell(each.column, kFirst));
    EXPECT_EQ(v.type, each.type) << each.column;
    EXPECT_EQ(v.integer, each.number) << each.column;
  }
  for (unsigned long column = 6; column <= 13; ++column) {
    EXPECT_EQ(got(x_cell(column, kFirst)).type, 0x46) << column;  // Counter64
  }
  EXPECT_EQ(got(cell(2, kFirst)), octets(cell(2, kFirst), "fc1/1"));
  EXPECT_EQ(got(cell(6, kFirst)), octets(cell(6, kFirst), ""));
  EXPECT_EQ(got(x_cell(1, kSecond)), octets(x_cell(1, kSecond), "fc1/2"));
  EXPECT_EQ(got(x_cell(18, kFirst)), octets(x_cell(18, kFirst), ""));
  EXPECT_EQ(got(cell(8, kFourth)).integer, 2);
  EXPECT_EQ(got(kIfNumber), integer(kIfNumber, 5));
  EXPECT_EQ(got(kTableLastChange).type, 0x43);
}

TEST_F(Interfaces, WalksAndGetsOfBothTablesAgree) {
  start();
  EXPECT_EQ(seen(), kAll);
  snmp::client c(l, snmp::community("public"), 5);
  const std::vector<varbind> walk = walked(kInterfaces);
  const std::vector<varbind> x_walk = walked(kIfMib);
  EXPECT_EQ(walk.size(), 1 + 18 * kAll.size());
  EXPECT_EQ(x_walk.size(), 1 + 19 * kAll.size());
  EXPECT_EQ(snmp::bulkwalk(c, kInterfaces), walk);
  EXPECT_EQ(snmp::bulkwalk(c, kIfMib, 3), x_walk);
  for (const auto *each : {&walk, &x_walk}) {
    for (const varbind &v : *each) {
      EXPECT_EQ(got(v.name), v);
    }
  }
}

TEST_F(Interfaces, WhatIsNotThereIsAbsentAndNothingIsWritten) {
  start();
  for (const unsigned long column : {12UL, 18UL, 21UL, 22UL, 23UL}) {
    EXPECT_GE(got(cell(column, kFirst)).type, snmp::kNoSuchObject) << column;
  }
  for (const unsigned long index : {0UL, 1UL, 16777217UL, 0x7FFFFFFFUL, 0x80000000UL, 0xFFFFFFFFUL}) {
    EXPECT_EQ(got(cell(2, index)).type, snmp::kNoSuchInstance) << index;
  }
  EXPECT_EQ(got({1, 3, 6, 1, 2, 1, 2, 2, 1, 2, kFirst, 0}).type, snmp::kNoSuchInstance);
  snmp::client c(l, snmp::community("private"), 5);
  constexpr int kNotWritable = 17;
  EXPECT_EQ(snmp::set(c, {integer(cell(7, kFirst), 2)}).status, kNotWritable);
  EXPECT_EQ(snmp::set(c, {octets(x_cell(18, kFirst), "alias")}).status, kNotWritable);
  EXPECT_EQ(snmp::set(c, {octets(kSysName, "name")}).status, kNotWritable);
  EXPECT_EQ(got(cell(7, kFirst)).integer, 1);
  for (const name_t &from :
       {cell(1, 0xFFFFFFFF), cell(1, kAll.back()), name_t{1, 3, 6, 1, 2, 1, 2, 2, 1, 1, kAll.back(), 9}}) {
    EXPECT_EQ(snmp::getnext(c, {from}).varbinds.at(0).name, cell(2, kFirst));
  }
  EXPECT_EQ(snmp::getnext(c, {cell(1, kFirst)}).varbinds.at(0).name, cell(1, kSecond));
}

TEST_F(Interfaces, SysNameIsTheSwitchsAndTheRestOfTheGroupTheAgents) {
  start(std::string("syslocation here\n") + kLoadIt);
  EXPECT_EQ(got(kSysName), octets(kSysName, "lab"));
  EXPECT_EQ(got({1, 3, 6, 1, 2, 1, 1, 6, 0}).octets, "here");
  switch_name name = {"edge-7"};
  const auto *text = reinterpret_cast<const uint8_t *>(name.text);
  ASSERT_EQ(ask_switch(l, kServiceIdentity, kOpSwitchName, kMsgSet, {text, text + sizeof name}), 0);
  EXPECT_EQ(got(kSysName), octets(kSysName, "edge-7"));
  const std::vector<varbind> system = walked({1, 3, 6, 1, 2, 1, 1});
  EXPECT_EQ(std::ranges::count(system, kSysName, &varbind::name), 1);
}

TEST_F(Interfaces, AChangeIsSeenByTheNextGetWithItsTime) {
  start();
  ASSERT_EQ(got(cell(8, kFirst)).integer, 1);
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/1"}).status, 0);
  const long before = got(kSysUpTime).integer;
  EXPECT_EQ(got(cell(8, kFirst)).integer, 2);
  EXPECT_EQ(got(cell(7, kFirst)).integer, 2);
  const long since = got(cell(9, kFirst)).integer;
  EXPECT_GT(since, 0);
  EXPECT_LE(since, got(kSysUpTime).integer);
  EXPECT_GE(since + 100, before);  // a look a second may have come first
  EXPECT_EQ(got(cell(9, kSecond)).integer, 0);
}

TEST_F(Interfaces, InterfacesThatComeAndGoAreCountedAndTheTableTellsWhen) {
  start();
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > 250; }));  // the first look is over
  EXPECT_EQ(got(kTableLastChange).integer, 0);
  ASSERT_EQ(make_interface(l, 7, "fc9/9", 10, true), 0);
  const long made = got(kTableLastChange).integer;
  EXPECT_GT(made, 0);
  EXPECT_EQ(got(kIfNumber).integer, 6);
  EXPECT_EQ(seen().front(), 7UL);
  EXPECT_EQ(got(x_cell(1, 7)).octets, "fc9/9");
  EXPECT_GT(got(cell(9, 7)).integer, 0);
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > made + 1; }));
  ASSERT_EQ(delete_interface(l, 7), 0);
  EXPECT_GT(got(kTableLastChange).integer, made);
  EXPECT_EQ(seen(), kAll);
  ASSERT_EQ(make_interface(l, 0x80000000, "far", 10, true), 0);  // no index that IF-MIB could name
  EXPECT_EQ(seen(), kAll);
}

// A receiver that knows the names, as an operator has it.
TEST_F(Interfaces, TrapsTellOfAnInterfaceByName) {
  const int port = lab::free_udp_port();
  start(std::string(kLoadIt) + "trap2sink 127.0.0.1:" + std::to_string(port) + " public\n");
  lab::write_file(l.dir + "/named.conf", "disableAuthorization yes\n");
  lab::process named =
      lab::launch({"snmptrapd", "-f", "-n", "-C", "-c", l.dir + "/named.conf", "-M", LAB_SOURCE_DIR "/mibs/standard",
                   "-m", "IF-MIB:SNMPv2-MIB", "--persistentDir=" + l.dir + "/traps", "-Lf", l.dir + "/named.log",
                   "udp:127.0.0.1:" + std::to_string(port)},
                  l.dir + "/named.out");
  const auto hears = [&](const std::string &text) {
    return lab::wait_until([&] { return lab::read_file(l.dir + "/named.log").find(text) != std::string::npos; });
  };
  EXPECT_TRUE(hears("NET-SNMP version"));
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > 250; }));  // the first look is over
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/2"}).status, 0);
  EXPECT_TRUE(hears("IF-MIB::linkDown"));
  EXPECT_TRUE(hears("IF-MIB::ifIndex.16781312 = INTEGER: 16781312"));
  EXPECT_TRUE(hears("IF-MIB::ifAdminStatus.16781312 = INTEGER: down(2)"));
  EXPECT_TRUE(hears("IF-MIB::ifOperStatus.16781312 = INTEGER: down(2)"));
  ASSERT_EQ(lab::ctl(l, {"interface", "up", "fc1/2"}).status, 0);
  EXPECT_TRUE(hears("IF-MIB::linkUp"));
  ASSERT_EQ(make_interface(l, 7, "fc9/9", 10, true), 0);
  EXPECT_TRUE(hears("IF-MIB::ifOperStatus.7 = INTEGER: up(1)"));
  ASSERT_EQ(delete_interface(l, 7), 0);
  EXPECT_TRUE(hears("IF-MIB::ifOperStatus.7 = INTEGER: down(2)"));
  const std::string log = lab::read_file(l.dir + "/named.log");
  EXPECT_EQ(role_lab::count(log, "IF-MIB::linkDown"), 2u) << log;
  EXPECT_EQ(role_lab::count(log, "IF-MIB::linkUp"), 2u) << log;
  lab::stop(named);
}

TEST_F(Interfaces, ASwitchThatWasAwayIsComparedWithWhatItWas) {
  start(kLoadIt, kOff, true);
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > 250; }));
  lab::stop(l.switchd);
  EXPECT_EQ(got(cell(2, kFirst)).type, snmp::kNoSuchInstance);
  EXPECT_EQ(got(kIfNumber).type, snmp::kNoSuchInstance);
  EXPECT_EQ(got(kSysName).type, snmp::kNoSuchInstance);
  EXPECT_TRUE(seen().empty());
  lab::start_switchd(l);
  EXPECT_EQ(seen(), kAll);
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/1"}).status, 0);
  const auto traps = [&] { return lab::read_file(l.dir + "/traps.log"); };
  EXPECT_TRUE(lab::wait_until([&] { return traps().find(".1.3.6.1.6.3.1.1.5.3") != std::string::npos; }));
  EXPECT_EQ(role_lab::count(traps(), ".1.3.6.1.6.3.1.1.5.4"), 0u) << "no interface came up";
  EXPECT_EQ(role_lab::count(traps(), ".1.3.6.1.6.3.1.1.5.3"), 1u);
}

TEST_F(Interfaces, AHungSwitchDoesNotHoldTheAgentWhenNobodyAsks) {
  start();
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > 400; }));  // the page is there
  lab::signal(l.switchd, SIGSTOP);
  snmp::client c(l, snmp::community("public"), 0.9);  // a look that asked would wait for 4 s
  for (int i = 0; i < 40; ++i) {
    EXPECT_TRUE(snmp::get(c, {kSysUpTime}).sent_back) << i;
    usleep(100'000);
  }
  lab::signal(l.switchd, SIGCONT);
  EXPECT_EQ(got(cell(8, kFirst)).integer, 1);
}

TEST_F(Interfaces, ASwitchThatHangsBehindAChangeHoldsTheAgentForOneLookAndNoLonger) {
  start();
  EXPECT_TRUE(lab::wait_until([&] { return got(kSysUpTime).integer > 400; }));
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/1"}).status, 0);
  lab::signal(l.switchd, SIGSTOP);
  snmp::client c(l, snmp::community("public"), 2.5);  // a question of a station's would wait for 4 s
  int held = 0;
  for (int i = 0; i < 30; ++i) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(snmp::get(c, {kSysUpTime}).sent_back) << i;
    held += std::chrono::steady_clock::now() - before > std::chrono::milliseconds(500) ? 1 : 0;
    usleep(100'000);
  }
  lab::signal(l.switchd, SIGCONT);
  EXPECT_LE(held, 1);
  EXPECT_TRUE(lab::wait_until([&] { return got(cell(8, kFirst)).integer == 2; }));
}

TEST_F(Interfaces, TheirLineMayStandFirst) {
  start("");
  role_lab::restart_agent(l, kLoadIt + role_lab::conf_of(l) + "switchInterfacesContext switch\n" + kContextUsers);
  EXPECT_EQ(seen("inside"), kAll);
  EXPECT_EQ(got(vsan_number()).integer, 5);
}

TEST_F(Interfaces, RolesRuleThemAsTheyRuleTheModulesInterfaceTable) {
  using role_lab::member_lines;
  start(std::string(kLoadIt) + member_lines("listed", "listeds") + "vsanRoleInterfaces listeds 16781312,16789504\n" +
        "vsanRoleSwitch listeds none\n" + member_lines("shut", "shuts") + "vsanRoleSwitch shuts none\n" +
        member_lines("broken", "brokens") + "vsanRole brokens 1-\n" + member_lines("vsans", "vsanss") +
        "vsanRole vsanss 10\n" + member_lines("both", "boths") +
        "vsanRole boths 10\nvsanRoleInterfaces boths 16777216\n");
  EXPECT_EQ(seen(), kAll);
  EXPECT_EQ(seen("vsans"), kAll);
  EXPECT_EQ(seen("listed"), (std::vector<unsigned long>{kSecond, kFourth}));
  EXPECT_EQ(got(cell(2, kFirst), "listed").type, snmp::kNoSuchInstance);
  EXPECT_EQ(got(x_cell(1, kSecond), "listed").octets, "fc1/2");
  EXPECT_EQ(walked({1, 3, 6, 1, 2, 1, 31, 1, 1}, "listed").size(), 2 * 19u);
  EXPECT_EQ(got(kIfNumber, "listed").type, snmp::kNoSuchInstance);
  for (const char *closed : {"shut", "broken"}) {
    EXPECT_TRUE(walked(kInterfaces, closed).empty()) << closed;
    EXPECT_TRUE(walked(kIfMib, closed).empty()) << closed;
    EXPECT_EQ(got(cell(2, kFirst), closed).type, snmp::kNoSuchInstance) << closed;
  }
  EXPECT_EQ(got(kSysName, "shut").octets, "lab");  // no object of the interfaces
  EXPECT_EQ(got(kSysName, "broken").type, snmp::kNoSuchInstance);
  // The same interfaces as in the module's own table.
  for (const char *who : {"public", "listed", "shut", "broken", "vsans", "both"}) {
    std::vector<unsigned long> module;  // whose walk ends at a hidden one
    std::ranges::copy_if(kAll, std::back_inserter(module),
                         [&](unsigned long i) { return got(if_vsan(i), who).type == 2; });
    EXPECT_EQ(seen(who), module) << who;
  }
}

TEST_F(Interfaces, BesideTheAgentsOwnNothingIsRegisteredAndTheLogSaysWhatToDo) {
  start(kLoadIt, "smux");
  EXPECT_TRUE(role_lab::log_gets(l, "switch_interfaces: the switch's interfaces are not served"));
  const std::string lines = role_lab::log_lines(l, "switch_interfaces");
  EXPECT_EQ(role_lab::count(lines, "\n"), 1u) << lines;
  EXPECT_NE(lines.find("-I -ifTable,ifXTable"), std::string::npos) << lines;
  EXPECT_NE(lines.find("switchInterfacesContext NAME"), std::string::npos) << lines;
  const std::vector<unsigned long> hosts = seen();
  EXPECT_FALSE(hosts.empty());
  for (const unsigned long index : kAll) {
    EXPECT_EQ(std::ranges::count(hosts, index), 0);
  }
  EXPECT_NE(got(kSysName).octets, "lab");
  EXPECT_EQ(role_lab::log_lines(l, "MIB modules switch"), "");
  EXPECT_EQ(got(vsan_number()).integer, 5);
}

TEST_F(Interfaces, AContextOfTheirOwnKeepsThemApartFromTheAgents) {
  // The line's place does not matter.
  start(std::string("switchInterfacesContext switch\n") + kLoadIt + kContextUsers, "smux");
  EXPECT_EQ(seen("inside"), kAll);
  EXPECT_EQ(got(kSysName, "inside").octets, "lab");
  EXPECT_EQ(got(kIfNumber, "inside").integer, 5);
  const std::vector<unsigned long> hosts = seen();
  EXPECT_FALSE(hosts.empty());
  EXPECT_EQ(std::ranges::count(hosts, kFirst), 0);
  EXPECT_NE(got(kSysName).octets, "lab");
  EXPECT_EQ(got(vsan_number()).integer, 5);
  EXPECT_EQ(role_lab::log_lines(l, "switch_interfaces"), "");

  role_lab::reload_agent(l, role_lab::without(role_lab::conf_of(l), "switchInterfacesContext"));
  EXPECT_TRUE(role_lab::log_gets(l, "switch_interfaces: the switch's interfaces are not served"));
  EXPECT_TRUE(seen("inside").empty());
  role_lab::reload_agent(l, role_lab::conf_of(l) + "switchInterfacesContext switch\n");
  EXPECT_EQ(seen("inside"), kAll);
}

TEST_F(Interfaces, ALineThatNamesNoContextIsComplainedAbout) {
  start(std::string(kLoadIt) + "switchInterfacesContext two words\n");
  EXPECT_TRUE(role_lab::log_gets(l, "one word of 1 to 32 octets is wanted"));
  EXPECT_EQ(seen(), kAll);
}

TEST_F(Interfaces, TwentyReloadsLeaveTheSameAnswersAndFlatMemory) {
  start();
  ASSERT_EQ(lab::ctl(l, {"interface", "down", "fc1/1"}).status, 0);
  ASSERT_EQ(got(cell(8, kFirst)).integer, 2);
  const std::vector<varbind> walk = walked(kInterfaces);
  const std::vector<varbind> x_walk = walked(kIfMib);
  long after_warm_up = 0;
  for (int i = 1; i <= 20; ++i) {
    role_lab::reload_agent(l, role_lab::conf_of(l));
    ASSERT_EQ(walked(kInterfaces), walk) << i;  // when an interface changed is remembered
    after_warm_up = i == 5 ? lab::resident_kib(l.snmpd) : after_warm_up;
  }
  EXPECT_EQ(walked(kIfMib), x_walk);
  if (std::string(LAB_PRELOAD).empty()) {
    EXPECT_LT(lab::resident_kib(l.snmpd) - after_warm_up, 1024);
  }
  EXPECT_EQ(role_lab::log_lines(l, "MIB modules switch"), "");  // registered twice
  EXPECT_EQ(role_lab::log_lines(l, "switch_interfaces"), "");
  EXPECT_EQ(role_lab::log_lines(l, "snmpd.conf: line"), "");
}

TEST_F(Interfaces, UnloadingTakesEverythingAwayAndLoadingBringsItBack) {
  start();
  ASSERT_EQ(role_lab::set_module(l, "switch_interfaces", role_lab::kUnload), 0);
  EXPECT_TRUE(walked(kInterfaces).empty());
  EXPECT_TRUE(walked(kIfMib).empty());
  EXPECT_NE(got(kSysName).octets, "lab");
  EXPECT_EQ(got(kSysName).type, 4);
  ASSERT_EQ(role_lab::set_module(l, "switch_interfaces", role_lab::kLoad), 0);
  EXPECT_TRUE(lab::wait_until([&] { return seen() == kAll; }));
  EXPECT_EQ(got(kSysName).octets, "lab");
  ASSERT_EQ(role_lab::set_module(l, "switch_agent", role_lab::kUnload), 0);
  EXPECT_TRUE(seen().empty());  // closed, as the module's objects are
  ASSERT_EQ(role_lab::set_module(l, "switch_agent", role_lab::kLoad), 0);
  EXPECT_EQ(seen(), kAll);
  EXPECT_EQ(lab::stop(l.snmpd), 0);
}

TEST_F(Interfaces, AnotherMakersClientDiscoversTheSwitch) {
  start();
  const lab::result found = lab::run(
      {"/usr/bin/python3", LAB_SOURCE_DIR "/tests/agent/python/discover.py", std::to_string(l.snmp_port), "public"});
  ASSERT_EQ(found.status, 0) << found.output;
  const auto json = nlohmann::json::parse(found.output);
  EXPECT_EQ(json.at("name"), "lab");
  ASSERT_EQ(json.at("interfaces").size(), 5u);
  const auto first =
      nlohmann::json::parse(R"({"descr": "fc1/1", "type": "56", "admin": "1", "oper": "1", "name": "fc1/1"})");
  EXPECT_EQ(json.at("interfaces").at("16777216"), first);
  EXPECT_EQ(json.at("interfaces").at("16789504").at("oper"), "2");
}

}  // namespace
