// Topology files: what they say, and how their errors are told.
#include "topology.h"

#include <fstream>

#include "switch_under_test.h"

namespace {

struct Topology : testing::Test {
  temporary_directory directory;
  switch_change change;
  std::string error;

  int read(const std::string &text) {
    const std::string path = directory.path + "/t.toml";
    std::ofstream(path) << text;
    return read_topology(path, change, error);
  }
};

TEST_F(Topology, WithoutAFileThereIsTheDefaultVsanAlone) {
  const switch_change standard = default_topology();
  ASSERT_EQ(standard.vsans.size(), 1U);
  EXPECT_EQ(standard.vsans[0].id, 1U);
  EXPECT_EQ(standard.vsans[0].name, "VSAN0001");
  EXPECT_TRUE(standard.interfaces.empty());
  EXPECT_NE(standard.settings.wwn, 0U);
  EXPECT_NE(standard.settings.store_id, 0U);
  EXPECT_EQ(standard.timers.size(), 4U);
}

TEST_F(Topology, TheFabricIsTakenWithAllItsKeysAndItsErrorsAreNamed) {
  fabric_options fabric;
  ASSERT_EQ(parse_topology("[fabric]\nname = \"lab\"\nendpoints = [\"http://a:1\", \"https://b\"]\nca = \"ca.pem\"\n"
                           "cert = \"c.pem\"\nkey = \"k.pem\"\nuser = \"u\"\npassword_file = \"p\"\n",
                           "t", change, error, &fabric),
            0)
      << error;
  EXPECT_EQ(fabric.name, "lab");
  EXPECT_EQ(fabric.endpoints, (std::vector<std::string>{"http://a:1", "https://b"}));
  EXPECT_EQ(fabric.ca + fabric.cert + fabric.key + fabric.user + fabric.password_file, "ca.pemc.pemk.pemup");
  for (const auto &[text, problem] :
       {std::pair{"[fabric]\nname = \"a b\"\n", "t:2: fabric.name: \"a b\""},
        std::pair{"[fabric]\nendpoints = \"http://a\"\n", "t:2: fabric.endpoints: a list"},
        std::pair{"[fabric]\nendpoints = [\"a\"]\n", "t:2: fabric.endpoints: \"a\""},
        std::pair{"[fabric]\nport = 1\n", "t:2: fabric.port: unknown key"}}) {
    EXPECT_EQ(parse_topology(text, "t", change, error), -1);
    EXPECT_EQ(error.find(problem), 0U) << error;
  }
}

TEST_F(Topology, LettersOfAnyLanguageAreSoundInAText) {
  ASSERT_EQ(read("# \xD0\x9B\n[switch]\nname = \"\"\"\\\n  \xC3\xB6\xEF\xBA\xBF \\\n  \xD0\x9B\"\"\"\n"), 0) << error;
  EXPECT_EQ(change.settings.name, "\xC3\xB6\xEF\xBA\xBF \xD0\x9B");
}

TEST_F(Topology, EveryKeyReachesItsPlace) {
  ASSERT_EQ(read(R"(
[switch]
name = "sw"
wwn = "20:00:02:aB:00:00:00:09"
switch_latency = 0
network_latency = 60000
inorder_delivery = true
notifications = false
[timers]
e_d_tov = 1000
[distribution]
enabled = true
show_running = true
kept_out = [7]
[[vsan]]
id = 7
name = "seven"
state = "suspended"
media = "ethernet"
mtu = 256
load_balancing = "src-dst"
interop = 4
inorder_delivery = true
drop_latency = 1
timers = { r_a_tov = 6000 }
[[interface]]
name = "fc1/1"
index = 0x1000000
vsan = 7
up = true
[[interface]]
name = "fc1/2"
index = 4294967294
)"),
            0)
      << error;
  EXPECT_EQ(change.settings.wwn, 0x200002ab00000009U);
  EXPECT_EQ(change.settings.switch_latency, 0U);
  EXPECT_EQ(change.settings.network_latency, 60000U);
  EXPECT_EQ(change.settings.inorder, 1U);
  EXPECT_EQ(change.settings.notifications, 2U);
  EXPECT_EQ(change.settings.distribution.enabled, 1U);
  EXPECT_EQ(change.settings.distribution.show_running, 1U);
  EXPECT_TRUE(change.kept_out.contains(7));
  const vsan_record seven{7, "seven", 2, 2, 256, 1, 4, 1, 1};
  ASSERT_EQ(change.vsans.size(), 2U);
  EXPECT_TRUE(change.vsans[0] == seven);
  EXPECT_EQ(change.vsans[1].id, 1U);
  EXPECT_EQ((change.timers.at({0, 7})), 1000U);
  EXPECT_EQ((change.timers.at({0, 8})), 10000U);
  EXPECT_EQ((change.timers.at({7, 8})), 6000U);
  const interface_record first{0x1000000, "fc1/1", 7, true, true};
  const interface_record second{4294967294U, "fc1/2", 1, false, false};
  ASSERT_EQ(change.interfaces.size(), 2U);
  EXPECT_TRUE(change.interfaces[0] == first);
  EXPECT_TRUE(change.interfaces[1] == second);
}

struct topology_error {
  const char *what;
  std::string text;
  const char *line_and_key;
};
class TopologyError : public Topology, public testing::WithParamInterface<topology_error> {};

TEST_P(TopologyError, NamesFileLineAndKeyAndFillsNothing) {
  EXPECT_EQ(read(GetParam().text), -1);
  const std::string start = directory.path + "/t.toml:" + GetParam().line_and_key;
  EXPECT_EQ(error.substr(0, start.size()), start);
  EXPECT_NE(error.back(), ' ');  // a reason follows
  EXPECT_TRUE(change.vsans.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Files, TopologyError,
    testing::Values(
        topology_error{"Syntax", "[switch]\nname = \n", "2: "},
        topology_error{"UnknownSection", "\n[swich]\n", "2: swich: "},
        topology_error{"UnknownKey", "[switch]\nname = \"a\"\nwnn = 1\n", "3: switch.wnn: unknown key"},
        topology_error{"SectionIsNoTable", "switch = 1\n", "1: switch: "},
        topology_error{"VsanIsNoArray", "[vsan]\nid = 1\n", "1: vsan: "},
        topology_error{"WwnTooShort", "[switch]\nwwn = \"20:00\"\n", "2: switch.wwn: "},
        topology_error{"WwnNoHex", "[switch]\nwwn = \"20:00:02:00:00:00:00:0g\"\n", "2: switch.wwn: "},
        topology_error{"WwnZero", "[switch]\nwwn = \"00:00:00:00:00:00:00:00\"\n", "2: switch.wwn: "},
        topology_error{"TimerRange", "[timers]\ne_d_tov = 4001\n", "2: timers.e_d_tov: "},
        topology_error{"VsanWithoutId", "[[vsan]]\nname = \"a\"\n", "1: vsan.id: is missing"},
        topology_error{"VsanIdRange", "[[vsan]]\nid = 4095\n", "2: vsan.id: "},
        topology_error{"VsanIdText", "[[vsan]]\nid = \"4\"\n", "2: vsan.id: "},
        topology_error{"SwitchNameTooLong", "[switch]\nname = \"" + std::string(256, 'n') + "\"\n",
                       "2: switch.name: 256 octets"},
        topology_error{"SwitchNameOfTwoLines", "[switch]\nname = \"a\\nb\"\n", "2: switch.name: it has a control"},
        topology_error{"VsanIdNegative", "[[vsan]]\nid = -1\n", "2: vsan.id: "},
        topology_error{"VsanTwice", "[[vsan]]\nid = 4\n[[vsan]]\nid = 4\n", "4: vsan.id: VSAN 4 is there twice"},
        topology_error{"NameTwice", "[[vsan]]\nid = 4\nname = \"a\"\n[[vsan]]\nid = 5\nname = \"a\"\n",
                       "6: vsan.name: "},
        topology_error{"NameWithBlank", "[[vsan]]\nid = 4\nname = \"a b\"\n", "3: vsan.name: "},
        topology_error{"NameWithEscape", "[[vsan]]\nid = 4\nname = \"a\\u001B\"\n", "3: vsan.name: "},
        topology_error{"SwitchNameWithC1", "[switch]\nname = \"a\\u0085\"\n",
                       "2: switch.name: it is not UTF-8, or has"},
        topology_error{"NameTooLong", "[[vsan]]\nid = 4\nname = \"012345678901234567890123456789012\"\n",
                       "3: vsan.name: "},
        topology_error{"State", "[[vsan]]\nid = 4\nstate = \"up\"\n", "3: vsan.state: \"active\" or \"suspended\""},
        topology_error{"VsanTimer", "[[vsan]]\nid = 4\ntimers = { x = 1 }\n", "3: vsan.timers: x: unknown key"},
        topology_error{"InterfaceWithoutIndex", "[[interface]]\nname = \"a\"\n", "1: interface.index: is missing"},
        topology_error{"InterfaceIndexRange", "[[interface]]\nname = \"a\"\nindex = 4294967295\n",
                       "3: interface.index: "},
        topology_error{"InterfaceWithoutName", "[[interface]]\nindex = 4\n", "1: interface.name: "},
        topology_error{"LetterInAKey", "[switch]\nss\xEF\xBA\xBFwni = 1\n", "2: "},
        topology_error{"LetterBehindAHeading", "[switch]\xC3\xB6\n", "1: "},
        topology_error{"LetterBehindAValue", "[switch]\ninorder_delivery = true \xCF\x8A\n", "2: "},
        topology_error{"InterfaceTwice",
                       "[[interface]]\nname = \"a\"\nindex = 4\n[[interface]]\nname = \"b\"\nindex = 4\n",
                       "6: interface.index: 4 is there twice"},
        topology_error{"InterfaceNameTwice",
                       "[[interface]]\nname = \"a\"\nindex = 4\n[[interface]]\nname = \"a\"\nindex = 5\n",
                       "5: interface.name: "},
        topology_error{"InterfaceInAbsentVsan", "[[interface]]\nname = \"a\"\nindex = 4\nvsan = 9\n",
                       "4: interface.vsan: there is no VSAN 9"},
        topology_error{"KeptOutAbsent", "[distribution]\nkept_out = [9]\n", "1: distribution.kept_out: "}),
    [](const testing::TestParamInfo<topology_error> &info) { return std::string(info.param.what); });

TEST_F(Topology, AnAbsentFileIsNamed) {
  EXPECT_EQ(read_topology(directory.path + "/none.toml", change, error), -1);
  EXPECT_NE(error.find("none.toml"), std::string::npos);
}

}  // namespace
