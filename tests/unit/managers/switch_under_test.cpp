#include "switch_under_test.h"

#include <sqlite3.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "big_endian.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

constexpr size_t kRowAt = offsetof(vsanRowMessage, row);

vsan_record vsan_of(uint32_t id, const char *name, uint32_t admin) {
  vsan_record vsan;
  vsan.id = id;
  vsan.name = name;
  vsan.admin_state = admin;
  return vsan;
}

std::string dump_table(sqlite3 *db, const std::string &table) {
  std::string text = table + ":";
  sqlite3_stmt *rows = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, ("SELECT * FROM " + table).c_str(), -1, &rows, nullptr), SQLITE_OK);
  while (sqlite3_step(rows) == SQLITE_ROW) {
    text += "\n ";
    for (int column = 0; column < sqlite3_column_count(rows); ++column) {
      const auto *value = static_cast<const char *>(sqlite3_column_blob(rows, column));
      text += std::string(value == nullptr ? "" : value, static_cast<size_t>(sqlite3_column_bytes(rows, column))) + "|";
    }
  }
  sqlite3_finalize(rows);
  return text + "\n";
}

}  // namespace

temporary_directory::temporary_directory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "managers-XXXXXX").string();
  EXPECT_NE(mkdtemp(pattern.data()), nullptr);
  path = pattern;
}

temporary_directory::~temporary_directory() {
  std::filesystem::remove_all(path);
}

std::string file_text(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

size_t times_in(const std::string &text, const std::string &words) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(words, at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

switch_change small_configuration() {
  switch_change change;
  change.settings.name = "under-test";
  change.settings.wwn = 0x2000020102030405;
  change.settings.store_id = 4711;
  change.settings.changed_seconds = 1000;
  change.vsans = {vsan_of(1, "VSAN0001", kAdminActive), vsan_of(10, "alpha", kAdminActive),
                  vsan_of(20, "beta", kAdminSuspended), vsan_of(30, "gamma", kAdminActive)};
  change.interfaces = {{101, "fc1/1", 10, true, true},
                       {102, "fc1/2", 10, true, true},
                       {103, "fc1/3", 10, false, true},
                       {104, "fc1/4", 20, true, true},
                       {105, "fc1/5", 1, false, false}};
  for (uint32_t key = kTimerFirst; key < kTimerFirst + kTimerKinds; ++key) {
    change.timers[{0, key}] = kTimerRanges[key - kTimerFirst].standard;
  }
  return change;
}

void switch_under_test::open() {
  managers = switch_managers{};
  managers.engine = single_switch_engine(&managers.fabric);
  managers.context = &log;
  managers.log = [](void *context, const std::string &line) {
    static_cast<std::vector<std::string> *>(context)->push_back(line);
  };
  std::string error;
  managers.kept = store_open(store_path(), error);
  ASSERT_NE(managers.kept, nullptr) << error;
  ASSERT_EQ(store_load(managers.kept, managers.state, error), 0) << error;
  if (managers.state.vsans.empty()) {
    switch_change change = small_configuration();
    ASSERT_EQ(managers_first_start(managers, change, error), 0) << error;
  }
}

void switch_under_test::close() {
  store_close(managers.kept);
  managers.kept = nullptr;
}

void switch_under_test::SetUp() {
  open();
}
void switch_under_test::TearDown() {
  close();
}

message_reply switch_under_test::ask_of(message_handler handler, int opcode, int msg_type, const bytes &payload,
                                        const std::string &user) {
  const message_request request{opcode, msg_type, {payload.data(), payload.size()}, user, "test", true, 0, getpid(), 1};
  message_reply reply;
  handler(&managers, request, reply);
  return reply;
}

message_reply switch_under_test::ask(int opcode, int msg_type, const bytes &payload, const std::string &user) {
  return ask_of(vsan_manager_handle, opcode, msg_type, payload, user);
}

bytes row_payload(const vsanEntry &row) {
  bytes payload(sizeof(vsanRowMessage));
  record_write(row, payload.data() + kRowAt);
  return payload;
}

bytes row_payload(uint32_t vsan) {
  vsanEntry row = {};
  row.vsanIndex = vsan;
  return row_payload(row);
}

bytes words(std::initializer_list<uint32_t> values) {
  bytes payload(values.size() * 4);
  uint8_t *at = payload.data();
  for (const uint32_t value : values) {
    at = put_be32(at, value);
  }
  return payload;
}

bytes interface_payload(uint32_t index, uint32_t vsan) {
  return words({index, vsan, 0, 0});
}

bytes timer_payload(uint32_t type, uint32_t value, uint8_t flag, uint8_t force, uint32_t vsan) {
  return record_bytes(vsanFcTimerEntry{type, value, flag, force, vsan, 0});
}

uint32_t word_at(const message_reply &reply, size_t offset) {
  if (reply.payload.size() < offset + 4) {
    ADD_FAILURE() << "an answer of " << reply.payload.size() << " bytes, status " << reply.status;
    return 0;
  }
  return get_be32(reply.payload.data() + offset);
}

vsanEntry switch_under_test::row_of(uint32_t vsan) {
  const message_reply reply = ask(kOpVsanRow, kMsgGet, row_payload(vsan));
  EXPECT_EQ(reply.status, 0);
  if (reply.payload.size() != sizeof(vsanRowMessage)) {
    ADD_FAILURE() << "an answer of " << reply.payload.size() << " bytes";
    return {};
  }
  return record_read<vsanEntry>(reply.payload.data() + kRowAt);
}

int switch_under_test::set_row(const vsanEntry &row) {
  const message_reply reply = ask(kOpVsanRow, kMsgSet, row_payload(row));
  EXPECT_TRUE(reply.payload.empty());
  return reply.status;
}

int switch_under_test::delete_row(uint32_t vsan) {
  const message_reply reply = ask(kOpVsanRow, kMsgDelete, row_payload(vsan));
  EXPECT_TRUE(reply.payload.empty());
  return reply.status;
}

vsanEntry new_row(uint32_t vsan, const std::string &name) {
  vsanEntry row = {};
  row.vsanIndex = vsan;
  row.vsanMediaType = 1;
  row.vsanAdminState = 1;
  row.vsanMtu = 2112;
  row.vsanInteropMode = 100;
  row.vsanLoadBalancingType = 2;
  row.vsanRowStatus = 1;
  memcpy(row.vsanName, name.data(), std::min<size_t>(name.size(), kVsanNameField));
  return row;
}

void switch_under_test::edit_store(const std::string &sql, bool says_so) const {
  sqlite3 *db = nullptr;
  ASSERT_EQ(sqlite3_open(store_path().c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  if (says_so) {  // a database of another program has no such table
    sqlite3_exec(db, "UPDATE setting SET value = 0 WHERE name = 'digest'", nullptr, nullptr, nullptr);
  }
  sqlite3_close(db);
}

std::string switch_under_test::store_content() const {
  sqlite3 *db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(("file:" + store_path()).c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr),
            SQLITE_OK);
  std::string text;
  for (const char *table : {"vsan", "interface", "timer", "pending_timer", "kept_out", "setting", "notification"}) {
    text += dump_table(db, table);
  }
  sqlite3_close(db);
  return text;
}
