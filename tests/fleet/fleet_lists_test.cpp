// What other programs are given of a fleet.
#include "fleet_lists.h"

#include <gtest/gtest.h>

namespace {

fleet_description small_fleet() {
  fleet_description fleet;
  std::string problems;
  EXPECT_EQ(parse_fleet("[fleet]\nname = \"lab\"\ndirectory = \"/srv/lab\"\ntopology = \"t\"\n"
                        "[snmp]\nwrite_community = \"private\"\n"
                        "[[group]]\nname = \"core\"\nnames = [\"a\"]\n[[group]]\nname = \"edge\"\ncount = 2\n",
                        "f.toml", fleet, problems),
            0)
      << problems;
  return fleet;
}

TEST(FleetLists, TargetsAreByGroup) {
  EXPECT_EQ(target_list(small_fleet()), R"([
  {
    "targets": [
      "127.1.0.1:1161"
    ],
    "labels": {
      "fleet": "lab",
      "group": "core"
    }
  },
  {
    "targets": [
      "127.1.0.2:1161",
      "127.1.0.3:1161"
    ],
    "labels": {
      "fleet": "lab",
      "group": "edge"
    }
  }
]
)");
}

TEST(FleetLists, ImportsHaveALineASwitch) {
  EXPECT_EQ(import_list(small_fleet()),
            "name,address,port,version,community,write_community,group,wwn,host\n"
            "a,127.1.0.1,1161,2c,public,private,core,20:00:02:f1:00:00:00:01,\n"
            "edge-1,127.1.0.2,1161,2c,public,private,edge,20:00:02:f1:00:00:00:02,\n"
            "edge-2,127.1.0.3,1161,2c,public,private,edge,20:00:02:f1:00:00:00:03,\n");
}

}  // namespace
