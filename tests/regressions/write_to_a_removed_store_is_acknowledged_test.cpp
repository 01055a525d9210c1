// Writes are acknowledged although the store was removed or replaced under switchd: they are gone after a restart.
#include <filesystem>

#include "statuses.h"
#include "switch_under_test.h"

namespace {

struct RemovedStore : switch_under_test {
  // Nothing in memory may change; the file under the name is not looked into.
  void expect_refused(const std::string &named) {
    const switch_state before = managers.state;
    EXPECT_EQ(kStatusStoreFailed, set_row(new_row(50, "lost")));
    EXPECT_EQ(kStatusStoreFailed, delete_row(10));
    EXPECT_TRUE(before == managers.state);
    ASSERT_EQ(2U, log.size());
    EXPECT_NE(std::string::npos, log[0].find(named + ": ")) << log[0];
    EXPECT_NE(std::string::npos, log[0].find("removed or replaced")) << log[0];
    EXPECT_STREQ("alpha", row_of(10).vsanName);
  }
};

TEST_F(RemovedStore, AWriteIsRefusedAfterTheFileWasRemoved) {
  std::filesystem::remove(store_path());
  expect_refused(store_path());
}

TEST_F(RemovedStore, AWriteIsRefusedAfterTheFileWasReplaced) {
  std::filesystem::rename(store_path(), store_path() + ".old");
  std::filesystem::copy_file(store_path() + ".old", store_path());
  expect_refused(store_path());
  std::filesystem::rename(store_path() + ".old", store_path());  // put back: writes go on
  EXPECT_EQ(0, set_row(new_row(50, "kept")));
}

TEST_F(RemovedStore, AWriteIsRefusedAfterTheLogWasRemoved) {
  std::filesystem::remove(store_path() + "-wal");
  expect_refused(store_path() + "-wal");
}

TEST_F(RemovedStore, ASuccessorsStoreSurvivesTheEndOfTheFirst) {
  std::filesystem::remove(store_path());
  std::filesystem::remove(store_path() + "-wal");
  std::filesystem::remove(store_path() + "-shm");
  switch_managers first = std::move(managers);
  open();
  ASSERT_EQ(0, set_row(new_row(50, "of-the-second")));
  store_close(first.kept);
  EXPECT_TRUE(std::filesystem::exists(store_path() + "-wal"));
  EXPECT_EQ(0, set_row(new_row(51, "still")));
}

}  // namespace
