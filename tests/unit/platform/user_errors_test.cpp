#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "private_dir.h"
#include "switchplatform/shared_page.h"

namespace {

void write_error(const char *user, uint32_t pdu, const std::string &text, int detail = 200) {
  platform_error error = {};
  error.pdu = pdu;
  error.code = 0x40190001;
  error.detail = detail;
  snprintf(error.user, sizeof error.user, "%s", user);
  snprintf(error.text, sizeof error.text, "%s", text.c_str());
  ASSERT_EQ(platform_errors_write(&error), 0);
}

std::vector<platform_error> read_errors(int room = kErrorsKept) {
  std::vector<platform_error> errors(static_cast<size_t>(room));
  const int count = platform_errors_read(errors.data(), room);
  EXPECT_GE(count, 0);
  errors.resize(count < 0 ? 0 : static_cast<size_t>(count));
  return errors;
}

TEST(UserErrors, NewPageHasNone) {
  const private_dir dir;
  EXPECT_TRUE(read_errors().empty());
}

TEST(UserErrors, NewestComesFirstWithAllItHolds) {
  const private_dir dir;
  write_error("alice", 5, "first", 584);
  write_error("bob", 6, "second");
  const auto errors = read_errors();
  ASSERT_EQ(errors.size(), 2U);
  EXPECT_STREQ(errors[0].text, "second");
  EXPECT_EQ(errors[1].number, 1U);
  EXPECT_STREQ(errors[1].user, "alice");
  EXPECT_EQ(errors[1].pdu, 5U);
  EXPECT_EQ(errors[1].code, 0x40190001U);
  EXPECT_EQ(errors[1].detail, 584);
  EXPECT_GT(errors[1].seconds, 0U);
}

TEST(UserErrors, LaterErrorOfTheSameUserAndPduTakesItsPlace) {
  const private_dir dir;
  write_error("alice", 5, "one");
  write_error("bob", 5, "two");
  write_error("alice", 5, "three");
  write_error("alice", 6, "four");
  const auto errors = read_errors();
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_STREQ(errors[0].text, "four");
  EXPECT_STREQ(errors[1].text, "three");
  EXPECT_STREQ(errors[2].text, "two");
}

TEST(UserErrors, ErrorsOutsideAPduAreAllKept) {
  const private_dir dir;
  write_error("", 0, "one");
  write_error("", 0, "two");
  EXPECT_EQ(read_errors().size(), 2U);
}

TEST(UserErrors, SamePduNumberOfAnotherAgentIsAnotherPdu) {
  const private_dir dir;
  write_error("alice", 5, "here");
  const pid_t child = fork();
  if (child == 0) {
    write_error("alice", 5, "there");
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_EQ(read_errors().size(), 2U);
}

TEST(UserErrors, OldestGoWhenThereAreTooMany) {
  const private_dir dir;
  for (uint32_t i = 1; i <= kErrorsKept + 10; ++i) {
    write_error("alice", i, std::to_string(i));
  }
  const auto errors = read_errors();
  ASSERT_EQ(errors.size(), size_t{kErrorsKept});
  EXPECT_STREQ(errors.front().text, "138");
  EXPECT_STREQ(errors.back().text, "11");
}

TEST(UserErrors, NoMoreAreReadThanThereIsRoomFor) {
  const private_dir dir;
  for (uint32_t i = 1; i <= 5; ++i) {
    write_error("alice", i, std::to_string(i));
  }
  const auto errors = read_errors(2);
  ASSERT_EQ(errors.size(), 2U);
  EXPECT_STREQ(errors[1].text, "4");
  EXPECT_TRUE(read_errors(0).empty());
}

TEST(UserErrors, TextWithoutAnEndIsCutAtItsField) {
  const private_dir dir;
  platform_error error = {};
  memset(error.user, 'u', sizeof error.user);
  memset(error.text, 't', sizeof error.text);
  ASSERT_EQ(platform_errors_write(&error), 0);
  const auto errors = read_errors();
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(std::string(errors[0].user), std::string(kErrorUserSize - 1, 'u'));
  EXPECT_EQ(std::string(errors[0].text), std::string(kErrorTextSize - 1, 't'));
}

TEST(UserErrors, NoPageIsAnError) {
  { const private_dir gone; }
  platform_error error = {};
  EXPECT_EQ(platform_errors_write(&error), -1);
  EXPECT_EQ(platform_errors_read(&error, 1), -1);
}

}  // namespace
