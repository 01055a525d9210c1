// The run directory is removed under a running switch: who is connected is served on, who comes anew is told, and a
// restart mends it.
#include <signal.h>

#include <chrono>
#include <filesystem>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

class RunDirectoryRemoved : public FabricTest {
 protected:
  void SetUp() override {
    FabricTest::SetUp();
    EXPECT_DONE(set({name(5, "before")}));
    std::filesystem::remove_all(l.dir + "/run");
  }
  // Seconds until the agent reads and writes again.
  double seconds_to_service(const std::string &value) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(lab::wait_until([&] { return set({name(10, value)}).status == kNoError; }));
    EXPECT_EQ(get(vsan_cell(kName, 10)).octets, value);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

TEST_F(RunDirectoryRemoved, TheAgentsConnectionGoesOn) {
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "before");
  EXPECT_DONE(set({name(5, "through")}));
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "through");
  EXPECT_EQ(lab::run({"test", "-e", l.dir + "/run"}).status, 1) << "nobody makes it anew";
}

TEST_F(RunDirectoryRemoved, WhoComesAnewIsToldWhichDirectory) {
  const lab::result shown = lab::ctl(l, {"show", "vsan"});
  EXPECT_EQ(shown.status, 3);
  EXPECT_NE(shown.output.find(l.dir + "/run"), std::string::npos) << shown.output;
}

TEST_F(RunDirectoryRemoved, ASecondSwitchGetsTheDirectoryAndNotTheStore) {
  const lab::result r =
      lab::run({lab::program("switchd"), "--run-dir", l.dir + "/run", "--state", l.dir + "/switch.db"});
  EXPECT_EQ(r.status, 4) << r.output;
  EXPECT_NE(r.output.find("another switchd uses this store"), std::string::npos) << r.output;
  EXPECT_DONE(set({name(5, "through")}));
}

TEST_F(RunDirectoryRemoved, ARestartOfTheSwitchMendsItWithinASecond) {
  EXPECT_EQ(lab::stop(l.switchd), 0) << lab::read_file(l.switchd.log);
  lab::start_switchd(l);
  EXPECT_LT(seconds_to_service("restarted"), LAB_PRELOAD[0] == '\0' ? 1.0 : 5.0);
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "before");
}

}  // namespace
