// Rows that several clients read, change and write back; and VSANs that one of them deletes.
#include "rows/row_merge.h"

#include <string.h>

#include "big_endian.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"

namespace {

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
  EXPECT_EQ(bytes(copy.begin(), copy.begin() + 45), expected);
  const bytes zeros(sizeof row.rest - 45);
  EXPECT_EQ(bytes(row.rest + 45, row.rest + sizeof row.rest), zeros);
}

TEST_F(RowMerge, EachWriterTakesOnlyTheColumnsThatItChanged) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "new")), 0);
  ASSERT_EQ(set_as("operator", with_state(read, 2)), 0);
  EXPECT_EQ(name(), "new");
  EXPECT_EQ(row_of(10).vsanAdminState, 2U);
}

TEST_F(RowMerge, TheSameColumnIsTheLastWriters) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "first")), 0);
  ASSERT_EQ(set_as("operator", renamed(read, "second")), 0);
  EXPECT_EQ(name(), "second");
}

TEST_F(RowMerge, AfterAStartWhatAColumnBecameSinceItWasReadStays) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("operator", renamed(read, "new")), 0);
  close();
  open();
  ASSERT_EQ(set_as("nms", with_state(read, 2)), 0);
  EXPECT_EQ(name(), "new");
  EXPECT_EQ(row_of(10).vsanAdminState, 2U);
}

TEST_F(RowMerge, ARowAsItWasReadTakesBackItsSendersOwnWrites) {
  const vsanEntry read = row_of(10);
  vsanEntry written = renamed(with_state(read, 2), "new");
  written.vsanInorderDelivery = 1;
  ASSERT_EQ(set_as("nms", written), 0);
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(row_payload(row_of(10)), row_payload(read));
}

TEST_F(RowMerge, AnUndoLeavesWhatSomebodyElseWroteBetween) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "new")), 0);
  ASSERT_EQ(set_as("operator", with_state(row_of(10), 2)), 0);
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(name(), "alpha");
  EXPECT_EQ(row_of(10).vsanAdminState, 2U);
}

TEST_F(RowMerge, AnUndoGivesBackWhatItsSenderReplacedWithoutHavingReadIt) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("operator", renamed(row_of(10), "theirs")), 0);
  ASSERT_EQ(set_as("nms", renamed(read, "mine")), 0);
  EXPECT_EQ(name(), "mine");
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(name(), "theirs");
  ASSERT_EQ(set_as("nms", read), 0);  // once more changes nothing
  EXPECT_EQ(name(), "theirs");
}

TEST_F(RowMerge, AnUndoThatComesAfterSomebodyElsesWriteOfTheColumnLeavesIt) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "mine")), 0);
  ASSERT_EQ(set_as("operator", renamed(row_of(10), "theirs")), 0);
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(name(), "theirs");
}

TEST_F(RowMerge, AnAcknowledgedWriteOfTheSameValueIsTheLastWriters) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "same")), 0);
  ASSERT_EQ(set_as("operator", renamed(read, "same")), 0);
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(name(), "same");
}

TEST_F(RowMerge, ZeroInOrderAndZeroLatencyAreNobodysWrite) {
  const vsanEntry read = row_of(10);
  vsanEntry latency = read;
  latency.vsanNetworkDropLatency = 777;
  ASSERT_EQ(set_as("operator", latency), 0);
  vsanEntry row = renamed(read, "new");
  row.vsanInorderDelivery = 0;
  row.vsanNetworkDropLatency = 0;
  ASSERT_EQ(set_as("nms", row), 0);
  EXPECT_EQ(row_of(10).vsanNetworkDropLatency, 777U);
  EXPECT_EQ(name(), "new");
}

TEST_F(RowMerge, ARowWithoutItsCopyIsAWriteOfEveryColumn) {
  vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("operator", with_state(read, 2)), 0);
  memset(read.rest, 0, sizeof read.rest);
  ASSERT_EQ(set_as("nms", renamed(read, "whole")), 0);
  EXPECT_EQ(row_of(10).vsanAdminState, 1U);
  EXPECT_EQ(name(), "whole");
}

TEST_F(RowMerge, ARefusedRowIsNobodysWrite) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(set_as("nms", renamed(read, "new")), 0);
  EXPECT_REFUSED(set_as("operator", renamed(read, "beta")), kStatusVsanConflict);
  ASSERT_EQ(set_as("nms", read), 0);
  EXPECT_EQ(name(), "alpha");
}

TEST_F(RowMerge, ADamagedCopyIsRefusedWithItsOwnStatus) {
  const vsanEntry read = row_of(10);
  const auto damaged = [&](size_t at, uint32_t value) {
    vsanEntry row = read;
    put_be32(row.rest + at, value);
    return row;
  };
  EXPECT_REFUSED(set_row(damaged(offsetof(vsanRowCopy, version), 2)), kStatusRowCopyDamaged);
  EXPECT_REFUSED(set_row(damaged(offsetof(vsanRowCopy, vsanIndex), 20)), kStatusRowCopyDamaged);
  EXPECT_REFUSED(set_row(damaged(offsetof(vsanRowCopy, vsanMtu), 0)), kStatusRowCopyDamaged);
  EXPECT_REFUSED(set_row(damaged(offsetof(vsanRowCopy, vsanAdminState), 3)), kStatusRowCopyDamaged);
  vsanEntry endless = read;
  memset(endless.rest + offsetof(vsanRowCopy, vsanName), 'x', kVsanNameField);
  EXPECT_REFUSED(set_row(endless), kStatusRowCopyDamaged);
  EXPECT_EQ(managers.malformed, 5U);
  ASSERT_EQ(log.size(), 5U);
  EXPECT_NE(log[0].find("copy of the row"), std::string::npos) << log[0];
}

TEST_F(RowMerge, WhatIsNoCopyBehindARowIsNotLookedAt) {
  vsanEntry row = renamed(row_of(10), "new");
  memset(row.rest, 0xAA, sizeof row.rest);
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(name(), "new");
}

TEST_F(RowMerge, AVsanThatSomebodyElseMadeAnewKeepsItsColumns) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(set_as("operator", new_row(10, "anew")), 0);
  ASSERT_EQ(set_as("nms", with_state(read, 2)), 0);
  EXPECT_EQ(name(), "anew");
  EXPECT_EQ(row_of(10).vsanAdminState, 2U);
}

TEST_F(RowMerge, WhatADeleteTookIsForgottenAfterAWhile) {
  const vsanEntry read = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(managers.dropped.size(), 1U);
  managers.dropped[10].at -= kDroppedKept + 1;
  ASSERT_EQ(set_row(read), 0);
  EXPECT_EQ(find_interface(managers.state, 101)->vsan, 1U);
  EXPECT_TRUE(managers.dropped.empty());
}

TEST_F(RowMerge, WhatADeleteTookIsForgottenOnceTheVsanIsThereAgain) {
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(delete_row(30), 0);
  ASSERT_EQ(managers.dropped.size(), 2U);
  ASSERT_EQ(set_row(new_row(10, "again")), 0);
  EXPECT_EQ(managers.dropped.size(), 1U);
  managers.dropped[30].at -= kDroppedKept + 1;
  ASSERT_EQ(delete_row(20), 0);
  EXPECT_EQ(managers.dropped.size(), 1U);
}

}  // namespace
