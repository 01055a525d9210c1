// The description of a fleet: its switches, where they are, and what is wrong with it.
#include "fleet_description.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr const char *kHead = "[fleet]\nname = \"lab\"\ndirectory = \"/srv/lab\"\ntopology = \"base.toml\"\n";

fleet_description taken(const std::string &rest) {
  fleet_description fleet;
  std::string problems;
  EXPECT_EQ(parse_fleet(kHead + rest, "/etc/fleets/f.toml", fleet, problems), 0) << problems;
  return fleet;
}

std::string problems_of(const std::string &text) {
  fleet_description fleet;
  std::string problems;
  EXPECT_EQ(parse_fleet(text, "f.toml", fleet, problems), -1) << text;
  return problems;
}

std::vector<std::string> names_of(const fleet_description &fleet) {
  std::vector<std::string> names;
  for (const fleet_switch &each : fleet.switches) {
    names.push_back(each.name);
  }
  return names;
}

using texts = std::vector<std::string>;

TEST(FleetDescription, NamesNumbersAndWorldWideNamesFollowTheGroups) {
  const fleet_description fleet = taken(
      "[[group]]\nname = \"core\"\nnames = [\"core-a\"]\ntopology = \"/t/core.toml\"\n"
      "[[group]]\nname = \"edge\"\ncount = 2\n");
  EXPECT_EQ(names_of(fleet), (texts{"core-a", "edge-1", "edge-2"}));
  EXPECT_EQ(fleet.switches[0].topology, "/t/core.toml");
  EXPECT_EQ(fleet.switches[2].topology, "/etc/fleets/base.toml");
  EXPECT_EQ(fleet.switches[2].group, "edge");
  EXPECT_EQ(fleet.switches[2].number, 3U);
  EXPECT_EQ(fleet.switches[0].wwn, 0x200002f100000001U);
  EXPECT_EQ(fleet.switches[2].wwn, 0x200002f100000003U);
  EXPECT_EQ(switch_folder(fleet, fleet.switches[1]), "/srv/lab/switches/edge-1");
}

TEST(FleetDescription, EachAgentHasAnAddressOfItsOwn) {
  const fleet_description fleet = taken("[[group]]\nname = \"s\"\ncount = 1000\n");
  EXPECT_EQ(fleet.switches[0].address, "127.1.0.1");
  EXPECT_EQ(fleet.switches[253].address, "127.1.0.254");
  EXPECT_EQ(fleet.switches[254].address, "127.1.1.1");
  EXPECT_EQ(fleet.switches[999].address, "127.1.3.238");
  EXPECT_EQ(fleet.switches[999].listen, "127.1.3.238");
  EXPECT_EQ(fleet.switches[999].port, 1161);
  EXPECT_EQ(network_address(0x0A020000, kNetworkAgents), "10.2.255.254");
}

TEST(FleetDescription, OrAPortOfOneAddress) {
  const fleet_description fleet =
      taken("[snmp]\naddress = \"192.0.2.7\"\nport = 20000\n[[group]]\nname = \"s\"\ncount = 3\n");
  EXPECT_EQ(fleet.switches[2].address, "192.0.2.7");
  EXPECT_EQ(fleet.switches[2].port, 20002);
}

TEST(FleetDescription, TheFabricIsHandedOn) {
  fleet_description fleet;
  std::string problems;
  ASSERT_EQ(parse_fleet(std::string(kHead) + "fabric = \"a\"\nfabric_endpoints = [\"http://h1:1\", \"http://h2:1\"]\n" +
                            "[[group]]\nname = \"s\"\ncount = 1\n",
                        "f.toml", fleet, problems),
            0)
      << problems;
  EXPECT_EQ(fleet.fabric, "a");
  EXPECT_EQ(fleet.fabric_endpoints, "http://h1:1,http://h2:1");
}

constexpr const char *kThreeHosts =
    "[[group]]\nname = \"s\"\ncount = 8\n"
    "[[host]]\nname = \"one\"\naddress = \"192.0.2.1\"\n"
    "[[host]]\nname = \"two\"\nnetwork = \"10.2.0.0\"\nport = 161\n"
    "[[host]]\nname = \"three\"\naddress = \"three.lab\"\nlisten = \"0.0.0.0\"\n";

TEST(FleetDescription, HostsShareTheSwitches) {
  fleet_description fleet = taken(kThreeHosts);
  EXPECT_EQ(fleet.switches[1].host, "one");
  EXPECT_EQ(fleet.switches[1].port, 1162);
  EXPECT_EQ(fleet.switches[2].host, "two");
  EXPECT_EQ(fleet.switches[2].address, "10.2.0.1");
  EXPECT_EQ(fleet.switches[2].port, 161);
  EXPECT_EQ(fleet.switches[7].address, "three.lab");
  EXPECT_EQ(fleet.switches[7].listen, "0.0.0.0");
  std::string problem;
  EXPECT_EQ(keep_host(fleet, "two", problem), 0);
  EXPECT_EQ(names_of(fleet), (texts{"s-3", "s-4", "s-5"}));
  EXPECT_EQ(keep_host(fleet, "four", problem), -1);
  EXPECT_EQ(problem, "the description has no host \"four\"");
}

TEST(FleetDescription, AHostIsThisMachineUnlessItIsNamed) {
  char own[256] = {};
  gethostname(own, sizeof own - 1);
  fleet_description fleet = taken("[[group]]\nname = \"s\"\ncount = 3\n[[host]]\nname = \"" + std::string(own) +
                                  "\"\naddress = \"192.0.2.1\"\nswitches = 1\n[[host]]\nname = \"other\"\n"
                                  "address = \"192.0.2.2\"\nswitches = 2\n");
  std::string problem;
  EXPECT_EQ(keep_host(fleet, "", problem), 0) << problem;
  EXPECT_EQ(names_of(fleet), (texts{"s-1"}));
}

TEST(FleetDescription, SomeOfTheSwitches) {
  const auto chosen = [](const std::string &list, uint32_t percent) {
    fleet_description fleet = taken("[[group]]\nname = \"core\"\ncount = 2\n[[group]]\nname = \"edge\"\ncount = 8\n");
    std::string problem;
    EXPECT_EQ(keep_switches(fleet, list, percent, problem), 0) << problem;
    return names_of(fleet);
  };
  EXPECT_EQ(chosen("", 100).size(), 10U);
  EXPECT_EQ(chosen("1,9-10", 100), (texts{"core-1", "edge-7", "edge-8"}));
  EXPECT_EQ(chosen("edge-3,core", 100), (texts{"core-1", "core-2", "edge-3"}));
  EXPECT_EQ(chosen("", 20), (texts{"core-1", "edge-4"}));
  EXPECT_EQ(chosen("edge", 25), (texts{"edge-1", "edge-5"}));
  EXPECT_EQ(chosen("", 1), (texts{"core-1"}));
}

TEST(FleetDescription, WhatIsNoSwitchIsNamed) {
  for (const char *word : {"11", "9x", "edge-9", "12-14", "-"}) {
    fleet_description fleet = taken("[[group]]\nname = \"edge\"\ncount = 8\n");
    std::string problem;
    EXPECT_EQ(keep_switches(fleet, word, 100, problem), -1) << word;
    EXPECT_EQ(problem, std::string("\"") + word + "\" is no number, range, name or group of a switch here");
  }
}

struct wrong_description {
  const char *rest;  // behind the four lines of a sound [fleet]
  const char *told;  // behind "f.toml:"
};

class WrongDescription : public testing::TestWithParam<wrong_description> {};

TEST_P(WrongDescription, IsToldByLineAndKey) {
  EXPECT_EQ(problems_of(std::string(kHead) + GetParam().rest), std::string("f.toml:") + GetParam().told);
}

#define ONE_GROUP "[[group]]\nname = \"s\"\ncount = 2\n"
const wrong_description kWrong[] = {
    {"wwn = \"1\"\n" ONE_GROUP, "5: fleet.wwn: a world wide name such as \"20:00:02:f1:00:00:00:01\" is wanted"},
    {"supervisor = \"mine\"\n" ONE_GROUP, "5: fleet.supervisor: \"auto\", \"s6\" or \"systemd\" is wanted"},
    {"at_once = 0\n" ONE_GROUP, "5: fleet.at_once: a whole number from 1 to 1000 is wanted"},
    {"size = 3\n" ONE_GROUP, "5: fleet.size: unknown key"},
    {"fabric = \"a\"\n" ONE_GROUP, "1: fleet.fabric: fabric and fabric_endpoints go together"},
    {"fabric = \"a b\"\nfabric_endpoints = [\"http://h:1\"]\n" ONE_GROUP,
     "5: fleet.fabric: 1 to 64 letters, digits and _ - . : / + @ are wanted"},
    {"fabric = \"a\"\nfabric_endpoints = [\"h:1\"]\n" ONE_GROUP,
     "6: fleet.fabric_endpoints: \"h:1\" is no URL such as \"http://127.0.0.1:2379\""},
    {"[snmp]\nnetwork = \"127.1.0.1\"\n" ONE_GROUP, "6: snmp.network: a network such as \"127.1.0.0\" is wanted"},
    {"[snmp]\nnetwork = \"127.1.0.0\"\naddress = \"192.0.2.1\"\n" ONE_GROUP,
     "5: snmp.network: it goes with neither address nor listen"},
    {"[snmp]\naddress = \"lab one\"\n" ONE_GROUP, "6: snmp.address: an IPv4 address or a machine's name is wanted"},
    {"[snmp]\naddress = \"lab\"\n" ONE_GROUP, "5: snmp.listen: is missing: \"lab\" is a name"},
    {"[snmp]\nlisten = \"::1\"\n" ONE_GROUP, "6: snmp.listen: an IPv4 address is wanted"},
    {"[snmp]\nlisten = \"0.0.0.0\"\n" ONE_GROUP, "5: snmp.address: is missing: where stations find what listens there"},
    {"[snmp]\nport = 65536\n" ONE_GROUP, "6: snmp.port: a whole number from 1 to 65535 is wanted"},
    {"[snmp]\ncommunity = \"a b\"\n" ONE_GROUP,
     "6: snmp.community: 1 to 64 letters, digits and _ - . : / + @ are wanted"},
    {"[snmp]\nwrite_community = 1\n" ONE_GROUP,
     "6: snmp.write_community: 1 to 64 letters, digits and _ - . : / + @ are wanted"},
    {"[snmp]\ninterfaces = 1\n" ONE_GROUP, "6: snmp.interfaces: true or false is wanted"},
    {"[snmp]\nlines = [\"a\\nb\"]\n" ONE_GROUP, "6: snmp.lines: a list of texts is wanted"},
    {"", "1: group: is missing: no switches are described"},
    {"group = 3\n", "1: group: is missing: no switches are described\nf.toml:5: fleet.group: unknown key"},
    {"[group]\nname = \"s\"\n", "5: group: an [[array of tables]] is wanted"},
    {"[[group]]\ncount = 1\n", "5: group.name: is missing"},
    {"[[group]]\nname = \"s\"\n", "5: group.count: either count or names is wanted"},
    {"[[group]]\nname = \"s\"\ncount = 70000\n", "7: group.count: a whole number from 1 to 65024 is wanted"},
    {"[[group]]\nname = \"s\"\ncount = 60000\n[[group]]\nname = \"t\"\ncount = 6000\n",
     "8: group.count: a fleet has 65535 switches at most"},
    {"[[group]]\nname = \"s/t\"\ncount = 1\n", "6: group.name: 1 to 32 letters, digits, _ and - are wanted"},
    {"[[group]]\nname = \"s\"\nnames = [\"a\", \"a\"]\n", "5: group.names: there are two switches \"a\""},
    {"[[group]]\nname = \"s\"\nnames = [\"a.b\"]\n",
     "5: group.names: \"a.b\": a name has 1 to 32 letters, digits, _ and -"},
    {"[snmp]\naddress = \"192.0.2.1\"\nport = 65535\n" ONE_GROUP, "1: port: 2 agents have no room there"},
    {"[[host]]\naddress = \"192.0.2.1\"\n" ONE_GROUP, "5: host.name: is missing"},
    {"[[host]]\nname = \"a\"\n" ONE_GROUP, "5: host.address: is missing: where stations find the agents of this host"},
    {"[[host]]\nname = \"a\"\naddress = \"192.0.2.1\"\n[[host]]\nname = \"a\"\naddress = \"192.0.2.1\"\n" ONE_GROUP,
     "8: host.name: there are two hosts \"a\""},
    {"[[host]]\nname = \"a\"\naddress = \"192.0.2.1\"\nswitches = 3\n" ONE_GROUP,
     "5: host.switches: the hosts' numbers add up to 3, the fleet has 2"},
    {"[hosts]\n" ONE_GROUP, "5: hosts: unknown section"},
};
INSTANTIATE_TEST_SUITE_P(Fleet, WrongDescription, testing::ValuesIn(kWrong));

TEST(FleetDescription, AllProblemsAreToldAtOnce) {
  EXPECT_EQ(problems_of("[fleet]\nname = \"a b\"\ndirectory = \"/a b\"\n[[group]]\nname = \"s\"\ncount = 1\n"),
            "f.toml:1: fleet.topology: is missing\n"
            "f.toml:2: fleet.name: 1 to 32 letters, digits, _ and - are wanted\n"
            "f.toml:3: fleet.directory: a path of letters, digits and / . _ - is wanted");
  EXPECT_EQ(problems_of("x = \n").substr(0, 10), "f.toml:1: ");
}

TEST(FleetDescription, ADirectoryTooDeepForSocketsIsRefused) {
  const std::string deep = "[fleet]\nname = \"lab\"\ntopology = \"t\"\ndirectory = \"/" + std::string(80, 'd') + "\"\n";
  EXPECT_NE(problems_of(deep + ONE_GROUP).find("fleet.directory: is too long by "), std::string::npos);
}

TEST(FleetDescription, AFileThatIsNotThereIsNamed) {
  fleet_description fleet;
  std::string problems;
  EXPECT_EQ(read_fleet("/nowhere/f.toml", fleet, problems), -1);
  EXPECT_EQ(problems, "/nowhere/f.toml: No such file or directory");
}

}  // namespace
