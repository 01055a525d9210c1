#include <stddef.h>
#include <string.h>

#include "module_test.h"
#include "vsan_records.h"

namespace {

TEST(Records, DefaultsNameVsan1Vsan0001) {
  vsanEntry row = {};
  row.vsanIndex = 1;
  EXPECT_EQ(vsanEntry_defaults(&row), 8);
  EXPECT_STREQ(row.vsanName, "VSAN0001");
  EXPECT_EQ(row.vsanMediaType, 1u);
  EXPECT_EQ(row.vsanAdminState, 1u);
  EXPECT_EQ(row.vsanMtu, 2112u);
  EXPECT_EQ(row.vsanInorderDelivery, 0u);
  EXPECT_EQ(row.vsanInteropMode, 100u);
  EXPECT_EQ(row.vsanLoadBalancingType, 2u);
}

TEST(Records, DefaultsLeaveInOrderDeliveryToTheManager) {
  vsanEntry row = {};
  row.vsanInorderDelivery = 1;
  vsanEntry_defaults(&row);
  EXPECT_EQ(row.vsanInorderDelivery, 0u);
}

TEST(Records, DefaultsNameIsAMinimumNotACut) {
  vsanEntry row = {};
  row.vsanIndex = 12345;
  EXPECT_EQ(vsanEntry_defaults(&row), 9);
  EXPECT_STREQ(row.vsanName, "VSAN12345");
}

TEST(Records, DefaultsLeaveRowStatusOperStateLatencyAndRestAlone) {
  vsanEntry row;
  memset(&row, 0xab, sizeof row);
  row.vsanIndex = 7;
  vsanEntry_defaults(&row);
  EXPECT_EQ(row.vsanIndex, 7u);
  EXPECT_EQ(row.vsanRowStatus, 0xababababu);
  EXPECT_EQ(row.vsanOperState, 0xababababu);
  EXPECT_EQ(row.vsanNetworkDropLatency, 0xababababu);
  for (uint8_t octet : row.rest) {
    ASSERT_EQ(octet, 0xab);
  }
}

TEST(Records, ComparisonIsPositiveWhenASortsBeforeB) {
  vsanEntry three = {}, seven = {};
  three.vsanIndex = 3;
  seven.vsanIndex = 7;
  EXPECT_EQ(vsanEntry_comp(&three, &seven), 1);
  EXPECT_EQ(vsanEntry_comp(&seven, &three), -1);
  EXPECT_EQ(vsanEntry_comp(&seven, &seven), 0);
}

TEST(Records, ComparisonWithNullIsMinusOne) {
  vsanEntry row = {};
  EXPECT_EQ(vsanEntry_comp(nullptr, &row), -1);
  EXPECT_EQ(vsanEntry_comp(&row, nullptr), -1);
  EXPECT_EQ(vsanEntry_comp(nullptr, nullptr), -1);
  EXPECT_EQ(vsanIfEntry_comp(nullptr, nullptr), -1);
}

TEST(Records, ComparisonIsSigned) {
  vsanEntry huge = {}, one = {};
  huge.vsanIndex = 0x80000000u;
  one.vsanIndex = 1;
  EXPECT_EQ(vsanEntry_comp(&huge, &one), 1) << "0x80000000 sorts before 1";
  EXPECT_EQ(vsanEntry_comp(&one, &huge), -1);
}

TEST(Records, InterfaceComparisonFollowsTheIndex) {
  vsanIfEntry a = {3, 1, 0, 0}, b = {7, 1, 0, 0};
  EXPECT_EQ(vsanIfEntry_comp(&a, &b), 1);
  EXPECT_EQ(vsanIfEntry_comp(&b, &a), -1);
  EXPECT_EQ(vsanIfEntry_comp(&a, &a), 0);
}

TEST(Records, InterfaceDefaultsLeaveIndexAndStatus) {
  vsanIfEntry row = {5, 6, 7, 8};
  vsanIfEntry_defaults(&row);
  EXPECT_EQ(row.ifIndex, 5u);
  EXPECT_EQ(row.vsanIfVsan, 1u);
  EXPECT_EQ(row.vsanIfDenyList, 0u);
  EXPECT_EQ(row.vsanIfRowStatus, 8u);
}

// The octets that a record has on the wire, whatever the host.
template <typename Record>
std::string wire(const Record &record) {
  const auto *octets = reinterpret_cast<const uint8_t *>(&record);
  return fake::hex(fake::bytes(octets, octets + sizeof record));
}

TEST(Records, RowTravelsBigEndianAndItsNameUnchanged) {
  vsanEntry row = {};
  row.vsanIndex = 0x01020304;
  row.vsanMediaType = 0x11121314;
  row.vsanAdminState = 0x21222324;
  row.vsanMtu = 0x31323334;
  row.vsanInorderDelivery = 0x41424344;
  row.vsanInteropMode = 0x51525354;
  row.vsanLoadBalancingType = 0x61626364;
  row.vsanRowStatus = 0x71727374;
  row.vsanOperState = 0x81828384;
  memcpy(row.vsanName, "ABCD", 5);
  row.vsanNetworkDropLatency = 0x91929394;
  row.rest[0] = 0xee;
  const vsanEntry before = row;
  vsanEntry_hton(&row);
  EXPECT_EQ(wire(row).substr(0, 154),
            "01020304111213142122232431323334414243445152535461626364717273748182838441424344"
            "00000000000000000000000000000000000000000000000000000000000000009192939"
            "4ee");
  vsanEntry_ntoh(&row);
  EXPECT_EQ(memcmp(&row, &before, sizeof row), 0);
}

TEST(Records, InterfaceRowTravelsBigEndian) {
  vsanIfEntry row = {0x01020304, 0x11121314, 0x21222324, 0x31323334};
  vsanIfEntry_hton(&row);
  EXPECT_EQ(wire(row), "01020304111213142122232431323334");
  vsanIfEntry_ntoh(&row);
  EXPECT_EQ(row.vsanIfDenyList, 0x21222324u);
}

TEST(Records, TimerRecordTravelsBigEndianItsBytesUnchanged) {
  vsanFcTimerEntry record = {};
  record.timer_type = 0x01020304;
  record.timer_value = 0x11121314;
  record.flag = 0xf1;
  record.force = 0xf2;
  record.vsan_id = 0x21222324;
  record.reserved = 0xf3;
  vsanNewFcTimer_ntoh(&record);
  EXPECT_EQ(wire(record), "0102030411121314f1f221222324f3");
}

}  // namespace
