// Interface membership, per-VSAN timers, membership summary, and the rule of who may see what.
#include <arpa/inet.h>
#include <errno.h>
#include <string.h>

#include <functional>

#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;

// Whether an answer lies under `prefix`.
bool under(const std::optional<varbind> &answer, const name_t &prefix) {
  return answer && answer->name.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), answer->name.begin());
}

// Interface membership.

class InterfaceTableRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_interface(100, 5);
    fake::add_interface(200, 7);
    fake::add_interface(300, 5);
  }
  static uint32_t asked(size_t i) {
    return fake::the().sent(124)[i].request[3] + 256u * fake::the().sent(124)[i].request[2];
  }
};

TEST_F(InterfaceTableRead, RequestIsTheBareRecordAndItsAnswerTheRow) {
  EXPECT_EQ(mini::get(if_vsan(200)), integer(if_vsan(200), 7));
  ASSERT_EQ(fake::the().exchanges.size(), 1u);
  const fake::exchange &e = fake::the().exchanges[0];
  EXPECT_EQ(e.opcode, 124);
  EXPECT_EQ(e.msg_type, 1);
  EXPECT_EQ(e.size, 16u);
  EXPECT_EQ(fake::hex(e.request).substr(0, 8), "000000c8");
  EXPECT_FALSE(e.user.has_value());
  EXPECT_EQ(e.timeout, 4);
  EXPECT_TRUE(fake::the().traced(
      "header_vsanIfEntry : Sending  GET request to VSAN mgr with payload (size = 16) ifIndex = 200\n"));
  EXPECT_TRUE(
      fake::the().traced("header_vsanIfEntry(#) : Received  GET response from VSAN mgr with payload (size = "
                         "16) ifIndex = 200 vsanIfVsan = 7, vsanIfDenyList=1992, vsanIfRowStatus=2504\n"));
}

TEST_F(InterfaceTableRead, ThePreviousAnswersOtherWordsTravelInTheNextRequest) {
  mini::get(if_vsan(200));
  mini::get(if_vsan(100));
  EXPECT_EQ(fake::hex(fake::the().sent(124)[1].request), "0000006400000007000007c8000009c8");
}

TEST_F(InterfaceTableRead, GetNextOnTheBareColumnSendsIndex0) {
  EXPECT_EQ(mini::getnext(if_column(kIfVsan))->name, if_vsan(100));
  EXPECT_EQ(asked(0), 0u);
  EXPECT_EQ(fake::the().sent(124)[0].msg_type, 2);
}

TEST_F(InterfaceTableRead, GetWithAMissingOrExtraIndexSendsIndex0) {
  EXPECT_FALSE(mini::get(if_column(kIfVsan)).has_value());
  EXPECT_FALSE(mini::get(root({1, 2, 5, 1, 1, 100, 1})).has_value());
  EXPECT_EQ(asked(0), 0u);
  EXPECT_EQ(asked(1), 0u);
}

TEST_F(InterfaceTableRead, GetNextFromTheLastPossibleInterfaceSendsNothing) {
  vsanIfEntry row = {};
  name_t name = if_vsan(4294967295), column = if_column(kIfVsan);
  size_t length = name.size();
  EXPECT_EQ(header_vsanIfEntry(column.data(), 14, name.data(), &length, 0, &row), 0x40490002);
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(InterfaceTableRead, NothingIsCached) {
  mini::getnext_pdu({if_vsan(100), deny_list(100)});
  EXPECT_EQ(fake::the().sent(124).size(), 2u);
}

TEST_F(InterfaceTableRead, FailuresAnswerNothingAndTraceTheReason) {
  const std::pair<fake::reply, std::string> failures[] = {
      {{0x40490002, 0, {}, {}}, "fmt-40490002"},
      {{-1, ETIMEDOUT, {}, {}}, strerror(ETIMEDOUT)},
      {{0, 0, fake::bytes(15, 0), {}}, strerror(EPROTO)},
  };
  for (const auto &failure : failures) {
    const fake::reply &reply = failure.first;
    const std::string &reason = failure.second;
    fake::the().history.clear();
    fake::the().overrule = [&](const fake::exchange &) { return reply; };
    EXPECT_FALSE(mini::get(if_vsan(100)).has_value()) << reason;
    EXPECT_TRUE(fake::the().traced(
        "header_vsanIfEntry(#) : GET request failedfor ifIndex = 100 with error : " + reason + "\n"));
  }
}

TEST_F(InterfaceTableRead, SuccessWithoutAResponseLeavesTheOidAndTheRequest) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
  vsanIfEntry row = {0, 11, 12, 13};
  name_t name = if_vsan(100), column = if_column(kIfVsan);
  const name_t before = name;
  size_t length = name.size();
  EXPECT_EQ(header_vsanIfEntry(column.data(), 14, name.data(), &length, 0, &row), 0);
  EXPECT_EQ(name, before);
  EXPECT_EQ(row.ifIndex, 100u);
  EXPECT_EQ(row.vsanIfVsan, 11u);
}

TEST_F(InterfaceTableRead, ARestrictedUserReadsAMembershipWhenTheRoleAllowsTheInterfaceWhateverTheVsan) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_TRUE(mini::get(if_vsan(200)).has_value());
  EXPECT_EQ(fake::the().calls[1], "snmp_get_allowed_vsans_subtree 160");
  EXPECT_EQ(fake::the().calls[2], "intf_chk_vsan_role_allowed 200 3");
}

TEST_F(InterfaceTableRead, AHiddenInterfaceAnswersNothingOnGetAndOnGetNextWithoutARetry) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 0x40540001;
  EXPECT_FALSE(mini::get(if_vsan(200)).has_value());
  fake::the().exchanges.clear();
  EXPECT_FALSE(under(mini::getnext(if_vsan(100)), if_column(kIfVsan)));
  EXPECT_EQ(asked(0), 100u);
  EXPECT_EQ(asked(1), 0u) << "the next request is the next column's first";
}

TEST_F(InterfaceTableRead, TheDenyListOfAHiddenInterfaceIsReadAllTheSame) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 5;
  EXPECT_EQ(mini::get(deny_list(200))->integer, 0x700 + 200);
}

// The rule itself.

class Restriction : public ModuleTest {
 protected:
  int may(int mode, uint32_t vsan) {
    name_t name = if_vsan(42);
    return process_for_vsan_restriction(42, mode, vsan, name.data(), name.size(), mode == 1 ? 163 : 160);
  }
};

TEST_F(Restriction, AUserWhoIsNotRestrictedMayEverything) {
  EXPECT_EQ(may(1, 9), 0);
  EXPECT_EQ(may(3, 9), 0);
  EXPECT_EQ(fake::the().calls,
            (std::vector<std::string>{"snmp_get_allowed_vsans_subtree 163", "snmp_get_allowed_vsans_subtree 160"}));
}

TEST_F(Restriction, OnlyTheAnswerOneRestrictsAnInterface) {
  fake::the().restricted = true;
  fake::the().restricted_answer = 2;
  fake::the().interface_refusal = 77;
  EXPECT_EQ(may(1, 9), 0);
}

TEST_F(Restriction, TheRolesRefusalIsPassedOnUnchanged) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 77;
  EXPECT_EQ(may(3, 9), 77);
  EXPECT_EQ(may(1, 9), 77);
  EXPECT_TRUE(fake::the().set_errors.empty());
}

TEST_F(Restriction, AReadIsNotTestedForItsVsan) {
  fake::the().restricted = true;
  EXPECT_EQ(may(3, 9), 0);
}

TEST_F(Restriction, AWriteIsTestedForItsVsanAndItsRefusalLogged) {
  fake::the().restricted = true;
  fake::the().allowed = {8};
  EXPECT_EQ(may(1, 8), 0);
  EXPECT_EQ(may(1, 9), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().calls.back(), "log_set_error");
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x4049002C, 584}}));
}

// Per-VSAN timers.

// The column as the agent hands it to the row helper.
struct variable r_a_tov_column() {
  struct variable vp = {};
  const name_t name = timer_column(kRatov);
  vp.magic = 39;
  vp.namelen = static_cast<u_char>(name.size());
  std::copy(name.begin(), name.end(), vp.name);
  return vp;
}

class TimerTableRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    for (uint32_t vsan : {5, 7, 4095}) {
      fake::add_vsan(vsan);
    }
  }
};

TEST_F(TimerTableRead, EachColumnAsksForItsTimer) {
  const std::pair<oid, const char *> columns[] = {
      {1, "000000000000000001000000000700"}, {2, "000000080000000001000000000700"},
      {3, "000000070000000001000000000700"}, {4, "000000090000000001000000000700"},
      {5, "0000000a0000000001000000000700"},
  };
  for (const auto &[column, request] : columns) {
    fake::the().exchanges.clear();
    const auto answer = mini::get(timer_cell(column, 7));
    ASSERT_TRUE(answer.has_value()) << column;
    ASSERT_EQ(fake::the().exchanges.size(), 1u);
    const fake::exchange &e = fake::the().exchanges[0];
    EXPECT_EQ(e.opcode, 127);
    EXPECT_EQ(e.msg_type, 1);
    EXPECT_EQ(e.size, 15u);
    EXPECT_EQ(fake::hex(e.request), request) << column;
    EXPECT_EQ(e.timeout, 4);
    EXPECT_FALSE(e.user.has_value());
  }
  EXPECT_EQ(mini::get(timer_cell(kRatov, 7)), gauge(timer_cell(kRatov, 7), 8007));
}

TEST_F(TimerTableRead, TheForceFlagIsOneOctetAlthoughTheManagerIsAsked) {
  const auto answer = mini::get(timer_cell(kForceFlag, 7));
  EXPECT_EQ(answer, octets(timer_cell(kForceFlag, 7), std::string(1, '\0')));
  EXPECT_EQ(fake::the().sent(127).size(), 1u);
}

TEST_F(TimerTableRead, GetOfVsan0Or4096SendsNothingAnd4095IsAskedFor) {
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 0)).has_value());
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 4096)).has_value());
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 2147483648)).has_value());
  EXPECT_TRUE(fake::the().exchanges.empty());
  EXPECT_TRUE(mini::get(timer_cell(kRatov, 4095)).has_value());
}

TEST_F(TimerTableRead, GetWithAMissingOrExtraIndexSendsNothing) {
  EXPECT_FALSE(mini::get(timer_column(kRatov)).has_value());
  EXPECT_FALSE(mini::get(root({1, 4, 8, 1, 2, 7, 7})).has_value());
  EXPECT_TRUE(fake::the().exchanges.empty());
}

int instance(oid index, int exact, vsanFcTimerEntry *record) {
  name_t name = timer_cell(kRatov, index), column = timer_column(kRatov);
  size_t length = name.size();
  return get_vsanFcTimerEntry_instance(column.data(), 14, name.data(), &length, exact, record);
}

TEST_F(TimerTableRead, GetNextFrom4096EndsTheTableWithoutAMessage) {
  vsanFcTimerEntry record;
  EXPECT_EQ(instance(4096, 0, &record), 0x40490002);
  EXPECT_TRUE(fake::the().traced("get_vsanFcTimerEntry_instance : reached max count"));
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(TimerTableRead, GetNextFrom4095AsksAndEndsWhenNothingOrNoVsanFollows) {
  vsanFcTimerEntry record;
  EXPECT_EQ(instance(4095, 0, &record), 0x40490002);
  EXPECT_EQ(fake::the().sent(149).size(), 1u);
  fake::add_vsan(4096);
  EXPECT_EQ(instance(4095, 0, &record), 0x40490002) << "a VSAN outside 1 to 4095 ends the table";
}

TEST_F(TimerTableRead, TheMaximumIsTestedSignedSoThat2To31IsSent) {
  vsanFcTimerEntry record;
  EXPECT_EQ(instance(2147483648, 0, &record), 0x40490002);
  ASSERT_EQ(fake::the().sent(149).size(), 1u);
  EXPECT_EQ(fake::row_of(fake::the().sent(149)[0].request).vsanIndex, 2147483648u);
}

TEST_F(TimerTableRead, InstanceClearsTheRecordAndSetsTheFlagByte) {
  vsanFcTimerEntry record;
  memset(&record, 0xff, sizeof record);
  EXPECT_EQ(instance(7, 1, &record), 0);
  const uint8_t expected[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 0};
  EXPECT_EQ(memcmp(&record, expected, sizeof expected), 0);
  EXPECT_EQ(uint32_t{record.vsan_id}, 7u);
  EXPECT_EQ(record.reserved, 0);
  EXPECT_EQ(fake::the().history[0].second, "get_vsanFcTimerEntry_instance : Entered ");
  EXPECT_EQ(fake::the().history[1].second, "get_vsanFcTimerEntry_instance : *length = 15 , vp_namelen = 14 ");
  EXPECT_EQ(fake::the().history[2].second, "get_vsanFcTimerEntry_instance : Exit with success ");
}

TEST_F(TimerTableRead, GetNextOnTheBareColumnFindsTheFirstVsan) {
  EXPECT_EQ(mini::getnext(timer_column(kRatov))->name, timer_cell(kRatov, 5));
  EXPECT_EQ(fake::hex(fake::the().sent(127)[0].request), "000000080000000001000000000500");
}

TEST_F(TimerTableRead, AFailedSearchForTheNextVsanIsTracedAndItsStatusDependsOnTheBuffer) {
  vsanFcTimerEntry record;
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0x40540001, 0, {}, {}}; };
  EXPECT_EQ(instance(5, 0, &record), 0x40490002) << "no buffer: the end of the table";
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0x40540001, 0, fake::bytes(4, 0), {}}; };
  EXPECT_EQ(instance(5, 0, &record), 0x40540001);
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0, 0, fake::bytes(4, 0), {}}; };
  EXPECT_EQ(instance(5, 0, &record), -1) << "a short answer is a broken exchange";
  EXPECT_EQ(errno, EPROTO);
  EXPECT_TRUE(fake::the().traced(
      "get_vsanFcTimerEntry_instance : GETNEXT Request failed for vsanIndex = 5 with error : fmt-40540001\n", 100));
}

TEST_F(TimerTableRead, WithDistributionOnAndShowRunningOffAPlainReadAsksForThePendingValue) {
  fake::the().kdx_enabled = 1;
  mini::get(timer_cell(kEdtov, 7));
  ASSERT_EQ(fake::the().sent(127).size(), 1u);
  EXPECT_EQ(fake::the().sent(127)[0].msg_type, 5);
  EXPECT_EQ(fake::hex(fake::the().sent(127)[0].request), "000000070000000001000000000700");
  EXPECT_TRUE(fake::the().traced("header_vsanFcTimerEntry msg_type = KDX_GET_REQ \n"));
  EXPECT_TRUE(fake::the().traced(
      "header_vsanFcTimerEntry : Sending  KDX_GET_REQ request to VSAN mgr vsan_id = 7) timer_type = 7\n"));
}

TEST_F(TimerTableRead, WithShowRunningOnAPlainReadAsksForTheRunningValue) {
  fake::the().kdx_enabled = 1;
  fake::the().kdx_show_running = 1;
  mini::get(timer_cell(kEdtov, 7));
  EXPECT_EQ(fake::the().sent(127)[0].msg_type, 1);
}

// Answers type 5 with `status` for VSAN `vsan`, everything else as the faked manager does.
auto refuse_pending(uint32_t vsan, int status) {
  return [=](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127 || e.msg_type != 5 || e.request[13] != vsan) {
      return {};
    }
    return fake::reply{status, 0, {}, {}};
  };
}

TEST_F(TimerTableRead, AVsanKeptOutOfDistributionIsSkippedAlsoByAGet) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = refuse_pending(5, 0x40190002);
  EXPECT_EQ(mini::getnext(timer_column(kRatov))->name, timer_cell(kRatov, 7));
  EXPECT_TRUE(fake::the().traced("header_vsanFcTimerEntry : attr not found for vsan-id : 5 "));

  struct variable vp = r_a_tov_column();
  name_t name = timer_cell(kRatov, 5);
  name.resize(MAX_OID_LEN);
  size_t length = 15;
  vsanFcTimerEntry record;
  EXPECT_EQ(header_vsanFcTimerEntry(&vp, name.data(), &length, 1, &record, 0), 0);
  EXPECT_EQ(uint32_t{record.vsan_id}, 7u);
  EXPECT_EQ(name[14], 7u);
}

TEST_F(TimerTableRead, SuccessWithoutAPayloadLeavesTheOidAndTheRecordAsTheyWereAsked) {
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127) {
      return {};
    }
    return fake::reply{0, 0, {}, {}};
  };
  struct variable vp = r_a_tov_column();
  name_t name = timer_cell(kRatov, 5);
  name.resize(MAX_OID_LEN);
  for (const int exact : {1, 0}) {
    size_t length = 15;
    vsanFcTimerEntry record;
    EXPECT_EQ(header_vsanFcTimerEntry(&vp, name.data(), &length, exact, &record, 0), 0);
    EXPECT_EQ(uint32_t{record.vsan_id}, exact != 0 ? 5u : 7u);
    EXPECT_EQ(uint32_t{record.timer_type}, 8u);
    EXPECT_EQ(uint32_t{record.timer_value}, 0u);
    EXPECT_EQ(name[14], 5u);
    EXPECT_EQ(length, 15u);
  }
}

TEST_F(TimerTableRead, EveryVsanKeptOutEndsTheTable) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127) {
      return {};
    }
    return fake::reply{0x40190002, 0, {}, {}};
  };
  EXPECT_FALSE(under(mini::getnext(timer_column(kFstov)), timer_table()));
}

TEST_F(TimerTableRead, WithDistributionOffTheSameStatusIsAnOrdinaryFailure) {
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127) {
      return {};
    }
    return fake::reply{0x40190002, 0, {}, {}};
  };
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 5)).has_value());
  EXPECT_EQ(fake::the().sent(127).size(), 1u);
  EXPECT_TRUE(
      fake::the().traced("header_vsanFcTimerEntry : GET request failedfor vsan_id = 5 with error : fmt-40190002\n"));
}

int read_for_set(oid vsan, vsanFcTimerEntry *record) {
  struct variable vp = {};
  name_t name = timer_cell(kRatov, vsan);
  vp.magic = 39;
  vp.namelen = 14;
  std::copy(name.begin(), name.begin() + 14, vp.name);
  name.resize(MAX_OID_LEN);
  size_t length = 15;
  return header_vsanFcTimerEntry(&vp, name.data(), &length, 1, record, 1);
}

TEST_F(TimerTableRead, AReadForAWriteIsSentAgainAsGetWhileAnotherSwitchHoldsTheLock) {
  fake::the().kdx_enabled = 1;
  fake::the().kdx_show_running = 1;  // does not matter to a read for a write
  fake::the().overrule = refuse_pending(7, 0x40190028);
  vsanFcTimerEntry record;
  EXPECT_EQ(read_for_set(7, &record), 0);
  ASSERT_EQ(fake::the().sent(127).size(), 2u);
  EXPECT_EQ(fake::the().sent(127)[0].msg_type, 5);
  EXPECT_EQ(fake::the().sent(127)[1].msg_type, 1);
  EXPECT_EQ(fake::the().sent(127)[1].request, fake::the().sent(127)[0].request);
  EXPECT_TRUE(fake::the().traced("header_vsanFcTimerEntry get_for_set msg_type = KDX_GET_REQ \n"));
  EXPECT_TRUE(fake::the().traced("header_vsanFcTimerEntry Re-sending with GET_REQ \n"));
}

TEST_F(TimerTableRead, APlainReadIsNotSentAgainUnderARemoteLock) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = refuse_pending(7, 0x40190028);
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 7)).has_value());
  EXPECT_EQ(fake::the().sent(127).size(), 1u);
}

TEST_F(TimerTableRead, AReadForAWriteWithDistributionOffIsAPlainGet) {
  vsanFcTimerEntry record;
  EXPECT_EQ(read_for_set(7, &record), 0);
  EXPECT_EQ(fake::the().sent(127)[0].msg_type, 1);
}

TEST_F(TimerTableRead, ShortAnswersAnswerNothing) {
  for (size_t size : {0, 1, 8, 14}) {
    fake::the().overrule = [&](const fake::exchange &) { return fake::reply{0, 0, fake::bytes(size, 0), {}}; };
    EXPECT_FALSE(mini::get(timer_cell(kRatov, 7)).has_value()) << size;
  }
}

TEST_F(TimerTableRead, ARestrictedUserWalksOnlyAllowedVsansAndGetsOnlyThose) {
  fake::the().restricted = true;
  fake::the().allowed = {7};
  EXPECT_EQ(mini::getnext(timer_column(kRatov))->name, timer_cell(kRatov, 7));
  EXPECT_EQ(mini::getnext(timer_cell(kRatov, 7))->name, timer_cell(kEdtov, 7));
  EXPECT_TRUE(mini::get(timer_cell(kRatov, 7)).has_value());
  EXPECT_FALSE(mini::get(timer_cell(kRatov, 5)).has_value());
}

TEST_F(TimerTableRead, TracesOfAPlainReadInTheirOrder) {
  mini::get(timer_cell(kRatov, 7));
  std::vector<std::string> lines;
  for (const auto &line : fake::the().history) {
    lines.push_back(line.second);
  }
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "get_vsanFcTimerEntry : before calling header_timer_ entry ",
                       "header_vsanFcTimerEntry : calling timer_instance() ",
                       "get_vsanFcTimerEntry_instance : Entered ",
                       "get_vsanFcTimerEntry_instance : *length = 15 , vp_namelen = 14 ",
                       "get_vsanFcTimerEntry_instance : Exit with success ",
                       "header_vsanFcTimerEntry : done calling timer_instance() ",
                       "header_vsanFcTimerEntry : Sending  GET request to VSAN mgr vsan_id = 7) timer_type = 8\n",
                       "header_vsanFcTimerEntry : Received  GET response from VSAN mgr  vsanIndex = 7 Timer_type  = 8, "
                       "timer_value =8007 \n",
                       "get_vsanFcTimerEntry : getting the values",
                   }));
}

// Membership summary.

class SummaryRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().members = {{1, 100}, {1, 200}, {5, 300}, {10, 400}};
  }
};

TEST_F(SummaryRead, GetNextOnTheBareColumnAsksForThePairAfterZero) {
  EXPECT_EQ(mini::getnext(summary_column()), integer(summary(1, 100), 100));
  EXPECT_EQ(fake::the().calls.back(), "pm 2 0.0 operator session-1 5");
}

TEST_F(SummaryRead, GetNextWithOnlyAVsanAsksForThePairAfterItAndZero) {
  EXPECT_EQ(mini::getnext(root({1, 2, 8, 1, 1, 5}))->name, summary(5, 300));
  EXPECT_EQ(fake::the().calls.back(), "pm 2 5.0 operator session-1 5");
}

TEST_F(SummaryRead, GetWithASingleIndexAsksForThePairZero) {
  EXPECT_FALSE(mini::get(root({1, 2, 8, 1, 1, 5})).has_value());
  EXPECT_EQ(fake::the().calls.back(), "pm 1 0.0 operator session-1 5");
}

TEST_F(SummaryRead, TheValueIsTheRowsOwnSecondIndex) {
  for (const auto &[vsan, interface] : fake::the().members) {
    EXPECT_EQ(mini::get(summary(vsan, interface)), integer(summary(vsan, interface), interface));
  }
}

TEST_F(SummaryRead, NoRangeIsCheckedAndAnAbsentPairAnswersNothing) {
  EXPECT_FALSE(mini::get(summary(4294967295, 4294967295)).has_value());
  EXPECT_EQ(fake::the().calls.back(), "pm 1 4294967295.4294967295 operator session-1 5");
  EXPECT_TRUE(fake::the().traced(
      "header_vsanMembershipSummaryEntry(#) : GET req FAILED for vsanIndex = -1: ifIndex = -1 : fmt-40490002\n"));
}

TEST_F(SummaryRead, AFailedCallTracesErrnosText) {
  fake::the().fail_at = 1;
  EXPECT_FALSE(mini::get(summary(1, 100)).has_value());
  EXPECT_TRUE(fake::the().traced(
      std::string("header_vsanMembershipSummaryEntry(#) : GET req FAILED for vsanIndex = 1: ifIndex = 100 : ") +
      strerror(ETIMEDOUT) + "\n"));
}

TEST_F(SummaryRead, TracesOfAReadInTheirOrder) {
  mini::getnext(summary(1, 100));
  ASSERT_EQ(fake::the().history.size(), 2u);
  EXPECT_EQ(fake::the().history[0].second,
            "header_vsanMembershipSummaryEntry : Sending GETNEXT req for vsanIndex = 1 and ifIndex = 100 \n");
  EXPECT_EQ(
      fake::the().history[1].second,
      "header_vsanMembershipSummaryEntry : Recd resp for GETNEXT req for vsanIndex=1, ifIndex = 200, is_static 1 \n");
}

TEST_F(SummaryRead, ARestrictedWalkSkipsWholeVsansAndResumesAtTheFirstInterfaceOfTheNextAllowedOne) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_EQ(mini::getnext(summary_column())->name, summary(10, 400));
  std::vector<std::string> asked;
  for (const std::string &call : fake::the().calls) {
    if (call.rfind("pm ", 0) == 0) {
      asked.push_back(call);
    }
  }
  EXPECT_EQ(asked, (std::vector<std::string>{"pm 2 0.0 operator session-1 5", "pm 2 10.0 operator session-1 5"}));
  EXPECT_FALSE(under(mini::getnext(summary(10, 400)), summary_table()));
}

TEST_F(SummaryRead, ARestrictedGetOfAPairInAnAllowedVsanAnswersNothingUnlessVsan0IsAllowed) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_FALSE(mini::get(summary(10, 400)).has_value());
  EXPECT_EQ(fake::the().calls.back(), "snmp_is_vsan_allowed_in_list 0");
  fake::the().allowed = {0};
  EXPECT_TRUE(mini::get(summary(10, 400)).has_value()) << "VSAN 0 is what is tested";
}

// The reason that net-snmp was given for the last error.
std::string detail() {
  const std::string text = snmp_api_errstring(SNMPERR_GENERR);
  const size_t at = text.rfind(" (");
  return at == text.npos ? "none" : text.substr(at + 1);
}

// What the exported functions answer that the agent does not ask.

// A variable of a column with another magic number.
struct variable column_with_magic(const name_t &column, int magic) {
  struct variable vp = {};
  vp.magic = static_cast<u_char>(magic);
  vp.namelen = static_cast<u_char>(column.size());
  std::copy(column.begin(), column.end(), vp.name);
  return vp;
}

class ForeignOids : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    for (const uint32_t vsan : {5, 7}) {
      fake::add_vsan(vsan);
    }
    fake::add_interface(100, 5);
  }
};

TEST_F(ForeignOids, MagicOfNoColumnAnswersNothing) {
  const struct {
    FindVarMethod *find;
    name_t column;
    name_t instance;
    const char *detail;
  } tables[] = {{get_vsanIfEntry, if_column(kIfVsan), if_vsan(100), "()"},
                {get_vsanEntry, vsan_column(kName), vsan_cell(kName, 5), "(BAD THING HAPPENED)"},
                {get_vsanFcTimerEntry, timer_column(kRatov), timer_cell(kRatov, 5), "(BAD THING HAPPENED)"},
                {get_vsanMembershipSummaryEntry, summary_column(), summary(5, 100), "()"},
                {get_vsan_mib, vsan_number(), vsan_number(), "()"}};
  for (const auto &table : tables) {
    struct variable vp = column_with_magic(table.column, 7);
    if (table.find == get_vsan_mib) {
      --vp.namelen;  // a scalar's instance is none of its object's OID
    }
    name_t name = table.instance;
    name.resize(MAX_OID_LEN);
    size_t length = table.instance.size();
    detail();
    size_t var_len = 0;
    WriteMethod *method = nullptr;
    EXPECT_EQ(table.find(&vp, name.data(), &length, 1, &var_len, &method), nullptr) << text(table.column);
    EXPECT_EQ(method, nullptr);
    EXPECT_EQ(detail(), table.detail) << text(table.column);
  }
  WriteMethod *method = nullptr;
  set_fctimer_table_set_methods(7, &method);
  EXPECT_EQ(method, nullptr);
}

TEST_F(ForeignOids, OfAnotherColumnOrShorterThanTheColumnStartAtTheTablesBegin) {
  name_t other = timer_cell(kEdtov, 5);
  name_t column = timer_column(kRatov);
  for (const size_t given : {size_t{15}, size_t{14}, size_t{9}}) {
    name_t name = other;
    name.resize(MAX_OID_LEN);
    size_t length = given;
    vsanFcTimerEntry record;
    EXPECT_EQ(get_vsanFcTimerEntry_instance(column.data(), column.size(), name.data(), &length, 0, &record), 0);
    EXPECT_EQ(uint32_t{record.vsan_id}, 5u) << given;
  }
  name_t interface = if_vsan(100);
  name_t deny_column = if_column(kIfDenyList);
  interface.resize(MAX_OID_LEN);
  size_t length = 15;
  vsanIfEntry row;
  EXPECT_EQ(header_vsanIfEntry(deny_column.data(), 14, interface.data(), &length, 0, &row), 0);
  EXPECT_EQ(row.ifIndex, 100u);
  name_t vsan_name = vsan_cell(kName, 5);
  name_t mtu_column = vsan_column(kMtu);
  vsan_name.resize(MAX_OID_LEN);
  length = 15;
  vsanEntry vsan;
  EXPECT_EQ(header_vsanEntry(mtu_column.data(), 14, vsan_name.data(), &length, 0, &vsan), 0);
  EXPECT_EQ(vsan.vsanIndex, 5u);
}

TEST_F(ForeignOids, AGetnextThatIsPastItsOwnColumnsEndOfTheTimerTableEndsIt) {
  // The column's own length with the column's own OID is its begin.
  name_t column = timer_column(kRatov);
  name_t name = timer_cell(kRatov, 4096);
  name.resize(MAX_OID_LEN);
  size_t length = 14;
  vsanFcTimerEntry record;
  EXPECT_EQ(get_vsanFcTimerEntry_instance(column.data(), 14, name.data(), &length, 0, &record), 0);
  EXPECT_EQ(uint32_t{record.vsan_id}, 5u);
}

TEST_F(ForeignOids, AReadForAWriteThatIsAnsweredIsNotSentAgain) {
  fake::the().kdx_enabled = 1;
  vsanFcTimerEntry record;
  EXPECT_EQ(read_for_set(7, &record), 0);
  EXPECT_EQ(fake::the().sent(127).size(), 1u);
}

TEST_F(ForeignOids, AReadForAWriteOfARunningValueIsNotSentAgainUnderARemoteLock) {
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 127) {
      return {};
    }
    return fake::reply{0x40190028, 0, {}, {}};
  };
  vsanFcTimerEntry record;
  EXPECT_EQ(read_for_set(7, &record), 0x40190028);
  EXPECT_EQ(fake::the().sent(127).size(), 1u);
}

TEST_F(ForeignOids, VsansThatDoNotRiseEndTheSearchForADistributedTimer) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode == 127) {
      return fake::reply{0x40190002, 0, {}, {}};
    }
    fake::exchange from_the_begin = e;
    std::fill(from_the_begin.request.begin(), from_the_begin.request.end(), uint8_t{0});
    return fake::answer_of_managers(from_the_begin);
  };
  struct variable vp = column_with_magic(timer_column(kRatov), 39);
  name_t name = timer_column(kRatov);
  name.resize(MAX_OID_LEN);
  size_t length = 14;
  vsanFcTimerEntry record;
  EXPECT_EQ(header_vsanFcTimerEntry(&vp, name.data(), &length, 0, &record, 0), 0x40490002);
  EXPECT_EQ(fake::the().sent(127).size(), 2u) << "the VSAN that came twice";
}

TEST_F(ForeignOids, ARestrictedWalkOfMembershipsEndsWithoutAnAllowedVsanLeft) {
  fake::the().restricted = true;
  fake::the().allowed = {3};
  EXPECT_FALSE(under(mini::getnext(summary_column()), summary_column()));
}

TEST_F(ForeignOids, AForceFlagOfAVsanThatThereIsNotReadsAsNone) {
  for (const uint32_t vsan : {4096u, 0xf0000000u}) {
    fake::the().overrule = [vsan](const fake::exchange &e) -> std::optional<fake::reply> {
      fake::reply reply = fake::answer_of_managers(e);
      if (e.opcode == 127) {
        const uint32_t word = htonl(vsan);
        memcpy(reply.payload->data() + 10, &word, sizeof word);
      }
      return reply;
    };
    const auto answer = mini::find_alone(vsan_mib_variables[23], timer_cell(kForceFlag, 5), 1);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(answer->octets, std::string(1, '\0'));
  }
}

// What lies behind the OID in the agent's buffer belongs to nobody.
TEST_F(ForeignOids, OfAColumnAloneHaveNoIndexWhateverLiesBehind) {
  const struct {
    name_t column;
    std::string asked;
    std::function<int(oid *, size_t *)> look_up;
  } tables[] = {{if_column(kIfVsan), "cmi_req_resp 124 2",
                 [](oid *name, size_t *length) {
                   vsanIfEntry row;
                   return header_vsanIfEntry(if_column(kIfVsan).data(), 14, name, length, 0, &row);
                 }},
                {summary_column(), "pm 2 0.0 operator session-1 5", [](oid *name, size_t *length) {
                   vsanMembershipSummaryEntry row;
                   return header_vsanMembershipSummaryEntry(summary_column().data(), 14, name, length, 0, &row);
                 }}};
  for (const auto &table : tables) {
    name_t name = table.column;
    name.resize(MAX_OID_LEN, 99);
    size_t length = 14;
    EXPECT_EQ(table.look_up(name.data(), &length), 0);
    EXPECT_EQ(fake::the().calls.back(), table.asked);
  }
  EXPECT_EQ(fake::the().exchanges[0].request[3], 0);
}

TEST_F(ForeignOids, AMembershipIsAnsweredInTheCallersRecord) {
  vsanMembershipSummaryEntry row = {};
  name_t name = summary(5, 99);
  name.resize(MAX_OID_LEN);
  size_t length = 16;
  EXPECT_EQ(header_vsanMembershipSummaryEntry(summary_column().data(), 14, name.data(), &length, 0, &row), 0);
  EXPECT_EQ(uint32_t{row.vsanIndex}, 5u);
  EXPECT_EQ(uint32_t{row.ifIndex}, 100u);
  EXPECT_EQ(row.is_static, 1);
}

TEST_F(ForeignOids, AVsanThatThereCannotBeEndsTheTimerTable) {
  fake::add_vsan(5000);
  struct variable vp = column_with_magic(timer_column(kRatov), 39);
  name_t name = timer_cell(kRatov, 7);
  name.resize(MAX_OID_LEN);
  size_t length = 15;
  vsanFcTimerEntry record;
  EXPECT_EQ(header_vsanFcTimerEntry(&vp, name.data(), &length, 0, &record, 0), 0x40490002);
}

TEST_F(ForeignOids, Vsan1IsSkippedAsOthersAreWhenItIsKeptOutOfDistribution) {
  fake::add_vsan(1);
  fake::the().kdx_enabled = 1;
  fake::the().overrule = refuse_pending(1, 0x40190002);
  EXPECT_EQ(mini::getnext(timer_column(kRatov))->name, timer_cell(kRatov, 5));
}

TEST_F(ForeignOids, TracesOfWalksTellGetnext) {
  mini::getnext(if_column(kIfVsan));
  EXPECT_TRUE(fake::the().traced(
      "header_vsanIfEntry : Sending  GETNEXT request to VSAN mgr with payload (size = 16) ifIndex = 0\n"));
  mini::getnext(vsan_cell(kName, 5));
  EXPECT_TRUE(fake::the().traced(
      "header_vsanEntry(#) : Sending GETNEXT request to VSAN mgr with payload (size = 2632) vsanIndex = 5\n"));
}

// Restricted users of the tables that are walked past hidden rows.
class RestrictedWalks : public ForeignOids {
 protected:
  void SetUp() override {
    ForeignOids::SetUp();
    for (const uint32_t vsan : {9, 19, 20}) {
      fake::add_vsan(vsan);
    }
    fake::the().restricted = true;
    fake::the().allowed = {20};
  }
};

TEST_F(RestrictedWalks, OfTimersJumpToTheNextAllowedVsan) {
  EXPECT_EQ(mini::getnext(timer_column(kRatov))->name, timer_cell(kRatov, 20));
  EXPECT_EQ(fake::the().sent(149).size(), 2u) << "the first VSAN, and the one after 19";
}

TEST_F(RestrictedWalks, OfTimersShowWhatDistributionShowsToAll) {
  fake::the().kdx_enabled = 1;
  fake::the().kdx_show_running = 1;
  mini::getnext(timer_column(kRatov));
  mini::get(timer_cell(kRatov, 20));
  for (const fake::exchange &e : fake::the().sent(127)) {
    EXPECT_EQ(e.msg_type, 1);
  }
}

TEST_F(RestrictedWalks, EndAfterTheLastRowAlsoWhenVsan0IsAllowed) {
  fake::the().allowed = {0, 20};
  fake::add_interface(101, 20);
  const struct variable7 &name_column = vsan_mib_variables[2];
  const struct variable7 &summary_object = vsan_mib_variables[15];
  const struct variable7 &timer_object = vsan_mib_variables[24];
  EXPECT_FALSE(mini::find_alone(name_column, vsan_cell(kName, 20), 0).has_value());
  EXPECT_FALSE(mini::find_alone(summary_object, summary(20, 101), 0).has_value());
  EXPECT_FALSE(mini::find_alone(timer_object, timer_cell(kRatov, 20), 0).has_value());
}

TEST_F(RestrictedWalks, AskWithTheGetPduType) {
  for (const name_t &name : {timer_cell(kRatov, 20), summary(20, 101)}) {
    fake::the().calls.clear();
    mini::get(name);
    EXPECT_EQ(std::count(fake::the().calls.begin(), fake::the().calls.end(), "snmp_get_allowed_vsans_subtree 160"), 1);
  }
}

TEST_F(RestrictedWalks, AGetOfAnAllowedVsanThatThereIsNotAnswersNothing) {
  fake::the().allowed = {99};
  EXPECT_FALSE(mini::get(vsan_cell(kAdminState, 99)).has_value());
}

std::vector<std::string> lines_now() {
  std::vector<std::string> lines;
  for (const auto &line : fake::the().history) {
    lines.push_back(line.second);
  }
  return lines;
}

TEST_F(TimerTableRead, TracesOfANextReadOfAPendingValueInTheirOrder) {
  fake::the().kdx_enabled = 1;
  mini::getnext(timer_cell(kRatov, 5));
  EXPECT_EQ(lines_now(),
            (std::vector<std::string>{
                "get_vsanFcTimerEntry : before calling header_timer_ entry ",
                "header_vsanFcTimerEntry : calling timer_instance() ",
                "get_vsanFcTimerEntry_instance : Entered ",
                "get_vsanFcTimerEntry_instance : *length = 15 , vp_namelen = 14 ",
                "get_vsanFcTimerEntry_instance : oid comapre matched ",
                "get_vsanFcTimerEntry_instance : Sending GETNEXT request to VSAN mgr with payload (size = 2632) "
                "vsanIndex = 5\n",
                "get_vsanFcTimerEntry_instance : Received  GETNEXT Response from VSAN mgr with payload (size = 2632) "
                "vsanIndex = 7 ",
                "get_vsanFcTimerEntry_instance : Exit with success ",
                "header_vsanFcTimerEntry : done calling timer_instance() ",
                "header_vsanFcTimerEntry msg_type = KDX_GET_REQ \n",
                "header_vsanFcTimerEntry : Sending  KDX_GET_REQ request to VSAN mgr vsan_id = 7) timer_type = 8\n",
                "header_vsanFcTimerEntry : Received  GETNEXT response from VSAN mgr  vsanIndex = 7 Timer_type  = 8, "
                "timer_value =8007 \n",
                "get_vsanFcTimerEntry : getting the values",
            }));
}

TEST_F(TimerTableRead, TheBareColumnMatchesItself) {
  mini::getnext(timer_column(kRatov));
  EXPECT_TRUE(fake::the().traced("get_vsanFcTimerEntry_instance : oid comapre matched "));
}

TEST_F(TimerTableRead, AVsanThatThereCannotBeIsNoEntry) {
  struct variable vp = r_a_tov_column();
  name_t name = timer_cell(kRatov, 4096);
  size_t length = name.size();
  vsanFcTimerEntry record;
  EXPECT_EQ(header_vsanFcTimerEntry(&vp, name.data(), &length, 1, &record, 0), 0x40490002);
}

TEST_F(TimerTableRead, TracesOfAReadWithoutAnInstanceInTheirOrder) {
  mini::get(timer_cell(kRatov, 0));
  EXPECT_EQ(lines_now(), (std::vector<std::string>{
                             "get_vsanFcTimerEntry : before calling header_timer_ entry ",
                             "header_vsanFcTimerEntry : calling timer_instance() ",
                             "get_vsanFcTimerEntry_instance : Entered ",
                             "get_vsanFcTimerEntry_instance : *length = 15 , vp_namelen = 14 ",
                             "header_vsanFcTimerEntry : done calling timer_instance() ",
                             "header_vsanFcTimerEntry : return after timer_instance()",
                         }));
}

}  // namespace
