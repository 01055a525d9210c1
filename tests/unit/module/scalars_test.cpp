// The request channel and the ten scalars.
#include <errno.h>
#include <sys/time.h>

#include "module_test.h"

namespace {

using namespace mib;

class Scalars : public ModuleTest {};

struct scalar {
  const char *object;
  name_t instance;
  u_char type;
  int opcode;
  uint32_t size;
  const char *request;  // hex; null: none
  const char *sending;
  const char *received = nullptr;
  WriteMethod *write_method = nullptr;
};

const scalar kScalars[] = {
    {"vsanNumber", vsan_number(), ASN_INTEGER, 125, 4, nullptr,
     "get_vsan_mib : Sending GET request to VSAN mgr for VSANNUMBER\n",
     "get_using_cmi : Recevied GET response  for VSANNUMBER/VSANIFNUMBER = 3\n"},
    {"vsanTableLastChange", last_change(), ASN_TIMETICKS, 126, 8, nullptr,
     "get_vsan_mib : Sending GET request to VSAN mgr for VSANTABLELASTCHANGE\n"},
    {"vsanIfNumber", if_number(), ASN_INTEGER, 128, 4, nullptr,
     "get_vsan_mib : Sending GET request to VSAN mgr for VSANIFNUMBER \n",
     "get_using_cmi : Recevied GET response  for VSANNUMBER/VSANIFNUMBER = 2\n"},
    {"fcTimerRatov", switch_wide(kSwitchRatov), ASN_GAUGE, 127, 15, "000000080000000000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for  FCTIMERRATOV with fctimer_type=8\n",
     "get_using_cmi : Recevied GET response  for FCTIMER stuff = 8000\n", set_fcTimerRatov},
    {"fcTimerEdtov", switch_wide(kSwitchEdtov), ASN_GAUGE, 127, 15, "000000070000000000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for FCTIMEREDTOV with fctimer_type =7\n",
     "get_using_cmi : Recevied GET response  for FCTIMER stuff = 7000\n", set_fcTimerEdtov},
    {"fcTimerFstov", switch_wide(kSwitchFstov), ASN_GAUGE, 127, 15, "0000000a0000000000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for FCTIMERFSTOV with fctimer_type = 10\n",
     "get_using_cmi : Recevied GET response  for FCTIMER stuff = 10000\n"},
    {"fcTimerDstov", switch_wide(kSwitchDstov), ASN_GAUGE, 127, 15, "000000090000000000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for FCTIMERDSTOV fctimertype = 9\n",
     "get_using_cmi : Recevied GET response  for FCTIMER stuff = 9000\n", set_fcTimerDstov},
    {"fcNetworkLatency", switch_wide(kNetworkLatency), ASN_GAUGE, 136, 12, "000000120000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for FCNETWORKLATENCY with latencytype=18\n",
     "get_using_cmi : Recevied GET response  for FCLATENCY stuff = 1800\n", set_fcNetworkLatency},
    {"fcSwitchLatency", switch_wide(kSwitchLatency), ASN_GAUGE, 136, 12, "000000110000000000000000",
     "get_vsan_mib : Sending GET request to VSAN mgr for FCSWITCHLATENCY with latencytype = 17\n",
     "get_using_cmi : Recevied GET response  for FCLATENCY stuff = 1700\n", set_fcSwitchLatency},
    {"fcInorderDelivery", switch_wide(kSwitchInorder), ASN_INTEGER, 140, 4, nullptr,
     "get_vsan_mib : Sending GET request to VSAN mgr for FCINORDERDELIVERY\n",
     "get_using_cmi : Recevied GET response  for INORDERDELIVERY stuff = 2\n", set_fcInorderDelivery},
};

void make_world() {
  for (uint32_t vsan : {1, 10, 20}) {
    fake::add_vsan(vsan);
  }
  for (uint32_t interface : {5, 6}) {
    fake::add_interface(interface, 1);
  }
  fake::the().latencies = {{17, 1700}, {18, 1800}};
  fake::the().inorder = 2;
}

TEST_F(Scalars, EachSendsItsOneExchangeAndTracesIt) {
  make_world();
  for (const scalar &row : kScalars) {
    fake::the().exchanges.clear();
    fake::the().history.clear();
    ASSERT_TRUE(mini::get(row.instance).has_value()) << row.object;
    ASSERT_EQ(fake::the().exchanges.size(), 1u) << row.object;
    const fake::exchange &e = fake::the().exchanges[0];
    EXPECT_EQ(e.opcode, row.opcode) << row.object;
    EXPECT_EQ(e.msg_type, 1) << row.object;
    EXPECT_EQ(e.size, row.size) << row.object;
    EXPECT_EQ(e.has_request, row.request != nullptr) << row.object;
    if (row.request != nullptr) {
      EXPECT_EQ(fake::hex(e.request), row.request) << row.object;
    }
    expect_read(e);
    ASSERT_GE(fake::the().history.size(), 2u);
    EXPECT_EQ(fake::the().history[0], std::make_pair(101, std::string(row.sending)));
    if (row.received != nullptr) {
      EXPECT_EQ(fake::the().history[1], std::make_pair(101, std::string(row.received)));
    }
  }
}

TEST_F(Scalars, WriteMethodIsStoredEvenWhenTheExchangeFails) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{-1, ETIMEDOUT, {}, {}}; };
  for (const scalar &row : kScalars) {
    name_t name = row.instance;
    struct variable vp = {};
    for (const struct variable7 &object : vsan_mib_variables) {
      if (row.instance.size() == 10u + object.namelen &&
          std::equal(object.name, object.name + object.namelen, name.begin() + 9)) {
        vp.magic = object.magic;
        vp.type = object.type;
      }
    }
    vp.namelen = static_cast<u_char>(name.size() - 1);
    std::copy(name.begin(), name.end() - 1, vp.name);
    name.resize(MAX_OID_LEN);
    size_t length = vp.namelen + 1u;
    size_t var_len = 0;
    WriteMethod *method = set_vsanName;
    EXPECT_EQ(get_vsan_mib(&vp, name.data(), &length, 1, &var_len, &method), nullptr) << row.object;
    EXPECT_EQ(method, row.write_method) << row.object;
    EXPECT_EQ(var_len, 4u);
  }
}

TEST_F(Scalars, AnOidThatIsNotTheInstanceSendsNothing) {
  EXPECT_FALSE(mini::get(root({1, 1, 1})).has_value());
  EXPECT_FALSE(mini::get(root({1, 1, 1, 1})).has_value());
  EXPECT_FALSE(mini::get(root({1, 1, 1, 0, 0})).has_value());
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(Scalars, UnknownMagicAnswersNothing) {
  struct variable vp = {};
  name_t name = root({1, 9, 0});
  vp.namelen = static_cast<u_char>(name.size() - 1);
  std::copy(name.begin(), name.end() - 1, vp.name);
  name.resize(MAX_OID_LEN);
  for (int magic : {0, 3, 7, 9, 14, 16, 30, 38, 42, 255}) {
    vp.magic = static_cast<u_char>(magic);
    size_t length = vp.namelen + 1u;
    size_t var_len = 0;
    WriteMethod *method = nullptr;
    EXPECT_EQ(get_vsan_mib(&vp, name.data(), &length, 1, &var_len, &method), nullptr) << magic;
    EXPECT_EQ(method, nullptr) << magic;
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(Scalars, TimerIsReadAsPendingWhileDistributionIsOnAndShowRunningOff) {
  fake::the().kdx_enabled = 1;
  mini::get(switch_wide(kSwitchRatov));
  EXPECT_EQ(fake::the().exchanges.back().msg_type, 5);
  EXPECT_TRUE(fake::the().traced("get_using_cmi msg_type = KDX_GET_REQ \n"));
}

TEST_F(Scalars, TimerIsReadAsRunningWhileShowRunningIsOn) {
  fake::the().kdx_enabled = 1;
  fake::the().kdx_show_running = 1;
  mini::get(switch_wide(kSwitchRatov));
  EXPECT_EQ(fake::the().exchanges.back().msg_type, 1);
}

TEST_F(Scalars, OnlyTimersAreReadAsPending) {
  fake::the().kdx_enabled = 1;
  for (const scalar &row : kScalars) {
    if (row.opcode == 127) {
      continue;
    }
    mini::get(row.instance);
    EXPECT_EQ(fake::the().exchanges.back().msg_type, 1) << row.object;
  }
}

TEST_F(Scalars, ChangeBeforeTheAgentsStartReadsZero) {
  struct timeval now;
  gettimeofday(&now, nullptr);
  netsnmp_set_agent_starttime(nullptr);
  netsnmp_set_agent_uptime(1000);  // up for ten seconds
  fake::the().change_seconds = static_cast<uint32_t>(now.tv_sec - 3600);
  const auto answer = mini::get(last_change());
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(answer->integer, 0);
}

TEST_F(Scalars, ChangeAfterTheAgentsStartReadsItsUptimeThen) {
  netsnmp_set_agent_uptime(100000);  // up for 1000 seconds
  struct timeval now;
  gettimeofday(&now, nullptr);
  fake::the().change_seconds = static_cast<uint32_t>(now.tv_sec - 400);
  fake::the().change_microseconds = static_cast<uint32_t>(now.tv_usec);
  const auto answer = mini::get(last_change());
  ASSERT_TRUE(answer.has_value());
  EXPECT_NEAR(static_cast<double>(answer->integer), 60000, 100);
}

TEST_F(Scalars, SuccessWithoutAResponseBufferAnswersNothing) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
  for (const scalar &row : kScalars) {
    EXPECT_FALSE(mini::get(row.instance).has_value()) << row.object;
  }
}

TEST_F(Scalars, FailureWithAResponseBufferAnswersNothingAndFreesIt) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{7, 0, fake::bytes(15, 1), {}}; };
  for (const scalar &row : kScalars) {
    EXPECT_FALSE(mini::get(row.instance).has_value()) << row.object;
  }
}

// An answer shorter than what is copied is a broken exchange, whatever it lacks.
TEST_F(Scalars, ShortAnswersGiveNoValueAndAreNotReadPastTheirEnd) {
  for (const scalar &row : kScalars) {
    const size_t needed = row.opcode == 126 || row.opcode == 127 || row.opcode == 136 ? 8 : 4;
    for (size_t size = 0; size <= 16; ++size) {
      if (size == row.size) {
        continue;  // a size left as it went in says nothing
      }
      fake::the().overrule = [&](const fake::exchange &) { return fake::reply{0, 0, fake::bytes(size, 0), {}}; };
      EXPECT_EQ(mini::get(row.instance).has_value(), size >= needed) << row.object << " " << size;
    }
  }
}

TEST_F(Scalars, ASizeWordLeftAsItWentInSaysNothing) {
  fake::the().overrule = [](const fake::exchange &e) { return fake::reply{0, 0, fake::bytes(16, 0), e.size}; };
  for (const scalar &row : kScalars) {
    EXPECT_TRUE(mini::get(row.instance).has_value()) << row.object;
  }
}

TEST_F(Scalars, CountsAndOtherValuesAreTwoDistinctWords) {
  make_world();
  const void *count = get_using_cmi(125, nullptr, 4);
  const void *inorder = get_using_cmi(140, nullptr, 4);
  EXPECT_NE(count, inorder);
  EXPECT_EQ(get_using_cmi(128, nullptr, 4), count);
  EXPECT_EQ(get_using_cmi(126, nullptr, 8), inorder);
}

TEST_F(Scalars, AnOpcodeThatIsNoScalarsIsSentAndGivesNothing) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{0, 0, fake::bytes(64, 1), {}}; };
  EXPECT_EQ(get_using_cmi(149, nullptr, 4), nullptr);
  EXPECT_EQ(fake::the().exchanges.size(), 1u);
}

TEST_F(Scalars, KdxStateThatIsNotKnownReadsRunningValues) {
  fake::the().kdx_enabled = 1;
  fake::the().fail_at = 1;
  EXPECT_TRUE(mini::get(switch_wide(kSwitchRatov)).has_value());
  EXPECT_EQ(fake::the().exchanges.back().msg_type, 1);
}

TEST_F(Scalars, LastChangeIsCountedInHundredthsOfASecondWhateverItsSize) {
  struct timeval start = {1000, 600000};
  netsnmp_set_agent_starttime(&start);
  const struct {
    uint32_t seconds;
    uint32_t microseconds;
    unsigned long ticks;
  } changes[] = {{1001, 500000, 90}, {1000, 600000, 0}, {1000, 609999, 0},           {1000, 610000, 1},
                 {1000, 599999, 0},  {900, 0, 0},       {1001000, 600000, 100000000}};
  for (const auto &change : changes) {
    fake::the().change_seconds = change.seconds;
    fake::the().change_microseconds = change.microseconds;
    EXPECT_EQ(static_cast<unsigned long>(mini::get(last_change())->integer), change.ticks)
        << change.seconds << " " << change.microseconds;
  }
  netsnmp_set_agent_starttime(nullptr);
}

}  // namespace
