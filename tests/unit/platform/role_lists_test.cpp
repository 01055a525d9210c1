#include "role_lists.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>

namespace {

std::string members(const char *text, uint32_t highest = 4095) {
  number_list list;
  const char *wrong = number_list_read(text, 0, highest, &list);
  if (wrong != nullptr) {
    return std::string("error: ") + wrong;
  }
  std::string found;
  for (uint32_t number = 0; number <= highest; ++number) {
    if (number_list_holds(list, number)) {
      found += std::to_string(number) + " ";
    }
  }
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

std::string compiled(std::initializer_list<const char *> lines) {
  number_list list;
  for (const char *line : lines) {
    EXPECT_EQ(number_list_read(line, 0, UINT32_MAX, &list), nullptr) << line;
  }
  return number_list_text(list, 100);
}

TEST(RoleLists, RangesAreKeptInOrderAndJoinedWhenTheyOverlapOrTouch) {
  EXPECT_EQ(compiled({"20,10", "15"}), "10,15,20");
  EXPECT_EQ(compiled({"10-19,20-29"}), "10-29");
  EXPECT_EQ(compiled({"100-199", "150", "120-250", "99"}), "99-250");
  EXPECT_EQ(compiled({"5-6", "1-9", "1-9"}), "1-9");
  EXPECT_EQ(compiled({"0", "1", "4294967295", "4294967294"}), "0-1,4294967294-4294967295");
  EXPECT_EQ(compiled({"0-4294967295", "7"}), "0-4294967295");
}

TEST(RoleLists, ALineThatIsReadTwiceChangesNothing) {
  EXPECT_EQ(compiled({"10,20,100-199", "10,20,100-199"}), compiled({"10,20,100-199"}));
}

TEST(RoleLists, ThousandsOfRangesThatSayTheSameAreOne) {
  number_list list;
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(number_list_read("1-4094", 1, 4095, &list), nullptr);
  }
  EXPECT_EQ(list.size(), 1u);
}

// Every number is asked for, against a list that is kept as plain yes and no.
TEST(RoleLists, HoldsWhatWasReadAndNothingElse) {
  bool expected[4096] = {};
  number_list list;
  uint32_t seed = 1;
  for (int i = 0; i < 300; ++i) {
    seed = seed * 1103515245 + 12345;
    const uint32_t first = seed >> 16 & 0xfff;
    const uint32_t last = std::min(4095u, first + (seed >> 8 & 7));
    const std::string line = std::to_string(first) + "-" + std::to_string(last);
    ASSERT_EQ(number_list_read(line.c_str(), 0, 4095, &list), nullptr);
    for (uint32_t n = first; n <= last; ++n) {
      expected[n] = true;
    }
  }
  for (uint32_t n = 0; n < 4096; ++n) {
    ASSERT_EQ(number_list_holds(list, n), expected[n]) << n;
  }
}

TEST(RoleLists, TextCountsWhatItLeavesOut) {
  EXPECT_EQ(number_list_text({}, 3), "none");
  EXPECT_EQ(number_list_text({{1, 1}, {3, 5}, {7, 7}}, 3), "1,3-5,7");
  EXPECT_EQ(number_list_text({{1, 1}, {3, 5}, {7, 7}}, 1), "1 and 2 more ranges");
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
