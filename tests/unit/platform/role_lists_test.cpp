#include "platform/agent_extension/role_lists.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string members(const char *text, uint32_t highest = 4095) {
  number_list list;
  const char *wrong = number_list_read(text, 0, highest, &list);
  if (wrong != nullptr) return std::string("error: ") + wrong;
  std::string found;
  for (uint32_t number = 0; number <= highest; ++number)
    if (number_list_holds(list, number)) found += std::to_string(number) + " ";
  return found;
}

TEST(RoleLists, NumbersAndRanges) {
  EXPECT_EQ(members("10"), "10 ");
  EXPECT_EQ(members("10,20,100-103"), "10 20 100 101 102 103 ");
  EXPECT_EQ(members("7-7"), "7 ");
  EXPECT_EQ(members("5,3,5"), "3 5 ");
  EXPECT_EQ(members("0"), "0 ");
  EXPECT_EQ(members("4094-4095"), "4094 4095 ");
  EXPECT_EQ(members("0010"), "10 ");
}

struct bad_list {
  const char *text;
  const char *wrong;
};

class BadRoleList : public testing::TestWithParam<bad_list> {};

TEST_P(BadRoleList, SaysWhatIsWrongAndAddsNothing) {
  number_list list = {{1, 2}};
  const char *wrong = number_list_read(GetParam().text, 0, 4095, &list);
  ASSERT_NE(wrong, nullptr);
  EXPECT_STREQ(wrong, GetParam().wrong);
  ASSERT_EQ(list.size(), 1U);
}

constexpr const char *kMissing = "a number is missing";
constexpr const char *kSeparator = "numbers are separated by commas, as in 10,20,100-199";
constexpr const char *kLarge = "a number is too large";

INSTANTIATE_TEST_SUITE_P(Each, BadRoleList,
                         testing::Values(bad_list{"", kMissing}, bad_list{",", kMissing}, bad_list{"10,", kMissing},
                                         bad_list{",10", kMissing}, bad_list{"10,,20", kMissing},
                                         bad_list{"-5", kMissing}, bad_list{"5-", kMissing}, bad_list{"5--6", kMissing},
                                         bad_list{"ten", kMissing}, bad_list{"10 20", kSeparator},
                                         bad_list{"10, 20", kMissing}, bad_list{"10-20-30", kSeparator},
                                         bad_list{"10;20", kSeparator}, bad_list{"0x10", kSeparator},
                                         bad_list{"4096", kLarge}, bad_list{"1-4096", kLarge},
                                         bad_list{"4294967297", kLarge}, bad_list{"99999999999999999999999999", kLarge},
                                         bad_list{"20-10", "a range ends before it starts"}));

TEST(RoleLists, NumberBelowTheLowestIsRefused) {
  number_list list;
  EXPECT_STREQ(number_list_read("0", 1, 9, &list), "a number is too small");
}

TEST(RoleLists, InterfaceIndexesReachTheirWholeRange) {
  number_list list;
  ASSERT_EQ(number_list_read("16777216-4294967295", 0, UINT32_MAX, &list), nullptr);
  EXPECT_TRUE(number_list_holds(list, UINT32_MAX));
  EXPECT_TRUE(number_list_holds(list, 16777216));
  EXPECT_FALSE(number_list_holds(list, 16777215));
}

TEST(RoleLists, LinesAddUp) {
  number_list list;
  ASSERT_EQ(number_list_read("1", 0, 4095, &list), nullptr);
  ASSERT_EQ(number_list_read("5-6", 0, 4095, &list), nullptr);
  EXPECT_TRUE(number_list_holds(list, 1));
  EXPECT_TRUE(number_list_holds(list, 6));
  EXPECT_FALSE(number_list_holds(list, 2));
}

}  // namespace
