// Descriptors and memory that run out, in the agent and in switchd: what is served meanwhile, and that nothing
// acknowledged is lost.
#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>

#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

// A limit of another process, while this lives.
struct limited {
  limited(const lab::process &p, __rlimit_resource which, rlim_t limit) : pid(p.pid), resource(which) {
    EXPECT_EQ(prlimit(pid, which, nullptr, &before), 0);
    const rlimit now = {limit, before.rlim_max};
    EXPECT_EQ(prlimit(pid, which, &now, nullptr), 0);
  }
  ~limited() { EXPECT_EQ(prlimit(pid, resource, &before, nullptr), 0); }
  limited(const limited &) = delete;
  limited &operator=(const limited &) = delete;

  pid_t pid;
  __rlimit_resource resource;
  rlimit before = {};
};

constexpr rlim_t kNone = 3;  // nothing new can be opened

class Exhausted : public FabricTest {
 protected:
  void SetUp() override {
    FabricTest::SetUp();
    EXPECT_DONE(set({name(5, "before")}));
  }
  bool both_run() { return lab::is_running(l.snmpd) && lab::is_running(l.switchd); }
  void expect_service(const std::string &value) {
    EXPECT_TRUE(lab::wait_until([&] { return set({name(10, value)}).status == kNoError; }));
    EXPECT_EQ(get(vsan_cell(kName, 10)).octets, value);
  }
};

TEST_F(Exhausted, ASwitchWithoutDescriptorsServesWhoIsConnected) {
  const limited none(l.switchd, RLIMIT_NOFILE, kNone);
  EXPECT_DONE(set({name(10, "through")}));
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, "through");
  EXPECT_TRUE(both_run());
}

// The words of a running command.
std::vector<std::string> command_of(const lab::process &p) {
  std::istringstream words(lab::read_file("/proc/" + std::to_string(p.pid) + "/cmdline"));
  std::vector<std::string> out;
  for (std::string word; std::getline(words, word, '\0');) {
    out.push_back(word);
  }
  return out;
}

// With so few it cannot even start; with a few more it starts, and has none left to listen or to reach the switch with;
// and none of it lasts.
TEST_F(Exhausted, AnAgentWithFewDescriptorsEndsOrFindsNothingAndIsWellWhenThereAreMore) {
  const std::vector<std::string> command = command_of(l.snmpd);
  unsigned ended = 0, silent = 0, blind = 0, well = 0;
  for (int descriptors = 5; descriptors <= 16; ++descriptors) {
    lab::stop(l.snmpd);
    std::vector<std::string> limited = {"prlimit", "--nofile=" + std::to_string(descriptors) + ":4096"};
    limited.insert(limited.end(), command.begin(), command.end());
    l.snmpd = lab::launch(limited, l.snmpd.log, true);
    snmp::client reader(l, snmp::community("public"), 0.1);
    varbind found;
    bool ended_itself = false;
    lab::wait_until(
        [&] {
          const snmp::answer answer = snmp::get(reader, {vsan_cell(kName, 5)});
          found = answer.sent_back ? answer.varbinds[0] : found;
          ended_itself = !lab::is_running(l.snmpd);
          return answer.sent_back || ended_itself;
        },
        LAB_PRELOAD[0] == '\0' ? 1 : 5);
    if (ended_itself) {
      ++ended;
      l.snmpd.pid = 0;
      continue;
    }
    EXPECT_TRUE(found.octets == "before" || found.type == snmp::kNoSuchInstance || found.type == 5) << descriptors;
    ++(found.type == 5 ? silent : found.octets == "before" ? well : blind);
    if (found.type == 5) {
      continue;  // the agent's own socket is beyond what it waits for; so is one without any of our modules
    }
    const rlimit enough = {1024, 4096};
    ASSERT_EQ(prlimit(l.snmpd.pid, RLIMIT_NOFILE, &enough, nullptr), 0);
    expect_service("with-" + std::to_string(descriptors));
  }
  printf("of the agents with 5 to 16 descriptors %u ended, %u were silent, %u found nothing, %u served\n", ended,
         silent, blind, well);
  EXPECT_GT(ended + silent + blind, 0u);
  EXPECT_GT(well, 0u);
}

class ExhaustedMemory : public Exhausted {
 protected:
  void SetUp() override {
    if (LAB_PRELOAD[0] != '\0') {
      GTEST_SKIP() << "a sanitizer's runtime ends a process that it cannot have memory for";
    }
    Exhausted::SetUp();
  }
  // Bytes of address space that a process has.
  static rlim_t size_of(const lab::process &p) {
    const std::string pages = lab::read_file("/proc/" + std::to_string(p.pid) + "/statm");
    return std::stoul(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
  }
};

// The agent's own answer needs memory that is not to be had, or the module's row does: an error, silence, or its end;
// in the worst case it is started again, and the switch has lost nothing.
TEST_F(ExhaustedMemory, AnAgentWithoutMemoryRefusesIsSilentOrEndsAndTheSwitchLosesNothing) {
  unsigned whole = 0, other = 0;
  bool runs = true;
  {
    const rlimit none = {size_of(l.snmpd), RLIM_INFINITY};
    ASSERT_EQ(prlimit(l.snmpd.pid, RLIMIT_AS, &none, nullptr), 0);
    snmp::client reader(l, snmp::community("public"), 1);
    const std::vector<name_t> names(40, root());
    for (int i = 0; i < 20 && runs; ++i) {
      const snmp::answer answer = snmp::getbulk(reader, names, 2000);
      ++(answer.sent_back && answer.status == kNoError ? whole : other);
      runs = lab::is_running(l.snmpd);
    }
  }
  printf("%u large requests answered, %u not; the agent %s\n", whole, other, runs ? "runs" : "ended");
  EXPECT_GT(other, 0u) << "memory did not run out";
  if (runs) {
    const rlimit enough = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(prlimit(l.snmpd.pid, RLIMIT_AS, &enough, nullptr), 0);
  } else {
    l.snmpd.pid = 0;
    lab::start_snmpd(l);
  }
  expect_service("again");
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "before");
}

// What cannot be stored or answered for want of memory ends it; the store has what was acknowledged.
TEST_F(ExhaustedMemory, ASwitchWithoutMemoryEndsSayingSoAndLosesNothingThatItAcknowledged) {
  const rlimit none = {size_of(l.switchd), RLIM_INFINITY};
  ASSERT_EQ(prlimit(l.switchd.pid, RLIMIT_AS, &none, nullptr), 0);
  unsigned long acknowledged = 0;
  for (unsigned long vsan = 100; vsan < 4000; ++vsan) {
    if (set({name(vsan, "memory-" + std::to_string(vsan)), row_status(vsan, kCreateAndGo)}).status != kNoError) {
      break;
    }
    ++acknowledged;
  }
  printf("%lu acknowledged\n", acknowledged);
  ASSERT_GT(acknowledged, 0u);
  ASSERT_TRUE(lab::wait_until([&] { return !lab::is_running(l.switchd); }));
  EXPECT_NE(lab::read_file(l.switchd.log).find("bad_alloc"), std::string::npos) << lab::read_file(l.switchd.log);
  lab::start_switchd(l);
  for (unsigned long vsan = 100; vsan < 100 + acknowledged; ++vsan) {
    EXPECT_EQ(get(vsan_cell(kName, vsan)).octets, "memory-" + std::to_string(vsan));
  }
  expect_service("again");
}

}  // namespace
