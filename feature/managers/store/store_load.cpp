#include <set>

#include "notification_frame.h"
#include "plain_text.h"
#include "platform/syserr.h"
#include "requests.h"
#include "rules/timer_rules.h"
#include "rules/vsan_rules.h"
#include "store/store_internal.h"
#include "vsan_values.h"

namespace {

uint64_t column_number(sqlite3_stmt *row, int column) {
  return static_cast<uint64_t>(sqlite3_column_int64(row, column));
}

// A stored number that no 32-bit field can have reads as one that no rule allows.
uint32_t column_word(sqlite3_stmt *row, int column) {
  const uint64_t number = column_number(row, column);
  return number > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(number);
}

// What was read so far.
struct store_rows {
  switch_change all;
  std::set<std::string> settings;  // by name: those that are there
};

std::string load_vsan(sqlite3_stmt *row, store_rows &found) {
  vsan_record vsan;
  vsan.id = column_word(row, 0);
  vsan.name = store_column_text(row, 1);
  vsan.media_type = column_word(row, 2);
  vsan.admin_state = column_word(row, 3);
  vsan.mtu = column_word(row, 4);
  vsan.load_balancing = column_word(row, 5);
  vsan.interop = column_word(row, 6);
  vsan.inorder = column_word(row, 7);
  vsan.drop_latency = column_word(row, 8);
  if (const int problem = vsan_problem(vsan, vsan.name); problem != 0) {
    return "VSAN " + std::to_string(vsan.id) + ": " + syserr2str(problem);
  }
  found.all.vsans.push_back(std::move(vsan));
  return "";
}

std::string load_interface(sqlite3_stmt *row, store_rows &found) {
  interface_record interface;
  interface.index = column_word(row, 0);
  interface.name = store_column_text(row, 1);
  interface.vsan = column_word(row, 2);
  if (column_number(row, 3) > 1 || column_number(row, 4) > 1) {
    return "interface " + std::to_string(interface.index) + ": up and is_static are 0 or 1";
  }
  interface.up = column_number(row, 3) == 1;
  interface.is_static = column_number(row, 4) == 1;
  if (const int problem = interface_problem(interface); problem != 0) {
    return "interface " + std::to_string(interface.index) + ": " + syserr2str(problem);
  }
  found.all.interfaces.push_back(std::move(interface));
  return "";
}

std::string load_timer_into(sqlite3_stmt *row, timer_map &timers) {
  const timer_key key{column_word(row, 0), column_word(row, 1)};
  const uint32_t value = column_word(row, 2);
  if (const int problem = timer_problem(key.second, value); problem != 0) {
    return "timer " + std::to_string(key.second) + " of VSAN " + std::to_string(key.first) + ": " + syserr2str(problem);
  }
  timers[key] = value;
  return "";
}

std::string load_timer(sqlite3_stmt *row, store_rows &found) {
  return load_timer_into(row, found.all.timers);
}
std::string load_pending(sqlite3_stmt *row, store_rows &found) {
  return load_timer_into(row, found.all.pending);
}

std::string load_fabric_timer(sqlite3_stmt *row, store_rows &found) {
  return load_timer_into(row, found.all.fabric_timers);
}

std::string load_kept_out(sqlite3_stmt *row, store_rows &found) {
  found.all.kept_out[column_word(row, 0)] = true;
  return "";
}

std::string load_number(sqlite3_stmt *row, const number_setting &setting, store_rows &found) {
  const uint64_t number = column_number(row, 1);
  if (sqlite3_column_type(row, 1) != SQLITE_INTEGER || number < setting.low || number > setting.high) {
    return std::string("setting ") + setting.name + ": '" + store_column_text(row, 1) + "' is no number from " +
           std::to_string(setting.low) + " to " + std::to_string(setting.high);
  }
  setting.field(found.all.settings) = number;
  return "";
}

std::string load_text(sqlite3_stmt *row, const text_setting &setting, store_rows &found) {
  std::string &text = setting.field(found.all.settings);
  text = store_column_text(row, 1);
  const std::string problem =
      sqlite3_column_type(row, 1) == SQLITE_TEXT ? kept_text_problem(text, setting.longest) : "no text";
  return problem.empty() ? "" : std::string("setting ") + setting.name + ": " + problem;
}

std::string load_setting(sqlite3_stmt *row, store_rows &found) {
  const std::string name = store_column_text(row, 0);
  found.settings.insert(name);
  for (const number_setting &setting : kNumberSettings) {
    if (name == setting.name) {
      return load_number(row, setting, found);
    }
  }
  for (const text_setting &setting : kTextSettings) {
    if (name == setting.name) {
      return load_text(row, setting, found);
    }
  }
  return "setting " + name + ": not known";
}

std::string load_notification(sqlite3_stmt *row, store_rows &found) {
  const uint64_t number = column_number(row, 0);
  const uint32_t id = column_word(row, 1);
  const int size = sqlite3_column_bytes(row, 2);
  const std::string which = "notification " + std::to_string(static_cast<int64_t>(number)) + ": ";
  if (number == 0 || number > found.all.settings.last_notification) {
    return which + "numbers go from 1 to the setting last_notification, " +
           std::to_string(found.all.settings.last_notification);
  }
  if (id != kNotifyPortMembership && id != kNotifyVsanChange) {
    return which + "there is no kind " + std::to_string(id);
  }
  if (size < 1 || size > kNotificationPayloadMax) {
    return which + "a payload of " + std::to_string(size) + " bytes: 1 to " + std::to_string(kNotificationPayloadMax);
  }
  if (found.all.raised.size() == kNotificationsMax) {
    return which + "more than " + std::to_string(kNotificationsMax) + " are queued";
  }
  const auto *payload = static_cast<const uint8_t *>(sqlite3_column_blob(row, 2));
  found.all.raised.push_back({number, static_cast<int>(id), {payload, payload + size}});
  return "";
}

struct table_loader {
  const char *sql;
  std::string (*load)(sqlite3_stmt *row, store_rows &found);  // an empty text, or what is wrong with the row
  table_shape shape;
};

constexpr table_loader kLoaders[] = {
    {"SELECT id, name, media_type, admin_state, mtu, load_balancing, interop, inorder, drop_latency FROM vsan",
     load_vsan, kVsanTable},
    {"SELECT ifindex, name, vsan, up, is_static FROM interface", load_interface, kInterfaceTable},
    {"SELECT vsan, key, value FROM timer", load_timer, kTimerTable},
    {"SELECT vsan, key, value FROM pending_timer", load_pending, kPendingTable},
    {"SELECT vsan, key, value FROM fabric_timer", load_fabric_timer, kFabricTimerTable},
    {"SELECT vsan FROM kept_out", load_kept_out, kKeptOutTable},
    {"SELECT name, value FROM setting WHERE name <> 'digest'", load_setting, kSettingTable},
    {"SELECT number, id, payload FROM notification ORDER BY number", load_notification, kNotificationTable},
};

void add_column(row_text &text, sqlite3_stmt *row, int column) {
  if (sqlite3_column_type(row, column) == SQLITE_INTEGER) {
    row_text_add(text, int64_t{sqlite3_column_int64(row, column)});
    return;
  }
  const auto *bytes = static_cast<const char *>(sqlite3_column_blob(row, column));
  row_text_add(text, std::string_view(bytes, static_cast<size_t>(sqlite3_column_bytes(row, column))));
}

// Counts the row into the digest. The columns stand in the order in which they are written.
void digest_row(store_digest &digest, const table_shape &shape, sqlite3_stmt *row) {
  row_text text(shape.letter);
  uint64_t key = 0;
  for (int column = 0; column < sqlite3_column_count(row); ++column) {
    add_column(text, row, column);
    key = column + 1 == shape.key_columns ? row_text_hash(text) : key;
  }
  digest_change(digest, key, row_text_hash(text));
}

int load_table(store *opened, const table_loader &loader, store_rows &found, std::string &error) {
  sqlite3_stmt *statement = nullptr;
  std::string problem;
  int code = sqlite3_prepare_v2(opened->db, loader.sql, -1, &statement, nullptr);
  while (code == SQLITE_OK || code == SQLITE_ROW) {
    code = sqlite3_step(statement);
    if (code == SQLITE_ROW) {
      problem = loader.load(statement, found);
      digest_row(opened->digest, loader.shape, statement);
    }
    if (!problem.empty()) {
      break;
    }
  }
  if (code != SQLITE_DONE) {
    error = problem.empty() ? store_failure(opened) : opened->path + ": " + problem;
  }
  sqlite3_finalize(statement);
  return code == SQLITE_DONE ? 0 : -1;
}

std::string absent_vsan(const std::string &what, uint32_t vsan) {
  return what + " VSAN " + std::to_string(vsan) + ", which does not exist";
}

std::string timers_problem(const switch_state &state, const timer_map &timers, const char *kind) {
  for (const auto &[key, value] : timers) {
    if (key.first != 0 && !state.vsans.contains(key.first)) {
      return absent_vsan(std::string(kind) + std::to_string(key.second) + " is of", key.first);
    }
  }
  return "";
}

std::string names_problem(const switch_state &state) {
  for (const auto &[id, vsan] : state.vsans) {
    if (!vsan.name.empty() && state.vsan_of_name.at(vsan.name) != id) {
      return "VSAN " + std::to_string(id) + ": its name \"" + vsan.name + "\" is that of VSAN " +
             std::to_string(state.vsan_of_name.at(vsan.name)) + " too";
    }
  }
  return "";
}

std::string references_problem(const switch_state &state) {
  for (const auto &[index, interface] : state.interfaces) {
    if (!state.vsans.contains(interface.vsan)) {
      return absent_vsan("interface " + std::to_string(index) + " is in", interface.vsan);
    }
  }
  for (const uint32_t vsan : state.kept_out) {
    if (!state.vsans.contains(vsan)) {
      return absent_vsan("kept out of distribution is", vsan);
    }
  }
  const std::string problem = timers_problem(state, state.timers, "timer ");
  return !problem.empty() ? problem : timers_problem(state, state.pending, "pending timer ");
}

// A store has them all from its first configuration on.
std::string settings_problem(const store_rows &found) {
  std::string missing;
  const auto look_for = [&](const auto &setting) {
    const bool lacks = !setting.may_be_absent && !found.settings.contains(setting.name);
    missing = missing.empty() && lacks ? setting.name : missing;
  };
  for (const number_setting &setting : kNumberSettings) {
    look_for(setting);
  }
  for (const text_setting &setting : kTextSettings) {
    look_for(setting);
  }
  return missing.empty() ? "" : "the setting " + missing + " is missing";
}

// What no single row can tell. A new store has no rows and is sound.
std::string whole_problem(const switch_state &state, const store_rows &found) {
  if (state == switch_state{} && found.settings.empty()) {
    return "";
  }
  if (!state.vsans.contains(kDefaultVsan)) {
    return "the default VSAN is missing";
  }
  for (uint32_t key = kTimerFirst; key < kTimerFirst + kTimerKinds; ++key) {
    if (!state.timers.contains({0, key})) {
      return std::string("the switch-wide ") + kTimerRanges[key - kTimerFirst].name + " is missing";
    }
  }
  if (state.interfaces.size() > kInterfacesMax) {
    return std::to_string(state.interfaces.size()) + " interfaces; a switch has " + std::to_string(kInterfacesMax) +
           " at most";
  }
  for (const std::string &problem : {settings_problem(found), names_problem(state)}) {
    if (!problem.empty()) {
      return problem;
    }
  }
  return references_problem(state);
}

// Whether the rows are those that were written. The digest stands among the settings, whose page nearly every change
// writes anyway.
bool check_digest(store *opened, std::string &error) {
  sqlite3_stmt *statement = nullptr;
  const bool read = sqlite3_prepare_v2(opened->db, "SELECT value FROM setting WHERE name = 'digest'", -1, &statement,
                                       nullptr) == SQLITE_OK &&
                    sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_type(statement, 0) == SQLITE_INTEGER;
  const int64_t stored = read ? sqlite3_column_int64(statement, 0) : -1;
  sqlite3_finalize(statement);
  if (stored == 0 || stored == digest_number(opened->digest)) {
    return true;
  }
  error = opened->path + ": its rows are not those that were written: " + kStoreNotSound +
          "; whoever changed rows by hand says so by UPDATE setting SET value = 0 WHERE name = 'digest'";
  return false;
}

}  // namespace

int store_load(store *opened, switch_state &state, std::string &error) {
  store_rows found{change_begin(state), {}};
  opened->digest = {};
  for (const table_loader &loader : kLoaders) {
    if (load_table(opened, loader, found, error) != 0) {
      return -1;
    }
  }
  state_apply(state, found.all);
  digest_keep(opened->digest);
  const std::string problem = whole_problem(state, found);
  if (!problem.empty()) {
    error = opened->path + ": " + problem;
    return -1;
  }
  return check_digest(opened, error) && store_enter_service(opened, error) ? 0 : -1;
}
