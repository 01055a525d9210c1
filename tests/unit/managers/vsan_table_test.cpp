// The VSAN and interface tables: what is answered, what is refused, and what follows from a change.
#include <string.h>

#include "requests.h"
#include "statuses.h"
#include "switch_records.h"
#include "switch_under_test.h"
#include "vsan_records.h"

namespace {

using VsanTable = switch_under_test;

TEST_F(VsanTable, GetOfAnAbsentVsanIsNoSuchVsan) {
  EXPECT_EQ(ask(kOpVsanRow, kMsgGet, row_payload(11)).status, kStatusNoVsan);
  EXPECT_EQ(ask(kOpVsanRow, kMsgGet, row_payload(0)).status, kStatusNoVsan);
  EXPECT_EQ(ask(kOpVsanRow, kMsgGet, row_payload(4095)).status, kStatusNoVsan);
}

TEST_F(VsanTable, GetAnswersTheRowInItsEnvelope) {
  const message_reply reply = ask(kOpVsanRow, kMsgGet, row_payload(10));
  ASSERT_EQ(reply.status, 0);
  ASSERT_EQ(reply.payload.size(), 2632U);
  const bytes head(reply.payload.begin() + 520, reply.payload.begin() + 520 + 76);
  const bytes expected{0, 0, 0, 10, 0, 0, 0, 1, 0, 0, 0,   1,   0,   0,   8,   0x40, 0, 0, 0, 2, 0, 0, 0, 0x64, 0, 0,
                       0, 2, 0, 0,  0, 1, 0, 0, 0, 1, 'a', 'l', 'p', 'h', 'a', 0,    0, 0, 0, 0, 0, 0, 0, 0,    0, 0,
                       0, 0, 0, 0,  0, 0, 0, 0, 0, 0, 0,   0,   0,   0,   0,   0,    0, 0, 0, 0, 0, 0, 7, 0xD0};
  EXPECT_EQ(head, expected);
}

TEST_F(VsanTable, GetNextWalksInOrderAndEndsAfterTheLastRow) {
  std::vector<uint32_t> seen;
  uint32_t at = 0;
  message_reply reply;
  while ((reply = ask(kOpVsanRow, kMsgGetNext, row_payload(at))).status == 0) {
    at = word_at(reply, 520);
    seen.push_back(at);
    ASSERT_LE(seen.size(), 4U);
  }
  EXPECT_EQ(seen, (std::vector<uint32_t>{1, 10, 20, 30}));
  EXPECT_EQ(reply.status, kStatusNoEntry);
  EXPECT_EQ(ask(kOpVsanRow, kMsgGetNext, row_payload(UINT32_MAX)).status, kStatusNoEntry);
}

TEST_F(VsanTable, SetOfAnAbsentVsanWithStatusActiveCreatesItWithDefaults) {
  ASSERT_EQ(set_row(new_row(50, "new")), 0);
  const vsanEntry row = row_of(50);
  EXPECT_STREQ(row.vsanName, "new");
  EXPECT_EQ(row.vsanInorderDelivery, 2U);
  EXPECT_EQ(row.vsanNetworkDropLatency, 2000U);
  EXPECT_EQ(row.vsanRowStatus, 1U);
  EXPECT_EQ(row.vsanOperState, 2U);
  EXPECT_EQ(word_at(ask(kOpVsanNumber, kMsgGet, {}), 0), 5U);
}

TEST_F(VsanTable, SetOfAnAbsentVsanWithAnotherStatusIsRefused) {
  for (const uint32_t status : {0U, 2U, 3U, 4U, 5U, 6U}) {
    vsanEntry row = new_row(50, "new");
    row.vsanRowStatus = status;
    EXPECT_REFUSED(set_row(row), kStatusNoVsan);
  }
}

TEST_F(VsanTable, SetOfAPresentVsanReplacesItsRow) {
  vsanEntry row = row_of(10);
  memset(row.vsanName, 0, sizeof row.vsanName);
  strcpy(row.vsanName, "renamed");
  row.vsanMtu = 1024;
  row.vsanInteropMode = 3;
  row.vsanInorderDelivery = 1;
  row.vsanNetworkDropLatency = 60000;
  ASSERT_EQ(set_row(row), 0);
  vsanEntry after = row_of(10);
  memcpy(after.rest, row.rest, sizeof after.rest);  // it holds what was read
  EXPECT_EQ(row_payload(after), row_payload(row));
}

TEST_F(VsanTable, ZeroInOrderAndZeroLatencyLeaveAPresentRowsValues) {
  vsanEntry row = row_of(10);
  row.vsanInorderDelivery = 1;
  row.vsanNetworkDropLatency = 777;
  ASSERT_EQ(set_row(row), 0);
  row.vsanInorderDelivery = 0;
  row.vsanNetworkDropLatency = 0;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(row_of(10).vsanInorderDelivery, 1U);
  EXPECT_EQ(row_of(10).vsanNetworkDropLatency, 777U);
}

TEST_F(VsanTable, InteropZeroIsKeptAsTheDefaultMode) {
  vsanEntry row = row_of(10);
  row.vsanInteropMode = 0;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(row_of(10).vsanInteropMode, 100U);
}

TEST_F(VsanTable, DeleteOfAnAbsentVsanIsNoSuchVsan) {
  EXPECT_REFUSED(delete_row(11), kStatusNoVsan);
}

TEST_F(VsanTable, DeleteOfTheDefaultVsanIsRefused) {
  EXPECT_REFUSED(delete_row(1), kStatusVsanConflict);
}

TEST_F(VsanTable, DeleteSendsInterfacesHomeAndTakesTimersAlong) {
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(7, 3000, 1, 1, 10)).status, 0);
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_EQ(ask(kOpVsanRow, kMsgGet, row_payload(10)).status, kStatusNoVsan);
  for (const uint32_t index : {101U, 102U, 103U}) {
    EXPECT_EQ(word_at(ask(kOpInterfaceVsan, kMsgGet, interface_payload(index)), 4), 1U) << index;
    EXPECT_FALSE(find_interface(managers.state, index)->is_static) << index;
  }
  ASSERT_EQ(set_row(new_row(10, "again")), 0);
  EXPECT_EQ(word_at(ask(kOpFcTimer, kMsgGet, timer_payload(7, 0, 1, 0, 10)), 4), 2000U);
}

TEST_F(VsanTable, ANameThatAnotherVsanHasIsRefused) {
  EXPECT_REFUSED(set_row(new_row(50, "beta")), kStatusVsanConflict);
  vsanEntry row = row_of(10);
  memcpy(row.vsanName, "beta\0", 6);
  EXPECT_REFUSED(set_row(row), kStatusVsanConflict);
}

TEST_F(VsanTable, ANameIsFreeAgainAfterARenameAndAfterADelete) {
  vsanEntry row = row_of(10);
  memcpy(row.vsanName, "other", 6);
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(set_row(new_row(50, "alpha")), 0);
  ASSERT_EQ(delete_row(20), 0);
  EXPECT_EQ(set_row(new_row(51, "beta")), 0);
}

TEST_F(VsanTable, SeveralVsansMayBeWithoutAName) {
  EXPECT_EQ(set_row(new_row(50, "")), 0);
  EXPECT_EQ(set_row(new_row(51, "")), 0);
  EXPECT_STREQ(row_of(51).vsanName, "");
}

TEST_F(VsanTable, ANameMayHave32OctetsOfAnyKindButABlank) {
  const std::string longest =
      "\xC3\xA4"
      "0123456789abcdefghijklmnopqrst";
  ASSERT_EQ(longest.size(), 32U);
  ASSERT_EQ(set_row(new_row(50, longest)), 0);
  EXPECT_EQ(row_of(50).vsanName, longest);
  close();
  open();
  EXPECT_EQ(row_of(50).vsanName, longest);
}

TEST_F(VsanTable, ANameIsUtf8WithoutControlCharacters) {
  for (const char *name :
       {"\x1B[2J", "a\x7F", "a\tb", "a\xFF", "\x80", "\xC3", "\xC3(", "\xC0\xAF", "\xC2\x85", "\xE0\x80\xAF",
        "\xED\xA0\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xE2\x82"}) {
    SCOPED_TRACE(testing::PrintToString(name));
    EXPECT_REFUSED(set_row(new_row(50, name)), kStatusNameMalformed);
  }
  for (const char *name : {"\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
                           "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "~", "caf\xC3\xA9-\xE2\x82\xAC"}) {
    EXPECT_EQ(set_row(new_row(50, name)), 0) << testing::PrintToString(name);
  }
}

TEST_F(VsanTable, ANameFromBeforeTheRuleIsKeptUntilItIsChanged) {
  close();
  edit_store("UPDATE vsan SET name = CAST(x'1B61FF' AS TEXT) WHERE id = 10");
  open();
  const vsanEntry old = row_of(10);
  ASSERT_STREQ(old.vsanName,
               "\x1B"
               "a\xFF");
  vsanEntry row = old;
  row.vsanMtu = 1000;
  EXPECT_EQ(set_row(row), 0);  // another column
  vsanEntry bare = new_row(10,
                           "\x1B"
                           "a\xFF");
  EXPECT_EQ(set_row(bare), 0);  // a client that does not carry the copy
  vsanEntry elsewhere = new_row(50,
                                "\x1B"
                                "a\xFF");
  EXPECT_REFUSED(set_row(elsewhere), kStatusNameMalformed);

  row = row_of(10);
  vsanEntry renamed = row;
  strcpy(renamed.vsanName, "sound");
  EXPECT_EQ(set_row(renamed), 0);
  EXPECT_EQ(set_row(row), 0);  // taken back, as a refused SET is
  EXPECT_STREQ(row_of(10).vsanName,
               "\x1B"
               "a\xFF");
  row = row_of(10);
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_EQ(set_row(row), 0);  // and so is a DELETE
  strcpy(row.vsanName, "worse\x1B");
  EXPECT_REFUSED(set_row(row), kStatusNameMalformed);
}

TEST_F(VsanTable, ANameTooLongWithoutItsEndOrWithABlankIsRefused) {
  EXPECT_REFUSED(set_row(new_row(50, std::string(33, 'n'))), kStatusNameRange);
  EXPECT_REFUSED(set_row(new_row(50, std::string(36, 'n'))), kStatusNameMalformed);
  EXPECT_REFUSED(set_row(new_row(50, "two words")), kStatusNameMalformed);
}

TEST_F(VsanTable, OperationalStateAndTrailingBytesOfAClientAreNotTaken) {
  vsanEntry row = row_of(30);
  row.vsanOperState = 1;
  memset(row.rest, 0xAA, sizeof row.rest);
  memcpy(row.vsanName, "gamma\0leftover", 15);
  ASSERT_EQ(set_row(row), 0);
  const vsanEntry after = row_of(30);
  EXPECT_EQ(after.vsanOperState, 2U);
  EXPECT_NE(after.rest[0], 0xAA);
  EXPECT_EQ(after.rest[2031], 0);
  EXPECT_EQ(after.vsanName[7], 0);
}

struct bad_value {
  const char *what;
  uint32_t vsanEntry::*field;
  uint32_t value;
  int status;
};
class BadRow : public switch_under_test, public testing::WithParamInterface<bad_value> {};

TEST_P(BadRow, IsRefusedOnCreateAndOnReplaceAndChangesNothing) {
  vsanEntry created = new_row(50, "new");
  created.*GetParam().field = GetParam().value;
  EXPECT_REFUSED(set_row(created), GetParam().status);
  EXPECT_EQ(log.size(), 1U);
  EXPECT_EQ(managers.malformed, 1U);
  if (GetParam().field != &vsanEntry::vsanIndex) {
    vsanEntry replaced = row_of(10);
    replaced.*GetParam().field = GetParam().value;
    EXPECT_REFUSED(set_row(replaced), GetParam().status);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fields, BadRow,
    testing::Values(bad_value{"Index0", &vsanEntry::vsanIndex, 0, kStatusVsanRange},
                    bad_value{"Index4095", &vsanEntry::vsanIndex, 4095, kStatusVsanReserved},
                    bad_value{"Index4096", &vsanEntry::vsanIndex, 4096, kStatusVsanRange},
                    bad_value{"IndexAllOnes", &vsanEntry::vsanIndex, UINT32_MAX, kStatusVsanRange},
                    bad_value{"Media0", &vsanEntry::vsanMediaType, 0, kStatusMediaRange},
                    bad_value{"Media3", &vsanEntry::vsanMediaType, 3, kStatusMediaRange},
                    bad_value{"Admin0", &vsanEntry::vsanAdminState, 0, kStatusAdminStateRange},
                    bad_value{"Admin3", &vsanEntry::vsanAdminState, 3, kStatusAdminStateRange},
                    bad_value{"Mtu255", &vsanEntry::vsanMtu, 255, kStatusMtuRange},
                    bad_value{"Mtu2113", &vsanEntry::vsanMtu, 2113, kStatusMtuRange},
                    bad_value{"Balancing0", &vsanEntry::vsanLoadBalancingType, 0, kStatusLoadBalancingRange},
                    bad_value{"Balancing257", &vsanEntry::vsanLoadBalancingType, 257, kStatusLoadBalancingRange},
                    bad_value{"Interop5", &vsanEntry::vsanInteropMode, 5, kStatusInteropRange},
                    bad_value{"Interop101", &vsanEntry::vsanInteropMode, 101, kStatusInteropRange},
                    bad_value{"Inorder3", &vsanEntry::vsanInorderDelivery, 3, kStatusInorderRange},
                    bad_value{"Latency60001", &vsanEntry::vsanNetworkDropLatency, 60001, kStatusLatencyRange},
                    bad_value{"RowStatus7", &vsanEntry::vsanRowStatus, 7, kStatusRowStatusRange}),
    [](const testing::TestParamInfo<bad_value> &info) { return std::string(info.param.what); });

TEST_F(VsanTable, MalformedRequestsAreRefusedCountedAndLogged) {
  EXPECT_REFUSED(ask(kOpVsanRow, kMsgSet, bytes(2631)).status, kStatusWrongSize);
  EXPECT_REFUSED(ask(kOpVsanRow, kMsgGet, {}).status, kStatusWrongSize);
  EXPECT_REFUSED(ask(kOpVsanNumber, kMsgGet, bytes(4)).status, kStatusWrongSize);
  EXPECT_REFUSED(ask(kOpVsanRow, kMsgKdxGet, row_payload(1)).status, kStatusBadMessageType);
  EXPECT_REFUSED(ask(kOpVsanNumber, kMsgSet, {}).status, kStatusBadMessageType);
  EXPECT_REFUSED(ask(4242, kMsgGet, {}).status, kStatusUnknownOpcode);
  EXPECT_EQ(managers.malformed, 6U);
  ASSERT_EQ(log.size(), 6U);
  EXPECT_NE(log[0].find("payload of 2631 bytes instead of 2632"), std::string::npos);
  EXPECT_NE(log[5].find("4242"), std::string::npos);
}

TEST_F(VsanTable, AVsanIsUpWhenItIsActiveAndHasAnInterfaceThatIsUp) {
  EXPECT_EQ(row_of(10).vsanOperState, 1U);
  EXPECT_EQ(row_of(20).vsanOperState, 2U);  // a member that is up, but suspended
  EXPECT_EQ(row_of(30).vsanOperState, 2U);  // active without members
  EXPECT_EQ(row_of(1).vsanOperState, 2U);   // active, its member down
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 30)).status, 0);
  EXPECT_EQ(row_of(30).vsanOperState, 1U);
  EXPECT_EQ(row_of(10).vsanOperState, 1U);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(102, 30)).status, 0);
  EXPECT_EQ(row_of(10).vsanOperState, 2U);
  vsanEntry row = row_of(20);
  row.vsanAdminState = 1;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(row_of(20).vsanOperState, 1U);
}

TEST_F(VsanTable, LastChangeFollowsEveryChangeOfARowAndNothingElse) {
  const auto changed = [&] { return managers.state.settings.changed_seconds; };
  const auto forget = [&] { managers.state.settings.changed_seconds = 1000; };
  ASSERT_EQ(word_at(ask(kOpTableLastChange, kMsgGet, {}), 0), 1000U);
  ASSERT_EQ(set_row(row_of(10)), 0);  // the same row
  EXPECT_EQ(changed(), 1000U);
  ASSERT_EQ(ask(kOpInorderDelivery, kMsgSet, words({1})).status, 0);
  EXPECT_EQ(changed(), 1000U);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(103, 30)).status, 0);  // down: no row reads differently
  EXPECT_EQ(changed(), 1000U);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(102, 30)).status, 0);  // VSAN 30 comes up
  EXPECT_GT(changed(), 1000U);
  forget();
  ASSERT_EQ(set_row(new_row(50, "new")), 0);
  EXPECT_GT(changed(), 1000U);
  forget();
  ASSERT_EQ(delete_row(50), 0);
  EXPECT_GT(changed(), 1000U);
  EXPECT_EQ(word_at(ask(kOpTableLastChange, kMsgGet, {}), 0), changed());
  EXPECT_EQ(word_at(ask(kOpTableLastChange, kMsgGet, {}), 4), managers.state.settings.changed_microseconds);
}

using InterfaceTable = switch_under_test;

TEST_F(InterfaceTable, GetOfAnAbsentInterfaceAndGetNextPastTheLastAreNoEntry) {
  EXPECT_EQ(ask(kOpInterfaceVsan, kMsgGet, interface_payload(999)).status, kStatusNoEntry);
  EXPECT_EQ(ask(kOpInterfaceVsan, kMsgGetNext, interface_payload(105)).status, kStatusNoEntry);
}

TEST_F(InterfaceTable, GetNextWalksInOrder) {
  uint32_t at = 0;
  for (const uint32_t expected : {101U, 102U, 103U, 104U, 105U}) {
    at = word_at(ask(kOpInterfaceVsan, kMsgGetNext, interface_payload(at)), 0);
    EXPECT_EQ(at, expected);
  }
  EXPECT_EQ(word_at(ask(kOpInterfaceNumber, kMsgGet, {}), 0), 5U);
}

TEST_F(InterfaceTable, AnswersDoNotEchoWhatWasSent) {
  const message_reply reply = ask(kOpInterfaceVsan, kMsgGet, words({104, 77, 88, 99}));
  EXPECT_EQ(reply.payload, words({104, 20, 0, 1}));
}

TEST_F(InterfaceTable, AMoveToAnAbsentVsanIsNoSuchVsan) {
  for (const uint32_t vsan : {0U, 11U, 4095U, UINT32_MAX}) {
    EXPECT_REFUSED(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, vsan)).status, kStatusNoVsan);
  }
}

TEST_F(InterfaceTable, AMoveOfAnAbsentInterfaceIsNoEntry) {
  EXPECT_REFUSED(ask(kOpInterfaceVsan, kMsgSet, interface_payload(999, 10)).status, kStatusNoEntry);
}

using Scalars = switch_under_test;

TEST_F(Scalars, LatenciesAreReadAndSetByType) {
  EXPECT_EQ(ask(kOpLatency, kMsgGet, words({17, 0, 0})).payload, words({17, 500, 0}));
  EXPECT_EQ(ask(kOpLatency, kMsgGet, words({18, 0, 0})).payload, words({18, 2000, 0}));
  EXPECT_EQ(ask(kOpLatency, kMsgSet, words({17, 0, 0})).status, 0);
  EXPECT_EQ(ask(kOpLatency, kMsgSet, words({18, 60000, 7})).status, 0);
  EXPECT_EQ(word_at(ask(kOpLatency, kMsgGet, words({17, 0, 0})), 4), 0U);
  EXPECT_EQ(word_at(ask(kOpLatency, kMsgGet, words({18, 0, 0})), 4), 60000U);
  EXPECT_REFUSED(ask(kOpLatency, kMsgSet, words({18, 60001, 0})).status, kStatusLatencyRange);
  EXPECT_REFUSED(ask(kOpLatency, kMsgSet, words({16, 1, 0})).status, kStatusLatencyType);
  EXPECT_EQ(ask(kOpLatency, kMsgGet, words({19, 0, 0})).status, kStatusLatencyType);
}

TEST_F(Scalars, InorderDeliveryIsOneOrTwo) {
  EXPECT_EQ(ask(kOpInorderDelivery, kMsgGet, {}).payload, words({2}));
  EXPECT_EQ(ask(kOpInorderDelivery, kMsgSet, words({1})).status, 0);
  EXPECT_EQ(ask(kOpInorderDelivery, kMsgGet, {}).payload, words({1}));
  EXPECT_REFUSED(ask(kOpInorderDelivery, kMsgSet, words({0})).status, kStatusInorderRange);
  EXPECT_REFUSED(ask(kOpInorderDelivery, kMsgSet, words({3})).status, kStatusInorderRange);
}

TEST_F(Scalars, TheIdentityServiceAnswersTheWorldWideName) {
  const message_reply reply = ask_of(identity_handle, kOpSwitchWwn, kMsgGet, {});
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.payload, (bytes{0x20, 0, 2, 1, 2, 3, 4, 5}));
  EXPECT_EQ(ask_of(identity_handle, kOpVsanNumber, kMsgGet, {}).status, kStatusUnknownOpcode);
  EXPECT_EQ(ask_of(identity_handle, kOpSwitchWwn, kMsgSet, {}).status, kStatusBadMessageType);
}

TEST_F(Scalars, TheWorldWideNameIsChanged) {
  const auto change = [&](const bytes &wwn) {
    return ask_of(identity_handle, kOpSwitchWwnChange, kMsgSet, wwn).status;
  };
  EXPECT_EQ(change({0x50, 1, 2, 3, 4, 5, 6, 7}), 0);
  close();
  open();
  EXPECT_EQ(ask_of(identity_handle, kOpSwitchWwn, kMsgGet, {}).payload, (bytes{0x50, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_REFUSED(change(bytes(8)), kStatusSwitchWwn);
  EXPECT_REFUSED(change(bytes(7, 1)), kStatusWrongSize);
}

TEST_F(Scalars, TheSwitchIsRenamed) {
  const auto rename = [&](const std::string &name) {
    bytes payload(sizeof(switch_name));
    std::copy_n(name.begin(), std::min(name.size(), payload.size()), payload.begin());
    return ask_of(identity_handle, kOpSwitchName, kMsgSet, payload).status;
  };
  const auto name = [&] {
    const bytes payload = ask_of(identity_handle, kOpSwitchName, kMsgGet, {}).payload;
    EXPECT_EQ(payload.size(), sizeof(switch_name));
    return std::string(reinterpret_cast<const char *>(payload.data()));
  };
  EXPECT_EQ(name(), "under-test");
  EXPECT_EQ(rename("edge switch \xC3\xA9"), 0);
  close();
  open();
  EXPECT_EQ(name(), "edge switch \xC3\xA9");
  EXPECT_EQ(rename(std::string(255, 'n')), 0);
  EXPECT_EQ(name(), std::string(255, 'n'));
  for (const std::string &refused : {std::string(256, 'n'), std::string("a\nb"), std::string("a\xFF")}) {
    EXPECT_REFUSED(rename(refused), kStatusSwitchName);
  }
  EXPECT_EQ(rename(""), 0);  // as a topology may have it
}

}  // namespace
