// Writes for a long time: memory stays flat. What is lost when processes die is tests/soak's.
//   SOAK_PDUS  how many SET PDUs are sent (5000)
//   SOAK_SEED  repeats a run; the seed of each run is printed
#include <stdlib.h>

#include <chrono>
#include <map>
#include <random>

#include "set_lab.h"

namespace {

using namespace set_lab;

unsigned long from_environment(const char *variable, unsigned long otherwise) {
  const char *text = getenv(variable);
  return text == nullptr ? otherwise : strtoul(text, nullptr, 10);
}

std::mt19937 seeded() {
  const auto seed = static_cast<unsigned>(from_environment("SOAK_SEED", std::random_device()()));
  printf("SOAK_SEED=%u\n", seed);
  return std::mt19937(seed);
}

unsigned long draw(std::mt19937 &random, unsigned long low, unsigned long high) {
  return std::uniform_int_distribution<unsigned long>(low, high)(random);
}

// PDUs that are accepted and refused in each phase, over every table that can be written.
std::vector<varbind> mixed_pdu(std::mt19937 &random, unsigned long i) {
  const std::string fresh = "n" + std::to_string(i);
  const unsigned long vsan = 100 + draw(random, 0, 9);
  switch (draw(random, 0, 9)) {
    case 0:
      return {name(vsan, fresh), row_status(vsan, kCreateAndGo)};
    case 1:
      return {row_status(vsan, kCreateAndGo), name(vsan, fresh), admin_state(vsan, 2)};
    case 2:
      return {row_status(vsan, kDestroy)};
    case 3:
      return {name(5, fresh), admin_state(10, static_cast<long>(draw(random, 1, 2))),
              gauge(vsan_cell(kDropLatency, 20), draw(random, 0, 3) * 20001)};
    case 4:
      return {name(5, fresh), row_status(vsan, kCreateAndGo), admin_state(20, 3)};
    case 5:
      return {name(10, fresh), row_status(20, kActive), row_status(vsan, kDestroy), name(5, "default")};
    case 6:
      return {octets(timer_cell(kForceFlag, 5), std::string(1, draw(random, 0, 1) == 0 ? '\0' : '\xe0')),
              gauge(timer_cell(kEdtov, 5), draw(random, 900, 4100))};
    case 7:
      return {integer(if_vsan(16781312), static_cast<long>(draw(random, 0, 1) * 5 + 5))};
    case 8:
      return {gauge(switch_wide(kSwitchLatency), draw(random, 0, 60000)), integer(switch_wide(kSwitchInorder), 1)};
    default:
      return {row_status(vsan, kActive), name(vsan, std::string(draw(random, 0, 33), 'x'))};
  }
}

// A sanitized process keeps freed memory back until its quarantine is full; a small one is full before the measuring
// starts.
void small_quarantine() {
  setenv("ASAN_OPTIONS", "quarantine_size_mb=8", 1);
}

TEST(WriteSoak, ManySetPdusLeaveTheMemoryOfAgentAndManagerFlat) {
  const unsigned long pdus = from_environment("SOAK_PDUS", 5000);
  // The sanitizers' own records of a process grow a little.
  const long growth_kib = LAB_PRELOAD[0] == '\0' ? 256 : 4096;
  small_quarantine();
  std::mt19937 random = seeded();
  lab::lab l;
  lab::start(l);
  snmp::client writer(l, snmp::community("private"), 30);
  std::map<int, unsigned long> statuses;
  const auto send = [&](unsigned long from, unsigned long to) {
    for (unsigned long i = from; i < to; ++i) {
      const snmp::answer answer = snmp::set(writer, mixed_pdu(random, i));
      ASSERT_TRUE(answer.sent_back) << "PDU " << i;
      ++statuses[answer.status];
      if ((i + 1) % std::max(pdus / 10, 1ul) == 0) {
        printf("%lu PDUs: snmpd %ld KiB, switchd %ld KiB\n", i + 1, lab::resident_kib(l.snmpd),
               lab::resident_kib(l.switchd));
        fflush(stdout);
      }
    }
  };
  const unsigned long warm = std::max(pdus / 5, std::min(pdus, 2500ul));
  ASSERT_NO_FATAL_FAILURE(send(0, warm));
  const long agent_before = lab::resident_kib(l.snmpd), manager_before = lab::resident_kib(l.switchd);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_NO_FATAL_FAILURE(send(warm, pdus));
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const long agent_after = lab::resident_kib(l.snmpd), manager_after = lab::resident_kib(l.switchd);
  printf("%lu PDUs, %.0f a second; KiB resident: snmpd %ld -> %ld, switchd %ld -> %ld\n", pdus,
         static_cast<double>(pdus - warm) / seconds, agent_before, agent_after, manager_before, manager_after);
  for (const auto &[status, count] : statuses) {
    printf("  status %d: %lu\n", status, count);
  }
  EXPECT_LT(agent_after - agent_before, growth_kib);
  EXPECT_LT(manager_after - manager_before, growth_kib);
  // The mix did what it is for: accepted, and refused by check, by absence and by the manager.
  for (const int status : {kNoError, kGenErr, kWrongLength, kWrongValue, kInconsistentValue, kInconsistentName}) {
    EXPECT_GT(statuses[status], 0u) << "status " << status;
  }
}

}  // namespace
