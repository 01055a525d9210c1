// A VSAN name with a NUL in it was acknowledged, and stored up to the NUL.
#include "set_lab.h"

namespace {

using namespace set_lab;

using NameWithNul = SetTest;

TEST_F(NameWithNul, IsRefusedWhereverTheNulIs) {
  const std::string original = lab::store_rows(l);
  for (const std::string &value : {std::string("\0", 1), std::string("a\0b", 3), std::string("ten\0", 4),
                                   std::string("\0ten", 4), std::string(31, 'x') + '\0'}) {
    EXPECT_SET(set({name(10, value)}), kWrongValue, 1);
    EXPECT_SET(set({name(5, "fine"), name(30, value), row_status(30, kCreateAndGo)}), kWrongValue, 2);
    EXPECT_EQ(lab::store_rows(l), original);
  }
  EXPECT_DONE(set({name(10, "")}));
}

TEST_F(NameWithNul, AnotherFaultOfTheValueIsToldFirst) {
  EXPECT_SET(set({name(10, std::string(33, '\0'))}), kWrongLength, 1);
}

}  // namespace
