// A store that cannot be written: the SET is refused, memory and store stay as they were, reads go on, and writes do
// once it can.
#include <sys/mount.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

class StoreFailure : public FabricTest {
 protected:
  // Every kind of write is refused, each by its own message; nothing of it shows anywhere.
  void expect_refused_and_unchanged() {
    const std::string store = lab::store_dump(l);
    const std::vector<varbind> pdus[] = {
        {name(5, std::string(32, 'x'))},   {name(30, "new"), row_status(30, kCreateAndGo)},
        {row_status(20, kDestroy)},        {move(kFc1, 10)},
        {timer(kRatov, 20, 6000)},         {scalar_gauge(kSwitchRatov, 6000)},
        {scalar_gauge(kSwitchLatency, 7)}, {integer(switch_wide(kSwitchInorder), 1)}};
    for (const auto &pdu : pdus) {
      EXPECT_EQ(set(pdu).status, kGenErr) << text(pdu[0].name);
      EXPECT_NE(errors().find("the store could not be written; nothing was changed"), std::string::npos) << errors();
    }
    EXPECT_EQ(changes(), difference{}) << "what is served is what was acknowledged";
    EXPECT_EQ(lab::store_dump(l), store);
    EXPECT_TRUE(lab::is_running(l.switchd)) << lab::read_file(l.switchd.log);
  }
  void expect_writes_again() {
    EXPECT_DONE(set({name(30, "new"), row_status(30, kCreateAndGo)}));
    EXPECT_DONE(set({timer(kRatov, 20, 6000), name(5, "after")}));
    EXPECT_EQ(vsan_line(l, 30), "vsan 30|new|1|1|2112|2|100|2|2000");
    lab::stop(l.switchd, SIGKILL);
    lab::start_switchd(l);
    EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "after");
    EXPECT_EQ(get(vsan_cell(kName, 30)).octets, "new");
  }
};

// A small disk of the test's own, with the store on it.
class SmallDisk : public StoreFailure {
 protected:
  void SetUp() override {
    StoreFailure::SetUp();
    lab::settled_dump(l);
    disk = l.dir + "/disk";
    std::filesystem::create_directory(disk);
    if (mount("none", disk.c_str(), "tmpfs", 0, "size=400k") != 0) {
      GTEST_SKIP() << "no right to mount a disk here";
    }
    mounted = true;
    EXPECT_EQ(lab::stop(l.switchd), 0);
    std::filesystem::rename(l.dir + "/switch.db", l.dir + "/moved.db");
    std::filesystem::copy_file(l.dir + "/moved.db", disk + "/switch.db");
    std::filesystem::create_symlink(disk + "/switch.db", l.dir + "/switch.db");
  }
  void TearDown() override {
    lab::stop(l.switchd, SIGKILL);
    if (mounted) {
      EXPECT_EQ(umount(disk.c_str()), 0);
    }
  }
  // Leaves no octet free.
  void fill() {
    std::ofstream filler(disk + "/filler", std::ios::binary);
    const std::string block(512, 'f');
    while (filler.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
    }
  }

  std::string disk;
  bool mounted = false;
};

TEST_F(SmallDisk, AFullDiskRefusesWritesAndGoesOnReadingUntilThereIsRoom) {
  lab::start_switchd(l);
  // The store's log grows until it meets the end of the disk.
  EXPECT_DONE(set({name(5, "five")}));
  fill();
  bool refused = false;
  for (int i = 0; i < 500 && !refused; ++i) {
    const int status = set({name(10, i % 2 == 0 ? "ten-a" : "ten-b")}).status;
    ASSERT_TRUE(status == kNoError || status == kGenErr) << status;
    refused = status == kGenErr;
  }
  ASSERT_TRUE(refused) << "the disk is not full";
  changes();
  const std::string served = get(vsan_cell(kName, 10)).octets;
  EXPECT_EQ(vsan_line(l, 10).rfind("vsan 10|" + served + "|", 0), 0u) << "what is served is what is stored";
  expect_refused_and_unchanged();
  std::filesystem::remove(disk + "/filler");
  expect_writes_again();
}

TEST_F(SmallDisk, AReadOnlyStoreIsRefusedAtTheStartByName) {
  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=400k"), 0);
  const lab::result r = lab::run({lab::program("switchd"), "--run-dir", l.dir + "/run", "--state", l.dir + "/switch.db",
                                  "--topology", l.dir + "/topology.toml"});
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.output.find("switch.db"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("Read-only file system"), std::string::npos) << r.output;
}

// A limit on the size of files is a full disk for one process.
TEST_F(StoreFailure, AFileSizeLimitRefusesWritesAndDoesNotEndSwitchd) {
  lab::settled_dump(l);
  rlimit before = {};
  const rlimit none = {0, RLIM_INFINITY};
  ASSERT_EQ(prlimit(l.switchd.pid, RLIMIT_FSIZE, &none, &before), 0);
  expect_refused_and_unchanged();
  ASSERT_EQ(prlimit(l.switchd.pid, RLIMIT_FSIZE, &before, nullptr), 0);
  expect_writes_again();
}

// Another program that locks the store holds nobody up: the write is refused.
TEST_F(StoreFailure, AStoreLockedByAnotherProgramRefusesTheWriteInTime) {
  const std::string store = lab::settled_dump(l);
  std::thread locker([&] {
    lab::run(
        {lab::store_program(), l.dir + "/switch.db", "BEGIN IMMEDIATE;", ".shell touch " + l.dir + "/locked; sleep 4"});
  });
  EXPECT_TRUE(lab::wait_until([&] { return std::filesystem::exists(l.dir + "/locked"); }));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_SET(set({name(5, "x")}), kGenErr, 1);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 3.5);
  EXPECT_EQ(changes(), difference{});
  locker.join();
  EXPECT_EQ(lab::settled_dump(l), store);
  expect_writes_again();
}

}  // namespace
