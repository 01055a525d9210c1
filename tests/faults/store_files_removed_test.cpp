// Files beside the store that are removed: its log (-wal) and SQLite's shared memory (-shm), while switchd runs, when
// it was stopped, and when it was killed.
#include <signal.h>

#include <filesystem>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

class StoreFilesRemoved : public FabricTest {
 protected:
  void SetUp() override {
    FabricTest::SetUp();
    // A clean stop takes the log into the store; what follows is in the log alone.
    ASSERT_EQ(lab::stop(l.switchd), 0);
    lab::start_switchd(l);
    EXPECT_DONE(set({name(30, "thirty"), row_status(30, kCreateAndGo)}));
    EXPECT_DONE(set({name(5, "after")}));
    ASSERT_TRUE(std::filesystem::exists(log_file()));
    ASSERT_TRUE(std::filesystem::exists(memory_file()));
  }
  std::string log_file() const { return l.dir + "/switch.db-wal"; }
  std::string memory_file() const { return l.dir + "/switch.db-shm"; }
  void expect_acknowledged() {
    EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "after");
    EXPECT_EQ(get(vsan_cell(kName, 30)).octets, "thirty");
  }
  void kill_and_start() {
    EXPECT_EQ(lab::stop(l.switchd, SIGKILL), -SIGKILL);
    lab::start_switchd(l);
  }
};

TEST_F(StoreFilesRemoved, WithoutItsLogARunningSwitchRefusesWritesAndACleanStopSavesWhatWasAcknowledged) {
  std::filesystem::remove(log_file());
  EXPECT_SET(set({name(5, "too-late")}), kGenErr, 1);
  EXPECT_NE(lab::read_file(l.switchd.log).find("switch.db-wal: the store's log was removed or replaced"),
            std::string::npos);
  expect_acknowledged();
  EXPECT_EQ(lab::stop(l.switchd), 0) << lab::read_file(l.switchd.log);
  lab::start_switchd(l);
  expect_acknowledged();
  EXPECT_DONE(set({name(5, "again")}));
}

// What was in the log only is gone with it: the content is that of an earlier moment, and whole.
TEST_F(StoreFilesRemoved, WithTheLogOfAKilledSwitchGoesWhatWasNotYetInTheStore) {
  EXPECT_EQ(lab::stop(l.switchd, SIGKILL), -SIGKILL);
  std::filesystem::remove(log_file());
  lab::start_switchd(l);
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "five");
  EXPECT_EQ(get(vsan_cell(kName, 30)).type, snmp::kNoSuchInstance);
  EXPECT_EQ(changes(), difference{});
  EXPECT_DONE(set({name(5, "again")}));
}

TEST_F(StoreFilesRemoved, SharedMemoryIsMissedByNobody) {
  std::filesystem::remove(memory_file());
  EXPECT_DONE(set({name(10, "written")}));
  kill_and_start();
  expect_acknowledged();
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, "written");
  EXPECT_EQ(lab::stop(l.switchd, SIGKILL), -SIGKILL);
  std::filesystem::remove(memory_file());
  lab::start_switchd(l);
  expect_acknowledged();
}

}  // namespace
