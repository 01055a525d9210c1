// SQLite has no memory left for what its check of the store found, and switchd reads from a null pointer.
#include <sqlite3.h>

#include "switch_under_test.h"

namespace {

bool no_text;

}  // namespace

// The linker puts these around SQLite's own (--wrap).
extern "C" const unsigned char *__real_sqlite3_column_text(sqlite3_stmt *row, int column);
extern "C" const unsigned char *__wrap_sqlite3_column_text(sqlite3_stmt *row, int column) {
  return no_text ? nullptr : __real_sqlite3_column_text(row, column);
}

namespace {

TEST(StoreCheck, WithoutATextIsAFailureThatNamesTheFile) {
  const temporary_directory directory;
  const std::string path = directory.path + "/state.db";
  std::string error;
  store_close(store_open(path, error));
  ASSERT_EQ(error, "");
  no_text = true;
  EXPECT_EQ(store_open(path, error), nullptr);
  no_text = false;
  EXPECT_EQ(error.find(path + ": "), 0U) << error;
  EXPECT_GT(error.size(), path.size() + 2) << error;
}

}  // namespace
