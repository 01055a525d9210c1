// The VSAN table's other columns: what each accepts, and the words with which it refuses.
#include <string.h>

#include "module_test.h"

namespace {

using namespace mib;

struct setter {
  const char *name;
  WriteMethod *method;
  oid column;
  u_char type;
  u_char other_type;
  std::vector<long> accepted;
  std::vector<long> refused;
  const char *wrong_type_trace;
  const char *wrong_type_stderr;
  const char *bad_length_trace;
  const char *bad_length_stderr;
  const char *wrong_value_trace;
  const char *denied;
};

const setter kSetters[] = {
    {"set_vsanAdminState",
     set_vsanAdminState,
     kAdminState,
     ASN_INTEGER,
     ASN_UNSIGNED,
     {1, 2},
     {0, 3, -1, 257, 2147483647},
     nullptr,
     "write to vsanAdminState not ASN_INTEGER\n",
     nullptr,
     "write to vsanAdminState: bad length\n",
     nullptr,
     "set_vsanAdminState : vsan restricted user -- not allowed in this vsan\n"},
    {"set_vsanLoadBalancingType",
     set_vsanLoadBalancingType,
     kLoadBalancing,
     ASN_INTEGER,
     ASN_UNSIGNED,
     {1, 2},
     {0, 3, -1, 258},
     "set_vsanLoadBalancingType(#) write to vsanLoadBalancingType not ASN_INTEGER\n",
     nullptr,
     "set_vsanLoadBalancingType(#) write to vsanLoadBalancingType: bad length\n",
     nullptr,
     nullptr,
     "set_vsanLoadBalancingType : vsan restricted user -- not allowed in this vsan\n"},
    {"set_vsanInterOperType",
     set_vsanInterOperType,
     kInterop,
     ASN_INTEGER,
     ASN_UNSIGNED,
     {0, 1, 4},
     {5, -1, 256},
     "set_vsanInterOperType(#) write to vsanInterOperType not ASN_INTEGER\n",
     nullptr,
     "set_vsanInterOperType(#) write to vsanInterOperType: bad length\n",
     "write to vsanInterOperType: bad length\n",
     "set_vsanInterOperType(#) Wrong Value! \n",
     "set_vsanInterOperType(#) : vsan restricted user -- not allowed in this vsan\n"},
    {"set_vsanInorderDelivery",
     set_vsanInorderDelivery,
     kInorder,
     ASN_INTEGER,
     ASN_UNSIGNED,
     {1, 2},
     {0, 3, -2147483647},
     "set_vsanInorderDelivery(#) write to vsanInorderDelivery not ASN_INTEGER\n",
     "write to vsanInorderDelivery not ASN_INTEGER\n",
     nullptr,
     "write to vsanInorderDelivery: bad length\n",
     nullptr,
     "set_vsanInorderDelivery(#) : vsan restricted user -- not allowed in this vsan\n"},
    {"set_vsanNetworkDropLatency",
     set_vsanNetworkDropLatency,
     kDropLatency,
     ASN_UNSIGNED,
     ASN_INTEGER,
     {1, 60000},
     {60001, -1, static_cast<long>(UINT32_MAX)},
     nullptr,
     "write to vsanNetworkDropLatency not ASN_INTEGER\n",
     nullptr,
     "write to vsanNetworkDropLatency: bad length\n",
     nullptr,
     "set_vsanNetworkDropLatency(#) : vsan restricted user -- not allowed in this vsan\n"},
    {"set_vsanInterOperMode",
     set_vsanInterOperMode,
     kInterop,
     ASN_INTEGER,
     ASN_OCTET_STR,
     {1, 2},
     {0, 3},
     nullptr,
     "write to vsanInterOperMode not ASN_INTEGER\n",
     nullptr,
     "write to vsanInterOperMode: bad length\n",
     nullptr,
     "set_vsanInterOperMode : vsan restricted user -- not allowed in this vsan\n"},
};

class ColumnSetters : public ModuleTest, public ::testing::WithParamInterface<setter> {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_vsan(10);
  }
  name_t cell() const { return vsan_cell(GetParam().column, 10); }
  int run(int action, long value) const {
    return mini::phase(GetParam().method, action, {cell(), GetParam().type, value, {}});
  }
};

INSTANTIATE_TEST_SUITE_P(, ColumnSetters, ::testing::ValuesIn(kSetters),
                         [](const auto &info) { return std::string(info.param.name); });

// Trace lines that are refusals; the instance is traced by every parse.
size_t lines_but_entries() {
  size_t count = 0;
  for (const auto &line : fake::the().history) {
    if (line.second.find("write to") != std::string::npos || line.second.find("Wrong") != std::string::npos) {
      ++count;
    }
  }
  return count;
}

TEST_P(ColumnSetters, WrongTypeIsRefusedInItsOwnWords) {
  const setter &s = GetParam();
  capture();
  EXPECT_EQ(mini::phase_raw(s.method, RESERVE1, cell(), s.other_type, mini::word(1), 4), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), s.wrong_type_stderr == nullptr ? "" : s.wrong_type_stderr);
  if (s.wrong_type_trace != nullptr) {
    EXPECT_TRUE(fake::the().traced(s.wrong_type_trace));
  }
  EXPECT_EQ(lines_but_entries(), s.wrong_type_trace == nullptr ? 0u : 1u);
}

TEST_P(ColumnSetters, BadLengthIsRefusedInItsOwnWords) {
  const setter &s = GetParam();
  for (size_t length : {5, 7, 9}) {
    fake::the().history.clear();
    capture();
    EXPECT_EQ(mini::phase_raw(s.method, RESERVE1, cell(), s.type, mini::word(1), length), SNMP_ERR_WRONGLENGTH)
        << length;
    EXPECT_EQ(captured(), s.bad_length_stderr == nullptr ? "" : s.bad_length_stderr);
    if (s.bad_length_trace != nullptr) {
      EXPECT_TRUE(fake::the().traced(s.bad_length_trace));
    }
    EXPECT_EQ(lines_but_entries(), s.bad_length_trace == nullptr ? 0u : 1u);
  }
}

TEST_P(ColumnSetters, LengthsOfAnIntegerPass) {
  const setter &s = GetParam();
  const std::string value = mini::word(static_cast<int32_t>(s.accepted[0]));
  for (size_t length : {0, 1, 3, 4}) {
    EXPECT_EQ(mini::phase_raw(s.method, RESERVE1, cell(), s.type, value, length), 0) << length;
  }
  EXPECT_EQ(run(RESERVE1, s.accepted[0]), 0);
}

TEST_P(ColumnSetters, ValuesAtTheEdges) {
  const setter &s = GetParam();
  capture();
  for (long value : s.accepted) {
    EXPECT_EQ(run(RESERVE1, value), 0) << value;
  }
  EXPECT_EQ(lines_but_entries(), 0u);
  for (long value : s.refused) {
    fake::the().history.clear();
    EXPECT_EQ(run(RESERVE1, value), SNMP_ERR_WRONGVALUE) << value;
    EXPECT_EQ(lines_but_entries(), s.wrong_value_trace == nullptr ? 0u : 1u);
    if (s.wrong_value_trace != nullptr) {
      EXPECT_TRUE(fake::the().traced(s.wrong_value_trace));
    }
  }
  EXPECT_EQ(captured(), "");
}

TEST_P(ColumnSetters, ValuesBeyond32BitsAreOutOfRangeAndNotCut) {
  if (sizeof(long) == 4) {
    GTEST_SKIP() << "a value has 32 bits here";
  }
  EXPECT_EQ(run(RESERVE1, static_cast<long>(0x100000001LL)), SNMP_ERR_WRONGVALUE);
  EXPECT_EQ(run(RESERVE1, static_cast<long>(-0x100000000LL + 1)), SNMP_ERR_WRONGVALUE);
}

TEST_P(ColumnSetters, ARestrictedUserIsRefusedOutsideTheSetAndAllowedInside) {
  const setter &s = GetParam();
  fake::the().restricted = true;
  fake::the().allowed = {20};
  EXPECT_EQ(run(RESERVE1, s.accepted[0]), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced(s.denied, 100));
  ASSERT_EQ(fake::the().error_records.size(), 1u);
  EXPECT_EQ(fake::the().error_records[0].code, 0x4049002Cu);
  EXPECT_STREQ(fake::the().error_records[0].text, "fmt-4049002c");
  EXPECT_EQ(fake::the().calls[0], "snmp_get_allowed_vsans_subtree 163");
  fake::the().allowed = {10};
  EXPECT_EQ(run(RESERVE1, s.accepted[0]), 0);
}

TEST_P(ColumnSetters, PhasesGatherSendAndRelease) {
  const setter &s = GetParam();
  EXPECT_EQ(run(RESERVE1, s.accepted[0]), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_TRUE(fake::the().exchanges.empty()) << "RESERVE1 only checks";
  EXPECT_EQ(run(RESERVE2, s.accepted[0]), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 1u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u);
  EXPECT_EQ(run(ACTION, s.accepted[0]), 0);
  EXPECT_EQ(fake::the().sent(149).back().msg_type, 3);
  EXPECT_EQ(run(COMMIT, s.accepted[0]), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

TEST_P(ColumnSetters, UndoSendsNothingAndTheNextPduDropsTheSavedRow) {
  const setter &s = GetParam();
  run(RESERVE2, s.accepted[0]);
  run(ACTION, s.accepted[0]);
  const size_t sent = fake::the().exchanges.size();
  EXPECT_EQ(run(UNDO, s.accepted[0]), 0);
  EXPECT_EQ(fake::the().exchanges.size(), sent);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u) << "kept until the VSAN is written again";
  EXPECT_EQ(run(6, s.accepted[0]), 0);
  EXPECT_EQ(run(RESERVE1, s.accepted[0]), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

TEST_P(ColumnSetters, FreeReleasesWhatReserve2Listed) {
  run(RESERVE2, GetParam().accepted[0]);
  EXPECT_EQ(run(FREE, GetParam().accepted[0]), 0);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
}

class Columns : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_vsan(10);
  }
};

TEST_F(Columns, LatencyZeroIsGenErrAndRecorded) {
  EXPECT_EQ(mini::phase(set_vsanNetworkDropLatency, RESERVE1, gauge(vsan_cell(kDropLatency, 10), 0)), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x40190014, 200}}));
}

int name_check(const std::string &name, u_char type = ASN_OCTET_STR) {
  return mini::phase_raw(set_vsanName, RESERVE1, vsan_cell(kName, 10), type, name, name.size());
}

TEST_F(Columns, NameOf32OctetsIsAcceptedAnd33AreRefused) {
  EXPECT_EQ(name_check(std::string(32, 'n')), 0);
  capture();
  EXPECT_EQ(name_check(std::string(33, 'n')), SNMP_ERR_WRONGLENGTH);
  EXPECT_EQ(captured(), "write to vsanName: bad length\n");
}

TEST_F(Columns, NameWithASpaceIsRefusedWhereverItStands) {
  for (const char *name : {" ", "a b", " a", "a "}) {
    EXPECT_EQ(name_check(name), SNMP_ERR_WRONGVALUE) << name;
  }
  EXPECT_EQ(name_check(std::string("a\0b c", 5)), SNMP_ERR_WRONGVALUE);
}

TEST_F(Columns, NameOfOtherOctetsIsAcceptedAndAnEmptyOneToo) {
  EXPECT_EQ(name_check(""), 0);
  EXPECT_EQ(name_check("\xff\x80\t\n"), 0);
  EXPECT_EQ(name_check(std::string("a\0b", 3)), 0);
  EXPECT_EQ(fake::the().count_traced("set_vsanName(#) : In the RESERVE1 phase \n"), 3u);
}

TEST_F(Columns, NameOfTheWrongTypeIsTracedOnly) {
  capture();
  EXPECT_EQ(name_check("1234", ASN_INTEGER), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), "");
  EXPECT_TRUE(fake::the().traced("set_vsanName(#)write to vsanName not ASN_OCTET_STR\n"));
}

TEST_F(Columns, NameOfARestrictedUserIsRefusedWithTheLine) {
  fake::the().restricted = true;
  EXPECT_EQ(name_check("name"), SNMP_ERR_GENERR);
  EXPECT_TRUE(fake::the().traced("set_vsanName(#) : vsan restricted user -- not allowed in this vsan\n", 100));
}

TEST_F(Columns, MediaTypeMtuAndDenyListAnswerNoSuchNameInEveryPhase) {
  for (int action = 0; action <= 6; ++action) {
    for (WriteMethod *method : {set_vsanMediaType, set_vsanMtu, set_vsanIfDenyList}) {
      EXPECT_EQ(method(action, nullptr, ASN_INTEGER, 4, nullptr, nullptr, 0), SNMP_ERR_NOSUCHNAME) << action;
    }
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(Columns, InterOperTypeTracesEveryPhase) {
  const varbind v = integer(vsan_cell(kInterop, 10), 0);
  for (int action : {RESERVE1, RESERVE2, ACTION, COMMIT, FREE, UNDO}) {
    mini::phase(set_vsanInterOperType, action, v);
  }
  for (const char *line : {"set_vsanInterOperType(#) RESERVE1 \n", "set_vsanInterOperType(#) tmp_entry.vsanIndex:10 \n",
                           "set_vsanInterOperType(#) VSANINTEROPTYPE RESERVE2! \n",
                           "set_vsanInterOperType(#) ACTION! \n", "set_vsanInterOperType(#) COMMIT! \n",
                           "set_vsanInterOperType(#) FREE! \n", "set_vsanInterOperType(#) UNDO Req! \n"}) {
    EXPECT_EQ(fake::the().count_traced(line), 1u) << line;
  }
  EXPECT_EQ(fake::the().vsans[10].vsanInteropMode, 100u);
}

TEST_F(Columns, InterOperModeTracesItsEntryAndReserve2) {
  const varbind v = integer(vsan_cell(kInterop, 10), 2);
  for (int action : {RESERVE1, RESERVE2, ACTION, COMMIT}) {
    mini::phase(set_vsanInterOperMode, action, v);
  }
  EXPECT_EQ(fake::the().count_traced("set_vsanInterOperMode(#) \n"), 4u);
  EXPECT_EQ(fake::the().count_traced("set_vsanInterOperMode(#) in RESERVE2 \n"), 1u);
  EXPECT_EQ(fake::the().vsans[10].vsanInteropMode, 2u);
}

TEST_F(Columns, AdminStateAndLoadBalancingTraceTheirReserve2) {
  mini::set_pdu({integer(vsan_cell(kAdminState, 10), 2), integer(vsan_cell(kLoadBalancing, 10), 1)});
  EXPECT_TRUE(fake::the().traced("set_vsanAdminState(#) undo_vsanEntryList! \n"));
  EXPECT_TRUE(fake::the().traced("set_vsanLoadBalancingType(#) undo_vsanEntryList! \n"));
}

TEST_F(Columns, AFailedPduOfSeveralVsansLeavesNothingPendingAndLaterPdusWork) {
  fake::add_vsan(20);
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.msg_type != 3 || fake::row_of(e.request).vsanIndex != 20) {
      return {};
    }
    return fake::reply{0x40190004, 0, {}, {}};
  };
  const auto result = mini::set_pdu({octets(vsan_cell(kName, 10), "a"), octets(vsan_cell(kName, 20), "b")});
  EXPECT_EQ(result.status, SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(result.index, 2u);
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_STREQ(fake::the().vsans[10].vsanName, "a") << "a column set is not rolled back";
  fake::the().overrule = nullptr;
  EXPECT_EQ(mini::set_pdu({integer(vsan_cell(kRowStatus, 20), kDestroy)}).status, 0);
  EXPECT_EQ(fake::the().vsans.count(20), 0u);
}

TEST_F(Columns, AFailedPduWithADestroyRestoresTheRowWhateverTheOrder) {
  fake::add_vsan(20);
  for (bool column_first : {true, false}) {
    fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
      if (e.msg_type != 3 || fake::row_of(e.request).vsanIndex != 20) {
        return {};
      }
      return fake::reply{7, 0, {}, {}};
    };
    const varbind column = integer(vsan_cell(kAdminState, 10), 1);
    const varbind destroy = integer(vsan_cell(kRowStatus, 10), kDestroy);
    const varbind failing = octets(vsan_cell(kName, 20), "b");
    EXPECT_EQ(
        mini::set_pdu(column_first ? std::vector{column, destroy, failing} : std::vector{destroy, column, failing})
            .status,
        SNMP_ERR_GENERR);
    EXPECT_EQ(fake::the().vsans.count(10), 1u) << column_first;
    EXPECT_EQ(fake::in_list(vsanEntry_undo_list, 10), nullptr);
  }
}

}  // namespace
