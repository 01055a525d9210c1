// The set lists: one PDU, one row, one message.
#include <errno.h>
#include <string.h>

#include "memory_ledger.h"
#include "module_test.h"
#include "objects/object_magic.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

using namespace mib;

class SetLists : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    vsanEntry &row = fake::add_vsan(10);
    row.vsanInorderDelivery = 1;
    row.vsanNetworkDropLatency = 3000;
    fake::add_vsan(20);
  }
  void TearDown() override {
    for (oid vsan : {9, 10, 11, 20}) {
      handle_free_vsanEntryList(name_of(vsan).data(), 15);
    }
    ModuleTest::TearDown();
  }
  static name_t name_of(oid vsan) { return vsan_cell(kName, vsan); }
  // RESERVE2 of a column.
  static int gather(int column, oid vsan, const void *value, size_t length) {
    name_t name = name_of(vsan);
    ++fake::the().pdu;
    return handle_onepdu_undo_vsanEntryList(column, name.data(), name.size(), value, length);
  }
  static int gather_word(int column, oid vsan, long value) { return gather(column, vsan, &value, sizeof value); }
  static int send(oid vsan) { return handle_set_vsanEntryList(name_of(vsan).data(), 15); }
  static int undo(oid vsan) { return handle_undo_vsanEntryList(name_of(vsan).data(), 15); }
  static int release(oid vsan) { return handle_free_vsanEntryList(name_of(vsan).data(), 15); }
  static std::vector<fake::exchange> writes() {
    std::vector<fake::exchange> out;
    for (const fake::exchange &e : fake::the().sent(149)) {
      if (e.msg_type >= 3) {
        out.push_back(e);
      }
    }
    return out;
  }
};

TEST_F(SetLists, FirstColumnListsThePendingRowAndTheRowAsItWas) {
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), 0);
  const vsanEntry *pending = fake::in_list(vsanEntry_list, 10);
  const vsanEntry *saved = fake::in_list(vsanEntry_undo_list, 10);
  ASSERT_NE(pending, nullptr);
  ASSERT_NE(saved, nullptr);
  EXPECT_STREQ(pending->vsanName, "new");
  EXPECT_STREQ(saved->vsanName, "VSAN0010");
  EXPECT_EQ(memcmp(saved, &fake::the().vsans[10], sizeof *saved), 0);
  EXPECT_TRUE(fake::the().traced(
      "handle_onepdu_undo_vsanEntryList(#) : Creating an entry (vsanIndex = 10) in vsanEntry_list\n"));
  EXPECT_TRUE(fake::the().traced(
      "handle_onepdu_undo_vsanEntryList(#):  Adding UNDO entry (vsanIndex= 10 to the vsanEntry_undo_list\n"));
  EXPECT_TRUE(
      fake::the().traced("handle_onepdu_undo_vsanEntryList(#): Ret_code:fmt-0 ***vsanEntry_undo_list added!***\n"));
  EXPECT_TRUE(
      fake::the().traced("handle_onepdu_undo_vsanEntryList(#): Adding entry vsanIndex 10, to vsanEntry_list\n"));
}

TEST_F(SetLists, PendingRowCarriesZeroInInorderDeliveryAndLatencyUnlessThisPduWritesThem) {
  gather(kVsanName, 10, "new", 3);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanInorderDelivery, 0u);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanNetworkDropLatency, 0u);
  EXPECT_EQ(fake::in_list(vsanEntry_undo_list, 10)->vsanInorderDelivery, 1u);
  EXPECT_EQ(fake::in_list(vsanEntry_undo_list, 10)->vsanNetworkDropLatency, 3000u);
  gather_word(kVsanInorderDelivery, 10, 2);
  gather_word(kVsanNetworkDropLatency, 10, 500);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanInorderDelivery, 2u);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanNetworkDropLatency, 500u);
}

TEST_F(SetLists, LaterColumnsStoreTheirValueWithoutAFetch) {
  gather(kVsanName, 10, "new", 3);
  gather_word(kVsanAdminState, 10, 2);
  gather_word(kVsanLoadBalancingType, 10, 1);
  gather_word(kVsanRowStatus, 10, 1);
  EXPECT_EQ(fake::the().sent(149).size(), 1u);
  const vsanEntry *pending = fake::in_list(vsanEntry_list, 10);
  EXPECT_EQ(pending->vsanAdminState, 2u);
  EXPECT_EQ(pending->vsanLoadBalancingType, 1u);
  EXPECT_EQ(pending->vsanRowStatus, 1u);
}

TEST_F(SetLists, InteropModeZeroIsStoredAs100) {
  EXPECT_EQ(gather_word(kVsanInterOperType, 10, 0), 0);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanInteropMode, 100u);
  EXPECT_TRUE(fake::the().traced("handle_onepdu_undo_vsanEntryList(#) vsan:10 InterMode:0 \n"));
  EXPECT_EQ(gather_word(kVsanInterOperType, 10, 3), 0);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanInteropMode, 3u);
}

TEST_F(SetLists, MediaTypeAndMtuAreNotWritableAndUnknownColumnsInconsistent) {
  EXPECT_EQ(gather_word(kVsanMediaType, 10, 1), SNMP_ERR_NOTWRITABLE);
  EXPECT_EQ(gather_word(kVsanMtu, 10, 1), SNMP_ERR_NOTWRITABLE);
  for (int column : {0, 7, 9, 10, 15}) {
    EXPECT_EQ(gather_word(column, 10, 1), SNMP_ERR_INCONSISTENTVALUE) << column;
  }
  EXPECT_EQ(fake::the().count_traced("handle_onepdu_undo_vsanEntryList(#) *** InconsistantName! ***\n"), 5u);
}

TEST_F(SetLists, ANullValueIsRefusedAndRecorded) {
  EXPECT_EQ(gather(kVsanName, 10, nullptr, 3), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x4019001F, 200}}));
}

TEST_F(SetLists, ANameIsBoundedByItsFieldPastTheSettersChecks) {
  const std::string longest(200, 'x');
  EXPECT_EQ(gather(kVsanName, 10, longest.data(), longest.size()), 0);
  const vsanEntry *pending = fake::in_list(vsanEntry_list, 10);
  EXPECT_STREQ(pending->vsanName, std::string(35, 'x').c_str());
  EXPECT_EQ(pending->vsanNetworkDropLatency, 0u);
}

TEST_F(SetLists, AnEmptyNameIsStoredAsOne) {
  EXPECT_EQ(gather(kVsanName, 10, "", 0), 0);
  EXPECT_STREQ(fake::in_list(vsanEntry_list, 10)->vsanName, "");
}

TEST_F(SetLists, FourOctetsAreTakenWhateverTheLengthSays) {
  const uint8_t value[8] = {0, 0, 0, 2, 9, 9, 9, 9};
  uint32_t word;
  memcpy(&word, value, sizeof word);
  for (size_t length : {0, 1, 3, 4, 5}) {
    gather(kVsanAdminState, 10, value, length);
    EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanAdminState, word) << length;
  }
}

TEST_F(SetLists, AColumnOfAnAbsentVsanFailsWithTheMappedFetchErrorAndListsNothing) {
  EXPECT_EQ(gather(kVsanName, 11, "new", 3), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_TRUE(fake::the().traced("handle_onepdu_undo_vsanEntryList(#) Ret_Code:fmt-40190001 \n"));
  EXPECT_TRUE(fake::the().traced(
      "handle_onepdu_undo_vsanEntryList(#) : No instance returned for UNDO (vsanIndex =11,(row status = 0 )\n"));
}

TEST_F(SetLists, AFetchThatBreaksIsGenErrWithErrnosText) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{-1, ETIMEDOUT, {}, {}}; };
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR);
  EXPECT_TRUE(
      fake::the().traced(std::string("handle_onepdu_undo_vsanEntryList(#) Ret_Code:") + strerror(ETIMEDOUT) + " \n"));
}

TEST_F(SetLists, AnAnswerForAnotherVsanIsABrokenExchange) {
  fake::the().overrule = [](const fake::exchange &) {
    fake::bytes answer(2632, 0);
    answer[523] = 77;
    return fake::reply{0, 0, answer, {}};
  };
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

vsanEntry *save_by_hand(uint32_t vsan) {
  auto *row = static_cast<vsanEntry *>(malloc(sizeof(vsanEntry)));
  *row = fake::make_row(vsan);
  strcpy(row->vsanName, "stale");
  indxobj_add(&vsanEntry_undo_list, row, row);
  return row;
}

TEST_F(SetLists, ARowThatIsSavedAlreadyIsRefreshedAndNotListedTwice) {
  const vsanEntry *saved = save_by_hand(10);
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u);
  EXPECT_EQ(fake::in_list(vsanEntry_undo_list, 10), saved);
  EXPECT_STREQ(saved->vsanName, "VSAN0010");
}

TEST_F(SetLists, AFailedFetchIntoARowThatIsSavedAlreadyUnlistsIt) {
  save_by_hand(11);
  EXPECT_EQ(gather(kVsanName, 11, "new", 3), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

TEST_F(SetLists, AllocationsThatFailAreGenErrRecordedAndListNothing) {
  for (int nth : {1, 2}) {
    fake::the().set_errors.clear();
    fake::fail_calloc(nth);
    EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR) << nth;
    fake::fail_calloc(0);
    EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{1, 584}})) << nth;
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << nth;
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << nth;
  }
}

TEST_F(SetLists, ASavedRowThatCannotBeListedIsFreed) {
  fake::the().fail_at = 2;  // after the fetch
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{1, 584}}));
  EXPECT_TRUE(fake::the().traced("handle_onepdu_undo_vsanEntryList(#) No Mmory! \n"));
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

TEST_F(SetLists, APendingRowThatCannotBeListedIsFreed) {
  fake::the().fail_at = 3;
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u) << "kept until FREE";
}

TEST_F(SetLists, ActionSendsTheWholeRowOnceInTheUsersName) {
  gather(kVsanName, 10, "new", 3);
  gather_word(kVsanAdminState, 10, 2);
  EXPECT_EQ(send(10), 0);
  EXPECT_EQ(send(10), 0);
  ASSERT_EQ(writes().size(), 1u);
  const fake::exchange e = writes()[0];
  EXPECT_EQ(e.msg_type, 3);
  EXPECT_EQ(e.size, 2632u);
  EXPECT_FALSE(e.wants_response);
  EXPECT_EQ(e.user, "operator");
  EXPECT_EQ(e.session, "session-1");
  EXPECT_EQ(e.service, 15);
  EXPECT_EQ(e.timeout, 4);
  EXPECT_EQ(fake::bytes(e.request.begin(), e.request.begin() + 520), fake::bytes(520, 0));
  EXPECT_EQ(fake::bytes(e.request.end() - 4, e.request.end()), fake::bytes(4, 0));
  vsanEntry expected = fake::make_row(10);
  memcpy(expected.vsanName, "new", 4);
  expected.vsanAdminState = 2;
  expected.vsanInorderDelivery = 0;
  expected.vsanNetworkDropLatency = 0;
  const vsanEntry sent = fake::row_of(e.request);
  EXPECT_EQ(memcmp(&sent, &expected, sizeof sent), 0);
  EXPECT_TRUE(
      fake::the().traced("Sending SET req to vsan for vsan = 10 name new mediatype 1 mtu 2112 iod 0 iomode 100 "
                         "loadbtype 2 state 2 nwlatency 0\n"));
  EXPECT_TRUE(fake::the().traced("handle_set_vsanEntryList(#) :SET with vsanIndex = 10, succeeded\n"));
  EXPECT_TRUE(fake::the().traced(
      "handle_set_vsanEntryList(#) : ***No need to send the SET request again for vsanIndex = 10  ***\n"));
  EXPECT_EQ(fake::the().count_traced("handle_set_vsanEntryList(#) name_len:15 \n"), 2u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u) << "saved until COMMIT or FREE";
}

TEST_F(SetLists, ARefusedSendIsRecordedMappedAndNotRepeated) {
  gather(kVsanName, 10, "new", 3);
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.msg_type != 3) {
      return {};
    }
    return fake::reply{0x40190004, 0, {}, {}};
  };
  EXPECT_EQ(send(10), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x40190004, 200}}));
  EXPECT_TRUE(fake::the().traced("handle_set_vsanEntryList(#)SET failed for vsanIndex 10: fmt-40190004\n", 100));
  EXPECT_EQ(send(10), 0);
  EXPECT_EQ(writes().size(), 1u);
}

void list_in_creation(uint32_t vsan) {
  auto *row = static_cast<vsanEntry *>(malloc(sizeof(vsanEntry)));
  *row = fake::make_row(vsan);
  row->vsanRowStatus = 4;
  indxobj_add(&vsanEntry_list, row, row);
}

TEST_F(SetLists, ARowInCreationIsNotSentByAColumn) {
  list_in_creation(11);
  EXPECT_EQ(send(11), 0);
  EXPECT_TRUE(writes().empty());
  EXPECT_NE(fake::in_list(vsanEntry_list, 11), nullptr);
  EXPECT_TRUE(fake::the().traced("handle_set_vsanEntryList(#) Don't Create vsan 11 yet! \n"));
}

TEST_F(SetLists, Vsan9InCreationIsSentAtOnce) {
  list_in_creation(9);
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
  EXPECT_EQ(send(9), 0);
  ASSERT_EQ(writes().size(), 1u);
  EXPECT_EQ(fake::row_of(writes()[0].request).vsanRowStatus, 4u) << "as a plain SET, its row status as listed";
  EXPECT_EQ(fake::in_list(vsanEntry_list, 9), nullptr);
}

TEST_F(SetLists, UndoSendsTheSavedRowAndDropsBoth) {
  gather(kVsanName, 10, "new", 3);
  send(10);
  EXPECT_EQ(undo(10), 0);
  ASSERT_EQ(writes().size(), 2u);
  EXPECT_STREQ(fake::row_of(writes()[1].request).vsanName, "VSAN0010");
  EXPECT_EQ(writes()[1].msg_type, 3);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_TRUE(
      fake::the().traced("Sending SET req to vsan for vsan = 10 name VSAN0010 mediatype 1 mtu 2112 iod 1 iomode 100 "
                         "loadbtype 2 iod 1 nwlatency 3000\n"));
  EXPECT_TRUE(fake::the().traced("handle_undo_vsanEntryList(#) :SET with vsanIndex = 10, succeeded\n"));
}

TEST_F(SetLists, UndoDropsAPendingRowThatWasNeverSent) {
  gather(kVsanName, 10, "new", 3);
  EXPECT_EQ(undo(10), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(writes().size(), 1u);
}

TEST_F(SetLists, UndoWithoutASavedRowIsNoError) {
  EXPECT_EQ(undo(10), 0);
  EXPECT_TRUE(writes().empty());
  EXPECT_TRUE(fake::the().traced(
      "handle_undo_vsanEntryList : Could not get the entry for UNDO from UNDO list for instance vsanIndex = 10\n"));
}

TEST_F(SetLists, ARefusedUndoIsRecordedAndMapped) {
  gather(kVsanName, 10, "new", 3);
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{5, 0, {}, {}}; };
  EXPECT_EQ(undo(10), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced("SET failed for vsanIndex 10: fmt-5\n", 100));
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{5, 200}}));
}

TEST_F(SetLists, FreeDropsBothRowsAlsoWhenActionNeverRan) {
  gather(kVsanName, 10, "new", 3);
  EXPECT_EQ(release(10), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_EQ(release(10), 0) << "nothing listed is no error";
}

TEST_F(SetLists, AnOidThatIsTooShortOrTooLongMeansVsan0) {
  fake::add_vsan(0);
  for (size_t length : {14, 16}) {
    name_t name = root({1, 1, 3, 1, 2, 10, 10});
    EXPECT_EQ(handle_onepdu_undo_vsanEntryList(kVsanName, name.data(), length, "n", 1), 0);
    EXPECT_NE(fake::in_list(vsanEntry_list, 0), nullptr);
    EXPECT_EQ(handle_free_vsanEntryList(name.data(), length), 0);
  }
}

TEST_F(SetLists, TheAgentsOidIsNotRewritten) {
  name_t name = name_of(10);
  const name_t before = name;
  handle_onepdu_undo_vsanEntryList(kVsanName, name.data(), name.size(), "n", 1);
  EXPECT_EQ(name, before);
}

TEST_F(SetLists, RowsOfSeveralVsansAreKeptApart) {
  gather(kVsanName, 10, "ten", 3);
  gather(kVsanName, 20, "twenty", 6);
  EXPECT_EQ(send(20), 0);
  EXPECT_STREQ(fake::row_of(writes()[0].request).vsanName, "twenty");
  EXPECT_EQ(send(10), 0);
  EXPECT_STREQ(fake::row_of(writes()[1].request).vsanName, "ten");
}

TEST_F(SetLists, ARowWhoseActionWasNeverCalledIsNotSentByTheNextPdu) {
  gather(kVsanName, 10, "old", 3);
  const varbind name = octets(name_of(10), "");
  EXPECT_EQ(mini::phase(set_vsanName, UNDO, name), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 1u);
  gather_word(kVsanAdminState, 10, 2);
  EXPECT_EQ(send(10), 0);
  ASSERT_EQ(writes().size(), 1u);
  EXPECT_STREQ(fake::row_of(writes()[0].request).vsanName, "VSAN0010");
}

TEST_F(SetLists, ANameThatIsLongerThanItsFieldIsCutToIt) {
  for (const size_t size : {35, 36, 37, 40}) {
    const std::string name(size, 'n');
    EXPECT_EQ(gather(kVsanName, 10, name.data(), name.size()), 0);
    EXPECT_EQ(fake::in_list(vsanEntry_list, 10)->vsanName, std::string(35, 'n')) << size;
  }
}

TEST_F(SetLists, AnAnswerForAnotherVsanUnlistsTheRowThatWasSavedAlready) {
  save_by_hand(10);
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    fake::exchange other = e;
    other.request[523] = 20;
    return fake::answer_of_managers(other);
  };
  EXPECT_EQ(gather(kVsanName, 10, "new", 3), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  const std::string why = strerror(EPROTO);
  EXPECT_TRUE(fake::the().traced("handle_onepdu_undo_vsanEntryList(#) Ret_Code:" + why + " \n"));
}

int undo_name(oid vsan) {
  return mini::phase(set_vsanName, UNDO, octets(vsan_cell(kName, vsan), ""));
}

TEST_F(SetLists, UndoKeepsTheRowsOfEveryVsanThatThereCanBeForItsRowStatus) {
  for (const uint32_t vsan : {1u, 63u, 64u, 455u, 456u, 4095u}) {
    fake::add_vsan(vsan);
    EXPECT_EQ(gather(kVsanName, vsan, "new", 3), 0);
    EXPECT_EQ(undo_name(vsan), 0);
    EXPECT_EQ(fake::listed(vsanEntry_list), 1u) << vsan;
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u) << vsan;
    forget_finished_pdu(name_of(vsan).data(), 15);
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << vsan;
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << vsan;
  }
}

TEST_F(SetLists, UndoDropsTheRowsOfANumberAboveThemAtOnce) {
  for (const uint32_t vsan : {4096u, 4103u, 4500u, 1000000u}) {
    fake::add_vsan(vsan);
    EXPECT_EQ(gather(kVsanName, vsan, "new", 3), 0);
    EXPECT_EQ(undo_name(vsan), 0);
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << vsan;
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << vsan;
  }
}

TEST_F(SetLists, UnloadingDropsWhatColumnsOfEveryVsanLeft) {
  for (const uint32_t vsan : {1u, 2048u, 4095u}) {
    fake::add_vsan(vsan);
    EXPECT_EQ(gather(kVsanName, vsan, "new", 3), 0);
  }
  drop_all_rows_of_columns();
  EXPECT_EQ(fake::not_given_back().rows, 0);
}

}  // namespace
