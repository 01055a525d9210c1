// Without "dlmod switch_agent", after SIGHUP or after unloading it, every user saw and set everything.
#include <filesystem>

#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

constexpr char kMissing[] = "the objects are closed for everybody";

class WithoutTheExtension : public ::testing::Test {
 protected:
  void SetUp() override { lab::start(l); }
  void expect_closed() {
    for (const auto &who : {snmp::community("public"), snmp::community("private"), snmp::user("tenant")}) {
      EXPECT_EQ(seen_by(l, who), 0u) << who.name;
    }
    snmp::client operators(l, snmp::community("private"), 10);
    EXPECT_EQ(snmp::get(operators, {vsan_number()}).varbinds.at(0).type, snmp::kNoSuchInstance);
    EXPECT_SET(snmp::set(operators, {scalar_gauge(kSwitchLatency, 7)}), kGenErr, 1);
    EXPECT_SET(snmp::set(operators, {name(10, "x")}), kGenErr, 1);
  }
  void expect_open() {
    EXPECT_EQ(seen_by(l, snmp::community("public")), 98u);
    EXPECT_EQ(vsans_seen_by(l, snmp::user("tenant")), 2u);
    snmp::client operators(l, snmp::community("private"), 10);
    EXPECT_DONE(snmp::set(operators, {name(10, "ten")}));
  }
  lab::lab l;
};

TEST_F(WithoutTheExtension, ObjectsAreClosedAfterASighupThatTakesItsLineAwayAndOpenAfterTheNext) {
  const std::string conf = conf_of(l);
  reload_agent(l, without(conf, "dlmod switch_agent"));
  expect_closed();
  EXPECT_TRUE(log_gets(l, kMissing));
  reload_agent(l, conf);
  expect_open();
  reload_agent(l, without(conf, "dlmod switch_agent"));
  expect_closed();
  EXPECT_TRUE(log_gets(l, kMissing, 2));
  EXPECT_EQ(count(log_of(l), kMissing), 2u) << "once a load";
}

TEST_F(WithoutTheExtension, ObjectsAreClosedFromTheStartWhenItsLineIsMissing) {
  restart_agent(l, without(conf_of(l), "dlmod switch_agent"));
  expect_closed();
  EXPECT_TRUE(log_gets(l, kMissing));
  EXPECT_EQ(lab::stop(l.snmpd), 0) << log_of(l);
}

TEST_F(WithoutTheExtension, UnloadingItThroughTheModuleTableClosesAndLoadingItBringsTheRolesBack) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(set_module(l, "switch_agent", kUnload), 0);
    expect_closed();
    EXPECT_TRUE(log_gets(l, kMissing, static_cast<size_t>(i) + 1));
    ASSERT_EQ(set_module(l, "switch_agent", kLoad), 0);
    expect_open();
  }
  EXPECT_EQ(lab::stop(l.snmpd), 0) << log_of(l);
}

// The agent reads nothing when it loads a module at run time, and may have lost the right to.
TEST_F(WithoutTheExtension, LoadingItThroughTheModuleTableBringsTheRolesBackWithoutTheirFile) {
  std::filesystem::remove(l.dir + "/snmpd.conf");
  ASSERT_EQ(set_module(l, "switch_agent", kUnload), 0);
  ASSERT_EQ(set_module(l, "switch_agent", kLoad), 0);
  expect_open();
}

TEST_F(WithoutTheExtension, TheTwoLibrariesMayBeUnloadedAndLoadedInAnyOrder) {
  for (const char *module : {"switch_agent", "vsan_mib"}) {
    const std::string other = std::string(module) == "vsan_mib" ? "switch_agent" : "vsan_mib";
    ASSERT_EQ(set_module(l, module, kUnload), 0);
    ASSERT_EQ(set_module(l, other, kUnload), 0);
    EXPECT_EQ(seen_by(l, snmp::community("public")), 0u);
    ASSERT_EQ(set_module(l, module, kLoad), 0);
    EXPECT_EQ(seen_by(l, snmp::community("public")), 0u) << module << " alone";
    ASSERT_EQ(set_module(l, other, kLoad), 0);
    expect_open();
  }
  EXPECT_EQ(lab::stop(l.snmpd), 0) << log_of(l);
}

TEST_F(WithoutTheExtension, ItsLineMayComeAfterTheModules) {
  std::string conf = without(conf_of(l), "dlmod");
  conf += "dlmod vsan_mib " + lab::library("libvsanmib.so") + "\ndlmod switch_agent " +
          lab::library("libswitchagent.so") + "\n";
  restart_agent(l, conf);
  expect_open();
  EXPECT_EQ(count(log_of(l), kMissing), 0u);
  reload_agent(l, conf);
  expect_open();
  EXPECT_EQ(count(log_of(l), kMissing), 0u);
}

}  // namespace
