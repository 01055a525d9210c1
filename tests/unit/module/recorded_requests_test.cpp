// Every request that the module sends, laid beside a recording that is the same for every host.
#include <string.h>

#include "exchanges_file.h"
#include "module_test.h"
#include "recording.h"
#include "requests.h"
#include "vsan_values.h"

namespace {

using namespace mib;

struct one_column {
  const char *what;
  varbind value;
};

// PDUs of one varbind: every writable object, and every value of a row's status.
std::vector<one_column> one_column_each() {
  return {
      {"vsanName.10=edge", octets(vsan_cell(kName, 10), "edge")},
      {"vsanName.10=\"\"", octets(vsan_cell(kName, 10), "")},
      {"vsanName.10=gr\xc3\xbcn", octets(vsan_cell(kName, 10), "gr\xc3\xbcn")},
      {"vsanName.10, 32 octets", octets(vsan_cell(kName, 10), std::string(32, 'x'))},
      {"vsanAdminState.10=2", integer(vsan_cell(kAdminState, 10), 2)},
      {"vsanLoadBalancingType.10=1", integer(vsan_cell(kLoadBalancing, 10), 1)},
      {"vsanInterOperType.10=3", integer(vsan_cell(kInterop, 10), 3)},
      {"vsanInterOperType.10=0", integer(vsan_cell(kInterop, 10), 0)},
      {"vsanInorderDelivery.10=1", integer(vsan_cell(kInorder, 10), 1)},
      {"vsanNetworkDropLatency.10=60000", gauge(vsan_cell(kDropLatency, 10), 60000)},
      {"vsanRowStatus.10=active", integer(vsan_cell(kRowStatus, 10), kActive)},
      {"vsanRowStatus.10=notInService", integer(vsan_cell(kRowStatus, 10), kNotInService)},
      {"vsanRowStatus.40=createAndWait", integer(vsan_cell(kRowStatus, 40), kCreateAndWait)},
      {"vsanRowStatus.40=createAndGo", integer(vsan_cell(kRowStatus, 40), kCreateAndGo)},
      {"vsanRowStatus.40=createAndGo again", integer(vsan_cell(kRowStatus, 40), kCreateAndGo)},
      {"vsanRowStatus.4093=createAndGo", integer(vsan_cell(kRowStatus, 4093), kCreateAndGo)},
      {"vsanRowStatus.40=destroy", integer(vsan_cell(kRowStatus, 40), kDestroy)},
      {"vsanRowStatus.40=destroy again", integer(vsan_cell(kRowStatus, 40), kDestroy)},
      {"vsanIfVsan.101=20", integer(if_vsan(101), 20)},
      {"vsanIfVsan.16777216=10", integer(if_vsan(0x1000000), 10)},
      {"vsanFcTimerRatov.10=10000", gauge(timer_cell(kRatov, 10), 10000)},
      {"vsanFcTimerForceFlag.10=e0", octets(timer_cell(kForceFlag, 10), "\xe0")},
      {"forced vsanFcTimerRatov.10=5000", gauge(timer_cell(kRatov, 10), 5000)},
      {"forced vsanFcTimerEdtov.10=4000", gauge(timer_cell(kEdtov, 10), 4000)},
      {"forced vsanFcTimerDstov.10=5000", gauge(timer_cell(kDstov, 10), 5000)},
      {"vsanFcTimerForceFlag.10=\"\"", octets(timer_cell(kForceFlag, 10), "")},
      {"vsanFcTimerEdtov.10=1000", gauge(timer_cell(kEdtov, 10), 1000)},
      {"vsanFcTimerDstov.10=10000", gauge(timer_cell(kDstov, 10), 10000)},
      {"fcTimerRatov=10000", gauge(switch_wide(kSwitchRatov), 10000)},
      {"fcTimerEdtov=1000", gauge(switch_wide(kSwitchEdtov), 1000)},
      {"fcTimerFstov=5000", gauge(switch_wide(kSwitchFstov), 5000)},
      {"fcTimerDstov=5001", gauge(switch_wide(kSwitchDstov), 5001)},
      {"fcNetworkLatency=0", gauge(switch_wide(kNetworkLatency), 0)},
      {"fcNetworkLatency=60000", gauge(switch_wide(kNetworkLatency), 60000)},
      {"fcSwitchLatency=1", gauge(switch_wide(kSwitchLatency), 1)},
      {"fcInorderDelivery=1", integer(switch_wide(kSwitchInorder), 1)},
      {"fcInorderDelivery=2", integer(switch_wide(kSwitchInorder), 2)},
  };
}

class RecordedRequests : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fill();
  }

  // The switch that the managers' tests have, as far as the module can tell.
  static void fill() {
    const struct {
      uint32_t vsan;
      const char *name;
    } kVsans[] = {{1, "VSAN0001"}, {10, "alpha"}, {20, "beta"}, {30, "gamma"}};
    for (const auto &[vsan, name] : kVsans) {
      vsanEntry &row = fake::add_vsan(vsan);
      strcpy(row.vsanName, name);
      memset(row.rest, 0, sizeof row.rest);
      memset(row.rest + 1, static_cast<int>(0xd0 + vsan), 3);
    }
    fake::add_interface(101, 10);
    fake::add_interface(102, 10);
    fake::add_interface(103, 10, false);
    fake::add_interface(0x1000000, 20);
    fake::the().latencies = {{kAttrSwitchLatency, 500}, {kAttrNetworkLatency, 2000}};
  }

  // Records what was asked since the last call.
  void note(const std::string &what) {
    auto exchange = fake::the().exchanges.cbegin();
    for (const std::string &call : fake::the().calls) {
      if (call.starts_with("cmi_req_resp ")) {
        note_exchange(what, *exchange++);
      } else if (call.starts_with("pm ")) {
        lines.push_back(what + " | " + call);
        memberships_asked = true;
      }
    }
    fake::the().calls.clear();
    fake::the().exchanges.clear();
  }

  void set(const std::string &what, const std::vector<varbind> &pdu) {
    is_set = true;
    mini::set_pdu(pdu);
    note("set " + what);
    is_set = false;
  }
  // The same with a SET of an interface that the manager refuses, behind it in the PDU.
  void set_and_fail(const std::string &what, std::vector<varbind> pdu) {
    fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
      const bool fails = e.opcode == kOpInterfaceVsan && e.msg_type == kMsgSet;
      return fails ? std::optional(fake::reply{1, 0, {}, {}}) : std::nullopt;
    };
    pdu.push_back(integer(if_vsan(102), 20));
    set(what + " vsanIfVsan.102=20, refused", pdu);
    fake::the().overrule = nullptr;
  }

  // GETNEXT from below `start` to its end, and GET of each that was found.
  void read_below(const name_t &start, const std::string &how = "") {
    name_t at = start;
    for (int step = 0; step < 1000; ++step) {
      const std::optional<varbind> next = mini::getnext(at);
      note(how + "getnext " + short_name(at));
      if (!next || !is_under(next->name, start)) {
        return;
      }
      mini::get(next->name);
      note(how + "get " + short_name(next->name));
      at = next->name;
    }
    ADD_FAILURE() << "the walk has no end";
  }

  void take_notifications() {
    // The switch's name is asked for once.
    fake::message moved = {fake::to_hex_bytes("00000065 0000000a 00000014")};
    fake::message changed = {fake::to_hex_bytes("0000000a 00000001 00000000 00000001 00000001 00000013 00000001")};
    oid name[MAX_OID_LEN];
    size_t length = 0;
    int send = 0;
    snmp_free_varbind(handle_port_memb_change_notifications(&moved, name, &length, &send));
    note("notification 102");
    snmp_free_varbind(handle_port_memb_change_notifications(&moved, name, &length, &send));
    note("notification 102 again");
    snmp_free_varbind(handle_notifications(&changed, name, &length, &send));
    note("notification 145");
    for (const int state : {kNotificationsOff, kNotificationsOn}) {
      vsan_trap_vsan_set(state);
      note("notification control " + std::to_string(state));
    }
  }

  void read_with_distribution() {
    for (const bool show_running : {false, true}) {
      fake::the().kdx_enabled = 1;
      fake::the().kdx_show_running = show_running ? 1 : 0;
      const std::string how = show_running ? "distribution, show running: " : "distribution: ";
      read_below(timer_column(kRatov), how);
      for (const unsigned long object : {kSwitchRatov, kSwitchEdtov, kSwitchFstov, kSwitchDstov}) {
        read_below(switch_wide(object), how);
      }
      set(how + "vsanFcTimerRatov.10=6000", {gauge(timer_cell(kRatov, 10), 6000)});
    }
    fake::the().kdx_enabled = 0;
  }

  void serve_a_restricted_user() {
    fake::the().restricted = true;
    fake::the().allowed = {10, 30};
    for (const name_t &start : {vsan_column(kName), timer_column(kEdtov), if_column(kIfVsan), summary_column()}) {
      read_below(start, "restricted: ");
    }
    set("restricted: vsanName.20=no", {octets(vsan_cell(kName, 20), "no")});
    set("restricted: vsanName.30=yes", {octets(vsan_cell(kName, 30), "yes")});
    fake::the().restricted = false;
  }

  void set_one_column_each() {
    for (const one_column &each : one_column_each()) {
      set(each.what, {each.value});
    }
  }

  void set_rows() {
    const std::vector<varbind> whole_row = {octets(vsan_cell(kName, 50), "whole"),
                                            integer(vsan_cell(kAdminState, 50), 2),
                                            integer(vsan_cell(kLoadBalancing, 50), 1),
                                            integer(vsan_cell(kInterop, 50), 4),
                                            integer(vsan_cell(kInorder, 50), 1),
                                            gauge(vsan_cell(kDropLatency, 50), 3000),
                                            integer(vsan_cell(kRowStatus, 50), kCreateAndGo)};
    set("a row with all its columns", whole_row);
    set("two columns of two rows", {octets(vsan_cell(kName, 20), "left"), octets(vsan_cell(kName, 30), "right"),
                                    integer(vsan_cell(kAdminState, 20), 1), integer(vsan_cell(kAdminState, 30), 2)});
    set("a column and a wrong value", {octets(vsan_cell(kName, 20), "not"), integer(vsan_cell(kAdminState, 20), 3)});
    set_and_fail("vsanName.10=gone", {octets(vsan_cell(kName, 10), "gone")});
    set_and_fail("vsanRowStatus.60=createAndGo", {integer(vsan_cell(kRowStatus, 60), kCreateAndGo)});
    set_and_fail("vsanRowStatus.30=destroy", {integer(vsan_cell(kRowStatus, 30), kDestroy)});
    set_and_fail("two rows", {octets(vsan_cell(kName, 10), "a"), octets(vsan_cell(kName, 20), "b"),
                              gauge(vsan_cell(kDropLatency, 10), 1)});
    set("vsanName.10=after", {octets(vsan_cell(kName, 10), "after")});
  }

  std::vector<std::string> lines;
  std::set<exchange_key> kinds;
  bool memberships_asked = false;

 private:
  static std::string short_name(const name_t &name) {
    return name == root() ? "root" : text(name).substr(text(root()).size() + 1);
  }

  void note_exchange(const std::string &what, const fake::exchange &e) {
    constexpr const char *kPhases[] = {"RESERVE1", "RESERVE2", "ACTION", "COMMIT", "FREE", "UNDO"};
    static_assert(RESERVE1 == 0 && RESERVE2 == 1 && ACTION == 2 && COMMIT == 3 && FREE == 4 && UNDO == 5);
    std::string line = what;
    if (is_set) {
      line += e.phase == fake::kNoPhase ? " find" : std::string(" ") + kPhases[e.phase];
    }
    line += " | ";
    for (const auto number : {static_cast<uint32_t>(e.opcode), static_cast<uint32_t>(e.msg_type),
                              static_cast<uint32_t>(e.service), e.size}) {
      line += std::to_string(number) + " ";
    }
    line += e.user ? *e.user + "/" + e.session.value_or("-") : "-";
    lines.push_back(line + " | " + recording::hex(e.request.data(), e.request.size()));
    kinds.insert({e.service, e.opcode, e.msg_type});
  }

  bool is_set = false;
};

TEST_F(RecordedRequests, AreTheSameFromEveryHost) {
  take_notifications();
  read_below(root());
  read_with_distribution();
  serve_a_restricted_user();
  set_one_column_each();
  set_rows();
  recording::expect(RECORDED_REQUESTS, lines);
  for (const auto &[key, row] : written_table()) {
    const auto &[service, opcode, type] = key;
    EXPECT_EQ(kinds.count(key), 1U) << "service " << service << ", opcode " << opcode << ", type " << type
                                    << " is never asked: the script has to grow";
  }
  EXPECT_TRUE(memberships_asked);
}

}  // namespace
