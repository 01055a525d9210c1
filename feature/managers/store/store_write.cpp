#include <type_traits>

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

// Counts values into the hashed bytes as they are read back.
template <typename Number>
requires std::is_integral_v<Number>
void add_value(row_text &text, Number value) {
  row_text_add(text, static_cast<int64_t>(value));
}
void add_value(row_text &text, const std::string &value) {
  row_text_add(text, std::string_view(value));
}
void add_value(row_text &text, const std::vector<uint8_t> &value) {
  row_text_add(text, std::string_view(reinterpret_cast<const char *>(value.data()), value.size()));
}

// Counts a row that is put.
template <typename... Values>
void digest_put(store *opened, const table_shape &shape, const Values &...values) {
  row_text text(shape.letter);
  uint64_t key = 0;
  int column = 0;
  const auto add = [&](const auto &value) {
    add_value(text, value);
    key = ++column == shape.key_columns ? row_text_hash(text) : key;
  };
  (add(values), ...);
  digest_change(opened->digest, key, row_text_hash(text));
}

// Counts a row that is removed.
template <typename... Keys>
void digest_remove(store *opened, const table_shape &shape, const Keys &...keys) {
  row_text text(shape.letter);
  (add_value(text, keys), ...);
  digest_change(opened->digest, row_text_hash(text), std::nullopt);
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

template <typename... Values>
bool put(store *opened, store_statement which, const table_shape &shape, const Values &...values) {
  digest_put(opened, shape, values...);
  return execute(opened, which, values...);
}

template <typename... Keys>
bool remove(store *opened, store_statement which, const table_shape &shape, const Keys &...keys) {
  digest_remove(opened, shape, keys...);
  return execute(opened, which, keys...);
}

bool write_rows(store *opened, const switch_change &change) {
  for (const uint32_t id : change.vsans_removed) {
    if (!remove(opened, kDeleteVsan, kVsanTable, id)) {
      return false;
    }
  }
  for (const vsan_record &vsan : change.vsans) {
    if (!put(opened, kPutVsan, kVsanTable, vsan.id, vsan.name, vsan.media_type, vsan.admin_state, vsan.mtu,
             vsan.load_balancing, vsan.interop, vsan.inorder, vsan.drop_latency)) {
      return false;
    }
  }
  for (const uint32_t index : change.interfaces_removed) {
    if (!remove(opened, kDeleteInterface, kInterfaceTable, index)) {
      return false;
    }
  }
  for (const interface_record &interface : change.interfaces) {
    if (!put(opened, kPutInterface, kInterfaceTable, interface.index, interface.name, interface.vsan, int{interface.up},
             int{interface.is_static})) {
      return false;
    }
  }
  return true;
}

bool write_timers(store *opened, const timer_map &timers, const table_shape &shape, store_statement putting,
                  store_statement removing) {
  for (const auto &[key, value] : timers) {
    const bool done = value == 0 ? remove(opened, removing, shape, key.first, key.second)
                                 : put(opened, putting, shape, key.first, key.second, value);
    if (!done) {
      return false;
    }
  }
  return true;
}

bool write_distribution(store *opened, const switch_change &change) {
  for (const auto &[vsan, out] : change.kept_out) {
    if (!(out ? put(opened, kPutKeptOut, kKeptOutTable, vsan) : remove(opened, kDeleteKeptOut, kKeptOutTable, vsan))) {
      return false;
    }
  }
  return write_timers(opened, change.timers, kTimerTable, kPutTimer, kDeleteTimer) &&
         write_timers(opened, change.pending, kPendingTable, kPutPending, kDeletePending) &&
         write_timers(opened, change.fabric_timers, kFabricTimerTable, kPutFabricTimer, kDeleteFabricTimer);
}

// Only what differs is written; all of it the first time, so that later defaults leave an older store alone. What may
// be absent is written when it is something.
bool write_settings(store *opened, const switch_state &state, const switch_change &change) {
  const bool all = state.vsans.empty();
  switch_settings before = state.settings;
  switch_settings after = change.settings;
  for (const number_setting &setting : kNumberSettings) {
    const uint64_t value = setting.field(after);
    if (((all && !setting.may_be_absent) || value != setting.field(before)) &&
        !put(opened, kPutSetting, kSettingTable, std::string(setting.name), value)) {
      return false;
    }
  }
  for (const text_setting &setting : kTextSettings) {
    const std::string &value = setting.field(after);
    if (((all && !setting.may_be_absent) || value != setting.field(before)) &&
        !put(opened, kPutSetting, kSettingTable, std::string(setting.name), value)) {
      return false;
    }
  }
  return true;
}

// By rows: numbers that were edited by hand may have gaps of any size.
bool trim_notifications(store *opened, const switch_state &before, uint64_t floor) {
  for (const notification_record &queued : before.notifications) {
    if (queued.number > floor) {
      break;
    }
    digest_remove(opened, kNotificationTable, queued.number);
  }
  return execute(opened, kTrimNotifications, floor);
}

bool write_notifications(store *opened, const switch_state &before, const switch_change &change) {
  const uint64_t floor = notification_floor(before, change);
  for (const notification_record &raised : change.raised) {
    if (raised.number > floor &&
        !put(opened, kPutNotification, kNotificationTable, raised.number, raised.id, raised.payload)) {
      return false;
    }
  }
  return (change.raised.empty() && change.taken == 0) || trim_notifications(opened, before, floor);
}

bool write_digest(store *opened) {
  return execute(opened, kPutDigest, digest_number(opened->digest));
}

}  // namespace

int store_write(store *opened, const switch_state &before, const switch_change &change, std::string &error) {
  if (opened->lost || !store_file_in_place(opened, error)) {
    error = opened->lost ? opened->path + ": the store was removed or replaced; switchd must be started again" : error;
    return -1;
  }
  if (execute(opened, kBegin) && write_rows(opened, change) && write_distribution(opened, change) &&
      write_settings(opened, before, change) && write_notifications(opened, before, change) && write_digest(opened) &&
      execute(opened, kCommit)) {
    digest_keep(opened->digest);
    opened->lost = !store_file_in_place(opened, error);
    return opened->lost ? -1 : 0;
  }
  error = store_failure(opened);
  digest_take_back(opened->digest);
  if (sqlite3_get_autocommit(opened->db) == 0) {  // a full disk may have rolled back already
    execute(opened, kRollback);
  }
  return -1;
}
