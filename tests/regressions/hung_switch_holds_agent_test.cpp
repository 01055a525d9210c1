// A stopped switchd held the agent for one time-out after the other: 13 s for a GETNEXT of one varbind, 148 s for 28.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "fabric_lab.h"
#include "fault_lab.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

constexpr double kTwoTimeOuts = 7.5;  // less than two of the shortest, with room for a slow machine
constexpr double kAtOnce = 2.0;

// Every object of the module, as a GETNEXT names it.
std::vector<name_t> all_columns() {
  std::vector<name_t> names = {root({1, 1, 1}), root({1, 1, 2}), root({1, 2, 4})};
  for (unsigned long column : kVsanColumns) {
    names.push_back(vsan_column(column));
  }
  for (unsigned long column : {1, 2}) {
    names.push_back(if_column(column));
  }
  names.push_back(summary_column());
  for (unsigned long scalar : {1, 2, 3, 4, 5, 6, 7}) {
    names.push_back(root({1, 4, scalar}));
  }
  for (unsigned long column : kTimerColumns) {
    names.push_back(timer_column(column));
  }
  return names;
}

struct shape {
  const char *name;
  std::function<snmp::answer(snmp::client &)> ask;
};

const std::vector<shape> &shapes() {
  static const std::vector<shape> all = {
      {"GETNEXT of one varbind", [](snmp::client &c) { return snmp::getnext(c, {root()}); }},
      {"GETNEXT of 28 columns", [](snmp::client &c) { return snmp::getnext(c, all_columns()); }},
      {"GET of a membership and a scalar",
       [](snmp::client &c) {
         return snmp::get(c, {summary(10, kFc2), vsan_number()});
       }},
      {"GETBULK over four tables",
       [](snmp::client &c) {
         return snmp::getbulk(c, {vsan_column(kName), if_column(kIfVsan), summary_column(), timer_column(kRatov)}, 10);
       }},
      {"SET of a scalar", [](snmp::client &c) { return snmp::set(c, {scalar_gauge(kSwitchLatency, 100)}); }},
      {"SET over four tables",
       [](snmp::client &c) {
         return snmp::set(c, {name(5, "x"), move(kFc1, 10), timer(kRatov, 20, 7000), scalar_gauge(kSwitchRatov, 7000),
                              row_status(900, kCreateAndGo), row_status(20, kDestroy)});
       }},
  };
  return all;
}

class HungSwitch : public FabricTest {
 protected:
  double seconds(const shape &s) {
    snmp::client c(l, snmp::community("private"), 60);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(s.ask(c).sent_back) << s.name;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  // Stops it, and waits until what it published is too old to be answered from.
  void stop() {
    lab::signal(l.switchd, SIGSTOP);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  // Goes on, and waits until the agent has noticed of all receivers.
  void wake() {
    lab::signal(l.switchd, SIGCONT);
    ASSERT_TRUE(lab::wait_until([&] { return everything() == before; }, 20));
  }
};

TEST_F(HungSwitch, APduCostsOneTimeOutWhateverItAsksAndLaterOnesNone) {
  for (const shape &s : shapes()) {
    stop();
    const double first = seconds(s);
    EXPECT_LT(first, kTwoTimeOuts) << s.name;
    double longest = 0;
    const auto start = std::chrono::steady_clock::now();
    do {
      longest = std::max(longest, seconds(s));
    } while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(2500));
    EXPECT_LT(longest, kAtOnce) << s.name << ", while it stays hung";
    printf("%-34s first %5.2f s, later at most %5.2f s\n", s.name, first, longest);
    wake();
  }
}

TEST_F(HungSwitch, AMessageThatIsNeverAnsweredCostsThePduOneTimeOutThoughTheSwitchLives) {
  fault_lab::fault(l, {"hang"});
  EXPECT_LT(seconds(shapes()[1]), kTwoTimeOuts);
  EXPECT_LT(seconds(shapes()[3]), kTwoTimeOuts);
  fault_lab::clear_faults(l);
  ASSERT_TRUE(lab::wait_until([&] { return everything() == before; }, 20));
}

// SETs of switch-wide values ask for 10 s of patience, for they may take a fabric that long: one of them has
// them, not both.
TEST_F(HungSwitch, ASetOfSwitchWideValuesThatHangsItselfCostsItsLongerTimeOutOnce) {
  constexpr int kLatency = 136;
  fault_lab::fault_at(l, 3, {"hang"}, kLatency);
  const shape both = {"SET of two latencies", [](snmp::client &c) {
                        return snmp::set(c, {scalar_gauge(kSwitchLatency, 1), scalar_gauge(kNetworkLatency, 1)});
                      }};
  const double took = seconds(both);
  EXPECT_GT(took, 9);
  EXPECT_LT(took, 15);
  printf("%-34s %5.2f s\n", both.name, took);
}

TEST_F(HungSwitch, BeingConnectedByTheKernelIsNoLife) {
  stop();
  seconds(shapes()[0]);
  // A reload drops the connections; new ones are taken by the kernel in the name of the stopped process.
  lab::signal(l.snmpd, SIGHUP);
  ASSERT_TRUE(lab::wait_until(
      [&] { return lab::read_file(l.dir + "/agent.log").find("Reconfiguring daemon") != std::string::npos; }));
  seconds(shapes()[0]);
  EXPECT_LT(seconds(shapes()[0]), kAtOnce);
  wake();
}

}  // namespace
