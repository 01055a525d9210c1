// Each exchange of each object, in each phase, breaks in each way, with a real switch behind it: no wrong value is ever
// given, what is answered with an error is not half done, nothing stays listed, and the next request is served.
//   BROKEN_ALL   1: also each way that costs a time-out for each object, half an hour
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>

#include "fabric_lab.h"
#include "relay.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;
using relay::breakage;

struct named_breakage {
  breakage kind;
  const char *name;
};
constexpr named_breakage kBreakages[] = {
    {breakage::reset_before_read, "ResetBeforeItIsRead"},
    {breakage::reset_after_read, "ResetAfterItIsRead"},
    {breakage::reset_after_done, "ResetAfterItIsDone"},
    {breakage::no_payload, "NoPayload"},
    {breakage::cut_payload, "HalfThePayload"},
    {breakage::cut_frame, "HalfTheFrame"},
    {breakage::too_much, "TooMuch"},
    {breakage::garbage, "Garbage"},
    {breakage::in_two_messages, "InTwoMessages"},
    {breakage::hang, "Hang"},
    {breakage::wrong_number, "WrongNumber"},
    {breakage::late, "Late"},
    {breakage::gone, "Gone"},
};

void PrintTo(const named_breakage &each, std::ostream *out) {
  *out << each.name;
}

struct set_case {
  const char *name;
  std::vector<varbind> pdu;
  std::vector<varbind> back;  // what makes the switch what it was
  bool is_undone;             // a refused one leaves nothing: row status is taken back
  bool is_waited_for;         // one of those that time-outs are tried on
  double longest = 4;         // seconds that the module waits for its exchange
  int status = kNoError;      // the answer of a switch that is well
  unsigned exchanges = 2;     // that it takes, at least
};

const std::vector<set_case> &set_cases() {
  static const std::vector<set_case> all = {
      {"vsanName", {name(10, "renamed")}, {name(10, "ten")}, false, false},
      {"vsanAdminState", {admin_state(10, 2)}, {admin_state(10, 1)}, false, false},
      {"vsanLoadBalancingType",
       {integer(vsan_cell(kLoadBalancing, 10), 1)},
       {integer(vsan_cell(kLoadBalancing, 10), 2)},
       false,
       false},
      {"vsanInterOperType", {integer(vsan_cell(kInterop, 10), 2)}, {integer(vsan_cell(kInterop, 10), 0)}, false, false},
      {"vsanInorderDelivery",
       {integer(vsan_cell(kInorder, 10), 1)},
       {integer(vsan_cell(kInorder, 10), 2)},
       false,
       false},
      {"vsanNetworkDropLatency",
       {gauge(vsan_cell(kDropLatency, 10), 777)},
       {gauge(vsan_cell(kDropLatency, 10), 2000)},
       false,
       false},
      {"createAndGo", {row_status(30, kCreateAndGo)}, {row_status(30, kDestroy)}, true, true},
      {"destroy",
       {row_status(20, kDestroy)},
       {row_status(20, kCreateAndGo), name(20, "twenty"), move(kFc4, 20)},
       true,
       false},
      {"active", {row_status(10, kActive)}, {row_status(10, kActive)}, true, false},
      {"vsanIfVsan", {move(kFc4, 10)}, {move(kFc4, 20)}, false, false},
      {"vsanFcTimerForceFlag", {force(5, '\xe0')}, {force(5, '\0')}, false, false, 4, kNoError, 1},
      {"vsanFcTimerRatov", {timer(kRatov, 4093, 6000)}, {timer(kRatov, 4093, 10000)}, false, false, 10},
      {"fcTimerEdtov", {scalar_gauge(kSwitchEdtov, 3000)}, {scalar_gauge(kSwitchEdtov, 2000)}, false, false, 10},
      {"fcNetworkLatency",
       {scalar_gauge(kNetworkLatency, 3000)},
       {scalar_gauge(kNetworkLatency, 2000)},
       false,
       false,
       10},
      {"fcSwitchLatency", {scalar_gauge(kSwitchLatency, 501)}, {scalar_gauge(kSwitchLatency, 500)}, false, false, 10},
      {"fcInorderDelivery",
       {integer(switch_wide(kSwitchInorder), 1)},
       {integer(switch_wide(kSwitchInorder), 2)},
       false,
       false,
       10},
      // The second varbind is refused by the switch when the first is done: the exchanges of UNDO are among those.
      {"createAndGoThenRefused",
       {row_status(30, kCreateAndGo), move(kFc4, 999)},
       {row_status(30, kDestroy)},
       true,
       false,
       4,
       kInconsistentName,
       7},
      {"destroyThenRefused",
       {row_status(20, kDestroy), move(kFc4, 20)},
       {row_status(20, kCreateAndGo), name(20, "twenty"), move(kFc4, 20)},
       true,
       false,
       4,
       kInconsistentName,
       6},
  };
  return all;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool tries_all() {
  const char *all = getenv("BROKEN_ALL");
  return all != nullptr && strcmp(all, "1") == 0;
}

// A real agent and switch, and a relay between them for each service that the module asks.
class Relayed : public ::testing::Test {
 protected:
  // The agent meets the relays, and no memory that it could read instead of asking.
  void SetUp() override {
    const std::string module = lab::library("libwatched_module.so");
    lab::start(l, {.agent_lines = "dlmod list_watch " + module + "\n", .module = module});
    lab::stop(l.snmpd);
    const std::string run = l.dir + "/run/";
    ASSERT_TRUE(unlink((run + "published.sock").c_str()) == 0 ||
                (getenv("LAB_PROGRAMS") != nullptr && errno == ENOENT));
    vsans = std::make_unique<relay::relay>(run + "vsan-manager.sock");
    ports = std::make_unique<relay::relay>(run + "port-manager.sock");
    lab::start_snmpd(l);
    client = std::make_unique<snmp::client>(l, snmp::community("private"), 30);
    for (const varbind &v : snmp::bulkwalk(*client, root())) {
      if (v.name != last_change()) {
        shown.push_back(v);
      }
    }
    ASSERT_GT(shown.size(), 80u);
    EXPECT_DONE(snmp::set(*client, {timer(kRatov, 4093, 10000)}));  // a value of its own
    store = lab::store_rows(l);
  }

  // The answer of a switch that is well again.
  bool comes_back(const std::function<bool()> &is_right) { return lab::wait_until(is_right, 3); }

  // Makes the switch what it was before the SET. What is refused leaves something only where UNDO was given up.
  void put_back(const set_case &each) {
    if (each.status == kNoError || lab::store_rows(l) != store) {
      EXPECT_DONE(snmp::set(*client, each.back)) << each.name;
    }
  }

  // UNDO waits for nobody: of what a switch swallows that otherwise lives, the agent's log tells after half a minute.
  bool is_given_up() {
    return lab::wait_until(
        [&] { return log_now().find(" not be put back after a refused SET", log_seen) != std::string::npos; }, 35);
  }

  std::string log_now() { return lab::read_file(l.dir + "/agent.log"); }

  std::string lists() { return snmp::get(*client, {{1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1, 0}}).varbinds.at(0).octets; }

  lab::lab l;
  std::unique_ptr<relay::relay> vsans, ports;
  std::unique_ptr<snmp::client> client;
  std::vector<varbind> shown;
  std::string store;
  size_t log_seen = 0;  // of the agent's log, in octets, before the request
};

class BrokenExchange : public Relayed, public ::testing::WithParamInterface<named_breakage> {
 protected:
  // Breaks the n-th exchange of `run` for every n that there is, with either receiver; `check` looks at each outcome.
  // None takes longer than one time-out, of `longest` seconds. Returns how many it broke.
  template <typename Run, typename Check>
  unsigned break_each(double longest, const Run &run, const Check &check) {
    unsigned broken = 0;
    for (relay::relay *receiver : {vsans.get(), ports.get()}) {
      for (unsigned nth = 1; nth < 100; ++nth) {
        log_seen = log_now().size();
        receiver->plan(nth, GetParam().kind);
        const auto start = std::chrono::steady_clock::now();
        const auto result = run();
        const double took = seconds_since(start);
        const bool met = receiver->requests() >= nth;
        receiver->plan(0, breakage::none);
        if (!met) {
          break;
        }
        EXPECT_LT(took, relay::is_waited_for(GetParam().kind) ? longest + 0.9 : 1.5);
        check(result, nth);
        ++broken;
      }
    }
    return broken;
  }
  void check_set(const set_case &each, const snmp::answer &answer, const std::string &after);
};

// Seconds that the module waits for a read.
double longest_of(const name_t &name) {
  return is_under(name, summary_table()) ? 5 : 4;
}

// One instance an object: that of the last row.
std::vector<varbind> one_of_each(const std::vector<varbind> &shown) {
  std::map<name_t, varbind> by_object;
  for (const varbind &v : shown) {
    by_object[name_t(v.name.begin(), v.name.end() - (is_under(v.name, summary_table()) ? 2 : 1))] = v;
  }
  std::vector<varbind> out;
  for (const auto &[object, v] : by_object) {
    out.push_back(v);
  }
  return out;
}

TEST_P(BrokenExchange, OfAGetGivesTheValueOrNone) {
  std::vector<varbind> objects = one_of_each(shown);
  ASSERT_EQ(objects.size(), 27u) << "all but the time of the last change";
  if (relay::is_waited_for(GetParam().kind) && !tries_all()) {
    objects = {objects[1], objects.back()};
  }
  for (const varbind &v : objects) {
    const auto get = [&] { return snmp::get(*client, {v.name}); };
    const unsigned broken = break_each(longest_of(v.name), get, [&](const snmp::answer &answer, unsigned nth) {
      ASSERT_TRUE(answer.sent_back) << text(v.name);
      EXPECT_EQ(answer.status, 0) << text(v.name);
      const varbind &got = answer.varbinds.at(0);
      EXPECT_TRUE(got == v || got.type == snmp::kNoSuchInstance) << text(v.name) << ", exchange " << nth;
      EXPECT_TRUE(comes_back([&] { return get().varbinds.at(0) == v; })) << text(v.name);
    });
    EXPECT_GE(broken, 1u) << text(v.name);
  }
}

TEST_P(BrokenExchange, OfAGetnextGivesALaterInstanceOrTheEnd) {
  std::vector<varbind> objects = one_of_each(shown);
  if (relay::is_waited_for(GetParam().kind) && !tries_all()) {
    objects = {objects[3]};
  }
  for (const varbind &v : objects) {
    const name_t column(v.name.begin(), v.name.end() - 1);
    const auto next = [&] { return snmp::getnext(*client, {column}); };
    const varbind clean = next().varbinds.at(0);
    const unsigned broken = break_each(longest_of(v.name), next, [&](const snmp::answer &answer, unsigned nth) {
      ASSERT_TRUE(answer.sent_back) << text(column);
      EXPECT_EQ(answer.status, 0) << text(column);
      const varbind &got = answer.varbinds.at(0);
      const bool is_shown = std::find(shown.begin(), shown.end(), got) != shown.end();
      const bool is_behind =
          !is_under(got.name, root()) || got.type == snmp::kEndOfMibView || got.name == last_change();
      EXPECT_TRUE(is_behind || (is_shown && before(column, got.name))) << text(got.name) << ", exchange " << nth;
      EXPECT_TRUE(comes_back([&] { return next().varbinds.at(0) == clean; })) << text(column);
    });
    EXPECT_GE(broken, 1u) << text(column);
  }
}

// After a SET whose exchange broke: what was answered is what the store says, and the switch can be made what it was.
void BrokenExchange::check_set(const set_case &each, const snmp::answer &answer, const std::string &after) {
  ASSERT_TRUE(answer.sent_back);
  const std::string now = lab::store_rows(l);
  if (answer.status == kNoError) {
    EXPECT_EQ(each.status, kNoError) << "the switch refused it";
    EXPECT_EQ(now, after);
  } else if (each.is_undone) {
    const bool undone = comes_back([&] { return lab::store_rows(l) == store; });
    EXPECT_TRUE(undone || (GetParam().kind == breakage::hang && is_given_up())) << lab::store_rows(l);
  } else {
    EXPECT_TRUE(now == store || now == after) << now;
  }
  EXPECT_TRUE(comes_back([&] { return snmp::set(*client, {name(5, "five")}).status == kNoError; }));
  if (lab::store_rows(l) != store) {
    put_back(each);
    EXPECT_EQ(lab::store_rows(l), store);
  }
}

TEST_P(BrokenExchange, OfASetIsAnErrorUnlessItIsDone) {
  for (const set_case &each : set_cases()) {
    if (relay::is_waited_for(GetParam().kind) && !each.is_waited_for && !tries_all()) {
      continue;
    }
    EXPECT_EQ(snmp::set(*client, each.pdu).status, each.status) << each.name;
    const std::string after = lab::store_rows(l);
    put_back(each);
    ASSERT_EQ(lab::store_rows(l), store) << each.name;
    const auto set_it = [&] { return snmp::set(*client, each.pdu); };
    const unsigned broken = break_each(each.longest, set_it, [&](const snmp::answer &answer, unsigned nth) {
      SCOPED_TRACE(std::string(each.name) + ", exchange " + std::to_string(nth));
      check_set(each, answer, after);
    });
    EXPECT_GE(broken, each.exchanges) << each.name;
    put_back(each);  // the last run met no breakage
  }
  EXPECT_DONE(snmp::set(*client, {name(10, "ten"), name(20, "twenty"), row_status(30, kDestroy)}));
  EXPECT_EQ(lists(), "pending saved");
}

// With both services away, from before the request until after it.
class AbsentReceiver : public Relayed {
 protected:
  static constexpr double kAtOnce = 1.5;  // seconds; some milliseconds, as a rule, and a time-out takes four

  void leave() {
    vsans->leave();
    ports->leave();
  }
  void come_back() {
    vsans->plan(0, breakage::none);
    ports->plan(0, breakage::none);
  }
};

TEST_F(AbsentReceiver, OfEachObjectThereIsNoInstanceAtOnceAndTheValueOnItsReturn) {
  std::vector<varbind> objects = one_of_each(shown);
  ASSERT_EQ(objects.size(), 27u);
  objects.push_back(snmp::get(*client, {last_change()}).varbinds.at(0));
  leave();
  for (const varbind &v : objects) {
    const auto start = std::chrono::steady_clock::now();
    const snmp::answer answer = snmp::get(*client, {v.name});
    EXPECT_LT(seconds_since(start), kAtOnce) << text(v.name);
    ASSERT_TRUE(answer.sent_back) << text(v.name);
    EXPECT_EQ(answer.status, 0) << text(v.name);
    EXPECT_EQ(answer.varbinds.at(0).type, snmp::kNoSuchInstance) << text(v.name);
  }
  come_back();
  for (const varbind &v : objects) {
    EXPECT_EQ(snmp::get(*client, {v.name}).varbinds.at(0), v);
  }
}

TEST_F(AbsentReceiver, EachSetThatNeedsItIsAnErrorAtOnceAndLeavesNothing) {
  for (const set_case &each : set_cases()) {
    SCOPED_TRACE(each.name);
    leave();
    const auto start = std::chrono::steady_clock::now();
    const snmp::answer answer = snmp::set(*client, each.pdu);
    EXPECT_LT(seconds_since(start), kAtOnce);
    ASSERT_TRUE(answer.sent_back);
    const bool stays_in_the_module = each.pdu[0].name == force(5, 0).name;
    const bool comes_with_its_row = each.pdu.back().name == if_vsan(kFc4);
    EXPECT_EQ(answer.status, stays_in_the_module ? kNoError : comes_with_its_row ? kNotWritable : kGenErr);
    come_back();
    EXPECT_DONE(snmp::set(*client, {name(5, "five")}));
    EXPECT_EQ(lab::store_rows(l), store);
  }
  EXPECT_EQ(lists(), "pending saved");
}

// Of the ways that cost a time-out one is enough for every day.
std::vector<named_breakage> breakages_tried() {
  std::vector<named_breakage> out;
  std::copy_if(std::begin(kBreakages), std::end(kBreakages), std::back_inserter(out), [](const named_breakage &each) {
    return tries_all() || !relay::is_waited_for(each.kind) || each.kind == breakage::hang;
  });
  return out;
}

INSTANTIATE_TEST_SUITE_P(, BrokenExchange, ::testing::ValuesIn(breakages_tried()),
                         [](const auto &info) { return info.param.name; });

}  // namespace
