// The wall clock is stepped, both ways and far, under a running switch and agent: nothing waits for it, nothing is
// lost, and what ends after a time ends.
#include <signal.h>

#include <chrono>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

constexpr long kDay = 86400, kYears = 20 * 365 * kDay;
constexpr long kSteps[] = {kDay, -kDay, kYears, -kYears, 1, -1, 0};  // seconds beside the machine's clock

class ClockStep : public FabricTest {
 protected:
  void SetUp() override {
    char name[] = "/tmp/stepped-clock.XXXXXX";
    close(mkstemp(name));
    file = name;
    setenv("STEPPED_CLOCK", file.c_str(), 1);
    setenv("LD_PRELOAD", lab::preloaded("libstepped_clock.so").c_str(), 1);
    lab::start(l, {.traps = true});
  }
  void TearDown() override {
    unsetenv("LD_PRELOAD");
    unlink(file.c_str());
  }
  void step_to(long seconds) { lab::write_file(file, std::to_string(seconds) + "\n"); }
  size_t traps_heard() {
    const std::string log = lab::read_file(l.dir + "/traps.log"), word = text(membership_change());
    size_t count = 0;
    for (size_t at = log.find(word); at != std::string::npos; at = log.find(word, at + 1)) {
      ++count;
    }
    return count;
  }
  long ticks(const name_t &name) { return get(name).integer; }

  std::string file;
};

const name_t kUptime = {1, 3, 6, 1, 2, 1, 1, 3, 0};

// In the last line: before it a program may complain of a library that is for another processor.
int year_now() {
  const std::string said = lab::run({"date", "+%Y"}).output;
  return std::stoi(said.substr(said.rfind('\n', said.size() - 2) + 1));
}

TEST_F(ClockStep, TheShimSteps) {
  step_to(kYears);
  const int year = year_now();
  step_to(0);
  EXPECT_NEAR(year, year_now() + 20, 1);
}

TEST_F(ClockStep, ReadsWritesAndTrapsGoOn) {
  size_t traps = 0;
  long vsan = 5;
  for (const long seconds : kSteps) {
    const auto start = std::chrono::steady_clock::now();
    step_to(seconds);
    const std::string value = "at" + std::to_string(seconds);
    EXPECT_DONE(set({name(10, value)}));
    EXPECT_EQ(get(vsan_cell(kName, 10)).octets, value);
    vsan = vsan == 5 ? 10 : 5;
    EXPECT_DONE(set({move(kFc1, vsan == 5 ? 10 : 20)}));
    EXPECT_EQ(get(if_vsan(kFc1)).integer, vsan == 5 ? 10 : 20);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(took, 1.0) << seconds;
    EXPECT_TRUE(lab::wait_until([&] { return traps_heard() == traps + 1; }, 5)) << seconds;
    traps = traps_heard();
  }
}

// The switch tells a time of day, and the agent knows at which one it started: a step in between is in the difference.
TEST_F(ClockStep, TheTimeOfTheLastChangeIsOffByTheStepUntilTheAgentIsRestarted) {
  step_to(kDay);
  EXPECT_DONE(set({name(10, "tomorrow")}));
  EXPECT_NEAR(static_cast<double>(ticks(last_change())), static_cast<double>(ticks(kUptime) + kDay * 100), 500);
  step_to(-kDay);
  EXPECT_DONE(set({name(10, "yesterday")}));
  EXPECT_EQ(ticks(last_change()), 0) << "before the agent's start";
  EXPECT_EQ(lab::stop(l.snmpd), 0);
  lab::start_snmpd(l);
  EXPECT_DONE(set({name(10, "today")}));
  EXPECT_GT(ticks(last_change()), 0);
  EXPECT_LE(ticks(last_change()), ticks(kUptime) + 1);
}

TEST_F(ClockStep, NothingIsLostByARestartInAnotherYear) {
  for (const long seconds : kSteps) {
    step_to(seconds);
    const std::string value = "year" + std::to_string(seconds);
    EXPECT_DONE(set({name(10, value), name(30, "r"), row_status(30, kCreateAndGo)}));
    lab::stop(l.switchd, SIGKILL);
    step_to(-seconds);
    lab::start_switchd(l);
    EXPECT_EQ(get(vsan_cell(kName, 10)).octets, value);
    EXPECT_DONE(set({row_status(30, kDestroy)}));
  }
}

TEST_F(ClockStep, AFaultEndsAfterItsTimeAndATimeOutIsOne) {
  ASSERT_EQ(lab::ctl(l, {"fault", "delay", "0", "--opcode", "65535", "--for", "1"}).status, 0);
  step_to(-kYears);
  EXPECT_TRUE(lab::wait_until(
      [&] {
        return lab::ctl(l, {"--json", "show", "status"}).output.find("\"faults\": 1") == std::string::npos;
      },
      3));
  ASSERT_EQ(lab::ctl(l, {"fault", "hang", "--spare-vsanctl"}).status, 0);
  const auto start = std::chrono::steady_clock::now();
  step_to(kYears);
  EXPECT_EQ(get(vsan_cell(kName, 10)).type, snmp::kNoSuchInstance);
  const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(took, 4.5);
  EXPECT_GT(took, 3.5);
  ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
  EXPECT_TRUE(lab::wait_until([&] { return get(vsan_cell(kName, 10)).octets == "ten"; }, 2));
}

TEST_F(ClockStep, TheHistoryIsShownWhateverItsTimes) {
  for (const long seconds : kSteps) {
    step_to(seconds);
    EXPECT_DONE(set({name(10, "h" + std::to_string(seconds))}));
    EXPECT_EQ(lab::ctl(l, {"history"}).status, 0);
    EXPECT_EQ(lab::ctl(l, {"show", "errors"}).status, 0);
    EXPECT_EQ(lab::ctl(l, {"show", "status"}).status, 0);
  }
}

}  // namespace
