// Both sinks are told the same by every line of the module: printf makes the text of the debug print, the module that
// of the history.
#include <limits.h>

#include <random>

#include "module_test.h"
#include "requests.h"
#include "statuses.h"

namespace {

using namespace mib;

struct written {
  WriteMethod *method;
  u_char type;
  std::initializer_list<oid> column;
};
const written kWritten[] = {
    {set_vsanName, ASN_OCTET_STR, {1, 1, 3, 1, 2}},
    {set_vsanMediaType, ASN_INTEGER, {1, 1, 3, 1, 3}},
    {set_vsanAdminState, ASN_INTEGER, {1, 1, 3, 1, 4}},
    {set_vsanMtu, ASN_UNSIGNED, {1, 1, 3, 1, 5}},
    {set_vsanLoadBalancingType, ASN_INTEGER, {1, 1, 3, 1, 6}},
    {set_vsanRowStatus, ASN_INTEGER, {1, 1, 3, 1, 9}},
    {set_vsanInterOperType, ASN_INTEGER, {1, 1, 3, 1, 10}},
    {set_vsanInterOperMode, ASN_INTEGER, {1, 1, 3, 1, 10}},
    {set_vsanInorderDelivery, ASN_INTEGER, {1, 1, 3, 1, 11}},
    {set_vsanNetworkDropLatency, ASN_UNSIGNED, {1, 1, 3, 1, 12}},
    {set_vsanIfVsan, ASN_INTEGER, {1, 2, 5, 1, 1}},
    {set_vsanIfDenyList, ASN_INTEGER, {1, 2, 5, 1, 2}},
    {set_fcTimerRatov, ASN_UNSIGNED, {1, 4, 1}},
    {set_fcTimerEdtov, ASN_UNSIGNED, {1, 4, 2}},
    {set_fcTimerDstov, ASN_UNSIGNED, {1, 4, 4}},
    {set_fcNetworkLatency, ASN_UNSIGNED, {1, 4, 5}},
    {set_fcSwitchLatency, ASN_UNSIGNED, {1, 4, 6}},
    {set_fcInorderDelivery, ASN_INTEGER, {1, 4, 7}},
    {set_vsanFcTimerForceFlag, ASN_OCTET_STR, {1, 4, 8, 1, 1}},
    {set_vsanFcTimerRatov, ASN_UNSIGNED, {1, 4, 8, 1, 2}},
    {set_vsanFcTimerEdtov, ASN_UNSIGNED, {1, 4, 8, 1, 3}},
    {set_vsanFcTimerDstov, ASN_UNSIGNED, {1, 4, 8, 1, 4}},
    {write_vsanNotificationCntl, ASN_INTEGER, {1, 5, 2}},
};

class TraceSinks : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().debug_on = true;
    for (const uint32_t vsan : {1, 2, 9, 200, 4093}) {
      fake::add_vsan(vsan);
    }
    fake::the().vsans[9].vsanNetworkDropLatency = UINT_MAX;
    fake::the().vsans[9].vsanInteropMode = UINT_MAX / 2 + 1;
    fake::add_interface(0x1000000, 9);
    fake::add_interface(0x1001000, 200);
  }
  void TearDown() override {
    expect_the_same();
    ModuleTest::TearDown();
  }

  void expect_the_same() {
    const auto &history = fake::the().history;
    const auto &debug = fake::the().debug;
    ASSERT_EQ(history.size(), debug.size());
    for (size_t i = 0; i < history.size(); ++i) {
      EXPECT_EQ(history[i].second, debug[i].substr(0, 511));
    }
    EXPECT_GT(history.size(), 0u);
  }

  // Everything that can be read, twice: by the walk, and by a GET of what the walk found and of what is not there.
  static void read_everything() {
    name_t name = root();
    for (int i = 0; i < 1000; ++i) {
      const auto next = mini::getnext(name);
      if (!next) {
        break;
      }
      name = next->name;
      mini::get(name);
      name_t absent = name;
      absent.back() += 1;
      mini::get(absent);
      absent.back() = 70'000;
      mini::getnext(absent);
    }
  }

  static std::string random_octets(std::mt19937 &random) {
    return std::string(random() % 40, random() % 5 == 0 ? ' ' : 'n');
  }

  // Every write method in every phase, with values that pass and values that do not.
  static void write_everything(std::mt19937 &random) {
    constexpr u_char kTypes[] = {ASN_INTEGER, ASN_UNSIGNED, ASN_OCTET_STR};
    constexpr int32_t kValues[] = {0, 1, 2, 4, 6, 100, 2000, -1, INT_MAX, 0xe0};
    constexpr oid kIndexes[] = {0, 1, 9, 77, 200, 4093, 0x1000000, 4'000'000'000};
    for (const written &each : kWritten) {
      name_t name = root();
      name.insert(name.end(), each.column.begin(), each.column.end());
      name.push_back(kIndexes[random() % std::size(kIndexes)]);
      const u_char type = random() % 4 == 0 ? kTypes[random() % std::size(kTypes)] : each.type;
      const std::string value =
          type == ASN_OCTET_STR ? random_octets(random) : mini::word(kValues[random() % std::size(kValues)]);
      for (const int action : {RESERVE1, RESERVE2, ACTION, COMMIT, FREE, UNDO}) {
        mini::phase_raw(each.method, action, name, type, value, value.size());
      }
    }
  }
};

TEST_F(TraceSinks, OfAWalk) {
  read_everything();
}

TEST_F(TraceSinks, OfAWalkWhileDistributionIsOn) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode == kOpFcTimer && e.request[13] == 2) {
      return fake::reply{static_cast<int>(kStatusNotInDistribution), 0, {}, {}};
    }
    return {};
  };
  read_everything();
}

TEST_F(TraceSinks, OfARestrictedUsersWalk) {
  fake::the().restricted = true;
  fake::the().allowed = {9, 4093};
  read_everything();
}

TEST_F(TraceSinks, OfAWalkWhoseExchangesFail) {
  for (int failing = 1; failing < 40; ++failing) {
    fake::the().failable_calls = 0;
    fake::the().fail_at = failing;
    mini::getnext(vsan_cell(kName, static_cast<oid>(failing % 3)));
    read_everything();
  }
}

TEST_F(TraceSinks, OfEveryWriteMethod) {
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    fake::the().restricted = round % 4 == 0;
    fake::the().allowed = {9};
    fake::the().kdx_enabled = round % 2;
    fake::the().failable_calls = 0;
    fake::the().fail_at = round % 3 == 0 ? 1 + round % 7 : 0;
    capture();  // what value checks say there
    write_everything(random);
    captured();
    drop_refused();
  }
}

TEST_F(TraceSinks, OfSets) {
  std::mt19937 random(13);
  for (int round = 0; round < 300; ++round) {
    const oid vsan = 5 + random() % 8;
    std::vector<varbind> pdu = {integer(vsan_cell(kRowStatus, vsan), 1 + static_cast<long>(random() % 6)),
                                octets(vsan_cell(kName, vsan), random_octets(random)),
                                integer(vsan_cell(kInterop, vsan), static_cast<long>(random() % 6)),
                                integer(vsan_cell(kLoadBalancing, vsan), static_cast<long>(random() % 4))};
    pdu.resize(1 + random() % pdu.size());
    fake::the().failable_calls = 0;
    fake::the().fail_at = round % 2 == 0 ? 0 : static_cast<int>(1 + random() % 12);
    capture();
    mini::set_pdu(pdu);
    captured();
    drop_refused();
  }
}

// Lines of calls that the agent makes seldom or never: told to both sinks, and to none when none wants them.
class RareTraces : public TraceSinks {
 protected:
  static void in_and_out_of_sight(void (*procedure)()) {
    fake::the().history_on = false;
    fake::the().debug_on = false;
    procedure();
    EXPECT_TRUE(fake::the().debug.empty());
    fake::the().history_on = true;
    fake::the().debug_on = true;
    procedure();
    EXPECT_FALSE(fake::the().debug.empty());
  }
};

void read_timer_for_a_write() {
  struct variable vp = {};
  name_t name = timer_cell(kRatov, 9);
  vp.magic = 39;
  vp.namelen = 14;
  std::copy(name.begin(), name.begin() + 14, vp.name);
  name.resize(MAX_OID_LEN);
  size_t length = 15;
  vsanFcTimerEntry record;
  header_vsanFcTimerEntry(&vp, name.data(), &length, 1, &record, 1);
}

TEST_F(RareTraces, OfAReadForAWriteUnderARemoteLock) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != kOpFcTimer || e.msg_type != kMsgKdxGet) {
      return {};
    }
    return fake::reply{static_cast<int>(kStatusRemoteLock), 0, {}, {}};
  };
  in_and_out_of_sight(read_timer_for_a_write);
}

TEST_F(RareTraces, OfAVsanThatIsKeptOutOfDistribution) {
  fake::the().kdx_enabled = 1;
  fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
    if (e.opcode != kOpFcTimer) {
      return {};
    }
    return fake::reply{static_cast<int>(kStatusNotInDistribution), 0, {}, {}};
  };
  in_and_out_of_sight([] { mini::getnext(timer_column(kRatov)); });
}

TEST_F(RareTraces, OfIndexesPastTheTables) {
  in_and_out_of_sight([] {
    mini::getnext(timer_cell(kRatov, 4096));
    mini::getnext(vsan_cell(kName, 4097));
  });
}

TEST_F(RareTraces, OfARowThatIsSentBackAndOneThatIsNot) {
  in_and_out_of_sight([] {
    name_t name = vsan_cell(kName, 9);
    for (const bool refused : {true, false}) {
      ++fake::the().pdu;
      handle_onepdu_undo_vsanEntryList(3, name.data(), name.size(), "x", 1);
      fake::the().fail_at = refused ? fake::the().failable_calls + 1 : 0;
      handle_undo_vsanEntryList(name.data(), name.size());
    }
    handle_undo_vsanEntryList(name.data(), name.size());
  });
}

TEST_F(RareTraces, OfAColumnThatThereIsNot) {
  in_and_out_of_sight([] {
    name_t name = vsan_cell(kName, 9);
    ++fake::the().pdu;
    EXPECT_EQ(handle_onepdu_undo_vsanEntryList(99, name.data(), name.size(), "x", 1), SNMP_ERR_INCONSISTENTVALUE);
    handle_free_vsanEntryList(name.data(), name.size());
  });
}

TEST_F(RareTraces, OfARowStatusOfAnotherTypeAndOfACreationThatNobodyReserved) {
  in_and_out_of_sight([] {
    capture();
    mini::phase_raw(set_vsanRowStatus, RESERVE1, vsan_cell(kRowStatus, 30), ASN_OCTET_STR, mini::word(4), 4);
    captured();
    ++fake::the().pdu;
    EXPECT_EQ(mini::phase(set_vsanRowStatus, ACTION, integer(vsan_cell(kRowStatus, 30), kCreateAndGo)),
              SNMP_ERR_INCONSISTENTNAME);
  });
}

TEST_F(RareTraces, OfNotificationsAndTheirControl) {
  in_and_out_of_sight([] {
    fake::message change = {fake::to_hex_bytes("0000012c 00000001 00000000 00000001 00000002 00000013 00000001")};
    oid name[MAX_OID_LEN];
    size_t length = 0;
    int send = 0;
    snmp_free_varbind(handle_notifications(&change, name, &length, &send));
    EXPECT_EQ(send, 1);
    fake::the().fail_at = fake::the().failable_calls + 1;
    EXPECT_EQ(vsan_trap_vsan_set(1), -1);
  });
}

}  // namespace
