// Traps a second: moves interfaces between VSANs as fast as the switch takes it, and checks that every move's trap
// comes, in order and to the last. Prints a row of CSV: moves, traps, seconds, and the CPU nanoseconds of agent and switch.
#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <chrono>
#include <deque>
#include <vector>

#include "bench_rows.h"
#include "cpu_time.h"
#include "number_text.h"
#include "platform/cmi.h"
#include "record_words.h"
#include "requests.h"
#include "switchplatform/run_dir.h"
#include "trap_sink.h"
#include "vsan_values.h"

namespace {

using bench::membership_trap;
using bench::received;
using monotonic = std::chrono::steady_clock;

// The switch keeps kNotificationsMax traps that are not taken yet and drops what is more, so moves wait before that.
constexpr size_t kOutstandingMax = kNotificationsMax / 2;
constexpr int kTrapWaitMs = 10000;
constexpr int kQuietMs = 200;
constexpr int kStragglersMax = 10000;

struct storm {
  int sink = -1;
  std::vector<uint32_t> vsans;  // whose interface is moved: it is down, so that one move makes one trap
  std::deque<membership_trap> outstanding;
  uint64_t moves = 0;
  uint64_t traps = 0;
  std::string problem;
};

// Each interface goes to the next VSAN, and in the next pass home again.
membership_trap next_move(const storm &s) {
  const uint32_t vsan = s.vsans[s.moves % s.vsans.size()];
  const bool away = s.moves / s.vsans.size() % 2 == 0;
  return {bench::interface_of(vsan), away ? vsan + 1 : vsan};
}

void move_next(storm &s) {
  const membership_trap wanted = next_move(s);
  std::vector<uint8_t> request = record_bytes(vsanIfEntry{wanted.interface, wanted.vsan, 0, kRowStatusActive});
  auto size = static_cast<uint32_t>(request.size());
  const int status = cmi_req_resp(kOpInterfaceVsan, kMsgSet, request.data(), nullptr, &size, "bench", "bench",
                                  kServiceVsanManager, mts_response_q, 0);
  if (status != 0) {
    s.problem = "interface " + std::to_string(wanted.interface) + " was not moved to VSAN " +
                std::to_string(wanted.vsan) + ": " + (status == -1 ? strerror(errno) : std::to_string(status));
    return;
  }
  s.outstanding.push_back(wanted);
  ++s.moves;
}

std::string text(const membership_trap &trap) {
  return "interface " + std::to_string(trap.interface) + " in VSAN " + std::to_string(trap.vsan);
}

// Takes one trap, waiting for it `wait_ms`. Returns whether one came.
bool take_trap(storm &s, int wait_ms) {
  membership_trap trap;
  const received came = bench::receive_trap(s.sink, wait_ms, trap, s.problem);
  if (came == received::nothing) {
    if (wait_ms > 0) {
      s.problem = "no trap of " + text(s.outstanding.front());
    }
    return false;
  }
  if (came == received::trap && (s.outstanding.empty() || trap != s.outstanding.front())) {
    s.problem = "expected a trap of " + (s.outstanding.empty() ? "nothing" : text(s.outstanding.front())) + ", got " +
                text(trap);
  }
  if (!s.problem.empty()) {
    return false;
  }
  s.outstanding.pop_front();
  ++s.traps;
  return true;
}

void run(storm &s, double seconds) {
  const auto end = monotonic::now() + std::chrono::duration<double>(seconds);
  while (s.problem.empty() && monotonic::now() < end) {
    move_next(s);
    while (s.problem.empty() && take_trap(s, s.outstanding.size() < kOutstandingMax ? 0 : kTrapWaitMs)) {
    }
  }
  while (s.problem.empty() && !s.outstanding.empty()) {
    take_trap(s, kTrapWaitMs);
  }
}

// Traps of what went before, such as the agent's start.
void wait_for_quiet(int sink) {
  membership_trap trap;
  std::string ignored;
  for (int i = 0; i < kStragglersMax; ++i) {
    if (bench::receive_trap(sink, kQuietMs, trap, ignored) == received::nothing) {
      return;
    }
  }
}

struct options {
  std::string run_dir;
  uint16_t sink_port = 0;
  uint32_t vsans = 0;
  double seconds = 0;
  pid_t agent = 0;
  pid_t switch_process = 0;
};

bool read_options(int argc, char **argv, options &given) {
  using bench::read_number;
  if (argc != 7) {
    return false;
  }
  given.run_dir = argv[1];
  given.vsans = bench::rows_wanted(argv[3]);
  return given.vsans > 0 && read_number(argv[2], given.sink_port) && read_number(argv[4], given.seconds) &&
         read_number(argv[5], given.agent) && read_number(argv[6], given.switch_process);
}

// Runs the storm and prints its row. Returns an empty text, or what went wrong.
std::string measure(storm &s, const options &given) {
  const std::vector<pid_t> agent = {given.agent}, behind = {given.switch_process};
  const uint64_t agent_before = bench::cpu_time(agent), behind_before = bench::cpu_time(behind);
  const auto begin = monotonic::now();
  run(s, given.seconds);
  const double seconds = std::chrono::duration<double>(monotonic::now() - begin).count();
  if (!s.problem.empty()) {
    return "after " + std::to_string(s.moves) + " moves and " + std::to_string(s.traps) + " traps: " + s.problem;
  }
  printf("%" PRIu64 ",%" PRIu64 ",%.9f,%" PRIu64 ",%" PRIu64 "\n", s.moves, s.traps, seconds,
         bench::cpu_time(agent) - agent_before, bench::cpu_time(behind) - behind_before);
  return "";
}

}  // namespace

int main(int argc, char **argv) {
  options given;
  if (!read_options(argc, argv, given)) {
    fprintf(stderr, "usage: bench_trap_storm RUN_DIR SINK_PORT VSANS SECONDS AGENT_PID SWITCH_PID\n");
    return 2;
  }
  storm s;
  for (uint32_t vsan = 1; vsan < given.vsans; ++vsan) {
    if (!bench::is_interface_up(vsan)) {
      s.vsans.push_back(vsan);
    }
  }
  s.sink = bench::open_sink(given.sink_port);
  if (s.vsans.empty() || s.sink < 0 || platform_set_run_dir(given.run_dir.c_str()) != 0) {
    fprintf(stderr, "bench: traps: no storm with %s VSANs, port %s, %s: %s\n", argv[3], argv[2], argv[1],
            s.vsans.empty() ? "no interface to move" : strerror(errno));
    return 1;
  }
  wait_for_quiet(s.sink);
  if (const std::string problem = measure(s, given); !problem.empty()) {
    fprintf(stderr, "bench: traps, %s\n", problem.c_str());
    return 1;
  }
  return 0;
}
