#include <errno.h>
#include <string.h>

#include "module_test.h"
#include "read_side/answer_row.h"
#include "vsan_records.h"

namespace {

using namespace mib;

class VsanTableRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    for (uint32_t vsan : {1, 5, 7, 10, 20}) {
      fake::add_vsan(vsan);
    }
  }
};

// The rows asked for by opcode 149, as (type, VSAN).
std::vector<std::pair<int, uint32_t>> asked() {
  std::vector<std::pair<int, uint32_t>> out;
  for (const fake::exchange &e : fake::the().sent(149)) {
    out.emplace_back(e.msg_type, fake::row_of(e.request).vsanIndex);
  }
  return out;
}
using asked_t = std::vector<std::pair<int, uint32_t>>;

TEST_F(VsanTableRead, RequestIsTheEnvelopeWithOnlyTheIndexFilled) {
  mini::get(vsan_cell(kName, 7));
  ASSERT_EQ(fake::the().exchanges.size(), 1u);
  const fake::exchange &e = fake::the().exchanges[0];
  fake::bytes expected(2632, 0);
  expected[523] = 7;
  EXPECT_EQ(e.request, expected);
  EXPECT_EQ(e.size, 2632u);
  EXPECT_EQ(e.opcode, 149);
  EXPECT_EQ(e.msg_type, 1);
  expect_read(e);
}

// Leaves other octets than zeros where the next calls have their records.
[[gnu::noinline]] void dirty_stack() {
  volatile uint8_t octets[16384];
  for (volatile uint8_t &octet : octets) {
    octet = 0xa5;
  }
}

TEST_F(VsanTableRead, RequestCarriesNothingButTheIndexWhateverTheStackHeld) {
  fake::bytes expected(2632, 0);
  expected[523] = 7;
  name_t name = vsan_cell(kName, 7);
  vsanEntry row;
  size_t length = name.size();
  ++fake::the().pdu;
  dirty_stack();
  EXPECT_EQ(header_vsanEntry(name.data(), 14, name.data(), &length, 1, &row), 0);
  EXPECT_EQ(fake::the().exchanges.at(0).request, expected);
}

TEST_F(VsanTableRead, GetNextOnTheBareColumnAsksForTheRowAfterVsan0) {
  const auto answer = mini::getnext(vsan_column(kName));
  EXPECT_EQ(asked(), (asked_t{{2, 0}}));
  EXPECT_EQ(answer, octets(vsan_cell(kName, 1), "VSAN0001"));
}

TEST_F(VsanTableRead, GetNextFromIndex4096IsSent) {
  mini::getnext(vsan_cell(kName, 4096));
  EXPECT_EQ(asked()[0], std::make_pair(2, 4096u));
}

TEST_F(VsanTableRead, GetNextFromIndex4097EndsTheColumnWithoutAMessage) {
  vsanEntry row;
  for (oid index : {oid{4097}, oid{5000}, oid{2147483648}, oid{4294967295}}) {
    name_t name = vsan_cell(kName, index);
    name_t column_name = vsan_column(kName);
    size_t length = name.size();
    name.resize(MAX_OID_LEN);
    EXPECT_EQ(header_vsanEntry(column_name.data(), 14, name.data(), &length, 0, &row), 0x40490002) << index;
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
  EXPECT_EQ(fake::the().count_traced("header_vsanEntry(#) *** get_entry instance NO_ENTRY! ***\n"), 4u);
  EXPECT_TRUE(fake::the().traced("get_vsanEntry_instance(#)*** vsanIndex:4097 *** \n"));
}

TEST_F(VsanTableRead, GetWithASubIdentifierTooManyOrTooFewAsksForVsan0) {
  EXPECT_FALSE(mini::get(vsan_column(kName)).has_value());
  EXPECT_FALSE(mini::get(root({1, 1, 3, 1, 2, 7, 7})).has_value());
  EXPECT_EQ(asked(), (asked_t{{1, 0}, {1, 0}}));
}

TEST_F(VsanTableRead, GetMakesNoRangeCheck) {
  EXPECT_FALSE(mini::get(vsan_cell(kName, 4097)).has_value());
  EXPECT_EQ(asked(), (asked_t{{1, 4097}}));
}

TEST_F(VsanTableRead, OnlyTheLow32BitsOfASubIdentifierCount) {
  if (sizeof(oid) == 4) {
    GTEST_SKIP() << "a sub-identifier has 32 bits here";
  }
  vsanEntry row;
  name_t name = vsan_cell(kName, static_cast<oid>(0x100000007ULL));
  name_t column_name = vsan_column(kName);
  size_t length = name.size();
  EXPECT_EQ(get_vsanEntry_instance(column_name.data(), 14, name.data(), &length, 1, &row), 0);
  EXPECT_EQ(row.vsanIndex, 7u);
}

TEST_F(VsanTableRead, InstanceZeroesTheWholeRecord) {
  vsanEntry row;
  memset(&row, 0xff, sizeof row);
  name_t name = vsan_cell(kName, 9);
  name_t column_name = vsan_column(kName);
  size_t length = name.size();
  EXPECT_EQ(get_vsanEntry_instance(column_name.data(), 14, name.data(), &length, 1, &row), 0);
  vsanEntry expected = {};
  expected.vsanIndex = 9;
  EXPECT_EQ(memcmp(&row, &expected, sizeof row), 0);
  EXPECT_TRUE(fake::the().traced("get_vsanEntry_instance(#) * entry->vsanIndex:9 *\n"));
}

TEST_F(VsanTableRead, TwoColumnsOfARowInOneGetNextPduCostOneMessage) {
  const auto answers = mini::getnext_pdu({vsan_cell(kName, 5), vsan_cell(kAdminState, 5)});
  EXPECT_EQ(asked(), (asked_t{{2, 5}}));
  EXPECT_EQ(answers[0]->name, vsan_cell(kName, 7));
  EXPECT_EQ(answers[1]->name, vsan_cell(kAdminState, 7));
}

TEST_F(VsanTableRead, TwoColumnsOfARowInTwoPdusCostTwoMessages) {
  mini::getnext(vsan_cell(kName, 5));
  mini::getnext(vsan_cell(kAdminState, 5));
  EXPECT_EQ(asked(), (asked_t{{2, 5}, {2, 5}}));
}

TEST_F(VsanTableRead, AGetOfTheRowThatCameBackIsNoHit) {
  vsanEntry row;
  name_t name = vsan_cell(kName, 5);
  name.resize(MAX_OID_LEN);
  name_t column_name = vsan_column(kName);
  size_t length = 15;
  header_vsanEntry(column_name.data(), 14, name.data(), &length, 0, &row);
  EXPECT_EQ(row.vsanIndex, 7u);
  header_vsanEntry(column_name.data(), 14, name.data(), &length, 1, &row);
  EXPECT_EQ(asked(), (asked_t{{2, 5}, {1, 7}}));
  header_vsanEntry(column_name.data(), 14, name.data(), &length, 1, &row);
  EXPECT_EQ(asked().size(), 2u) << "the same GET again is a hit";
  EXPECT_EQ(row.vsanIndex, 7u);
}

TEST_F(VsanTableRead, AHitIsTraced) {
  mini::getnext_pdu({vsan_cell(kName, 5), vsan_cell(kAdminState, 5)});
  EXPECT_TRUE(
      fake::the().traced("header_vsanEntry : header_vsanEntry(#) found the entry for vsan 5 in the cache (last_index 5 "
                         "last_exact 0 cache_index 7 returning from cache\n"));
}

TEST_F(VsanTableRead, AFailedRequestDropsTheCache) {
  vsanEntry row;
  name_t name = vsan_cell(kName, 5);
  name_t column_name = vsan_column(kName);
  const auto ask = [&](oid index, int exact) {
    name_t own = vsan_cell(kName, index);
    own.resize(MAX_OID_LEN);
    size_t length = 15;
    return header_vsanEntry(column_name.data(), 14, own.data(), &length, exact, &row);
  };
  EXPECT_EQ(ask(5, 1), 0);
  EXPECT_EQ(ask(6, 1), 0x40190001);
  EXPECT_EQ(ask(5, 1), 0);
  EXPECT_EQ(asked().size(), 3u);
}

TEST_F(VsanTableRead, RowStatusReadsActiveForEveryRow) {
  fake::the().vsans[7].vsanRowStatus = 6;
  EXPECT_EQ(mini::get(vsan_cell(kRowStatus, 7)), integer(vsan_cell(kRowStatus, 7), kActive));
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) VSANROWSTATUS  \n"));
}

TEST_F(VsanTableRead, InteropMode100ReadsZeroAndOthersAsTheyAre) {
  EXPECT_EQ(mini::get(vsan_cell(kInterop, 7))->integer, 0);
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) *var_len:4 interopmode:100 \n"));
  fake::the().vsans[7].vsanInteropMode = 2;
  EXPECT_EQ(mini::get(vsan_cell(kInterop, 7))->integer, 2);
}

TEST_F(VsanTableRead, InteropModeReadsZeroAgainFromTheCachedRow) {
  const auto answers = mini::getnext_pdu({vsan_cell(kInterop, 5), vsan_cell(kInterop, 5)});
  EXPECT_EQ(answers[0]->integer, 0);
  EXPECT_EQ(answers[1]->integer, 0);
  EXPECT_EQ(fake::the().count_traced("get_vsanEntry(#) *var_len:4 interopmode:100 \n"), 2u)
      << "the answer row is changed, not the cached one";
}

TEST_F(VsanTableRead, ANameWithoutANulIsCutAt35Octets) {
  memset(fake::the().vsans[7].vsanName, 'n', 36);
  EXPECT_EQ(mini::get(vsan_cell(kName, 7)), octets(vsan_cell(kName, 7), std::string(35, 'n')));
}

TEST_F(VsanTableRead, ANameOf32CharactersComesWhole) {
  memset(fake::the().vsans[7].vsanName, 0, 36);
  memset(fake::the().vsans[7].vsanName, 'n', 32);
  EXPECT_EQ(mini::get(vsan_cell(kName, 7))->octets.size(), 32u);
}

TEST_F(VsanTableRead, ColumnsTraceAsLogsAreSearchedFor) {
  const std::pair<oid, const char *> columns[] = {{kAdminState, "get_vsanEntry(#) VSANADMINSTATE \n"},
                                                  {kOperState, "get_vsanEntry(#) VSANOPERSTATE  \n"},
                                                  {kRowStatus, "get_vsanEntry(#) VSANROWSTATUS  \n"},
                                                  {kMediaType, "get_vsanEntry(#) VSANMEDIATYPE \n"}};
  for (const auto &[id, line] : columns) {
    fake::the().history.clear();
    mini::get(vsan_cell(id, 7));
    EXPECT_TRUE(fake::the().traced(line)) << line;
  }
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) Magic:4  \n"));
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) Request type:4 \n"));
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsanIndex:7 \n"));
  EXPECT_TRUE(fake::the().traced(
      "header_vsanEntry(#) : Sending GET  request to VSAN mgr with payload (size = 2632) vsanIndex = 7\n"));
  EXPECT_TRUE(fake::the().traced(
      "header_vsanEntry(#) : Received  GET  response from VSAN mgr with payload (size = 2632) Index = 7 MediaType = 1, "
      "State=1, Mtu=2112, IODelivery = 2, vsanInteropMode=100, LoadBalancingType=2, rowStatus=1, OperationalState =2, "
      "Name=VSAN0007 nwlatency 2000\n"));
}

TEST_F(VsanTableRead, MagicOfNoColumnAnswersNothing) {
  struct variable vp = {};
  name_t name = vsan_cell(kName, 7);
  vp.namelen = 14;
  std::copy(name.begin(), name.begin() + 14, vp.name);
  name.resize(MAX_OID_LEN);
  for (int magic : {0, 1, 2, 7, 9, 15, 255}) {
    vp.magic = static_cast<u_char>(magic);
    size_t length = 15, var_len = 0;
    WriteMethod *method = nullptr;
    EXPECT_EQ(get_vsanEntry(&vp, name.data(), &length, 1, &var_len, &method), nullptr) << magic;
    EXPECT_EQ(method, nullptr);
    EXPECT_EQ(var_len, 4u);
  }
}

struct failure {
  const char *name;
  fake::reply reply;
  int status;
  std::string text;
};

TEST_F(VsanTableRead, FailedExchangesAnswerNothingAndTraceTheReasonAtErrorLevel) {
  const failure failures[] = {
      {"refused", {0x40190001, 0, {}, {}}, 0x40190001, "fmt-40190001"},
      {"refused with a buffer", {0x40190001, 0, fake::bytes(2632, 0), {}}, 0x40190001, "fmt-40190001"},
      {"timed out", {-1, ETIMEDOUT, {}, {}}, -1, strerror(ETIMEDOUT)},
      {"no manager", {-1, ECONNREFUSED, {}, {}}, -1, strerror(ECONNREFUSED)},
      {"empty answer", {0, 0, fake::bytes{}, {}}, -1, strerror(EPROTO)},
      {"an octet short", {0, 0, fake::bytes(2627, 0), {}}, -1, strerror(EPROTO)},
  };
  for (const failure &f : failures) {
    fake::the().history.clear();
    ++fake::the().pdu;
    fake::the().overrule = [&](const fake::exchange &) { return f.reply; };
    vsanEntry row;
    name_t name = vsan_cell(kName, 7), column_name = vsan_column(kName);
    size_t length = 15;
    errno = 0;
    EXPECT_EQ(header_vsanEntry(column_name.data(), 14, name.data(), &length, 1, &row), f.status) << f.name;
    if (f.status == -1) {
      EXPECT_EQ(strerror(errno), f.text) << f.name << ": errno must outlive the trace";
    }
    EXPECT_TRUE(fake::the().traced(
        "header_vsanEntry(#) : GET  request FAILED for vsanIndex = 7 with error : " + f.text + "\n", 100))
        << f.name;
    EXPECT_FALSE(mini::get(vsan_cell(kName, 7)).has_value()) << f.name;
  }
}

TEST_F(VsanTableRead, AnOversizedAnswerIsReadAsFarAsItGoes) {
  fake::the().overrule = [](const fake::exchange &) {
    fake::bytes answer(4000, 0);
    answer[523] = 7;
    answer[526 + 1] = 1;
    return fake::reply{0, 0, answer, {}};
  };
  EXPECT_EQ(mini::get(vsan_cell(kMediaType, 7))->integer, 1);
}

TEST_F(VsanTableRead, AnAnswerThatEndsWithTheRowIsEnough) {
  fake::the().overrule = [](const fake::exchange &) {
    fake::bytes answer(2628, 0);
    answer[523] = 7;
    return fake::reply{0, 0, answer, {}};
  };
  EXPECT_TRUE(mini::get(vsan_cell(kMediaType, 7)).has_value());
}

TEST_F(VsanTableRead, SuccessWithoutARowLeavesTheIndexAskedForAndZerosAndTheOid) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
  vsanEntry row;
  memset(&row, 0xff, sizeof row);
  name_t name = vsan_cell(kName, 5), column_name = vsan_column(kName);
  const name_t before = name;
  size_t length = 15;
  EXPECT_EQ(header_vsanEntry(column_name.data(), 14, name.data(), &length, 0, &row), 0);
  EXPECT_EQ(row.vsanIndex, 5u);
  EXPECT_EQ(row.vsanMtu, 0u);
  EXPECT_EQ(name, before);
  // Nothing was cached.
  header_vsanEntry(column_name.data(), 14, name.data(), &length, 0, &row);
  EXPECT_EQ(asked().size(), 2u);
}

TEST_F(VsanTableRead, SuccessWithoutARowIsNotAnsweredByTheRowBefore) {
  for (const auto before : {kInterop, kName}) {  // answered from a copy, and from where the row came
    fake::the().overrule = nullptr;
    ASSERT_TRUE(mini::get(vsan_cell(before, 5)).has_value());
    fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
    EXPECT_EQ(mini::get(vsan_cell(kName, 7)), octets(vsan_cell(kName, 7), ""));
    EXPECT_EQ(mini::get(vsan_cell(kAdminState, 7)), integer(vsan_cell(kAdminState, 7), 0));
    EXPECT_EQ(vsan_mib::vsan_answer_row->vsanIndex, 7u);
  }
}

TEST_F(VsanTableRead, TheAnswerStaysWhileAnotherRowIsFetched) {
  mini::get(vsan_cell(kInterop, 5));
  EXPECT_STREQ(vsan_mib::vsan_answer_row->vsanName, "VSAN0005") << "the whole row, not the interop mode alone";
  mini::get(vsan_cell(kName, 7));
  const vsanEntry *cached = vsan_mib::vsan_answer_row;
  name_t name = vsan_cell(kName, 20);
  vsanEntry row;
  size_t length = 15;
  ++fake::the().pdu;
  EXPECT_EQ(header_vsanEntry(vsan_column(kName).data(), 14, name.data(), &length, 1, &row), 0);
  EXPECT_EQ(row.vsanIndex, 20u);
  EXPECT_NE(vsan_mib::vsan_answer_row, cached) << "freed";
  EXPECT_EQ(vsan_mib::vsan_answer_row->vsanIndex, 7u);
}

TEST_F(VsanTableRead, AnIndexPastTheTableIsToldAndGivesNoRow) {
  mini::get(vsan_cell(kName, 7));
  fake::the().history.clear();
  name_t name = vsan_cell(kName, 4097);
  vsanEntry row;
  size_t length = 15;
  EXPECT_EQ(header_vsanEntry(vsan_column(kName).data(), 14, name.data(), &length, 0, &row), 0x40490002);
  EXPECT_STREQ(row.vsanName, "");
  EXPECT_EQ(get_vsanEntry_instance(vsan_column(kName).data(), 14, name.data(), &length, 0, &row), 0x40490002);
  EXPECT_FALSE(mini::find_alone(vsan_mib_variables[2], vsan_cell(kName, 4097), 0).has_value());
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsanIndex:4097 \n"));
}

TEST_F(VsanTableRead, OfAColumnAloneHasNoIndexWhateverLiesBehind) {
  name_t name = vsan_column(kName);
  name.resize(MAX_OID_LEN, 10);
  vsanEntry row;
  size_t length = 14;
  EXPECT_EQ(header_vsanEntry(vsan_column(kName).data(), 14, name.data(), &length, 0, &row), 0);
  EXPECT_EQ(asked(), (asked_t{{2, 0}}));
}

// Restricted users.

class VsanTableRestricted : public VsanTableRead {
 protected:
  void SetUp() override {
    VsanTableRead::SetUp();
    fake::the().restricted = true;
    fake::the().allowed = {10, 20};
  }
};

TEST_F(VsanTableRestricted, WalkGoesOnAtTheNextAllowedVsanAndEndsAfterTheLast) {
  EXPECT_EQ(mini::getnext(vsan_cell(kName, 1))->name, vsan_cell(kName, 10));
  EXPECT_EQ(asked(), (asked_t{{2, 1}, {2, 9}}));
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsanIndex:5 \n"));
  EXPECT_EQ(mini::getnext(vsan_cell(kName, 10))->name, vsan_cell(kName, 20));
  const auto after = mini::getnext(vsan_cell(kName, 20));
  EXPECT_EQ(after->name, vsan_cell(kMediaType, 10)) << "the next column's first allowed row";
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsan_present:1 \n"));
}

TEST_F(VsanTableRestricted, WalkLandsOnTheFirstExistingRowAfterAnAllowedVsanThatIsMissing) {
  fake::the().allowed = {6, 20};
  EXPECT_EQ(mini::getnext(vsan_cell(kName, 1))->name, vsan_cell(kName, 20));
  EXPECT_EQ(asked(), (asked_t{{2, 1}, {2, 5}, {2, 19}}));
}

TEST_F(VsanTableRestricted, GetOfAHiddenVsanAnswersNothingAndOfAnAllowedOneItsValue) {
  EXPECT_FALSE(mini::get(vsan_cell(kName, 5)).has_value());
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsanIndex:5 , allowed:0 \n"));
  EXPECT_TRUE(mini::get(vsan_cell(kName, 10)).has_value());
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsanIndex:10 , allowed:1 \n"));
}

TEST_F(VsanTableRestricted, AnEmptySetGivesAnEmptyWalk) {
  fake::the().allowed = {};
  const auto answer = mini::getnext(vsan_cell(kName, 0));
  EXPECT_TRUE(!answer || before(root({1, 2}), answer->name)) << "no cell of the VSAN table is seen";
  EXPECT_TRUE(fake::the().traced("get_vsanEntry(#) vsan_present:0 \n"));
}

TEST_F(VsanTableRestricted, NoAllowedVsanLeftEndsTheWalk) {
  fake::the().allowed = {5};
  const auto answer = mini::getnext(vsan_cell(kDropLatency, 5));
  EXPECT_TRUE(!answer || before(root({1, 2}), answer->name));
}

TEST_F(VsanTableRestricted, ReadsAskWithTheGetPduType) {
  mini::getnext(vsan_cell(kName, 1));
  EXPECT_EQ(fake::the().calls.front(), "snmp_get_allowed_vsans_subtree 160");
}

TEST_F(VsanTableRestricted, AManagerThatGoesBackwardsEndsTheWalk) {
  fake::the().overrule = [](const fake::exchange &) {
    fake::bytes answer(2632, 0);
    answer[523] = 5;
    return fake::reply{0, 0, answer, {}};
  };
  const auto answer = mini::getnext(vsan_cell(kDropLatency, 1));
  EXPECT_TRUE(!answer || before(root({1, 2}), answer->name));
  EXPECT_EQ(asked(), (asked_t{{2, 1}, {2, 9}}));
}

TEST_F(VsanTableRead, AUserWhoIsNotRestrictedIsNotTestedAgainstTheSet) {
  mini::getnext(vsan_cell(kName, 1));
  for (const std::string &call : fake::the().calls) {
    EXPECT_EQ(call.find("allowed_in_list"), std::string::npos);
  }
}

}  // namespace
