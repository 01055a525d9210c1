#include "state/change_effects.h"
#include "store/store_internal.h"

namespace {

// Each binds one argument and returns whether it could.
bool bind(sqlite3_stmt *statement, int at, int64_t value) {
  return sqlite3_bind_int64(statement, at, value) == SQLITE_OK;
}

bool bind(sqlite3_stmt *statement, int at, uint64_t value) {
  return bind(statement, at, static_cast<int64_t>(value));
}

bool bind(sqlite3_stmt *statement, int at, uint32_t value) {
  return bind(statement, at, uint64_t{value});
}

bool bind(sqlite3_stmt *statement, int at, int value) {
  return bind(statement, at, int64_t{value});
}

bool bind(sqlite3_stmt *statement, int at, const std::string &value) {
  return sqlite3_bind_text(statement, at, value.data(), static_cast<int>(value.size()), SQLITE_STATIC) == SQLITE_OK;
}

bool bind(sqlite3_stmt *statement, int at, const std::vector<uint8_t> &value) {
  return sqlite3_bind_blob(statement, at, value.data(), static_cast<int>(value.size()), SQLITE_STATIC) == SQLITE_OK;
}

// Binds the arguments in order and runs the statement. Returns whether it was done.
template <typename... Values>
bool execute(store *opened, store_statement which, const Values &...values) {
  sqlite3_stmt *statement = opened->statements[which];
  int at = 0;
  const bool bound = (bind(statement, ++at, values) && ...);
  const bool done = bound && sqlite3_step(statement) == SQLITE_DONE;
  const int code = sqlite3_reset(statement);
  return done && code == SQLITE_OK;
}

bool write_rows(store *opened, const switch_change &change) {
  for (const uint32_t id : change.vsans_removed) {
    if (!execute(opened, kDeleteVsan, id)) {
      return false;
    }
  }
  for (const vsan_record &vsan : change.vsans) {
    if (!execute(opened, kPutVsan, vsan.id, vsan.name, vsan.media_type, vsan.admin_state, vsan.mtu, vsan.load_balancing,
                 vsan.interop, vsan.inorder, vsan.drop_latency)) {
      return false;
    }
  }
  for (const uint32_t index : change.interfaces_removed) {
    if (!execute(opened, kDeleteInterface, index)) {
      return false;
    }
  }
  for (const interface_record &interface : change.interfaces) {
    if (!execute(opened, kPutInterface, interface.index, interface.name, interface.vsan, int{interface.up},
                 int{interface.is_static})) {
      return false;
    }
  }
  return true;
}

bool write_timers(store *opened, const timer_map &timers, store_statement put, store_statement remove) {
  for (const auto &[key, value] : timers) {
    const bool done = value == 0 ? execute(opened, remove, key.first, key.second)
                                 : execute(opened, put, key.first, key.second, value);
    if (!done) {
      return false;
    }
  }
  return true;
}

bool write_distribution(store *opened, const switch_change &change) {
  for (const auto &[vsan, out] : change.kept_out) {
    if (!execute(opened, out ? kPutKeptOut : kDeleteKeptOut, vsan)) {
      return false;
    }
  }
  return write_timers(opened, change.timers, kPutTimer, kDeleteTimer) &&
         write_timers(opened, change.pending, kPutPending, kDeletePending);
}

// Only what differs is written; all of it the first time, so that later defaults leave an older store alone.
bool write_settings(store *opened, const switch_state &state, const switch_change &change) {
  const bool all = state.vsans.empty();
  switch_settings before = state.settings;
  switch_settings after = change.settings;
  for (const number_setting &setting : kNumberSettings) {
    const uint64_t value = setting.field(after);
    if ((all || value != setting.field(before)) && !execute(opened, kPutSetting, std::string(setting.name), value)) {
      return false;
    }
  }
  for (const text_setting &setting : kTextSettings) {
    const std::string &value = setting.field(after);
    if ((all || value != setting.field(before)) && !execute(opened, kPutSetting, std::string(setting.name), value)) {
      return false;
    }
  }
  return true;
}

bool write_notifications(store *opened, const switch_change &change) {
  const uint64_t floor = notification_floor(change);
  for (const notification_record &raised : change.raised) {
    if (raised.number > floor && !execute(opened, kPutNotification, raised.number, raised.id, raised.payload)) {
      return false;
    }
  }
  return (change.raised.empty() && change.taken == 0) || execute(opened, kTrimNotifications, floor);
}

}  // namespace

int store_write(store *opened, const switch_state &before, const switch_change &change, std::string &error) {
  if (opened->lost || !store_file_in_place(opened, error)) {
    error = opened->lost ? opened->path + ": the store was removed or replaced; switchd must be started again" : error;
    return -1;
  }
  if (execute(opened, kBegin) && write_rows(opened, change) && write_distribution(opened, change) &&
      write_settings(opened, before, change) && write_notifications(opened, change) && execute(opened, kCommit)) {
    opened->lost = !store_file_in_place(opened, error);
    return opened->lost ? -1 : 0;
  }
  error = store_failure(opened);
  if (sqlite3_get_autocommit(opened->db) == 0) {  // a full disk may have rolled back already
    execute(opened, kRollback);
  }
  return -1;
}
