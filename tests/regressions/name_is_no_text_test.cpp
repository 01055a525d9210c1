// A VSAN name with an escape sequence, or an octet that is no UTF-8, was taken, and spoiled every answer that had it in
// it: JSON, metrics, terminals.
#include "set_lab.h"

namespace {

using namespace set_lab;

using NameIsNoText = SetTest;

TEST_F(NameIsNoText, IsRefusedWithItsReason) {
  const std::string original = lab::store_rows(l);
  for (const char *value : {"\x1B[2J", "a\xFF", "a\x7F", "\xC2\x85", "\xE2\x82"}) {
    SCOPED_TRACE(testing::PrintToString(value));
    EXPECT_NE(set({name(10, value)}).status, kNoError);
    EXPECT_NE(set({name(30, value), row_status(30, kCreateAndGo)}).status, kNoError);
    EXPECT_EQ(lab::store_rows(l), original);
  }
  EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("must be UTF-8 text"), std::string::npos);
  EXPECT_DONE(set({name(10, "caf\xC3\xA9")}));
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, "caf\xC3\xA9");
}

TEST_F(NameIsNoText, OneOfAnOlderStoreIsKeptUntilItIsChanged) {
  lab::stop(l.switchd);
  ASSERT_EQ(lab::run({lab::store_program(), l.dir + "/switch.db",
                      "UPDATE vsan SET name = CAST(x'1b61ff' AS TEXT) WHERE id = 10;"
                      "UPDATE setting SET value = 0 WHERE name = 'digest'"})
                .status,
            0);
  lab::start_switchd(l);
  const std::string old =
      "\x1B"
      "a\xFF";
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, old);
  EXPECT_DONE(set({integer(vsan_cell(kAdminState, 10), 2)}));
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, old);
  EXPECT_NE(set({row_status(10, kDestroy), integer(vsan_cell(kAdminState, 4), 1)}).status, kNoError);
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, old);
  EXPECT_DONE(set({name(10, "better")}));
  EXPECT_NE(set({name(10, old)}).status, kNoError);
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, "better");
}

}  // namespace
