// Creating, re-applying and deleting VSANs.
#include <errno.h>
#include <string.h>

#include "memory_ledger.h"
#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;

name_t status_cell(oid vsan) {
  return vsan_cell(kRowStatus, vsan);
}

class RowStatus : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_vsan(10);
  }
  // Looks the row up as the agent does before RESERVE1; null when it is absent.
  static u_char *look_up(oid vsan) {
    struct variable vp = {};
    name_t name = status_cell(vsan);
    vp.magic = 11;
    vp.namelen = 14;
    std::copy(name.begin(), name.begin() + 14, vp.name);
    name.resize(MAX_OID_LEN);
    size_t length = 15, var_len = 0;
    WriteMethod *method = nullptr;
    ++fake::the().pdu;
    return get_vsanEntry(&vp, name.data(), &length, 1, &var_len, &method);
  }
  static int run(int action, oid vsan, long value, u_char *current = nullptr) {
    return mini::phase(set_vsanRowStatus, action, integer(status_cell(vsan), value), current);
  }
  static void release(oid vsan) { run(FREE, vsan, 1); }
  static std::vector<std::pair<int, vsanEntry>> writes() {
    std::vector<std::pair<int, vsanEntry>> out;
    for (const fake::exchange &e : fake::the().sent(149)) {
      if (e.msg_type >= 3) {
        out.emplace_back(e.msg_type, fake::row_of(e.request));
      }
    }
    return out;
  }
};

// The whole table: request, VSAN present or absent, phase.
struct chart_row {
  const char *name;
  long request;
  bool present;
  int reserve1;
  size_t pending;  // listed after RESERVE1
  size_t saved;
  int action;
  std::vector<int> sent;       // message types after ACTION
  std::vector<int> sent_undo;  // message types of UNDO
};

class RowStatusChart : public RowStatus, public ::testing::WithParamInterface<chart_row> {};

TEST_P(RowStatusChart, WithCommit) {
  const chart_row &row = GetParam();
  const oid vsan = row.present ? 10 : 11;
  u_char *current = look_up(vsan);
  ASSERT_EQ(current != nullptr, row.present);
  EXPECT_EQ(run(RESERVE1, vsan, row.request, current), row.reserve1);
  EXPECT_EQ(fake::listed(vsanEntry_list), row.pending);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), row.saved);
  if (row.reserve1 != 0) {
    release(vsan);
    EXPECT_TRUE(writes().empty());
    return;
  }
  EXPECT_EQ(run(RESERVE2, vsan, row.request, current), 0);
  EXPECT_EQ(run(ACTION, vsan, row.request, current), row.action);
  std::vector<int> sent;
  for (const auto &w : writes()) {
    sent.push_back(w.first);
  }
  EXPECT_EQ(sent, row.sent);
  EXPECT_EQ(run(COMMIT, vsan, row.request, current), 0);
  EXPECT_EQ(writes().size(), row.sent.size());
}

TEST_P(RowStatusChart, WithUndo) {
  const chart_row &row = GetParam();
  if (row.reserve1 != 0) {
    return;  // the agent frees, see above
  }
  const oid vsan = row.present ? 10 : 11;
  const auto before = fake::the().vsans;
  u_char *current = look_up(vsan);
  run(RESERVE1, vsan, row.request, current);
  run(RESERVE2, vsan, row.request, current);
  run(ACTION, vsan, row.request, current);
  const size_t so_far = writes().size();
  EXPECT_EQ(run(UNDO, vsan, row.request, current), 0);
  std::vector<int> sent;
  for (size_t i = so_far; i < writes().size(); ++i) {
    sent.push_back(writes()[i].first);
  }
  EXPECT_EQ(sent, row.sent_undo);
  ASSERT_EQ(fake::the().vsans.size(), before.size());
  EXPECT_EQ(memcmp(&fake::the().vsans[10], &before.at(10), sizeof(vsanEntry)), 0) << "the old row is restored";
}

TEST_P(RowStatusChart, WithFree) {
  const chart_row &row = GetParam();
  const oid vsan = row.present ? 10 : 11;
  u_char *current = look_up(vsan);
  run(RESERVE1, vsan, row.request, current);
  EXPECT_EQ(run(FREE, vsan, row.request, current), 0);
  EXPECT_TRUE(writes().empty());
}

INSTANTIATE_TEST_SUITE_P(
    , RowStatusChart,
    ::testing::Values(chart_row{"CreateAndGoAbsent", 4, false, 0, 1, 0, 0, {3}, {4}},
                      chart_row{"CreateAndGoPresent", 4, true, SNMP_ERR_INCONSISTENTVALUE, 0, 0, 0, {}, {}},
                      chart_row{"ActivePresent", 1, true, 0, 0, 1, 0, {3}, {3}},
                      chart_row{"ActiveAbsent", 1, false, 0, 0, 0, SNMP_ERR_INCONSISTENTVALUE, {}, {}},
                      chart_row{"DestroyPresent", 6, true, 0, 0, 1, 0, {4}, {3}},
                      chart_row{"DestroyAbsent", 6, false, 0, 0, 0, 0, {}, {}},
                      chart_row{"NotInServicePresent", 2, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"NotInServiceAbsent", 2, false, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"NotReadyPresent", 3, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"CreateAndWaitPresent", 5, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"CreateAndWaitAbsent", 5, false, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"ZeroPresent", 0, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"SevenPresent", 7, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"NegativePresent", -1, true, SNMP_ERR_WRONGVALUE, 0, 0, 0, {}, {}},
                      chart_row{"TooLargePresent",
                                sizeof(long) == 8 ? static_cast<long>(0x100000001LL) : 257,
                                true,
                                SNMP_ERR_WRONGVALUE,
                                0,
                                0,
                                0,
                                {},
                                {}}),
    [](const auto &info) { return info.param.name; });

TEST_F(RowStatus, WrongTypeIsToldOnStandardErrorAndTraced) {
  capture();
  EXPECT_EQ(mini::phase_raw(set_vsanRowStatus, RESERVE1, status_cell(10), ASN_UNSIGNED, mini::word(1), 4),
            SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), "write to vsanRowStatus not ASN_INTEGER\n");
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) RESERVE1 !ASN_INTEGER \n"));
}

TEST_F(RowStatus, BadLengthIsToldOnStandardError) {
  for (size_t length : {5, 7, 9, 16}) {
    capture();
    EXPECT_EQ(mini::phase_raw(set_vsanRowStatus, RESERVE1, status_cell(10), ASN_INTEGER, mini::word(1), length),
              SNMP_ERR_WRONGLENGTH);
    EXPECT_EQ(captured(), "write to vsanRowStatus: bad length\n") << length;
  }
}

TEST_F(RowStatus, FourOctetsAreAnIntegerToo) {
  EXPECT_EQ(mini::phase_raw(set_vsanRowStatus, RESERVE1, status_cell(11), ASN_INTEGER, mini::word(4), 4), 0);
  release(11);
}

TEST_F(RowStatus, Vsan0And4096AreRefusedBeforeTheValueIsLookedAtAnd4095Passes) {
  EXPECT_EQ(run(RESERVE1, 0, 99), SNMP_ERR_WRONGVALUE);
  EXPECT_EQ(run(RESERVE1, 4096, 99), SNMP_ERR_WRONGVALUE);
  for (const auto &line : fake::the().history) {
    EXPECT_EQ(line.second.find("long_ret"), std::string::npos);
  }
  EXPECT_EQ(run(RESERVE1, 4095, 4), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) set_vsanrowstatus long_ret:4095 \n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) long_ret:4 \n"));
  release(4095);
}

TEST_F(RowStatus, CreationSendsTheDefaultsWithRowStatusActive) {
  EXPECT_EQ(mini::set_pdu({integer(status_cell(5), kCreateAndGo)}).status, 0);
  ASSERT_EQ(writes().size(), 1u);
  vsanEntry expected = {};
  expected.vsanIndex = 5;
  vsanEntry_defaults(&expected);
  expected.vsanRowStatus = 1;
  EXPECT_EQ(memcmp(&writes()[0].second, &expected, sizeof expected), 0);
  EXPECT_STREQ(writes()[0].second.vsanName, "VSAN0005");
}

TEST_F(RowStatus, CreationWithANameBeforeItSendsOneSetThatCarriesBoth) {
  EXPECT_EQ(mini::set_pdu({octets(vsan_cell(kName, 5), "edge"), integer(status_cell(5), kCreateAndGo)}).status, 0);
  ASSERT_EQ(writes().size(), 1u);
  EXPECT_STREQ(writes()[0].second.vsanName, "edge");
  EXPECT_EQ(writes()[0].second.vsanRowStatus, 1u);
  EXPECT_EQ(writes()[0].second.vsanMtu, 2112u);
  EXPECT_TRUE(fake::the().traced("handle_set_vsanEntryList(#) Don't Create vsan 5 yet! \n"));
}

TEST_F(RowStatus, AColumnAfterTheRowStatusSendsTheSameRowASecondTime) {
  EXPECT_EQ(mini::set_pdu({integer(status_cell(5), kCreateAndGo), octets(vsan_cell(kName, 5), "edge")}).status, 0);
  ASSERT_EQ(writes().size(), 2u);
  EXPECT_EQ(writes()[0].first, 3);
  EXPECT_EQ(writes()[1].first, 3);
  EXPECT_EQ(memcmp(&writes()[0].second, &writes()[1].second, sizeof(vsanEntry)), 0);
  EXPECT_STREQ(writes()[0].second.vsanName, "edge");
}

TEST_F(RowStatus, ActiveAfterAColumnReappliesTheRowAsThisPduReadItFirst) {
  EXPECT_EQ(mini::set_pdu({integer(vsan_cell(kAdminState, 10), 2), integer(status_cell(10), kActive)}).status, 0);
  ASSERT_EQ(writes().size(), 2u);
  EXPECT_EQ(writes()[0].second.vsanAdminState, 2u);
  EXPECT_EQ(writes()[1].second.vsanAdminState, 1u) << "the one-row cache serves the whole PDU; setters do not clear it";
}

TEST_F(RowStatus, CreationOfVsan9WithANameIsSentByTheColumnFirst) {
  mini::set_pdu({octets(vsan_cell(kName, 9), "nine"), integer(status_cell(9), kCreateAndGo)});
  ASSERT_FALSE(writes().empty());
  EXPECT_EQ(writes()[0].second.vsanRowStatus, 4u) << "sent at once, still in creation";
}

TEST_F(RowStatus, TwoCreationsOfOneVsanInOnePduAreRefused) {
  const auto result = mini::set_pdu({integer(status_cell(5), kCreateAndGo), integer(status_cell(5), kCreateAndGo)});
  EXPECT_EQ(result.status, SNMP_ERR_GENERR);
  EXPECT_EQ(result.index, 2u);
  EXPECT_TRUE(writes().empty());
}

TEST_F(RowStatus, CreationWhosePendingRowIsGoneIsAnInconsistentName) {
  EXPECT_EQ(run(ACTION, 11, 4), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ***Return Inconsistantname! ***\n"));
}

TEST_F(RowStatus, AFetchThatFailsOtherwiseIsMapped) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{-1, ETIMEDOUT, {}, {}}; };
  EXPECT_EQ(run(ACTION, 10, 6), SNMP_ERR_GENERR);
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0x40190004, 0, {}, {}}; };
  EXPECT_EQ(run(ACTION, 10, 6), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_TRUE(writes().empty());
}

TEST_F(RowStatus, ValuesThatReserve1RefusesDoNothingInAction) {
  EXPECT_EQ(run(ACTION, 10, 5), SNMP_ERR_INCONSISTENTVALUE);
  EXPECT_EQ(run(ACTION, 10, 3), SNMP_ERR_GENERR);
  EXPECT_EQ(run(ACTION, 11, 2), SNMP_ERR_INCONSISTENTVALUE);
  EXPECT_EQ(run(ACTION, 11, 3), SNMP_ERR_GENERR);
  EXPECT_TRUE(writes().empty());
}

TEST_F(RowStatus, ARefusedSendIsRecordedAndMapped) {
  u_char *current = look_up(10);
  run(RESERVE1, 10, 6, current);
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.msg_type < 3) {
      return {};
    }
    return fake::reply{0x40190004, 0, {}, {}};
  };
  EXPECT_EQ(run(ACTION, 10, 6), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x40190004, 200}}));
  EXPECT_TRUE(fake::the().traced("DELETE failed : fmt-40190004\n", 100));
  EXPECT_EQ(run(UNDO, 10, 6), 0) << "a refusal in UNDO is not reported";
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ret_code:str-40190004 \n"));
}

TEST_F(RowStatus, UndoOfCreateAndGoWithASavedRowDropsItAndSendsNothing) {
  auto *row = static_cast<vsanEntry *>(malloc(sizeof(vsanEntry)));
  *row = fake::make_row(10);
  indxobj_add(&vsanEntry_undo_list, row, row);
  EXPECT_EQ(run(UNDO, 10, 4), 0);
  EXPECT_TRUE(writes().empty());
  EXPECT_TRUE(
      fake::the().traced("set_vsanRowStatus(#) User got an error of RS_CREATEANDGO vsan:10 remove undo_list\n"));
}

TEST_F(RowStatus, ACreationThatSentNothingIsNotUndoneByADelete) {
  // RESERVE1 saw no VSAN 10, because the exchange broke; in ACTION it is there, or still cannot be read.
  for (bool readable : {true, false}) {
    EXPECT_EQ(run(RESERVE1, 10, 4, nullptr), 0);
    fake::the().overrule = [&](const fake::exchange &e) -> std::optional<fake::reply> {
      if (readable || e.msg_type != 1) {
        return {};
      }
      return fake::reply{-1, ETIMEDOUT, {}, {}};
    };
    ++fake::the().pdu;
    EXPECT_EQ(run(ACTION, 10, 4), readable ? SNMP_ERR_INCONSISTENTVALUE : SNMP_ERR_GENERR);
    EXPECT_EQ(run(UNDO, 10, 4), 0);
    EXPECT_TRUE(writes().empty());
    EXPECT_EQ(fake::the().vsans.count(10), 1u);
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  }
}

TEST_F(RowStatus, UndoOfACreationDeletesTheBareVsan) {
  run(RESERVE1, 11, 4);
  run(ACTION, 11, 4);
  run(UNDO, 11, 4);
  vsanEntry key = {};
  key.vsanIndex = 11;
  EXPECT_EQ(writes().back().first, 4);
  EXPECT_EQ(memcmp(&writes().back().second, &key, sizeof key), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) User create a new row in ACTION now DELETE it \n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) indexobj_remove from vsanEntry_list  \n"));
  EXPECT_TRUE(
      fake::the().traced("set_vsanRowStatus(#) Sending DELETE req to vsan for vsan = 11 name  mediatype 0 mtu 0 "
                         "inorderdeliver 0 interopermode 0 loadbtype 0 state 0\n"));
}

TEST_F(RowStatus, Reserve2WritesTheFirstOctetOfTheAnswerAndSkipsAnAbsentRow) {
  u_char answer[4] = {0xaa, 0xbb, 0xcc, 0xdd};
  EXPECT_EQ(run(RESERVE2, 10, 1, answer), 0);
  EXPECT_EQ(fake::hex(fake::bytes(answer, answer + 4)), "01bbccdd");
  EXPECT_EQ(run(RESERVE2, 11, 4, nullptr), 0);
  EXPECT_EQ(fake::the().count_traced("set_vsanRowStatus(#) RESERVE2 \n"), 2u);
}

TEST_F(RowStatus, APhaseBeyondUndoIsNothing) {
  EXPECT_EQ(run(6, 10, 6), 0);
  EXPECT_EQ(run(99, 10, 6), 0);
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(RowStatus, ARestrictedUserIsRefusedCreationActiveAndDestroyOutsideTheSet) {
  fake::the().restricted = true;
  fake::the().allowed = {20};
  for (long request : {4, 1, 6}) {
    fake::the().error_records.clear();
    fake::the().history.clear();
    EXPECT_EQ(run(RESERVE1, 11, request), SNMP_ERR_GENERR) << request;
    ASSERT_EQ(fake::the().error_records.size(), 1u) << request;
    EXPECT_EQ(fake::the().error_records[0].code, 0x40540008u);
    EXPECT_STREQ(fake::the().error_records[0].text, "fmt-40540008");
    EXPECT_TRUE(fake::the().traced("set_vsanRowStatus : vsan restricted user is not allowed to set \n", 100));
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  }
  EXPECT_EQ(run(RESERVE1, 20, 4), 0) << "inside the set";
  release(20);
}

TEST_F(RowStatus, ARestrictedUsersDestroyOfAHiddenVsanDeletesNothing) {
  fake::the().restricted = true;
  fake::the().allowed = {20};
  EXPECT_EQ(mini::set_pdu({integer(status_cell(10), kDestroy)}).status, SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().vsans.count(10), 1u);
}

TEST_F(RowStatus, ADestroyWhoseLookUpBrokeIsUndoneByTheRowThatActionRead) {
  const vsanEntry before = fake::the().vsans[10];
  EXPECT_EQ(run(RESERVE1, 10, 6), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_EQ(run(ACTION, 10, 6), 0);
  EXPECT_EQ(fake::the().vsans.count(10), 0u);
  EXPECT_EQ(run(UNDO, 10, 6), 0);
  ASSERT_EQ(fake::the().vsans.count(10), 1u);
  EXPECT_EQ(memcmp(&fake::the().vsans[10], &before, sizeof before), 0);
}

// A PDU may name a row twice.
class RowStatusTwice : public RowStatus, public ::testing::WithParamInterface<long> {};

TEST_P(RowStatusTwice, OfAVsanThatThePduMakesIsTakenBackByUndoAndLeavesNothingListed) {
  EXPECT_EQ(run(RESERVE1, 77, 4), 0);
  EXPECT_EQ(run(RESERVE1, 77, GetParam()), 0);
  EXPECT_EQ(run(ACTION, 77, 4), 0);
  EXPECT_EQ(run(ACTION, 77, GetParam()), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_EQ(run(UNDO, 77, 4), 0);
  EXPECT_EQ(run(UNDO, 77, GetParam()), 0);
  EXPECT_EQ(fake::the().vsans.count(77), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_list) + fake::listed(vsanEntry_undo_list), 0u);
}

INSTANTIATE_TEST_SUITE_P(, RowStatusTwice, ::testing::Values(1, 6));

TEST_F(RowStatus, ADestroyTellsThatItsVsanIsValidatedAndAnActiveDoesNot) {
  for (const long request : {6, 1}) {
    fake::the().history.clear();
    EXPECT_EQ(run(RESERVE1, 10, request), 0);
    EXPECT_EQ(fake::the().traced("set_vsanRowStatus(#) : set Rowstatus Validate Vsan_id \n"), request == 6);
    EXPECT_EQ(fake::the().traced("get_vsanEntry_instance(#) * entry->vsanIndex:10 *\n"), request == 6);
  }
}

TEST_F(RowStatus, AnUndoThatIsNotAnsweredTellsWhy) {
  u_char *current = look_up(10);
  EXPECT_EQ(run(RESERVE1, 10, 6, current), 0);
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{-1, ETIMEDOUT, {}, {}}; };
  EXPECT_EQ(run(UNDO, 10, 6), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ret_code:" + std::string(strerror(ETIMEDOUT)) + " \n"));
}

TEST_F(RowStatus, ActionTellsThatTheLookUpSucceededAndUndoNothingOfASendThatDid) {
  u_char *current = look_up(10);
  EXPECT_EQ(run(RESERVE1, 10, 6, current), 0);
  fake::the().history.clear();
  EXPECT_EQ(run(ACTION, 10, 6), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ret_code:str-0 \n"));
  fake::the().history.clear();
  EXPECT_EQ(run(UNDO, 10, 6), 0);
  for (const auto &[level, line] : fake::the().history) {
    EXPECT_EQ(line.find("ret_code"), line.npos) << line;
  }
}

TEST_F(RowStatus, UndoFindsTheRowThatAColumnOfThePduSavedAlsoAfterTheColumnsUndo) {
  const varbind name = octets(vsan_cell(kName, 10), "new");
  EXPECT_EQ(run(RESERVE1, 10, 6), 0);
  EXPECT_EQ(mini::phase(set_vsanName, RESERVE2, name), 0);
  EXPECT_EQ(run(ACTION, 10, 6), 0);
  EXPECT_EQ(mini::phase(set_vsanName, UNDO, name), 0);
  EXPECT_EQ(run(UNDO, 10, 6), 0);
  EXPECT_EQ(fake::the().vsans.count(10), 1u);
}

TEST_F(RowStatus, StepsAreTracedAsLogsAreSearchedFor) {
  u_char *current = look_up(10);
  run(RESERVE1, 10, 4, current);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ***InconsistantName! ***\n"));
  run(RESERVE1, 10, 1, current);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) indexobj_Add to undo_list \n"));
  run(ACTION, 10, 1);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) make SET_REQ \n"));
  run(ACTION, 10, 6);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) make DELTE_REQ \n"));
  run(UNDO, 10, 6);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) UNDO Back out any Changes! \n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) SET with old Values! Removing from undo_list!\n"));
  ++fake::the().pdu;
  run(ACTION, 10, 4);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) Long_ret:4 ***SNMP_ERROR INCONSISTANTVALUE*** \n"));
  run(ACTION, 99, 1);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) SNMP_ERR_INCONSISTENTVALUE \n"));
  release(10);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) FREE \n"));
}

TEST_F(RowStatus, OfTheFirstAndTheLastVsanIsTaken) {
  for (const oid vsan : {1, 4095}) {
    EXPECT_EQ(run(RESERVE1, vsan, 4), 0);
    release(vsan);
  }
  EXPECT_EQ(run(RESERVE1, 4096, 4), SNMP_ERR_WRONGVALUE);
  EXPECT_EQ(run(RESERVE1, 0, 4), SNMP_ERR_WRONGVALUE);
}

TEST_F(RowStatus, WhatCannotBeSavedInActionIsNotSent) {
  for (const long request : {1, 6}) {
    ++fake::the().pdu;
    EXPECT_EQ(run(RESERVE1, 10, request), 0);
    fake::the().exchanges.clear();
    fake::fail_calloc(1);
    EXPECT_EQ(run(ACTION, 10, request), SNMP_ERR_GENERR);
    fake::fail_calloc(0);
    ASSERT_EQ(fake::the().exchanges.size(), 1u) << "the read alone";
    release(10);
  }
}

TEST_F(RowStatus, ARowThatCannotBeListedIsGenErr) {
  u_char *current = look_up(10);
  fake::the().failable_calls = 0;
  fake::the().fail_at = 1;
  EXPECT_EQ(run(RESERVE1, 10, 6, current), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) undo_list 10 \n"));
  fake::the().failable_calls = 0;
  EXPECT_EQ(run(RESERVE1, 11, 4), SNMP_ERR_GENERR);
}

TEST_F(RowStatus, ARowThatCannotBeAllocatedIsGenErr) {
  u_char *current = look_up(10);
  for (const auto &[vsan, request] : {std::pair<oid, long>{10, 6}, {11, 4}}) {
    fake::fail_calloc(1);
    EXPECT_EQ(run(RESERVE1, vsan, request, vsan == 10 ? current : nullptr), SNMP_ERR_GENERR);
    fake::fail_calloc(0);
  }
}

TEST_F(RowStatus, TracesOfACreationInTheirOrder) {
  run(RESERVE1, 11, 4);
  std::vector<std::string> lines;
  for (const auto &line : fake::the().history) {
    lines.push_back(line.second.substr(line.second.find(')') + 1));
  }
  EXPECT_EQ(lines,
            (std::vector<std::string>{" \n", " In RESERVE1 \n", " set_vsanrowstatus long_ret:11 \n", " long_ret:4 \n",
                                      " RS_CREATEANDGO! \n", "set_vsanRowStatus  RS_CREATEANDGO! \n",
                                      " * entry->vsanIndex:11 *\n", " Validate Vsan_id\n", " : Row Status = 4\n",
                                      " : Adding entry vsanIndex = 11, to vsanEntry_list (row_status = 4)\n"}));
  fake::the().history.clear();
  run(ACTION, 11, 4);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ACTION calling header_vsanEntry\n"));
  EXPECT_EQ(fake::the().count_traced("get_vsanEntry_instance(#) * entry->vsanIndex:11 *\n"), 1u);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) ret_code:str-40190001 \n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#): Fetching  entry for vsanEntry_list with vsanIndex = 11\n"));
  EXPECT_TRUE(
      fake::the().traced("set_vsanRowStatus(#): Fetched  entry from vsanEntry_list for SET with vsanIndex = 11\n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#): SET REQ create a new entry! \n"));
  EXPECT_TRUE(
      fake::the().traced("Sending SET req to vsan for vsan = 11 name VSAN0011 mediatype 1 mtu 2112 inorderdeliver 0 "
                         "interopermode 100 loadbtype 2 state 1  nwlatency 0\n"));
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus : set_vsanRowStatus(#) SET for vsanIndex 11 succeeded\n"));
  run(COMMIT, 11, 4);
  EXPECT_TRUE(fake::the().traced("set_vsanRowStatus(#) in COMMIT \n"));
}

}  // namespace
