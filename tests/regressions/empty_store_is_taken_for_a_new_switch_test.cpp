// A store that exists but is empty or damaged is taken for that of a new switch, and the configuration is gone.
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "programs.h"
#include "switch_under_test.h"

namespace {

struct UnsoundStore : testing::Test {
  temporary_directory directory;
  std::string path() const { return directory.path + "/state.db"; }

  // The text of the refusal; empty when the store is opened.
  std::string refusal() const {
    std::string error;
    store *opened = store_open(path(), error);
    store_close(opened);
    EXPECT_EQ(opened == nullptr, !error.empty());
    return error;
  }
  void expect_refused_by_name() const {
    const std::string before = file_text(path());
    const std::string text = refusal();
    EXPECT_EQ(text.find(path() + ": "), 0U) << text;
    EXPECT_NE(text.find("put a backup in its place, or move it away"), std::string::npos) << text;
    EXPECT_EQ(file_text(path()), before);
  }
  void make_store() const {
    std::string error;
    store *opened = store_open(path(), error);
    ASSERT_NE(opened, nullptr) << error;
    switch_managers managers;
    managers.kept = opened;
    ASSERT_EQ(store_load(opened, managers.state, error), 0) << error;
    switch_change change = small_configuration();
    for (uint32_t id = 100; id < 1100; ++id) {
      vsan_record vsan;
      vsan.id = id;
      vsan.name = "vsan" + std::to_string(id);
      change.vsans.push_back(vsan);
    }
    ASSERT_EQ(managers_first_start(managers, change, error), 0) << error;
    store_close(opened);
  }
};

TEST_F(UnsoundStore, AnEmptyFileIsRefused) {
  std::ofstream file(path());
  file.close();
  expect_refused_by_name();
  EXPECT_EQ(file_text(path()).size(), 0U);
}

TEST_F(UnsoundStore, ADatabaseWithoutTablesIsRefused) {
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(path().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "PRAGMA user_version = 1; VACUUM", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
  EXPECT_NE(refusal(), "");
}

TEST_F(UnsoundStore, ADamagedPageIsRefused) {
  make_store();
  const auto size = std::filesystem::file_size(path());
  ASSERT_GT(size, 3 * 4096U);
  std::fstream file(path(), std::ios::in | std::ios::out | std::ios::binary);
  for (std::streamoff page = 4096; page < static_cast<std::streamoff>(size); page += 4096) {
    file.seekp(page + 8).write("damaged-damaged-damaged", 23);
  }
  file.close();
  expect_refused_by_name();
}

TEST_F(UnsoundStore, ALogWithoutItsStoreIsRefused) {
  make_store();
  std::filesystem::rename(path(), path() + "-wal");
  EXPECT_NE(refusal().find("its log is left beside it"), std::string::npos) << refusal();
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(UnsoundStore, AKillAtAnyMomentLeavesNoStoreOrASoundOne) {
  int made = 0;
  for (unsigned round = 0; round < 150; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      std::string error;
      store_open(path(), error);
      pause();
    }
    usleep(round * 137 % 12000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (!std::filesystem::exists(path())) {
      continue;
    }
    ++made;
    sqlite3 *db = nullptr;
    sqlite3_stmt *tables = nullptr;
    ASSERT_EQ(sqlite3_open_v2(path().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT count(*) FROM sqlite_master WHERE type = 'table'", -1, &tables, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(tables), SQLITE_ROW);
    ASSERT_EQ(sqlite3_column_int(tables, 0), 8) << "round " << round;
    sqlite3_finalize(tables);
    sqlite3_close(db);
    ASSERT_EQ(refusal(), "");
    std::filesystem::remove(path());
  }
  RecordProperty("made", made);
}

TEST_F(UnsoundStore, OfTwoThatMakeTheSameStoreOneIsRefused) {
  for (int round = 0; round < 50; ++round) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 2; ++i) {
      children.push_back(fork());
      if (children.back() == 0) {
        std::string error;
        const char opened = store_open(path(), error) != nullptr ? '1' : '0';
        EXPECT_EQ(write(ends[1], &opened, 1), 1);
        pause();
      }
    }
    int owners = 0;
    for (int i = 0; i < 2; ++i) {
      char opened = '?';
      ASSERT_EQ(read(ends[0], &opened, 1), 1);
      owners += opened == '1' ? 1 : 0;
    }
    for (const pid_t child : children) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
    close(ends[0]);
    close(ends[1]);
    ASSERT_EQ(owners, 1) << "round " << round;
    for (const char *suffix : {"", "-wal", "-shm", ".new"}) {
      std::filesystem::remove(path() + suffix);
    }
  }
}

}  // namespace
