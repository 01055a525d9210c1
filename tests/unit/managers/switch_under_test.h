// A switch in a private temporary directory, driven through the managers' handler functions.
#ifndef TESTS_UNIT_MANAGERS_SWITCH_UNDER_TEST_H
#define TESTS_UNIT_MANAGERS_SWITCH_UNDER_TEST_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "managers.h"
#include "vsan_manager/vsan_manager.h"
#include "vsan_records.h"

using bytes = std::vector<uint8_t>;

// A directory under the system's temporary one that is removed with everything in it.
struct temporary_directory {
  std::string path;
  temporary_directory();
  ~temporary_directory();
  temporary_directory(const temporary_directory &) = delete;
  temporary_directory &operator=(const temporary_directory &) = delete;
};

// The whole file; empty when there is none.
std::string file_text(const std::string &path);
// How often the words stand in the text.
size_t times_in(const std::string &text, const std::string &words);

// VSANs 1, 10 ("alpha", up), 20 ("beta", suspended), 30 ("gamma", no members); interfaces 101 and 102 (up) in VSAN
// 10, 103 (down) in VSAN 10, 104 (up) in VSAN 20, 105 (down) in VSAN 1.
switch_change small_configuration();

struct switch_under_test : testing::Test {
  temporary_directory directory;
  switch_managers managers;
  std::vector<std::string> log;

  void SetUp() override;
  void TearDown() override;
  void open();   // opens the store and reads it, filling a new one with small_configuration
  void close();  // as a stop does, without the memory

  // One request through the VSAN manager, or through another handler.
  message_reply ask(int opcode, int msg_type, const bytes &payload, const std::string &user = "operator");
  message_reply ask_of(message_handler handler, int opcode, int msg_type, const bytes &payload,
                       const std::string &user = "operator");

  // A row of the VSAN table, and requests with one. A failed read fails the test.
  vsanEntry row_of(uint32_t vsan);
  int set_row(const vsanEntry &row);
  int delete_row(uint32_t vsan);

  // All tables of the store as text, as another process reads them.
  std::string store_content() const;
  // Runs SQL in the store's file, which no switch has open, and says so there unless told otherwise.
  void edit_store(const std::string &sql, bool says_so = true) const;
  std::string store_path() const { return directory.path + "/state.db"; }
};

// A row that creates the VSAN, with defaults and the name given.
vsanEntry new_row(uint32_t vsan, const std::string &name);

// Payloads of requests.
bytes row_payload(const vsanEntry &row);
bytes row_payload(uint32_t vsan);
bytes interface_payload(uint32_t index, uint32_t vsan = 0);
bytes timer_payload(uint32_t type, uint32_t value, uint8_t flag, uint8_t force, uint32_t vsan);
bytes words(std::initializer_list<uint32_t> values);

// The big-endian word at `offset` of an answer; an answer that is too short fails the test.
uint32_t word_at(const message_reply &reply, size_t offset);

// Calls `change`, which is to be refused with `status`, and checks that memory and store stay as they were.
#define EXPECT_REFUSED(change, status)          \
  do {                                          \
    const switch_state before = managers.state; \
    const std::string stored = store_content(); \
    EXPECT_EQ(change, status);                  \
    EXPECT_TRUE(managers.state == before);      \
    EXPECT_EQ(store_content(), stored);         \
  } while (false)

#endif
