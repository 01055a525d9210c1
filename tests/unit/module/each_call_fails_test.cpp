// Every platform call and every allocation of every object fails once: the status is the one that belongs to the
// failure, nothing is leaked, left listed or sent twice, nothing is lost, and the next request works.
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "memory_ledger.h"
#include "module_test.h"
#include "objects/object_magic.h"
#include "requests.h"

using namespace vsan_mib;

namespace {

using namespace mib;

constexpr int kMostCalls = 2000;  // of one request

// What fails, the how-manieth of it.
enum class failing { call, lost_answer, unheeded_call, allocation };
constexpr failing kFailing[] = {failing::call, failing::lost_answer, failing::unheeded_call, failing::allocation};

void arm(failing what, int nth) {
  fake::platform &platform = fake::the();
  platform.failable_calls = 0;
  platform.failed_call.clear();
  platform.fail_at = what == failing::allocation ? 0 : nth;
  platform.lose_answers = what == failing::lost_answer;
  platform.fail_unheeded = what == failing::unheeded_call;
  fake::fail_calloc(what == failing::allocation ? nth : 0);
}

// Ends it. Returns whether something failed.
bool disarm() {
  const bool failed = fake::calloc_failed() || !fake::the().failed_call.empty();
  fake::the().fail_at = 0;
  fake::the().failable_calls = 0;
  fake::fail_calloc(0);
  return failed;
}

// Who asks, what configuration distribution says, and which sinks want trace lines.
struct circumstance {
  const char *name;
  bool restricted;
  int distributed;
  int show_running;
  bool history_on = true;
  bool debug_on = false;
};
constexpr circumstance kCircumstances[] = {
    {"anybody", false, 0, 0},
    {"anybody, with pending timers, debugging", false, 1, 0, true, true},
    {"a restricted user, with running timers shown", true, 1, 1},
    {"a restricted user, untraced", true, 1, 0, false, false},
};

// Pending timers are told from running ones by their value.
std::optional<fake::reply> answer_pending(const fake::exchange &e) {
  if (e.opcode != kOpFcTimer || e.msg_type != kMsgKdxGet) {
    return {};
  }
  fake::reply reply = fake::answer_of_managers(e);
  (*reply.payload)[5] ^= 1;
  return reply;
}

void make_world(const circumstance &given) {
  fake::platform &platform = fake::the();
  platform.vsans.clear();
  platform.interfaces.clear();
  platform.members.clear();
  platform.timers.clear();
  platform.latencies = {{18, 2000}, {17, 500}};
  platform.inorder = 1;
  fake::add_vsan(5);
  fake::add_vsan(7);
  fake::add_interface(100, 7);
  fake::add_interface(101, 5);
  platform.restricted = given.restricted;
  platform.allowed = {0, 7, 30, 40};
  platform.kdx_enabled = given.distributed;
  platform.kdx_show_running = given.show_running;
  platform.overrule = answer_pending;
  platform.exchanges.clear();
  platform.calls.clear();
  platform.history_on = given.history_on;
  platform.debug_on = given.debug_on;
  platform.history.clear();
  platform.debug.clear();
}

class EachCallFails : public ModuleTest {
 protected:
  void TearDown() override {
    ModuleTest::TearDown();
    EXPECT_EQ(fake::not_given_back().rows, 0);
  }
};

// At rest the module holds what the lists hold, and the answer that its one-row cache lies in.
void expect_nothing_leaked() {
  const fake::memory held = fake::not_given_back();
  EXPECT_EQ(held.rows, static_cast<long>(fake::listed(vsanEntry_list) + fake::listed(vsanEntry_undo_list)));
  EXPECT_LE(held.answers, 1);
  EXPECT_EQ(held.varbind_lists, 0);
}

// Reads.

// What a read comes to whose call failed.
enum class comes { to_nothing, to_the_same, to_the_running_value, to_the_pending_value };
struct read_consequence {
  const char *call;
  comes comes_to;
};
constexpr read_consequence kOfReads[] = {
    {"cmi_req_resp", comes::to_nothing},
    {"pm_cmi_get_active_vsan_port_membership", comes::to_nothing},
    {"intf_chk_vsan_role_allowed", comes::to_nothing},
    {"is_kdx_enabled", comes::to_the_running_value},
    {"get_kdx_show_run_mode", comes::to_the_pending_value},
    {"sdwrap_hist_event", comes::to_the_same},
};

name_t name_of(const struct variable7 &object, std::initializer_list<unsigned long> index) {
  name_t name = root();
  name.insert(name.end(), object.name, object.name + object.namelen);
  name.insert(name.end(), index);
  return name;
}

name_t instance_of(const struct variable7 &object) {
  if (object.findVar == get_vsan_mib) {
    return name_of(object, {0});
  }
  if (object.findVar == get_vsanIfEntry) {
    return name_of(object, {100});
  }
  return object.findVar == get_vsanMembershipSummaryEntry ? name_of(object, {7, 100}) : name_of(object, {7});
}

struct asked {
  const struct variable7 *object;
  int exact;

  std::optional<varbind> ask() const {
    return mini::find_alone(*object, exact != 0 ? instance_of(*object) : name_of(*object, {}), exact);
  }
};

std::optional<varbind> ask_under(const asked &read, const circumstance &given, int distributed, int show_running) {
  make_world({given.name, given.restricted, distributed, show_running});
  return read.ask();
}

std::optional<varbind> expected_of(const asked &read, const circumstance &given, const std::string &call) {
  for (const read_consequence &known : kOfReads) {
    if (call.rfind(known.call, 0) != 0) {
      continue;
    }
    switch (known.comes_to) {
      case comes::to_nothing:
        return {};
      case comes::to_the_same:
        return ask_under(read, given, given.distributed, given.show_running);
      case comes::to_the_running_value:
        return ask_under(read, given, 0, 0);
      case comes::to_the_pending_value:
        return ask_under(read, given, given.distributed, 0);
    }
  }
  ADD_FAILURE() << call << " has no row in the table of consequences";
  return {};
}

// Every call of one read fails. Returns how many did.
int sweep_read(const asked &read, const circumstance &given, failing what) {
  make_world(given);
  const auto clean = read.ask();
  EXPECT_TRUE(clean.has_value());
  const size_t asked_for = fake::the().exchanges.size();
  for (int nth = 1; nth <= kMostCalls; ++nth) {
    make_world(given);
    arm(what, nth);
    const auto answer = read.ask();
    const std::string call = fake::the().failed_call;
    if (!disarm()) {
      EXPECT_EQ(answer, clean);
      return nth - 1;
    }
    SCOPED_TRACE("call " + std::to_string(nth) + ", " + call);
    EXPECT_LE(fake::the().exchanges.size(), asked_for) << "asked again";
    expect_nothing_leaked();
    // A restricted user's walk looks at hidden rows, too, and what was not told at one of them is told at the next.
    const bool other_row = given.restricted && read.exact == 0 && answer == clean && answer.has_value();
    EXPECT_TRUE(other_row || answer == expected_of(read, given, call));
    make_world(given);
    EXPECT_EQ(read.ask(), clean) << "afterwards";
  }
  ADD_FAILURE() << "the sweep has no end";
  return 0;
}

TEST_F(EachCallFails, OfEveryObjectsGetAndGetnext) {
  for (const struct variable7 &object : vsan_mib_variables) {
    for (const int exact : {1, 0}) {
      for (const circumstance &given : kCircumstances) {
        for (const failing what : kFailing) {
          SCOPED_TRACE(text(name_of(object, {})) + (exact != 0 ? " GET, " : " GETNEXT, ") + given.name);
          const int failed = sweep_read({&object, exact}, given, what);
          EXPECT_EQ(failed > 0, what != failing::allocation) << "a read asks somebody, and allocates nothing";
        }
      }
    }
  }
}

TEST_F(EachCallFails, OfAWalkWhichThenGivesNoWrongValue) {
  make_world(kCircumstances[0]);
  fake::the().history_on = false;
  std::vector<varbind> whole;
  for (auto at = mini::getnext(root()); at; at = mini::getnext(at->name)) {
    whole.push_back(*at);
  }
  ASSERT_GT(whole.size(), 28u);
  bool failed = true;
  int nth = 1;
  for (; failed && nth <= kMostCalls; ++nth) {
    arm(failing::call, nth);
    name_t at = root();
    for (auto answer = mini::getnext(at); answer; answer = mini::getnext(at)) {
      EXPECT_NE(std::find(whole.begin(), whole.end(), *answer), whole.end()) << "call " << nth << " failed";
      ASSERT_TRUE(before(at, answer->name));
      at = answer->name;
    }
    failed = disarm();
  }
  EXPECT_GT(nth, static_cast<int>(whole.size()));
  EXPECT_FALSE(failed) << "the sweep ends when no call is left to fail";
}

// Writes.

struct assigned {
  u_char object = 0;  // its magic number; 0: none
  oid instance = 0;
  long value = 0;
  const char *octets = nullptr;
};
struct run {
  const char *name;
  assigned varbinds[4];
};
constexpr run kRuns[] = {
    {"name", {{kVsanName, 7, 0, "edge"}}},
    {"admin state", {{kVsanAdminState, 7, 2}}},
    {"load balancing", {{kVsanLoadBalancingType, 7, 1}}},
    {"interop", {{kVsanInterOperType, 7, 2}}},
    {"in-order delivery", {{kVsanInorderDelivery, 7, 1}}},
    {"drop latency", {{kVsanNetworkDropLatency, 7, 1500}}},
    {"operational state", {{kVsanOperState, 7, 1}}},
    {"create", {{kVsanRowStatus, 30, RS_CREATEANDGO}}},
    {"create what is there", {{kVsanRowStatus, 7, RS_CREATEANDGO}}},
    {"active", {{kVsanRowStatus, 7, RS_ACTIVE}}},
    {"active, of what is not there", {{kVsanRowStatus, 30, RS_ACTIVE}}},
    {"destroy", {{kVsanRowStatus, 7, RS_DESTROY}}},
    {"destroy what is not there", {{kVsanRowStatus, 30, RS_DESTROY}}},
    {"interface", {{kVsanIfVsan, 100, 7}}},
    {"R_A_TOV", {{kFcTimerRatov, 0, 6000}}},
    {"E_D_TOV", {{kFcTimerEdtov, 0, 3000}}},
    {"D_S_TOV", {{kFcTimerDstov, 0, 6000}}},
    {"network latency", {{kFcNetworkLatency, 0, 1500}}},
    {"switch latency", {{kFcSwitchLatency, 0, 600}}},
    {"switch-wide in-order delivery", {{kFcInorderDelivery, 0, 2}}},
    {"force flag", {{kVsanFcTimerForceFlag, 7, 0, "\x80"}}},
    {"R_A_TOV of a VSAN", {{kVsanFcTimerRatov, 7, 6000}}},
    {"E_D_TOV of a VSAN", {{kVsanFcTimerEdtov, 7, 3000}}},
    {"D_S_TOV of a VSAN", {{kVsanFcTimerDstov, 7, 6000}}},
    // Whole PDUs.
    {"columns of a row", {{kVsanName, 7, 0, "edge"}, {kVsanAdminState, 7, 2}, {kVsanNetworkDropLatency, 7, 1500}}},
    {"rows", {{kVsanName, 7, 0, "edge"}, {kVsanName, 40, 0, "core"}, {kVsanAdminState, 40, 2}}},
    {"name, then create", {{kVsanName, 30, 0, "new"}, {kVsanRowStatus, 30, RS_CREATEANDGO}}},
    {"create, then name", {{kVsanRowStatus, 30, RS_CREATEANDGO}, {kVsanName, 30, 0, "new"}}},
    {"columns around a row status",
     {{kVsanName, 7, 0, "edge"}, {kVsanRowStatus, 7, RS_ACTIVE}, {kVsanAdminState, 7, 2}}},
    {"one made, one taken away, one changed",
     {{kVsanRowStatus, 30, RS_CREATEANDGO}, {kVsanRowStatus, 7, RS_DESTROY}, {kVsanName, 40, 0, "core"}}},
    {"all tables",
     {{kVsanAdminState, 7, 2}, {kVsanIfVsan, 100, 7}, {kVsanFcTimerRatov, 7, 6000}, {kFcSwitchLatency, 0, 600}}},
};

// How the PDU goes on: a varbind at its end is refused in this phase, and so is the PDU.
struct ending {
  const char *name;
  assigned refused;
};
constexpr ending kEndings[] = {
    {"committed", {}},
    {"refused in RESERVE1", {kFcInorderDelivery, 0, 99}},
    {"refused in RESERVE2", {kVsanInterOperType, 20, 1}},
    {"refused in ACTION", {kVsanRowStatus, 20, RS_ACTIVE}},
};

// What a SET comes to whose call failed in this phase; where no row says so, to what it comes to anyway.
struct write_consequence {
  const char *call;
  int phase;
  int status;
};
constexpr write_consequence kOfWrites[] = {
    {"cmi_req_resp 124 1", fake::kNoPhase, SNMP_ERR_NOTWRITABLE},  // its write method comes with its row
    {"cmi_req_resp", RESERVE2, SNMP_ERR_GENERR},
    {"cmi_req_resp", ACTION, SNMP_ERR_GENERR},
    {"intf_chk_vsan_role_allowed", RESERVE1, SNMP_ERR_GENERR},
    {"indxobj_add", RESERVE1, SNMP_ERR_GENERR},
    {"indxobj_add", RESERVE2, SNMP_ERR_GENERR},
    {"calloc", RESERVE1, SNMP_ERR_GENERR},
    {"calloc", RESERVE2, SNMP_ERR_GENERR},
};

varbind varbind_of(const assigned &a) {
  for (const struct variable7 &object : vsan_mib_variables) {
    if (object.magic != a.object) {
      continue;
    }
    const name_t name = name_of(object, {a.instance});
    return object.type == ASN_OCTET_STR ? octets(name, a.octets)
           : object.type == ASN_GAUGE   ? gauge(name, static_cast<unsigned long>(a.value))
                                        : integer(name, a.value);
  }
  ADD_FAILURE() << "no such object";
  return {};
}

std::vector<varbind> pdu_of(const run &r, const ending &end) {
  std::vector<varbind> pdu;
  for (const assigned &a : r.varbinds) {
    if (a.object != 0) {
      pdu.push_back(varbind_of(a));
    }
  }
  if (end.refused.object != 0) {
    pdu.push_back(varbind_of(end.refused));
  }
  return pdu;
}

// What the switch holds, as text.
std::string world_now() {
  std::string now;
  for (const auto &[vsan, row] : fake::the().vsans) {
    now += "vsan " + fake::hex({reinterpret_cast<const uint8_t *>(&row), reinterpret_cast<const uint8_t *>(&row + 1)});
  }
  for (const auto &[interface, row] : fake::the().interfaces) {
    now += " interface " + std::to_string(interface) + " in " + std::to_string(row.vsanIfVsan);
  }
  for (const auto &[key, value] : fake::the().timers) {
    now += " timer " + std::to_string(key.first) + "." + std::to_string(key.second) + "=" + std::to_string(value);
  }
  for (const auto &[type, value] : fake::the().latencies) {
    now += " latency " + std::to_string(type) + "=" + std::to_string(value);
  }
  return now + " in-order " + std::to_string(fake::the().inorder);
}

std::vector<uint32_t> vsans_now() {
  std::vector<uint32_t> vsans;
  for (const auto &[vsan, row] : fake::the().vsans) {
    vsans.push_back(vsan);
  }
  return vsans;
}

// What was sent in a phase, in an order of its own.
std::vector<fake::bytes> sent_in(int phase) {
  std::vector<fake::bytes> sent;
  for (const fake::exchange &e : fake::the().exchanges) {
    if (e.phase == phase && (e.msg_type == kMsgSet || e.msg_type == kMsgDelete)) {
      sent.push_back(e.request);
      sent.back().push_back(static_cast<uint8_t>(e.opcode));
      sent.back().push_back(static_cast<uint8_t>(e.msg_type));
    }
  }
  std::sort(sent.begin(), sent.end());
  return sent;
}

struct outcome {
  mini::set_result result;
  std::string world;
  std::vector<uint32_t> vsans;
  std::vector<fake::bytes> sent;
  std::vector<fake::bytes> taken_back;
};

// A world with VSAN 40 besides, which whole PDUs change, and the standard error thrown away that refusals write.
outcome serve(const std::vector<varbind> &pdu) {
  fake::add_vsan(40);
  const mini::set_result result = mini::set_pdu(pdu);
  return {result, world_now(), vsans_now(), sent_in(ACTION), sent_in(UNDO)};
}

int expected_status(const std::string &call, int phase, const mini::set_result &clean) {
  for (const write_consequence &known : kOfWrites) {
    if (call.rfind(known.call, 0) == 0 && phase == known.phase && phase <= clean.phase) {
      return known.status;
    }
  }
  return clean.status;
}

// After COMMIT or FREE nothing is listed; after UNDO what columns listed goes with the next PDU of their VSAN.
void expect_empty_lists(int refused_in) {
  if (refused_in != ACTION) {
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  }
  expect_nothing_leaked();
  for (const oid vsan : {7, 20, 30, 40}) {
    const name_t name = vsan_cell(kName, vsan);
    forget_finished_pdu(name.data(), name.size());
  }
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u);
  EXPECT_EQ(fake::not_given_back().rows, 0);
}

// In the phase that refuses the PDU anyway, which refusal comes first depends on the order of the varbinds.
void expect_status(const mini::set_result &failed, const mini::set_result &clean, int expected, int phase) {
  const bool by_either = phase == clean.phase && failed.status == clean.status;
  EXPECT_TRUE(failed.status == expected || by_either) << failed.status << " instead of " << expected;
}

void expect_consequences(const outcome &failed, const outcome &clean, const std::string &call, int phase) {
  // A VSAN whose look-up broke looks absent: what is refused is refused later, maybe for another reason.
  if (phase == fake::kNoPhase && clean.result.status != 0) {
    EXPECT_NE(failed.result.status, 0);
  } else {
    expect_status(failed.result, clean.result, expected_status(call, phase, clean.result), phase);
  }
  EXPECT_TRUE(std::includes(clean.sent.begin(), clean.sent.end(), failed.sent.begin(), failed.sent.end()))
      << "sent twice, or what is not sent otherwise";
  EXPECT_EQ(std::adjacent_find(failed.taken_back.begin(), failed.taken_back.end()), failed.taken_back.end())
      << "taken back twice";
  if (failed.result.status == 0) {
    EXPECT_EQ(failed.world, clean.world);
  } else if (phase != UNDO) {
    EXPECT_EQ(failed.vsans, (std::vector<uint32_t>{5, 7, 40})) << "a refused PDU made or took away a VSAN";
  }
}

// Every call of one PDU fails. Returns how many did.
int sweep_write(const std::vector<varbind> &pdu, const circumstance &given, failing what) {
  make_world(given);
  const outcome clean = serve(pdu);
  expect_empty_lists(clean.result.phase);
  for (int nth = 1; nth <= kMostCalls; ++nth) {
    make_world(given);
    arm(what, nth);
    const outcome failed = serve(pdu);
    const std::string call = what == failing::allocation ? "calloc" : fake::the().failed_call;
    const int phase = what == failing::allocation ? fake::phase_of_failed_calloc() : fake::the().failed_phase;
    if (!disarm()) {
      EXPECT_EQ(failed.result.status, clean.result.status);
      EXPECT_EQ(failed.world, clean.world);
      return nth - 1;
    }
    SCOPED_TRACE("call " + std::to_string(nth) + ", " + call + " in phase " + std::to_string(phase));
    expect_consequences(failed, clean, call, phase);
    expect_empty_lists(failed.result.phase);
    make_world(given);
    EXPECT_EQ(serve(pdu).result.status, clean.result.status) << "afterwards";
    expect_empty_lists(clean.result.phase);
  }
  ADD_FAILURE() << "the sweep has no end";
  return 0;
}

// One parameter a run, so that a failure names it and runs go in parallel.
class EachCallFailsOfSet : public EachCallFails, public testing::WithParamInterface<run> {};

TEST_P(EachCallFailsOfSet, InEveryPhaseAndHoweverThePduEnds) {
  capture();  // what value checks say there
  for (const ending &end : kEndings) {
    const std::vector<varbind> pdu = pdu_of(GetParam(), end);
    for (const circumstance &given : kCircumstances) {
      for (const failing what : kFailing) {
        // Hundreds of trace lines a PDU: once.
        if (what == failing::unheeded_call && (&end != kEndings || &given != kCircumstances)) {
          continue;
        }
        SCOPED_TRACE(std::string(end.name) + ", " + given.name);
        const int failed = sweep_write(pdu, given, what);
        EXPECT_TRUE(failed > 0 || what == failing::allocation) << "a write asks somebody";
      }
    }
  }
  captured();
}

TEST_F(EachCallFails, CountsTheAllocationsThatAColumnAndARowStatusMake) {
  EXPECT_EQ(sweep_write(pdu_of({"", {{kVsanName, 7, 0, "edge"}}}, {}), kCircumstances[0], failing::allocation), 2);
  EXPECT_EQ(sweep_write(pdu_of({"", {{kVsanRowStatus, 7, RS_DESTROY}}}, {}), kCircumstances[0], failing::allocation),
            1);
  EXPECT_EQ(sweep_write(pdu_of({"", {{kFcTimerRatov, 0, 6000}}}, {}), kCircumstances[0], failing::allocation), 0);
}

std::string run_name(const testing::TestParamInfo<run> &info) {
  std::string name = info.param.name;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
  return name;
}
INSTANTIATE_TEST_SUITE_P(Runs, EachCallFailsOfSet, testing::ValuesIn(kRuns), run_name);

TEST_F(EachCallFails, OfTheNotificationControl) {
  const name_t name = root({1, 1, 5, 0});
  for (const int action : {RESERVE1, RESERVE2, ACTION, COMMIT, FREE, UNDO}) {
    arm(failing::call, 1);
    const int status =
        mini::phase_raw(write_vsanNotificationCntl, action, name, ASN_INTEGER, mini::word(1), sizeof(uint32_t));
    EXPECT_EQ(disarm(), action == ACTION);
    EXPECT_EQ(status, action == ACTION ? SNMP_ERR_GENERR : SNMP_ERR_NOERROR) << action;
  }
  expect_nothing_leaked();
}

// Notifications and loading.

// Returns whether a trap came of it.
bool raise(notification_handler_t *handler, const char *payload) {
  fake::message message = {fake::to_hex_bytes(payload)};
  oid name[MAX_OID_LEN];
  size_t length = 0;
  int send = -1;
  netsnmp_variable_list *list = (*handler)(&message, name, &length, &send);
  EXPECT_EQ(list != nullptr, send == 1);
  snmp_free_varbind(list);
  return send == 1;
}

TEST_F(EachCallFails, OfANotificationWhoseTrapIsThenNotSentAndWhoseNextOneIs) {
  struct notified {
    notification_handler_t handler;
    const char *payload;
    int calls;  // the first of a membership asks for the switch's name besides
  };
  for (notified each :
       {notified{handle_notifications, "0000012c 00000001 00000000 00000001 00000002 00000013 00000001", 7},
        notified{handle_port_memb_change_notifications, "00000064 00000000 0000012c", 5}}) {
    for (int nth = 1; nth <= each.calls; ++nth) {
      arm(failing::call, nth);
      EXPECT_FALSE(raise(&each.handler, each.payload)) << nth;
      EXPECT_TRUE(disarm()) << nth;
      expect_nothing_leaked();
      // The name is known from here on, and one call fewer is made.
      each.calls -= fake::the().failed_call.rfind("cmi_req_resp", 0) == 0 ? 1 : 0;
      EXPECT_TRUE(raise(&each.handler, each.payload)) << nth;
    }
    arm(failing::call, each.calls + 1);
    EXPECT_TRUE(raise(&each.handler, each.payload));
    EXPECT_FALSE(disarm());
  }
}

class EachCallFailsOfLoading : public LoadingTest {};

void quietly(void (*procedure)()) {
  testing::internal::CaptureStdout();
  procedure();
  fflush(stdout);
  testing::internal::GetCapturedStdout();
}

bool is_registered() {
  const name_t name = name_of(vsan_mib_variables[0], {});
  const netsnmp_subtree *subtree = netsnmp_subtree_find(name.data(), name.size(), nullptr, "");
  return subtree != nullptr && subtree->reginfo != nullptr && subtree->reginfo->rootoid_len == name.size();
}

TEST_F(EachCallFailsOfLoading, AnswersNothingWithoutItsListsAndUnloadsWholly) {
  bool failed = true;
  for (int nth = 1; failed && nth <= kMostCalls; ++nth) {
    arm(failing::unheeded_call, nth);
    quietly(init_vsan_mib);
    const std::string call = fake::the().failed_call;
    failed = disarm();
    SCOPED_TRACE(call);
    const bool unregistered = call.find("register_mib") != call.npos || call == "indxobj_create";
    EXPECT_EQ(is_registered(), !unregistered);
    quietly(deinit_vsan_mib);
    EXPECT_FALSE(is_registered());
    EXPECT_EQ(vsanEntry_list.opaque[0], nullptr);
    EXPECT_EQ(vsanEntry_undo_list.opaque[0], nullptr);
    EXPECT_TRUE(fake::the().handlers.empty());
  }
  EXPECT_FALSE(failed);
}

TEST_F(EachCallFailsOfLoading, UnloadsWhateverFails) {
  bool failed = true;
  for (int nth = 1; failed && nth <= kMostCalls; ++nth) {
    quietly(init_vsan_mib);
    arm(failing::unheeded_call, nth);
    quietly(deinit_vsan_mib);
    failed = disarm();
    EXPECT_FALSE(is_registered());
    EXPECT_EQ(vsanEntry_list.opaque[0], nullptr);
    EXPECT_EQ(vsanEntry_undo_list.opaque[0], nullptr);
    fake::the().handlers.clear();
  }
  EXPECT_FALSE(failed);
}

}  // namespace
