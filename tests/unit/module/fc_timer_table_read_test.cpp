// Per-VSAN timers: running and pending values, VSANs kept out of distribution, the order of traces.
#include <errno.h>
#include <string.h>

#include "table_reads.h"

namespace {

using namespace mib;
using namespace table_reads;

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
