// Shared by the units of the store.
#ifndef FEATURE_MANAGERS_STORE_STORE_INTERNAL_H
#define FEATURE_MANAGERS_STORE_STORE_INTERNAL_H

#include <sqlite3.h>
#include <sys/stat.h>

#include <array>
#include <string>

#include "store/store.h"
#include "store/store_digest.h"
#include "vsan_values.h"

enum store_statement : unsigned {
  kBegin,
  kCommit,
  kRollback,
  kPutVsan,
  kDeleteVsan,
  kPutInterface,
  kDeleteInterface,
  kPutTimer,
  kDeleteTimer,
  kPutPending,
  kDeletePending,
  kPutFabricTimer,
  kDeleteFabricTimer,
  kPutKeptOut,
  kDeleteKeptOut,
  kPutSetting,
  kPutNotification,
  kTrimNotifications,
  kPutDigest,
  kStatementCount,
};

// The tables, each with a letter for its rows' hashes and so many columns in front that are its key.
struct table_shape {
  char letter;
  int key_columns;
};
inline constexpr table_shape kVsanTable{'v', 1}, kInterfaceTable{'i', 1}, kTimerTable{'t', 2}, kPendingTable{'p', 2},
    kFabricTimerTable{'f', 2}, kKeptOutTable{'k', 1}, kSettingTable{'s', 1}, kNotificationTable{'n', 1};

struct store {
  std::string path;
  int lock = -1;          // the file itself, locked for as long as the store is open
  std::string log_path;   // of SQLite's log, beside the file itself when the path is a link
  struct stat file = {};  // which files they are
  struct stat log_file = {};
  bool lost = false;  // a change went to a file that is no longer under the path
  store_digest digest;
  sqlite3 *db = nullptr;
  std::array<sqlite3_stmt *, kStatementCount> statements{};
};

// Settings by the name under which they are stored, with the range of the numbers and the size of the texts. Those that
// came later may be absent: then they are what they are in a switch of its own.
struct number_setting {
  const char *name;
  uint64_t &(*field)(switch_settings &settings);
  uint64_t low, high;
  bool may_be_absent = false;
};
struct text_setting {
  const char *name;
  std::string &(*field)(switch_settings &settings);
  size_t longest;  // octets
  bool may_be_absent = false;
};
inline constexpr number_setting kNumberSettings[] = {
    {"wwn", [](switch_settings &s) -> uint64_t & { return s.wwn; }, 0, UINT64_MAX},
    {"changed_seconds", [](switch_settings &s) -> uint64_t & { return s.changed_seconds; }, 0, UINT32_MAX},
    {"changed_microseconds", [](switch_settings &s) -> uint64_t & { return s.changed_microseconds; }, 0, 999999},
    {"inorder", [](switch_settings &s) -> uint64_t & { return s.inorder; }, kInorderOn, kInorderOff},
    {"switch_latency", [](switch_settings &s) -> uint64_t & { return s.switch_latency; }, 0, kLatencyMax},
    {"network_latency", [](switch_settings &s) -> uint64_t & { return s.network_latency; }, 0, kLatencyMax},
    {"notifications", [](switch_settings &s) -> uint64_t & { return s.notifications; }, kNotificationsOn,
     kNotificationsOff},
    {"store_id", [](switch_settings &s) -> uint64_t & { return s.store_id; }, 1, UINT32_MAX},
    {"last_notification", [](switch_settings &s) -> uint64_t & { return s.last_notification; }, 0, INT64_MAX},
    {"dropped_notifications", [](switch_settings &s) -> uint64_t & { return s.dropped_notifications; }, 0, INT64_MAX},
    {"kdx_enabled", [](switch_settings &s) -> uint64_t & { return s.distribution.enabled; }, 0, 1},
    {"kdx_show_running", [](switch_settings &s) -> uint64_t & { return s.distribution.show_running; }, 0, 1},
    {"kdx_session_open", [](switch_settings &s) -> uint64_t & { return s.distribution.open; }, 0, 1},
    {"kdx_session_lost", [](switch_settings &s) -> uint64_t & { return s.distribution.lost; }, 0, 1, true},
    {"kdx_session_number", [](switch_settings &s) -> uint64_t & { return s.distribution.number; }, 0, UINT64_MAX, true},
    {"fabric_revision", [](switch_settings &s) -> uint64_t & { return s.fabric_revision; }, 0, INT64_MAX, true},
    {"fabric_commit", [](switch_settings &s) -> uint64_t & { return s.fabric_commit; }, 0, INT64_MAX, true},
    {"fabric_left", [](switch_settings &s) -> uint64_t & { return s.fabric_left; }, 0, 1, true},
};
inline constexpr text_setting kTextSettings[] = {
    {"switch_name", [](switch_settings &s) -> std::string & { return s.name; }, kSwitchNameMax},
    {"kdx_session_owner", [](switch_settings &s) -> std::string & { return s.distribution.owner; }, kSessionOwnerMax},
    {"fabric", [](switch_settings &s) -> std::string & { return s.fabric; }, kFabricNameMax, true},
    {"fabric_id", [](switch_settings &s) -> std::string & { return s.fabric_id; }, kFabricNameMax, true},
};

// Commits the upgrade of a store whose rows were found sound, and makes it ready for writing: its log is there, empty,
// and is noted. Returns false with `error` filled.
bool store_enter_service(store *opened, std::string &error);

// What a text about a file that is no sound store ends with.
inline constexpr char kStoreNotSound[] =
    "no sound switchd store: put a backup in its place, or move it away to start with a new one; its log (-wal) has to "
    "go with it either way";

// Opens the file of the store and locks it. An absent one is made under another name first and gets its own when `fill`
// has made it a sound store without rows, so that there never is half a store. Returns false with `error` filled.
using store_filler = bool (*)(const std::string &path, std::string &error);
bool store_file_take(store *opened, store_filler fill, std::string &error);

// Whether the log at `log_path`, if there is one, can be taken to its end. Fills `error` when not.
bool store_log_is_sound(const std::string &log_path, std::string &error);

// Notes which file the store is, and which log SQLite writes: the database is open and in WAL mode. Returns false with
// `error` filled.
bool store_file_note(store *opened, std::string &error);

// Whether the store and its log are still the files under their names. What is written to others would be gone with the
// process. Fills `error` when not.
bool store_file_in_place(const store *opened, std::string &error);

// The column of the row as text; empty when it is null, and when SQLite has no memory left for it.
inline std::string store_column_text(sqlite3_stmt *row, int column) {
  const unsigned char *text = sqlite3_column_text(row, column);
  const int size = sqlite3_column_bytes(row, column);
  return text == nullptr ? "" : std::string(reinterpret_cast<const char *>(text), static_cast<size_t>(size));
}

// "FILE: CAUSE", the cause as SQLite tells it.
inline std::string store_failure(const store *opened) {
  return opened->path + ": " + sqlite3_errmsg(opened->db);
}

#endif
