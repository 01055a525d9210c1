#include "store/store.h"

#include <unistd.h>

#include <iterator>

#include "store/store_internal.h"

namespace {

// Marks the file as a store of this program; "VSAN" in ASCII.
constexpr int kApplicationId = 0x5653414E;

// Bytes to which SQLite's log is cut again after a long reader let it grow.
constexpr int kLogKept = 4 << 20;

// Step n brings a store of version n to version n + 1. A step that was released is never edited.
constexpr const char *kSchemaSteps[] = {
    "CREATE TABLE vsan (id INTEGER PRIMARY KEY, name TEXT NOT NULL, media_type INTEGER NOT NULL,"
    " admin_state INTEGER NOT NULL, mtu INTEGER NOT NULL, load_balancing INTEGER NOT NULL, interop INTEGER NOT NULL,"
    " inorder INTEGER NOT NULL, drop_latency INTEGER NOT NULL);"
    "CREATE TABLE interface (ifindex INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, vsan INTEGER NOT NULL,"
    " up INTEGER NOT NULL, is_static INTEGER NOT NULL);"
    "CREATE TABLE timer (vsan INTEGER, key INTEGER, value INTEGER NOT NULL, PRIMARY KEY (vsan, key)) WITHOUT ROWID;"
    "CREATE TABLE pending_timer (vsan INTEGER, key INTEGER, value INTEGER NOT NULL, PRIMARY KEY (vsan, key))"
    " WITHOUT ROWID;"
    "CREATE TABLE kept_out (vsan INTEGER PRIMARY KEY);"
    "CREATE TABLE setting (name TEXT PRIMARY KEY, value NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE notification (number INTEGER PRIMARY KEY, id INTEGER NOT NULL, payload BLOB NOT NULL);",
    // A digest of 0 is not known: of rows that were written before there was one, or by hand.
    "INSERT INTO setting VALUES ('digest', 0);",
    ("CREATE TABLE fabric_timer (vsan INTEGER, key INTEGER, value INTEGER NOT NULL, PRIMARY KEY (vsan, key))"
     " WITHOUT ROWID;"),
};

}  // namespace

const int kStoreSchemaVersion = static_cast<int>(std::size(kSchemaSteps));

namespace {

constexpr const char *kStatements[kStatementCount] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "INSERT OR REPLACE INTO vsan VALUES (?,?,?,?,?,?,?,?,?)",
    "DELETE FROM vsan WHERE id = ?",
    "INSERT OR REPLACE INTO interface VALUES (?,?,?,?,?)",
    "DELETE FROM interface WHERE ifindex = ?",
    "INSERT OR REPLACE INTO timer VALUES (?,?,?)",
    "DELETE FROM timer WHERE vsan = ? AND key = ?",
    "INSERT OR REPLACE INTO pending_timer VALUES (?,?,?)",
    "DELETE FROM pending_timer WHERE vsan = ? AND key = ?",
    "INSERT OR REPLACE INTO fabric_timer VALUES (?,?,?)",
    "DELETE FROM fabric_timer WHERE vsan = ? AND key = ?",
    "INSERT OR REPLACE INTO kept_out VALUES (?)",
    "DELETE FROM kept_out WHERE vsan = ?",
    "INSERT OR REPLACE INTO setting VALUES (?,?)",
    "INSERT INTO notification VALUES (?,?,?)",
    "DELETE FROM notification WHERE number <= ?",
    "UPDATE setting SET value = ? WHERE name = 'digest'",
};

bool run(store *opened, const std::string &sql) {
  return sqlite3_exec(opened->db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The first column of the first row as a number; -1 when there is none.
int query_number(store *opened, const char *sql) {
  sqlite3_stmt *statement = nullptr;
  int number = -1;
  if (sqlite3_prepare_v2(opened->db, sql, -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    number = sqlite3_column_int(statement, 0);
  }
  sqlite3_finalize(statement);
  return number;
}

// Whether the file is a sound database, as far as SQLite can tell; an index that does not fit would let it take one row
// for another.
bool check_database(store *opened, std::string &error) {
  sqlite3_stmt *statement = nullptr;
  std::string found;
  if (sqlite3_prepare_v2(opened->db, "PRAGMA integrity_check(1)", -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    found = store_column_text(statement, 0);
  }
  const int code = sqlite3_errcode(opened->db);
  const bool damaged = !found.empty() || code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
  if (found != "ok") {
    error = found.empty() ? store_failure(opened) : opened->path + ": " + found;
    error += damaged ? std::string(": ") + kStoreNotSound : "";
  }
  sqlite3_finalize(statement);
  return found == "ok";
}

// Opens the file, which SQLite does not read yet, and learns where its log is.
bool open_file(store *opened, std::string &error) {
  // While switchd starts, a backup of the store that is being made may be waited for.
  if (sqlite3_open_v2(opened->path.c_str(), &opened->db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
          SQLITE_OK ||
      !run(opened, "PRAGMA busy_timeout=2000")) {
    error = store_failure(opened);
    return false;
  }
  opened->log_path = sqlite3_filename_wal(sqlite3_db_filename(opened->db, "main"));
  return true;
}

bool open_database(store *opened, std::string &error) {
  // A store that is refused in the end stays what it is, its log included. Where there is none yet, SQLite is to remove
  // the empty one that it makes.
  struct stat log;
  const int keep_log = stat(opened->log_path.c_str(), &log) == 0 && log.st_size > 0 ? 1 : 0;
  if (sqlite3_db_config(opened->db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keep_log, nullptr) != SQLITE_OK) {
    error = store_failure(opened);
    return false;
  }
  if (!check_database(opened, error)) {
    return false;
  }
  if (!run(opened, "PRAGMA synchronous=FULL") ||
      !run(opened, "PRAGMA journal_size_limit=" + std::to_string(kLogKept))) {
    error = store_failure(opened);
    return false;
  }
  return true;
}

// Begins the transaction that brings the store to this program's schema. It is committed when the rows were found
// sound; closing the store takes it back.
bool begin_upgrade(store *opened, int from, std::string &error) {
  bool done = run(opened, "BEGIN IMMEDIATE");
  for (int version = from; done && version < kStoreSchemaVersion; ++version) {
    done = run(opened, kSchemaSteps[version]);
  }
  if (!done) {
    error = store_failure(opened);
  }
  return done;
}

// Commits it. There is something to write even when the schema is the newest: a store that is not writable shows.
bool commit_upgrade(store *opened) {
  return run(opened, "PRAGMA application_id=" + std::to_string(kApplicationId)) &&
         run(opened, "PRAGMA user_version=" + std::to_string(kStoreSchemaVersion)) && run(opened, "COMMIT");
}

bool bring_up_to_date(store *opened, std::string &error) {
  const int version = query_number(opened, "PRAGMA user_version");
  const int application = query_number(opened, "PRAGMA application_id");
  if (version < 0 || application < 0) {
    error = store_failure(opened);
    return false;
  }
  if (application != kApplicationId) {
    error = opened->path + ": a database of another program, not a switchd store";
    return false;
  }
  if (version > kStoreSchemaVersion) {
    error = opened->path + ": the store has schema version " + std::to_string(version) +
            ", this switchd knows versions up to " + std::to_string(kStoreSchemaVersion);
    return false;
  }
  return begin_upgrade(opened, version, error);
}

bool prepare_statements(store *opened, std::string &error) {
  for (unsigned i = 0; i < kStatementCount; ++i) {
    if (sqlite3_prepare_v3(opened->db, kStatements[i], -1, SQLITE_PREPARE_PERSISTENT, &opened->statements[i],
                           nullptr) != SQLITE_OK) {
      error = store_failure(opened);
      return false;
    }
  }
  return true;
}

// Makes a store without rows in the empty file. It has no log or journal beside it that could be left over.
bool fill_file(const std::string &path, std::string &error) {
  store fresh;
  fresh.path = path;
  const bool open =
      sqlite3_open_v2(path.c_str(), &fresh.db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK &&
      run(&fresh, "PRAGMA page_size=1024") && run(&fresh, "PRAGMA journal_mode=MEMORY") &&
      run(&fresh, "PRAGMA synchronous=FULL");
  const bool filled = open && begin_upgrade(&fresh, 0, error) && commit_upgrade(&fresh);
  if (!filled) {
    error = store_failure(&fresh);
  }
  sqlite3_close(fresh.db);
  return filled;
}

}  // namespace

store *store_open(const std::string &path, std::string &error) {
  store *opened = new store;
  opened->path = path;
  if (!store_file_take(opened, fill_file, error) || !open_file(opened, error) ||
      !store_log_is_sound(opened->log_path, error) || !open_database(opened, error) ||
      !bring_up_to_date(opened, error) || !prepare_statements(opened, error)) {
    store_close(opened);
    return nullptr;
  }
  return opened;
}

namespace {

// The log starts anew: SQLite would write the next change in front of what is left of an unfinished one, as parts of
// the same log. Where somebody reads from it for long, it stays: that is no reason not to start.
bool start_log_anew(store *opened) {
  const int done = sqlite3_wal_checkpoint_v2(opened->db, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
  return done == SQLITE_OK || done == SQLITE_BUSY;
}

}  // namespace

bool store_enter_service(store *opened, std::string &error) {
  const bool written = run(opened, "UPDATE setting SET value = " + std::to_string(digest_number(opened->digest)) +
                                       " WHERE name = 'digest'") &&
                       commit_upgrade(opened) && run(opened, "PRAGMA journal_mode=WAL") &&
                       run(opened, "PRAGMA busy_timeout=500") && start_log_anew(opened);
  // In service reads are answered on the same thread: whoever else locks the database must not stop them. And the log
  // may go into the file at the end.
  const bool entered = written && run(opened, "PRAGMA busy_timeout=50") &&
                       sqlite3_db_config(opened->db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr) == SQLITE_OK;
  if (!entered) {
    error = store_failure(opened);
  }
  return entered && store_file_note(opened, error) && store_file_in_place(opened, error);
}

void store_close(store *opened) {
  if (opened == nullptr) {
    return;
  }
  for (sqlite3_stmt *statement : opened->statements) {
    sqlite3_finalize(statement);
  }
  sqlite3_close(opened->db);
  if (opened->lock >= 0) {
    close(opened->lock);  // after SQLite: closing any descriptor of the file would end SQLite's own locks on it
  }
  delete opened;
}
