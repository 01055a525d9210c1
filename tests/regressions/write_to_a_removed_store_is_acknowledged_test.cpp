// Writes are acknowledged although the store was removed or replaced under switchd: they are gone after a restart.
#include <filesystem>

#include "statuses.h"
#include "switch_under_test.h"

namespace {

struct RemovedStore : switch_under_test {
  // Nothing in memory may change; the file under the name is not looked into.
  void expect_refused(const std::string &named) {
    const switch_state before = managers.state;
    EXPECT_EQ(set_row(new_row(50, "lost")), kStatusStoreFailed);
    EXPECT_EQ(delete_row(10), kStatusStoreFailed);
    EXPECT_TRUE(before == managers.state);
    ASSERT_EQ(log.size(), 2U);
    EXPECT_NE(log[0].find(named + ": "), std::string::npos) << log[0];
    EXPECT_NE(log[0].find("removed or replaced"), std::string::npos) << log[0];
    EXPECT_STREQ(row_of(10).vsanName, "alpha");
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
  EXPECT_EQ(set_row(new_row(50, "kept")), 0);
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
  ASSERT_EQ(set_row(new_row(50, "of-the-second")), 0);
  store_close(first.kept);
  EXPECT_TRUE(std::filesystem::exists(store_path() + "-wal"));
  EXPECT_EQ(set_row(new_row(51, "still")), 0);
}

}  // namespace
