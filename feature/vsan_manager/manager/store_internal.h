// Shared by the units of the store.
#ifndef FEATURE_VSAN_MANAGER_MANAGER_STORE_INTERNAL_H
#define FEATURE_VSAN_MANAGER_MANAGER_STORE_INTERNAL_H

#include <sqlite3.h>

#include <array>
#include <string>

#include "feature/vsan_manager/manager/store.h"

enum store_statement : unsigned {
  kPutVsan,
  kDeleteVsan,
  kPutInterface,
  kPutTimer,
  kDeleteTimer,
  kPutPending,
  kDeletePending,
  kPutKeptOut,
  kDeleteKeptOut,
  kPutSetting,
  kPutNotification,
  kTrimNotifications,
  kStatementCount,
};

struct store {
  std::string path;
  int lock = -1;  // held for as long as the store is open
  sqlite3 *db = nullptr;
  std::array<sqlite3_stmt *, kStatementCount> statements{};
};

// Settings by the name under which they are stored.
struct number_setting {
  const char *name;
  uint64_t &(*field)(switch_settings &settings);
};
struct text_setting {
  const char *name;
  std::string &(*field)(switch_settings &settings);
};
inline constexpr number_setting kNumberSettings[] = {
    {"wwn", [](switch_settings &s) -> uint64_t & { return s.wwn; }},
    {"changed_seconds", [](switch_settings &s) -> uint64_t & { return s.changed_seconds; }},
    {"changed_microseconds", [](switch_settings &s) -> uint64_t & { return s.changed_microseconds; }},
    {"inorder", [](switch_settings &s) -> uint64_t & { return s.inorder; }},
    {"switch_latency", [](switch_settings &s) -> uint64_t & { return s.switch_latency; }},
    {"network_latency", [](switch_settings &s) -> uint64_t & { return s.network_latency; }},
    {"notifications", [](switch_settings &s) -> uint64_t & { return s.notifications; }},
    {"store_id", [](switch_settings &s) -> uint64_t & { return s.store_id; }},
    {"last_notification", [](switch_settings &s) -> uint64_t & { return s.last_notification; }},
    {"dropped_notifications", [](switch_settings &s) -> uint64_t & { return s.dropped_notifications; }},
    {"kdx_enabled", [](switch_settings &s) -> uint64_t & { return s.distribution.enabled; }},
    {"kdx_show_running", [](switch_settings &s) -> uint64_t & { return s.distribution.show_running; }},
    {"kdx_session_open", [](switch_settings &s) -> uint64_t & { return s.distribution.open; }},
};
inline constexpr text_setting kTextSettings[] = {
    {"switch_name", [](switch_settings &s) -> std::string & { return s.name; }},
    {"kdx_session_owner", [](switch_settings &s) -> std::string & { return s.distribution.owner; }},
};

// "FILE: CAUSE", the cause as SQLite tells it.
inline std::string store_failure(const store *opened) {
  return opened->path + ": " + sqlite3_errmsg(opened->db);
}

#endif
