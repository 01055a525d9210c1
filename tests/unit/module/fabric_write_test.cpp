// Per-VSAN timers and their force flag, switch-wide parameters, interface assignment.
#include <errno.h>
#include <string.h>

#include "module_test.h"

namespace {

using namespace mib;

// The calls that a blocking SET makes.
const std::vector<std::string> kBlockingSet(int opcode) {
  return {"sysmgr_heartbeat 1", "get_snmp_username", "get_snmp_sessionid",
          "cmi_req_resp " + std::to_string(opcode) + " 3", "sysmgr_heartbeat 0"};
}

void refuse_writes(int status, int error = 0) {
  fake::the().overrule = [=](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.msg_type != 3) {
      return {};
    }
    return fake::reply{status, error, {}, {}};
  };
}

// Per-VSAN timers.

struct timer {
  const char *name;
  WriteMethod *method;
  oid column;
  uint32_t type;
  uint8_t bit;
  long low;
  long high;
  const char *wrong_type;
  const char *bad_length;
  const char *wrong_value;
  const char *forced;      // for VSAN 7
  const char *not_forced;  // for VSAN 7
};

const timer kTimers[] = {
    {"set_vsanFcTimerRatov", set_vsanFcTimerRatov, kRatov, 8, 0x80, 5000, 10000,
     "set_vsanFcTimerRatov : write to vsanFcTimerRatov not ASN_UNSIGNED \n",
     "set_vsanFcTimerRatov : write to vsanFcTimerRatov bad length\n", "set_vsanFcTimerRatov : wrong value \n",
     "set_vsanFcTimerRatov : ACTION vsanid = 7  ForceFlag SET - true ",
     "set_vsanFcTimerRatov : ACTION vsanid = 7  ForceFlag SET - false "},
    {"set_vsanFcTimerEdtov", set_vsanFcTimerEdtov, kEdtov, 7, 0x40, 1000, 4000,
     " set_vsanFcTimerEdtov : write to vsanFcTimerEdtov not ASN_UNSIGNED\n",
     " set_vsanFcTimerEdtov : write to vsanFcTimerEdtov bad length \n",
     " set_vsanFcTimerEdtov : write to vsanFcTimerEdtov wrong value \n",
     "set_vsanFcTimerEdtov : ACTION vsanid = 7  ForceFlag SET - True",
     "set_vsanFcTimerEdtov : ACTION vsanid = 7  ForceFlag SET - false"},
    {"set_vsanFcTimerDstov", set_vsanFcTimerDstov, kDstov, 9, 0x20, 5000, 10000,
     "set_vsanFcTimerDstov : write to vsanFcTimerDstov not ASN_UNSIGNED\n",
     "set_vsanFcTimerDstov : write to vsanFcTimerDstov - bad length \n",
     "set_vsanFcTimerDstov : write to vsanFcTimerDstov - wrong value \n",
     "set_vsanFcTimerDstov : ACTION vsanid = 7  ForceFlag - True ",
     "set_vsanFcTimerDstov : ACTION vsanid = 7  ForceFlag  - false "},
};

int set_flag(oid vsan, const std::string &flags, int action) {
  return mini::phase(set_vsanFcTimerForceFlag, action, octets(timer_cell(kForceFlag, vsan), flags));
}
void force(oid vsan, char flags) {
  ASSERT_EQ(set_flag(vsan, std::string(1, flags), ACTION), 0);
}

class TimerSetters : public ModuleTest, public ::testing::WithParamInterface<timer> {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_vsan(7);
    force(7, 0);
    fake::the().history.clear();
    fake::the().calls.clear();
  }
  void TearDown() override {
    force(7, 0);
    ModuleTest::TearDown();
  }
  static int run(int action, long value, oid vsan = 7) {
    return mini::phase(GetParam().method, action,
                       gauge(timer_cell(GetParam().column, vsan), static_cast<unsigned long>(value)));
  }
};

INSTANTIATE_TEST_SUITE_P(, TimerSetters, ::testing::ValuesIn(kTimers),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_P(TimerSetters, BoundsAreAcceptedAndValuesBeyondRefused) {
  const timer &t = GetParam();
  EXPECT_EQ(run(RESERVE1, t.low), 0);
  EXPECT_EQ(run(RESERVE1, t.high), 0);
  for (long value : {t.low - 1, t.high + 1, 0L, -1L, 2147483647L, static_cast<long>(UINT32_MAX)}) {
    fake::the().history.clear();
    EXPECT_EQ(run(RESERVE1, value), SNMP_ERR_WRONGVALUE) << value;
    EXPECT_TRUE(fake::the().traced(t.wrong_value)) << value;
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_P(TimerSetters, WrongTypeAndBadLengthAreTraced) {
  const timer &t = GetParam();
  capture();
  EXPECT_EQ(mini::phase_raw(t.method, RESERVE1, timer_cell(t.column, 7), ASN_INTEGER, mini::word(5000), 4),
            SNMP_ERR_WRONGTYPE);
  EXPECT_TRUE(fake::the().traced(t.wrong_type));
  EXPECT_EQ(mini::phase_raw(t.method, RESERVE1, timer_cell(t.column, 7), ASN_UNSIGNED, mini::word(5000), 5),
            SNMP_ERR_WRONGLENGTH);
  EXPECT_TRUE(fake::the().traced(t.bad_length));
  EXPECT_EQ(captured(), "");
}

TEST_P(TimerSetters, AnOidThatNamesNoVsanIsAnInconsistentNameAndSendsNothing) {
  const timer &t = GetParam();
  for (oid vsan : {0, 4096}) {
    EXPECT_EQ(run(RESERVE1, t.low, vsan), SNMP_ERR_INCONSISTENTNAME) << vsan;
  }
  EXPECT_EQ(run(RESERVE1, t.low, 4095), 0);
  const varbind longer = gauge(root({1, 4, 8, 1, t.column, 7, 7}), static_cast<unsigned long>(t.low));
  EXPECT_EQ(mini::phase(t.method, RESERVE1, longer), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(mini::phase(t.method, ACTION, longer), SNMP_ERR_GENERR) << "the status of no entry, mapped";
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_P(TimerSetters, ActionSendsTheRecordBetweenHeartbeats) {
  const timer &t = GetParam();
  EXPECT_EQ(run(ACTION, t.low), 0);
  EXPECT_EQ(fake::the().calls, kBlockingSet(127));
  ASSERT_EQ(fake::the().exchanges.size(), 1u);
  const fake::exchange &e = fake::the().exchanges[0];
  char expected[64];
  snprintf(expected, sizeof expected, "%08x%08lx01000000000700", t.type, t.low);
  EXPECT_EQ(fake::hex(e.request), expected);
  EXPECT_EQ(e.size, 15u);
  EXPECT_FALSE(e.wants_response);
  EXPECT_EQ(e.user, "operator");
  EXPECT_EQ(e.session, "session-1");
  EXPECT_EQ(e.service, 15);
  EXPECT_EQ(e.timeout, 10);
  EXPECT_TRUE(fake::the().traced(t.not_forced));
}

TEST_P(TimerSetters, TheForceFlagsBitOfThisTimerOnlyForcesIt) {
  const timer &t = GetParam();
  force(7, static_cast<char>(t.bit));
  EXPECT_EQ(run(ACTION, t.low), 0);
  EXPECT_EQ(fake::the().exchanges.back().request[9], 1);
  EXPECT_TRUE(fake::the().traced(t.forced));
  force(7, static_cast<char>(0xE0 & ~t.bit));
  EXPECT_EQ(run(ACTION, t.low), 0);
  EXPECT_EQ(fake::the().exchanges.back().request[9], 0);
}

TEST_P(TimerSetters, TheForceFlagSticksToItsVsanAndNoOther) {
  const timer &t = GetParam();
  force(7, static_cast<char>(0xE0));
  for (int i = 0; i < 3; ++i) {
    run(ACTION, t.low);
    EXPECT_EQ(fake::the().exchanges.back().request[9], 1) << "a timer never clears it";
  }
  run(ACTION, t.low, 8);
  EXPECT_EQ(fake::the().exchanges.back().request[9], 0);
}

TEST_P(TimerSetters, ARefusalEndsTheHeartbeatIsRecordedAndMapped) {
  refuse_writes(0x40190001);
  EXPECT_EQ(run(ACTION, GetParam().low), SNMP_ERR_INCONSISTENTNAME);
  std::vector<std::string> expected = kBlockingSet(127);
  expected.push_back("log_set_error");
  EXPECT_EQ(fake::the().calls, expected);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x40190001, 200}}));
  EXPECT_EQ(fake::the().traced("set_vsanFcTimerRatov : ACTION set REq failed , fmt-40190001  "), GetParam().type == 8)
      << "only this one traces its failure";
}

TEST_P(TimerSetters, ATimeoutIsGenErr) {
  refuse_writes(-1, ETIMEDOUT);
  EXPECT_EQ(run(ACTION, GetParam().low), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().calls[4], "sysmgr_heartbeat 0");
}

TEST_P(TimerSetters, OtherPhasesSendNothing) {
  for (int action : {RESERVE2, COMMIT, FREE, UNDO, 6, -1}) {
    EXPECT_EQ(run(action, GetParam().low), 0) << action;
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_P(TimerSetters, EveryPhaseIsTracedAtItsEntryAsLogsAreSearchedFor) {
  const timer &t = GetParam();
  const bool ratov = t.type == 8;
  for (int action = 0; action <= 5; ++action) {
    run(action, t.low);
  }
  const std::string common = std::string(t.name) + " : setting the values";
  EXPECT_EQ(fake::the().count_traced(common), ratov ? 0u : 6u);
  for (const char *phase : {" RESERVE1 ", " RESERVE2 ", " ACTION", " FREE "}) {
    EXPECT_EQ(fake::the().count_traced(common + phase), ratov ? 1u : 0u) << phase;
  }
  EXPECT_EQ(fake::the().traced("set_vsanFcTimerRatov : ACTION vsanid = 7 force_flag_set = 0 "), ratov);
}

TEST_P(TimerSetters, ARestrictedUserIsRefusedOutsideTheSetAndAllowedInside) {
  const timer &t = GetParam();
  fake::the().restricted = true;
  EXPECT_EQ(run(RESERVE1, t.low), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced(std::string(t.name) + " : vsan restricted user -- not allowed in this vsan\n", 100));
  EXPECT_EQ(fake::the().error_records.at(0).code, 0x4049002Cu);
  EXPECT_EQ(fake::the().calls[0], "snmp_get_allowed_vsans_subtree 163");
  fake::the().allowed = {7};
  EXPECT_EQ(run(RESERVE1, t.low), 0);
}

class ForceFlag : public ModuleTest {
 protected:
  // The flags stick for the module's life: other tests start from none.
  void TearDown() override {
    for (oid vsan = 30; vsan < 40; ++vsan) {
      force(vsan, 0);
    }
    ModuleTest::TearDown();
  }
  static long read(oid vsan) { return static_cast<u_char>(mini::get(timer_cell(kForceFlag, vsan))->octets.at(0)); }
};

TEST_F(ForceFlag, E0SetsAllThreeBitsAnd1FNoneAndClears) {
  force(30, static_cast<char>(0xE0));
  EXPECT_EQ(read(30), 0xE0);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : i/p :  e0 "));
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : SET R_A_TOV flag :  80"));
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : SET E_D_TOV flag :  c0"));
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : SET D_S_TOV flag :  e0"));
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : ACTION vsan_id = 30 , flag set :  e0 "));
  force(30, 0x1F);
  EXPECT_EQ(read(30), 0);
  force(30, 0x5F);
  EXPECT_EQ(read(30), 0x40);
}

TEST_F(ForceFlag, NothingIsSentAndUndoRestoresNothing) {
  force(31, static_cast<char>(0x80));
  EXPECT_EQ(set_flag(31, "\x40", UNDO), 0);
  for (int action : {RESERVE2, COMMIT, FREE}) {
    EXPECT_EQ(set_flag(31, "\x40", action), 0);
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
  EXPECT_EQ(read(31), 0x80);
}

TEST_F(ForceFlag, Reserve1ChecksAndChangesNothing) {
  EXPECT_EQ(set_flag(32, "\x80", RESERVE1), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : ACTION flag i/p 80 "));
  EXPECT_EQ(read(32), 0);
}

TEST_F(ForceFlag, ZeroLengthPassesAndTwoOctetsAreRefused) {
  EXPECT_EQ(set_flag(33, "", RESERVE1), 0);
  EXPECT_EQ(set_flag(33, "ab", RESERVE1), SNMP_ERR_WRONGLENGTH);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : write to vsanFcTimerForceFlag - bad length \n"));
}

TEST_F(ForceFlag, AnotherTypeIsRefused) {
  EXPECT_EQ(mini::phase(set_vsanFcTimerForceFlag, RESERVE1, integer(timer_cell(kForceFlag, 34), 1)),
            SNMP_ERR_WRONGTYPE);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : write to vsanFcTimerForceFlag not ASN_OCTET_STR \n"));
}

TEST_F(ForceFlag, AnOidThatNamesNoVsanIsRefusedInBothPhases) {
  for (oid vsan : {0, 4096}) {
    EXPECT_EQ(set_flag(vsan, "\x80", RESERVE1), SNMP_ERR_INCONSISTENTNAME);
    EXPECT_EQ(set_flag(vsan, "\x80", ACTION), SNMP_ERR_GENERR);
  }
  EXPECT_EQ(set_flag(4095, "\x80", RESERVE1), 0);
  force(4095, 0);
}

TEST_F(ForceFlag, ARestrictedUserIsRefusedOutsideTheSet) {
  fake::the().restricted = true;
  EXPECT_EQ(set_flag(35, "\x80", RESERVE1), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : vsan restricted user -- not allowed in this vsan\n", 100));
}

TEST_F(ForceFlag, BeforeATimerInThePduItTakesEffectAfterItItWaitsForTheNextOne) {
  fake::add_vsan(36);
  const varbind flag = octets(timer_cell(kForceFlag, 36), "\x80");
  const varbind clear = octets(timer_cell(kForceFlag, 36), std::string(1, '\0'));
  const varbind timer = gauge(timer_cell(kRatov, 36), 6000);
  EXPECT_EQ(mini::set_pdu({flag, timer}).status, 0);
  EXPECT_EQ(fake::the().sent(127).back().request[9], 1);
  EXPECT_EQ(mini::set_pdu({clear}).status, 0);
  EXPECT_EQ(mini::set_pdu({timer, flag}).status, 0);
  EXPECT_EQ(fake::the().sent(127).back().request[9], 0);
  EXPECT_EQ(mini::set_pdu({timer}).status, 0);
  EXPECT_EQ(fake::the().sent(127).back().request[9], 1);
}

TEST_F(ForceFlag, ATimerStaysInForceWhenALaterVarbindFails) {
  fake::add_vsan(37);
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != 140 || e.msg_type != 3) {
      return {};
    }
    return fake::reply{5, 0, {}, {}};
  };
  const auto result = mini::set_pdu({gauge(timer_cell(kRatov, 37), 6000), integer(switch_wide(kSwitchInorder), 1)});
  EXPECT_EQ(result.status, SNMP_ERR_GENERR);
  const std::pair<uint32_t, uint32_t> key = {37, 8};
  EXPECT_EQ(fake::the().timers[key], 6000u);
  ASSERT_EQ(fake::the().sent(127).size(), 2u) << "the agent's own read, and the one SET: UNDO sends nothing";
  EXPECT_EQ(fake::the().sent(127)[1].msg_type, 3);
}

TEST_F(ForceFlag, MappingOfTimerTypesToBits) {
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0x01, 8, 1), 0x81u);
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0, 7, 2), 0x40u);
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0, 9, -1), 0x20u);
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0x12345600, 10, 1), 0x12345600u);
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0x55, 8, 0), 0x55u);
}

// Switch-wide parameters.

struct global {
  const char *name;
  WriteMethod *method;
  name_t instance;
  u_char type;
  u_char other_type;
  long low;
  long high;
  int opcode;
  const char *payload;  // hex, of the low bound
  const char *wrong_type;
  const char *bad_length;
  bool traced;  // else on standard error
};

const global kGlobals[] = {
    {"set_fcTimerRatov", set_fcTimerRatov, switch_wide(kSwitchRatov), ASN_UNSIGNED, ASN_INTEGER, 5000, 10000, 127,
     "000000080000138800000000000000", "set_fcTimerRatov : write to fcTimerRatov not ASN_UNSIGNED\n",
     "set_fcTimerRatov : write to fcTimerRatov - bad length\n ", true},
    {"set_fcTimerEdtov", set_fcTimerEdtov, switch_wide(kSwitchEdtov), ASN_UNSIGNED, ASN_INTEGER, 1000, 4000, 127,
     "00000007000003e800000000000000", "set_fcTimerEdtov : write to fcTimerEdtov not ASN_UNSIGNED\n",
     "set_fcTimerEdtov : write to fcTimerEdtov - bad length \n", true},
    {"set_fcTimerDstov", set_fcTimerDstov, switch_wide(kSwitchDstov), ASN_UNSIGNED, ASN_INTEGER, 5000, 10000, 127,
     "000000090000138800000000000000", "set_fcTimerDstov : write to fcTimerDstov not ASN_UNSIGNED \n",
     "set_fcTimerDstov : write to fcTimerDstov - bad length \n", true},
    {"set_fcNetworkLatency", set_fcNetworkLatency, switch_wide(kNetworkLatency), ASN_UNSIGNED, ASN_OCTET_STR, 0, 60000,
     136, "000000120000000000000000", "write to fcNetworkLatency not ASN_UNSIGNED\n",
     "write to fcNetworkLatency: bad length\n", false},
    {"set_fcSwitchLatency", set_fcSwitchLatency, switch_wide(kSwitchLatency), ASN_UNSIGNED, ASN_INTEGER, 0, 60000, 136,
     "000000110000000000000000", "write to fcSwitchLatency not ASN_UNSIGNED\n",
     "write to fcSwitchLatency: bad length\n", false},
    {"set_fcInorderDelivery", set_fcInorderDelivery, switch_wide(kSwitchInorder), ASN_INTEGER, ASN_UNSIGNED, 1, 2, 140,
     "00000001", "write to fcInorderDelivery not ASN_INTEGER\n", "write to fcInorderDelivery: bad length\n", false},
};

class GlobalSetters : public ModuleTest, public ::testing::WithParamInterface<global> {
 protected:
  static int run(int action, long value) {
    return mini::phase(GetParam().method, action, {GetParam().instance, GetParam().type, value, {}});
  }
};

INSTANTIATE_TEST_SUITE_P(, GlobalSetters, ::testing::ValuesIn(kGlobals),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_P(GlobalSetters, BoundsAreAcceptedAndValuesBeyondRefusedSilently) {
  const global &g = GetParam();
  capture();
  EXPECT_EQ(run(RESERVE1, g.low), 0);
  EXPECT_EQ(run(RESERVE1, g.high), 0);
  for (long value : {g.low - 1, g.high + 1, -1L, static_cast<long>(UINT32_MAX)}) {
    EXPECT_EQ(run(RESERVE1, value), SNMP_ERR_WRONGVALUE) << value;
  }
  EXPECT_EQ(captured(), "");
  EXPECT_TRUE(fake::the().history.empty());
  EXPECT_TRUE(fake::the().calls.empty()) << "no restriction, no message";
}

TEST_P(GlobalSetters, WrongTypeAndBadLengthAreToldWhereLogsAreSearchedForThem) {
  const global &g = GetParam();
  const name_t name = g.instance;
  capture();
  EXPECT_EQ(mini::phase_raw(g.method, RESERVE1, name, g.other_type, mini::word(1), 4), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), g.traced ? "" : g.wrong_type);
  EXPECT_EQ(fake::the().traced(g.wrong_type), g.traced);
  capture();
  EXPECT_EQ(mini::phase_raw(g.method, RESERVE1, name, g.type, mini::word(1), 5), SNMP_ERR_WRONGLENGTH);
  EXPECT_EQ(captured(), g.traced ? "" : g.bad_length);
  EXPECT_EQ(fake::the().traced(g.bad_length), g.traced);
  EXPECT_EQ(fake::the().history.size(), g.traced ? 2u : 0u);
}

TEST_P(GlobalSetters, ActionSendsThePayloadBetweenHeartbeats) {
  const global &g = GetParam();
  EXPECT_EQ(run(ACTION, g.low), 0);
  EXPECT_EQ(fake::the().calls, kBlockingSet(g.opcode));
  const fake::exchange &e = fake::the().exchanges.at(0);
  EXPECT_EQ(fake::hex(e.request), g.payload);
  EXPECT_EQ(e.size, e.request.size());
  EXPECT_FALSE(e.wants_response);
  EXPECT_EQ(e.user, "operator");
  EXPECT_EQ(e.session, "session-1");
  EXPECT_EQ(e.service, 15);
  EXPECT_EQ(e.timeout, 10);
}

TEST_P(GlobalSetters, ARefusalEndsTheHeartbeatIsRecordedAndMapped) {
  refuse_writes(9);
  EXPECT_EQ(run(ACTION, GetParam().high), SNMP_ERR_GENERR);
  std::vector<std::string> expected = kBlockingSet(GetParam().opcode);
  expected.push_back("log_set_error");
  EXPECT_EQ(fake::the().calls, expected);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{9, 200}}));
}

TEST_P(GlobalSetters, OtherPhasesDoNothing) {
  for (int action : {RESERVE2, COMMIT, FREE, UNDO, 6}) {
    EXPECT_EQ(run(action, GetParam().low), 0) << action;
  }
  EXPECT_TRUE(fake::the().calls.empty());
}

TEST_P(GlobalSetters, WhatIsSetIsRead) {
  const global &g = GetParam();
  const name_t name = g.instance;
  EXPECT_EQ(mini::set_pdu({{name, g.type, g.high, {}}}).status, 0);
  EXPECT_EQ(mini::get(name)->integer, g.high);
}

TEST_F(ForceFlag, SetScalarSendsWhatItIsGiven) {
  uint8_t payload[] = {1, 2, 3, 4, 5};
  EXPECT_EQ(set_Scalar(140, 5, payload), 0);
  EXPECT_EQ(fake::hex(fake::the().exchanges.at(0).request), "0102030405");
}

// Interface assignment.

class InterfaceSetter : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_interface(100, 5);
  }
  static name_t cell() { return if_vsan(100); }
  static int run(int action, long value) { return mini::phase(set_vsanIfVsan, action, integer(cell(), value)); }
};

TEST_F(InterfaceSetter, Vsan1And4095PassAnd0And4096AreRefusedSilently) {
  capture();
  EXPECT_EQ(run(RESERVE1, 1), 0);
  EXPECT_EQ(run(RESERVE1, 4095), 0);
  for (long value : {0L, 4096L, -1L, 65537L}) {
    EXPECT_EQ(run(RESERVE1, value), SNMP_ERR_WRONGVALUE) << value;
  }
  EXPECT_EQ(captured(), "");
}

TEST_F(InterfaceSetter, AnUnsignedValueAndABadLengthAreToldOnStandardError) {
  capture();
  EXPECT_EQ(mini::phase_raw(set_vsanIfVsan, RESERVE1, cell(), ASN_UNSIGNED, mini::word(1), 4), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), "write to vsanIfVsan not ASN_INTEGER\n");
  capture();
  EXPECT_EQ(mini::phase_raw(set_vsanIfVsan, RESERVE1, cell(), ASN_INTEGER, mini::word(1), 6), SNMP_ERR_WRONGLENGTH);
  EXPECT_EQ(captured(), "write to vsanIfVsan: bad length\n");
}

TEST_F(InterfaceSetter, ActionReadsTheRowAndSendsItBackWithOnlyTheVsanChanged) {
  EXPECT_EQ(run(ACTION, 7), 0);
  EXPECT_EQ(fake::the().calls, (std::vector<std::string>{"cmi_req_resp 124 1", "get_snmp_username",
                                                         "get_snmp_sessionid", "cmi_req_resp 124 3"}))
      << "no heartbeat";
  const fake::exchange e = fake::the().sent(124).back();
  EXPECT_EQ(fake::hex(e.request), "00000064000000070000076400000964");
  EXPECT_EQ(e.size, 16u);
  EXPECT_FALSE(e.wants_response);
  EXPECT_EQ(e.timeout, 4);
}

TEST_F(InterfaceSetter, ARowThatCannotBeReadIsMappedAndNotLogged) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0x40490002, 0, {}, {}}; };
  EXPECT_EQ(run(ACTION, 7), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().set_errors.empty());
  EXPECT_EQ(fake::the().exchanges.size(), 1u);
}

TEST_F(InterfaceSetter, ARowThatTheManagerDoesNotKnowIsAnInconsistentName) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0x40190001, 0, {}, {}}; };
  EXPECT_EQ(mini::phase(set_vsanIfVsan, ACTION, integer(if_vsan(100), 7)), SNMP_ERR_INCONSISTENTNAME);
}

TEST_F(InterfaceSetter, ARefusedMoveIsRecordedAndMapped) {
  refuse_writes(0x40190001);
  EXPECT_EQ(run(ACTION, 7), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x40190001, 200}}));
}

TEST_F(InterfaceSetter, OtherPhasesSendNothingSoThatAMoveStays) {
  for (int action : {RESERVE2, COMMIT, FREE, UNDO, 6}) {
    EXPECT_EQ(run(action, 7), 0);
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(InterfaceSetter, AnyRefusalOfTheRestrictionIsGenErr) {
  fake::the().restricted = true;
  fake::the().allowed = {7};
  EXPECT_EQ(run(RESERVE1, 7), 0);
  EXPECT_EQ(fake::the().calls,
            (std::vector<std::string>{"snmp_get_allowed_vsans_subtree 163", "intf_chk_vsan_role_allowed 100 1",
                                      "snmp_is_vsan_allowed_subtree 7 163"}));
  EXPECT_EQ(run(RESERVE1, 8), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x4049002C, 584}}));
  fake::the().interface_refusal = 18;
  EXPECT_EQ(run(RESERVE1, 7), SNMP_ERR_GENERR);
}

TEST_F(InterfaceSetter, AnOidOfAnotherLengthAsksForInterface0) {
  const varbind v = integer(root({1, 2, 5, 1, 1, 100, 1}), 7);
  EXPECT_EQ(mini::phase(set_vsanIfVsan, ACTION, v), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::hex(fake::the().sent(124)[0].request).substr(0, 8), "00000000");
}

TEST_F(InterfaceSetter, TheTwoIdleEntryPoints) {
  EXPECT_EQ(check_valid_ifindex(), 1);
  for (int action = 0; action <= 5; ++action) {
    EXPECT_EQ(set_vsanIfDenyList(action, nullptr, 2, 4, nullptr, nullptr, 0), 2);
  }
}

TEST_F(ForceFlag, IsKeptForTheLastVsanToo) {
  fake::add_vsan(4095);
  const varbind flag = octets(timer_cell(kForceFlag, 4095), "\x40");
  EXPECT_EQ(mini::set_pdu({flag}).status, 0);
  EXPECT_EQ(mini::get(flag.name), flag);
  EXPECT_EQ(mini::set_pdu({octets(flag.name, std::string(1, '\0'))}).status, 0);
}

TEST_F(ForceFlag, OfNoTimerChangesNoBit) {
  EXPECT_EQ(set_mib_vsanFcTimerForceFlag(0x12, 99, 1), 0x12u);
}

TEST_P(TimerSetters, TracesAFailedSendOnlyWhenItFailedAndNoEmptyLine) {
  for (const bool refused : {false, true}) {
    fake::the().history.clear();
    if (refused) {
      refuse_writes(-1, ETIMEDOUT);
    }
    mini::phase(GetParam().method, ACTION,
                gauge(timer_cell(GetParam().column, 7), static_cast<unsigned long>(GetParam().low)));
    size_t failures = 0;
    for (const auto &[level, line] : fake::the().history) {
      EXPECT_FALSE(line.empty());
      failures += line.find("set REq failed") != line.npos ? 1 : 0;
    }
    EXPECT_EQ(failures, refused && GetParam().method == set_vsanFcTimerRatov ? 1u : 0u);
  }
}

}  // namespace
