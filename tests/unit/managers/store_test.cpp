// The store: what survives, what is refused, and what a failed write leaves.
#include "store/store.h"

#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "port_manager.h"
#include "port_records.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"

namespace {

// The size up to which this process may let files grow.
void set_file_limit(rlim_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

struct Store : switch_under_test {
  // The text of the failure to open or load the file.
  std::string failure() const {
    std::string error;
    store *opened = store_open(store_path(), error);
    switch_state state;
    if (opened != nullptr) {
      EXPECT_EQ(store_load(opened, state, error), -1);
    }
    store_close(opened);
    return error;
  }
  // The store, which is refused, keeps its bytes and gets no files beside it.
  void expect_refusal_leaves_everything() const {
    const std::string before = file_text(store_path());
    EXPECT_NE(failure(), "");
    EXPECT_TRUE(file_text(store_path()) == before);
    for (const char *beside : {"-wal", "-shm", "-journal"}) {
      EXPECT_FALSE(std::filesystem::exists(store_path() + beside)) << beside;
    }
  }
};

TEST_F(Store, EverythingSurvivesARestart) {
  ASSERT_EQ(set_row(new_row(50, "kept")), 0);
  ASSERT_EQ(delete_row(20), 0);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 50)).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 1, 30)).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(8, 9000, 0, 0, 0)).status, 0);
  ASSERT_EQ(ask(kOpLatency, kMsgSet, words({17, 123, 0})).status, 0);
  ASSERT_EQ(ask(kOpInorderDelivery, kMsgSet, words({1})).status, 0);
  ASSERT_EQ(ask(kOpNotificationControl, kMsgSet, words({2})).status, 0);
  bytes down = words({102, 0});
  down.resize(sizeof(switch_interface));
  ASSERT_EQ(ask_of(port_manager_handle, kOpInterface, kMsgSet, down).status, 0);
  const switch_state before = managers.state;
  ASSERT_FALSE(before.notifications.empty());
  close();
  open();
  EXPECT_TRUE(before == managers.state);
}

TEST_F(Store, AChangeIsInTheFileBeforeItIsAnswered) {
  ASSERT_EQ(set_row(new_row(50, "at-once")), 0);
  EXPECT_NE(store_content().find("at-once"), std::string::npos);
}

TEST_F(Store, ANewerSchemaIsRefusedNamingBothVersions) {
  close();
  edit_store("PRAGMA user_version = 99");
  const std::string error = failure();
  EXPECT_NE(error.find(store_path()), std::string::npos) << error;
  EXPECT_NE(error.find("99"), std::string::npos) << error;
  EXPECT_NE(error.find("up to " + std::to_string(kStoreSchemaVersion)), std::string::npos) << error;
  edit_store("PRAGMA user_version = " + std::to_string(kStoreSchemaVersion));
  open();
}

TEST_F(Store, ADatabaseOfAnotherProgramIsRefused) {
  close();
  std::filesystem::remove(store_path());
  edit_store("CREATE TABLE addresses (name TEXT)");
  EXPECT_NE(failure().find("another program"), std::string::npos);
}

TEST_F(Store, AFileThatIsNoDatabaseIsRefusedAndLeftAlone) {
  close();
  const std::string text(4096, 'x');
  std::ofstream(store_path()) << text;
  EXPECT_NE(failure(), "");
  std::ifstream file(store_path());
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {}));
}

TEST_F(Store, ASecondUserOfTheFileIsRefused) {
  std::string error;
  EXPECT_EQ(store_open(store_path(), error), nullptr);
  EXPECT_NE(error.find("another switchd uses this store"), std::string::npos) << error;
  EXPECT_EQ(set_row(new_row(50, "undisturbed")), 0);
}

TEST_F(Store, APathThatCannotBeOpenedIsRefusedWithItsName) {
  std::string error;
  EXPECT_EQ(store_open(directory.path + "/absent/state.db", error), nullptr);
  EXPECT_NE(error.find("/absent/state.db: No such file"), std::string::npos) << error;
}

TEST_F(Store, RowsThatBreakARuleAreRefusedByName) {
  close();
  for (const auto &[damage, repair, named] :
       {std::tuple{"UPDATE vsan SET mtu = 9 WHERE id = 20", "UPDATE vsan SET mtu = 2112 WHERE id = 20", "VSAN 20"},
        std::tuple{"UPDATE interface SET vsan = 77 WHERE ifindex = 104",
                   "UPDATE interface SET vsan = 20 WHERE ifindex = 104", "interface 104 is in VSAN 77"},
        std::tuple{"UPDATE timer SET value = 1 WHERE key = 8", "UPDATE timer SET value = 9000 WHERE key = 8",
                   "timer 8 of VSAN 0"},
        std::tuple{"INSERT INTO setting VALUES ('novel', 1)", "DELETE FROM setting WHERE name = 'novel'",
                   "setting novel"},
        std::tuple{"DELETE FROM timer WHERE key = 9", "INSERT INTO timer VALUES (0, 9, 5000)", "D_S_TOV is missing"},
        std::tuple{"DELETE FROM vsan WHERE id = 1", "INSERT INTO vsan SELECT 1,'one',1,1,2112,2,100,2,2000",
                   "default VSAN"}}) {
    edit_store(damage);
    EXPECT_NE(failure().find(named), std::string::npos) << damage << ": " << failure();
    edit_store(repair);
  }
  open();
}

TEST_F(Store, RowsThatWereChangedByHandAreRefusedUnlessItIsSaid) {
  close();
  edit_store("UPDATE vsan SET name = 'other' WHERE id = 10", false);
  EXPECT_NE(failure().find("its rows are not those that were written"), std::string::npos) << failure();
  EXPECT_EQ(failure().find(store_path() + ": "), 0U) << failure();
  edit_store("UPDATE vsan SET mtu = 1500 WHERE id = 10");
  open();
  EXPECT_STREQ(row_of(10).vsanName, "other");
}

TEST_F(Store, AStoreOfTheFirstSchemaIsTakenAndItsRowsAreCountedFromThenOn) {
  const switch_state before = managers.state;
  close();
  edit_store("DELETE FROM setting WHERE name = 'digest'; DROP TABLE fabric_timer; PRAGMA user_version = 1");
  open();
  EXPECT_TRUE(managers.state == before);
  close();
  edit_store("UPDATE vsan SET name = 'other' WHERE id = 10", false);
  EXPECT_NE(failure().find("its rows are not those that were written"), std::string::npos) << failure();
  edit_store("UPDATE vsan SET name = 'alpha' WHERE id = 10", false);
  open();
}

TEST_F(Store, ARefusedStoreInRollbackModeStaysInIt) {
  close();
  edit_store("PRAGMA journal_mode = DELETE; UPDATE vsan SET name = 'other' WHERE id = 10", false);
  expect_refusal_leaves_everything();
  edit_store("UPDATE vsan SET name = 'alpha' WHERE id = 10", false);
  open();
  EXPECT_EQ(set_row(new_row(50, "in-service")), 0);
  EXPECT_TRUE(std::filesystem::exists(store_path() + "-wal"));
}

TEST_F(Store, ARefusedStoreOfTheFirstSchemaStaysOfIt) {
  for (const char *mode : {"WAL", "DELETE"}) {
    close();
    edit_store(
        "DELETE FROM setting WHERE name = 'digest'; DROP TABLE fabric_timer; PRAGMA user_version = 1; "
        "PRAGMA journal_mode = " +
            std::string(mode) + "; UPDATE vsan SET mtu = 9 WHERE id = 20",
        false);
    expect_refusal_leaves_everything();
    edit_store("UPDATE vsan SET mtu = 2112 WHERE id = 20", false);
    open();
  }
}

TEST_F(Store, ARefusalTellsTheWaysOut) {
  close();
  edit_store("UPDATE vsan SET name = 'other' WHERE id = 10", false);
  EXPECT_NE(failure().find("its log (-wal) has to go with it"), std::string::npos) << failure();
  EXPECT_NE(failure().find("UPDATE setting SET value = 0 WHERE name = 'digest'"), std::string::npos) << failure();
  edit_store("UPDATE setting SET value = 0 WHERE name = 'digest'", false);
  open();
}

TEST_F(Store, AnEmptyLogWithoutAStoreIsNoLog) {
  close();
  std::filesystem::remove(store_path());
  std::ofstream(store_path() + "-wal").flush();
  open();
  EXPECT_EQ(set_row(new_row(50, "new-store")), 0);
}

TEST_F(Store, AStartShowsThatTheStoreCanBeWritten) {
  close();
  // Who reads has made the files beside the store, so that only what is written to them is too much.
  sqlite3 *reader = nullptr;
  ASSERT_EQ(sqlite3_open(store_path().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "SELECT count(*) FROM vsan", nullptr, nullptr, nullptr), SQLITE_OK);
  signal(SIGXFSZ, SIG_IGN);
  set_file_limit(1);
  EXPECT_EQ(failure().find(store_path() + ": "), 0U);
  set_file_limit(RLIM_INFINITY);
  signal(SIGXFSZ, SIG_DFL);
  sqlite3_close(reader);
  open();
}

TEST_F(Store, AReaderInTheMiddleOfItsWorkHoldsNoStartUp) {
  close();
  sqlite3 *reader = nullptr;
  ASSERT_EQ(sqlite3_open(store_path().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM vsan", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto begun = std::chrono::steady_clock::now();
  open();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(1500));  // 2 s is how long it waited
  EXPECT_EQ(set_row(new_row(50, "beside-a-reader")), 0);
  sqlite3_close(reader);
  close();
  open();
  EXPECT_TRUE(managers.state.vsans.contains(50));
}

TEST_F(Store, AGapInTheNotificationsNumbersCostsNeitherTimeNorNotifications) {
  ASSERT_EQ(set_row(new_row(50, "before-the-gap")), 0);
  ASSERT_FALSE(managers.state.notifications.empty());
  close();
  edit_store("UPDATE setting SET value = 100000000000 WHERE name = 'last_notification'");
  open();
  alarm(5);  // who counts through the gap is at it for hours
  ASSERT_EQ(set_row(new_row(51, "behind-the-gap")), 0);
  alarm(0);
  EXPECT_GT(managers.state.notifications.back().number, 100000000000U);
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(before == managers.state);
}

TEST_F(Store, MoreNotificationsThanAreKeptAreRefusedByName) {
  close();
  edit_store(
      "UPDATE setting SET value = 5000 WHERE name = 'last_notification'; WITH RECURSIVE n(i) AS (SELECT 1001 UNION ALL"
      " SELECT i + 1 FROM n WHERE i < 3000) INSERT INTO notification SELECT i, 102, x'00' FROM n");
  EXPECT_NE(failure().find("more than 1024 are queued"), std::string::npos) << failure();
  edit_store("DELETE FROM notification WHERE number > 2000");
  open();
  EXPECT_EQ(managers.state.notifications.back().number, 2000U);
}

TEST_F(Store, AWriteThatFailsIsRefusedAndChangesNothing) {
  // The file system takes no more: SQLite's log cannot grow.
  signal(SIGXFSZ, SIG_IGN);
  set_file_limit(1);
  EXPECT_REFUSED(set_row(new_row(50, "too-much")), kStatusStoreFailed);
  EXPECT_REFUSED(delete_row(10), kStatusStoreFailed);
  set_file_limit(RLIM_INFINITY);
  signal(SIGXFSZ, SIG_DFL);
  ASSERT_EQ(log.size(), 2U);
  EXPECT_NE(log[0].find(store_path()), std::string::npos) << log[0];
  EXPECT_EQ(managers.malformed, 0U);
  EXPECT_EQ(set_row(new_row(50, "room-again")), 0);
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(before == managers.state);
}

TEST_F(Store, AChangeThatChangesNothingIsNotWritten) {
  const std::string stored = store_content();
  EXPECT_EQ(set_row(row_of(10)), 0);
  EXPECT_EQ(ask(kOpInorderDelivery, kMsgSet, words({2})).status, 0);
  EXPECT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 10)).status, 0);
  EXPECT_EQ(store_content(), stored);
}

// Creates VSANs from 100 on as fast as it can and tells each one that was answered. Never returns.
[[noreturn]] void create_and_tell(switch_under_test &under_test, int tell) {
  for (uint32_t vsan = 100; vsan <= 4000; ++vsan) {
    if (under_test.set_row(new_row(vsan, "v" + std::to_string(vsan))) != 0 ||
        write(tell, &vsan, sizeof vsan) != sizeof vsan) {
      _exit(1);
    }
  }
  pause();
  _exit(0);
}

TEST_F(Store, AProcessThatIsKilledLosesNoWriteThatItAnswered) {
  uint32_t acknowledged = 99;
  close();
  for (int round = 0; round < 20; ++round) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      open();
      for (uint32_t vsan = 100; vsan <= acknowledged; ++vsan) {
        delete_row(vsan);
      }
      create_and_tell(*this, pipe_ends[1]);
    }
    ::close(pipe_ends[1]);
    const int wanted = 1 + round * 3 % 17;
    for (int i = 0; i < wanted; ++i) {
      ASSERT_EQ(read(pipe_ends[0], &acknowledged, sizeof acknowledged), static_cast<ssize_t>(sizeof acknowledged));
    }
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    // What was told after the last look counts too.
    while (read(pipe_ends[0], &acknowledged, sizeof acknowledged) == sizeof acknowledged) {
    }
    ::close(pipe_ends[0]);
    open();
    for (uint32_t vsan = 100; vsan <= acknowledged; ++vsan) {
      ASSERT_NE(find_vsan(managers.state, vsan), nullptr) << "round " << round;
    }
    close();
  }
}

}  // namespace
