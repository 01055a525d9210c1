// What the find functions and exported readers answer to what the agent does not ask, and to restricted users whose
// walks pass hidden rows.
#include <string.h>

#include "table_reads.h"

namespace {

using namespace mib;
using namespace table_reads;

// The reason that net-snmp was given for the last error.
std::string detail() {
  const std::string text = snmp_api_errstring(SNMPERR_GENERR);
  const size_t at = text.rfind(" (");
  return at == text.npos ? "none" : text.substr(at + 1);
}

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

}  // namespace
