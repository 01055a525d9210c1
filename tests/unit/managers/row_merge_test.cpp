// Rows that several clients read, change and write back; and VSANs that one of them deletes.
#include "rows/row_merge.h"

#include <string.h>

#include "big_endian.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"

struct RowMerge : switch_under_test {
  int set_as(const std::string &user, const vsanEntry &row) {
    return ask(kOpVsanRow, kMsgSet, row_payload(row), user).status;
  }
  static vsanEntry renamed(vsanEntry row, const std::string &name) {
    memset(row.vsanName, 0, sizeof row.vsanName);
    memcpy(row.vsanName, name.data(), name.size());
    return row;
  }
  static vsanEntry with_state(vsanEntry row, uint32_t admin) {
    row.vsanAdminState = admin;
    return row;
  }
  std::string name() { return row_of(10).vsanName; }
};

TEST_F(RowMerge, ARowIsAnsweredWithItsCopyBehindIt) {
  const vsanEntry row = row_of(10);
  const bytes copy(row.rest, row.rest + sizeof(vsanRowCopy));
  const bytes expected{'V',  'R', 'O', 'W', 0, 0, 0, 1, 0,   0, 0, 10, 0, 0, 0, 1, 0,    0,   0,   1,   0,   0,  8,
                       0x40, 0,   0,   0,   2, 0, 0, 0, 100, 0, 0, 0,  2, 0, 0, 7, 0xD0, 'a', 'l', 'p', 'h', 'a'};
  EXPECT_EQ(expected, bytes(copy.begin(), copy.begin() + 45));
  const bytes zeros(sizeof row.rest - 45);
  EXPECT_EQ(zeros, bytes(row.rest + 45, row.rest + sizeof row.rest));
}

TEST_F(RowMerge, EachWriterTakesOnlyTheColumnsThatItChanged) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "new")));
  ASSERT_EQ(0, set_as("operator", with_state(read, 2)));
  EXPECT_EQ("new", name());
  EXPECT_EQ(2U, row_of(10).vsanAdminState);
}

TEST_F(RowMerge, TheSameColumnIsTheLastWriters) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "first")));
  ASSERT_EQ(0, set_as("operator", renamed(read, "second")));
  EXPECT_EQ("second", name());
}

TEST_F(RowMerge, AfterAStartWhatAColumnBecameSinceItWasReadStays) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("operator", renamed(read, "new")));
  close();
  open();
  ASSERT_EQ(0, set_as("nms", with_state(read, 2)));
  EXPECT_EQ("new", name());
  EXPECT_EQ(2U, row_of(10).vsanAdminState);
}

TEST_F(RowMerge, ARowAsItWasReadTakesBackItsSendersOwnWrites) {
  const vsanEntry read = row_of(10);
  vsanEntry written = renamed(with_state(read, 2), "new");
  written.vsanInorderDelivery = 1;
  ASSERT_EQ(0, set_as("nms", written));
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ(row_payload(read), row_payload(row_of(10)));
}

TEST_F(RowMerge, AnUndoLeavesWhatSomebodyElseWroteBetween) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "new")));
  ASSERT_EQ(0, set_as("operator", with_state(row_of(10), 2)));
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ("alpha", name());
  EXPECT_EQ(2U, row_of(10).vsanAdminState);
}

TEST_F(RowMerge, AnUndoGivesBackWhatItsSenderReplacedWithoutHavingReadIt) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("operator", renamed(row_of(10), "theirs")));
  ASSERT_EQ(0, set_as("nms", renamed(read, "mine")));
  EXPECT_EQ("mine", name());
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ("theirs", name());
  ASSERT_EQ(0, set_as("nms", read));  // once more changes nothing
  EXPECT_EQ("theirs", name());
}

TEST_F(RowMerge, AnUndoThatComesAfterSomebodyElsesWriteOfTheColumnLeavesIt) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "mine")));
  ASSERT_EQ(0, set_as("operator", renamed(row_of(10), "theirs")));
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ("theirs", name());
}

TEST_F(RowMerge, AnAcknowledgedWriteOfTheSameValueIsTheLastWriters) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "same")));
  ASSERT_EQ(0, set_as("operator", renamed(read, "same")));
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ("same", name());
}

TEST_F(RowMerge, ZeroInOrderAndZeroLatencyAreNobodysWrite) {
  const vsanEntry read = row_of(10);
  vsanEntry latency = read;
  latency.vsanNetworkDropLatency = 777;
  ASSERT_EQ(0, set_as("operator", latency));
  vsanEntry row = renamed(read, "new");
  row.vsanInorderDelivery = 0;
  row.vsanNetworkDropLatency = 0;
  ASSERT_EQ(0, set_as("nms", row));
  EXPECT_EQ(777U, row_of(10).vsanNetworkDropLatency);
  EXPECT_EQ("new", name());
}

TEST_F(RowMerge, ARowWithoutItsCopyIsAWriteOfEveryColumn) {
  vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("operator", with_state(read, 2)));
  memset(read.rest, 0, sizeof read.rest);
  ASSERT_EQ(0, set_as("nms", renamed(read, "whole")));
  EXPECT_EQ(1U, row_of(10).vsanAdminState);
  EXPECT_EQ("whole", name());
}

TEST_F(RowMerge, ARefusedRowIsNobodysWrite) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, set_as("nms", renamed(read, "new")));
  EXPECT_REFUSED(kStatusVsanConflict, set_as("operator", renamed(read, "beta")));
  ASSERT_EQ(0, set_as("nms", read));
  EXPECT_EQ("alpha", name());
}

TEST_F(RowMerge, ADamagedCopyIsRefusedWithItsOwnStatus) {
  const vsanEntry read = row_of(10);
  const auto damaged = [&](size_t at, uint32_t value) {
    vsanEntry row = read;
    put_be32(row.rest + at, value);
    return row;
  };
  EXPECT_REFUSED(kStatusRowCopyDamaged, set_row(damaged(offsetof(vsanRowCopy, version), 2)));
  EXPECT_REFUSED(kStatusRowCopyDamaged, set_row(damaged(offsetof(vsanRowCopy, vsanIndex), 20)));
  EXPECT_REFUSED(kStatusRowCopyDamaged, set_row(damaged(offsetof(vsanRowCopy, vsanMtu), 0)));
  EXPECT_REFUSED(kStatusRowCopyDamaged, set_row(damaged(offsetof(vsanRowCopy, vsanAdminState), 3)));
  vsanEntry endless = read;
  memset(endless.rest + offsetof(vsanRowCopy, vsanName), 'x', kVsanNameField);
  EXPECT_REFUSED(kStatusRowCopyDamaged, set_row(endless));
  EXPECT_EQ(5U, managers.malformed);
  ASSERT_EQ(5U, log.size());
  EXPECT_NE(std::string::npos, log[0].find("copy of the row")) << log[0];
}

TEST_F(RowMerge, WhatIsNoCopyBehindARowIsNotLookedAt) {
  vsanEntry row = renamed(row_of(10), "new");
  memset(row.rest, 0xAA, sizeof row.rest);
  ASSERT_EQ(0, set_row(row));
  EXPECT_EQ("new", name());
}

TEST_F(RowMerge, AVsanThatSomebodyElseMadeAnewKeepsItsColumns) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, set_as("operator", new_row(10, "anew")));
  ASSERT_EQ(0, set_as("nms", with_state(read, 2)));
  EXPECT_EQ("anew", name());
  EXPECT_EQ(2U, row_of(10).vsanAdminState);
}

TEST_F(RowMerge, WhatADeleteTookIsForgottenAfterAWhile) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(1U, managers.dropped.size());
  managers.dropped[10].at -= kDroppedKept + 1;
  ASSERT_EQ(0, set_row(read));
  EXPECT_EQ(1U, find_interface(managers.state, 101)->vsan);
  EXPECT_TRUE(managers.dropped.empty());
}

TEST_F(RowMerge, WhatADeleteTookIsForgottenOnceTheVsanIsThereAgain) {
  ASSERT_EQ(0, delete_row(10));
  ASSERT_EQ(0, delete_row(30));
  ASSERT_EQ(2U, managers.dropped.size());
  ASSERT_EQ(0, set_row(new_row(10, "again")));
  EXPECT_EQ(1U, managers.dropped.size());
  managers.dropped[30].at -= kDroppedKept + 1;
  ASSERT_EQ(0, delete_row(20));
  EXPECT_EQ(1U, managers.dropped.size());
}
