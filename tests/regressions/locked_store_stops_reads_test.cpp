// While another program holds a lock on the store, a write stops switchd, reads included, for two seconds.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>

#include "statuses.h"
#include "switch_under_test.h"

namespace {

// The requests of all clients are served one after the other: a write that waits holds every read up.
TEST_F(switch_under_test, AWriteUnderSomebodyElsesLockIsRefusedAlmostAtOnce) {
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(store_path().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  double shortest = 1e9;  // of several: a busy machine may hold one up
  for (int i = 0; i < 5; ++i) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(set_row(new_row(50, "locked-out")), kStatusStoreFailed);
    shortest = std::min(shortest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    EXPECT_STREQ(row_of(10).vsanName, "alpha");
  }
  EXPECT_LT(shortest, 0.5);
  ASSERT_EQ(log.size(), 5U);
  EXPECT_NE(log[0].find("locked"), std::string::npos) << log[0];
  sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  EXPECT_EQ(set_row(new_row(50, "let-in")), 0);
}

}  // namespace
