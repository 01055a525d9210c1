// A refused createAndGo whose messages a stopped switch serves late overwrites and deletes the VSAN of the same number
// that an operator created meanwhile.
#include <string.h>

#include "platform/services/status_texts.h"
#include "tests/unit/managers/switch_under_test.h"

namespace {

struct LateCreation : switch_under_test {
  int create_as(const std::string &user, const std::string &name) {
    return ask(kOpVsanRow, kMsgSet, row_payload(new_row(900, name)), user).status;
  }
  int write_as(const std::string &user, const vsanEntry &row) {
    return ask(kOpVsanRow, kMsgSet, row_payload(row), user).status;
  }
  int delete_as(const std::string &user, const vsanEntry &row) {
    return ask(kOpVsanRow, kMsgDelete, row_payload(row), user).status;
  }
  // As UNDO sends it: nothing but the number.
  int undo_as(const std::string &user) { return ask(kOpVsanRow, kMsgDelete, row_payload(900), user).status; }
};

TEST_F(LateCreation, AnOperatorsVsanIsNeitherOverwrittenNorDeleted) {
  ASSERT_EQ(0, create_as("operator", "theirs"));
  EXPECT_REFUSED(kStatusVsanConflict, create_as("nms", "late"));
  EXPECT_REFUSED(kStatusVsanConflict, undo_as("nms"));
  EXPECT_STREQ("theirs", row_of(900).vsanName);
  EXPECT_EQ(0U, managers.malformed);
}

TEST_F(LateCreation, AnotherSessionOfTheSameUserIsSomebodyElse) {
  const bytes row = row_payload(new_row(900, "theirs"));
  const bytes key = row_payload(900);
  const message_request create{kOpVsanRow, kMsgSet, {row.data(), row.size()}, "operator", "first", true, 0, 1};
  const message_request remove{kOpVsanRow, kMsgDelete, {key.data(), key.size()}, "operator", "second", true, 0, 1};
  message_reply reply;
  vsan_manager_handle(&managers, create, reply);
  ASSERT_EQ(0, reply.status);
  vsan_manager_handle(&managers, remove, reply);
  EXPECT_EQ(kStatusVsanConflict, reply.status);
}

TEST_F(LateCreation, WhatSomebodyElseWroteIntoTheNewVsanKeepsIt) {
  ASSERT_EQ(0, create_as("nms", "late"));
  vsanEntry read = row_of(900);
  strcpy(read.vsanName, "theirs");
  ASSERT_EQ(0, write_as("operator", read));
  EXPECT_REFUSED(kStatusVsanConflict, undo_as("nms"));
}

TEST_F(LateCreation, ItsOwnCreationIsRepeatedAndTakenBack) {
  ASSERT_EQ(0, create_as("nms", "late"));
  ASSERT_EQ(0, create_as("nms", "late"));
  EXPECT_EQ(0, undo_as("nms"));
  EXPECT_EQ(kStatusNoVsan, undo_as("nms"));
}

TEST_F(LateCreation, WhoReadTheRowMayWriteAndDeleteIt) {
  ASSERT_EQ(0, create_as("nms", "late"));
  vsanEntry read = row_of(900);
  read.vsanAdminState = 2;
  EXPECT_EQ(0, write_as("operator", read));
  EXPECT_EQ(0, delete_as("operator", row_of(900)));
}

TEST_F(LateCreation, AVsanOfBeforeTheStartIsNobodysInParticular) {
  ASSERT_EQ(0, create_as("operator", "theirs"));
  close();
  open();
  EXPECT_EQ(0, create_as("nms", "whole"));
  EXPECT_EQ(0, undo_as("nms"));
}

}  // namespace
