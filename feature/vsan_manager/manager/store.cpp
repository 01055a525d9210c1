#include "feature/vsan_manager/manager/store.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <iterator>

#include "feature/vsan_manager/manager/store_internal.h"

// Marks the file as a store of this program; "VSAN" in ASCII.
static constexpr int kApplicationId = 0x5653414E;

// Step n brings a store of version n to version n + 1. A step that was released is never edited.
static constexpr const char *kSchemaSteps[] = {
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
};

const int kStoreSchemaVersion = static_cast<int>(std::size(kSchemaSteps));

static constexpr const char *kStatements[kStatementCount] = {
    "INSERT OR REPLACE INTO vsan VALUES (?,?,?,?,?,?,?,?,?)",
    "DELETE FROM vsan WHERE id = ?",
    "INSERT OR REPLACE INTO interface VALUES (?,?,?,?,?)",
    "INSERT OR REPLACE INTO timer VALUES (?,?,?)",
    "DELETE FROM timer WHERE vsan = ? AND key = ?",
    "INSERT OR REPLACE INTO pending_timer VALUES (?,?,?)",
    "DELETE FROM pending_timer WHERE vsan = ? AND key = ?",
    "INSERT OR REPLACE INTO kept_out VALUES (?)",
    "DELETE FROM kept_out WHERE vsan = ?",
    "INSERT OR REPLACE INTO setting VALUES (?,?)",
    "INSERT INTO notification VALUES (?,?,?)",
    "DELETE FROM notification WHERE number <= ?",
};

static bool run(store *opened, const std::string &sql) {
  return sqlite3_exec(opened->db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The first column of the first row as a number; -1 when there is none.
static int query_number(store *opened, const char *sql) {
  sqlite3_stmt *statement = nullptr;
  int number = -1;
  if (sqlite3_prepare_v2(opened->db, sql, -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    number = sqlite3_column_int(statement, 0);
  }
  sqlite3_finalize(statement);
  return number;
}

// SQLite's own locks would let a second switch share the file; two of them would overwrite each other's state.
static bool lock_file(store *opened, std::string &error) {
  opened->lock = open(opened->path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
  if (opened->lock < 0) {
    error = opened->path + ": " + strerror(errno);
    return false;
  }
  if (flock(opened->lock, LOCK_EX | LOCK_NB) != 0) {
    error = opened->path + ": " + (errno == EWOULDBLOCK ? "another switchd uses this store" : strerror(errno));
    return false;
  }
  return true;
}

static bool open_database(store *opened, std::string &error) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(opened->path.c_str(), &opened->db, flags, nullptr) != SQLITE_OK ||
      !run(opened, "PRAGMA journal_mode=WAL") || !run(opened, "PRAGMA synchronous=FULL") ||
      !run(opened, "PRAGMA busy_timeout=2000")) {
    error = store_failure(opened);
    return false;
  }
  return true;
}

static bool upgrade(store *opened, int from, std::string &error) {
  bool done = run(opened, "BEGIN IMMEDIATE");
  for (int version = from; done && version < kStoreSchemaVersion; ++version) {
    done = run(opened, kSchemaSteps[version]);
  }
  done = done && run(opened, "PRAGMA application_id=" + std::to_string(kApplicationId)) &&
         run(opened, "PRAGMA user_version=" + std::to_string(kStoreSchemaVersion)) && run(opened, "COMMIT");
  if (!done) {
    error = store_failure(opened);
    run(opened, "ROLLBACK");
  }
  return done;
}

static bool bring_up_to_date(store *opened, std::string &error) {
  const int version = query_number(opened, "PRAGMA user_version");
  const int application = query_number(opened, "PRAGMA application_id");
  const int tables = query_number(opened, "SELECT count(*) FROM sqlite_master");
  if (version < 0 || application < 0 || tables < 0) {
    error = store_failure(opened);
    return false;
  }
  if (application != kApplicationId && (application != 0 || tables != 0)) {
    error = opened->path + ": a database of another program, not a switchd store";
    return false;
  }
  if (version > kStoreSchemaVersion) {
    error = opened->path + ": the store has schema version " + std::to_string(version) +
            ", this switchd knows versions up to " + std::to_string(kStoreSchemaVersion);
    return false;
  }
  return version == kStoreSchemaVersion || upgrade(opened, version, error);
}

static bool prepare_statements(store *opened, std::string &error) {
  for (unsigned i = 0; i < kStatementCount; ++i) {
    if (sqlite3_prepare_v3(opened->db, kStatements[i], -1, SQLITE_PREPARE_PERSISTENT, &opened->statements[i],
                           nullptr) != SQLITE_OK) {
      error = store_failure(opened);
      return false;
    }
  }
  return true;
}

store *store_open(const std::string &path, std::string &error) {
  store *opened = new store;
  opened->path = path;
  if (!lock_file(opened, error) || !open_database(opened, error) || !bring_up_to_date(opened, error) ||
      !prepare_statements(opened, error)) {
    store_close(opened);
    return nullptr;
  }
  return opened;
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
