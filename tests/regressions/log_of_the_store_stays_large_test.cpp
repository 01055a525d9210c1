// The log beside the store (-wal), once a long reader has let it grow, keeps its size for as long as switchd runs.
#include <sqlite3.h>

#include <filesystem>

#include "switch_under_test.h"

namespace {

TEST_F(switch_under_test, TheLogIsCutAgainWhenTheReaderIsGone) {
  const std::string wal = store_path() + "-wal";
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(store_path().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "BEGIN; SELECT count(*) FROM vsan", nullptr, nullptr, nullptr), SQLITE_OK);
  constexpr uintmax_t kLarge = 6 << 20;
  for (int i = 0; i < 5000 && std::filesystem::file_size(wal) < kLarge; ++i) {
    ASSERT_EQ(set_row(new_row(50, "grow-" + std::to_string(i))), 0);
  }
  ASSERT_GE(std::filesystem::file_size(wal), kLarge);
  sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(set_row(new_row(50, "cut-" + std::to_string(i))), 0);
  }
  EXPECT_LE(std::filesystem::file_size(wal), uintmax_t{4} << 20);
}

}  // namespace
