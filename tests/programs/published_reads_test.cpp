// The promise of reads that are answered from memory: what was acknowledged is seen by every later read, in every
// process; a switchd that is dead, stopped or restarted is not answered for; faults act.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "big_endian.h"
#include "platform/cmi.h"
#include "platform/port_manager.h"
#include "programs.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"
#include "switchplatform/run_dir.h"

namespace {

using clock_type = std::chrono::steady_clock;

// Checking every memory access costs a multiple.
#ifdef NDEBUG
constexpr unsigned kReads = 10'000'000, kReadsBetweenEvents = 500'000;
#else
constexpr unsigned kReads = 400'000, kReadsBetweenEvents = 20'000;
#endif
constexpr uint32_t kInterface = 101;
constexpr auto kBeatIsOld = std::chrono::milliseconds(100);

// The interface is moved through so many VSANs that where it is tells which move was the last, unless a reader was away
// for as many.
constexpr uint32_t kFirstHome = 100, kHomes = 64;

std::string topology() {
  std::string text = "[switch]\nname = \"published\"\n[[vsan]]\nid = 1\n[[vsan]]\nid = 10\n[[vsan]]\nid = 20\n";
  for (uint32_t home = 0; home < kHomes; ++home) {
    text += "[[vsan]]\nid = " + std::to_string(kFirstHome + home) + "\n";
  }
  return text + "[[interface]]\nname = \"fc1/1\"\nindex = 101\nvsan = 100\nup = true\n";
}

// One request and its whole answer.
struct exchange_result {
  int status = 0;
  int why = 0;
  bytes payload;
};

exchange_result exchange(int opcode, int msg_type, const bytes &payload, int service = kServiceVsanManager,
                         int timeout = 1) {
  bytes request = payload;
  auto size = static_cast<uint32_t>(request.size());
  void *response = nullptr;
  void **wanted = msg_type == kMsgSet || msg_type == kMsgDelete ? nullptr : &response;
  exchange_result result;
  result.status = cmi_req_resp(opcode, msg_type, request.empty() ? nullptr : request.data(), wanted, &size, "test",
                               "test", service, mts_response_q, timeout);
  result.why = result.status == -1 ? errno : 0;
  if (response != nullptr) {
    const auto *bytes_read = static_cast<const uint8_t *>(response);
    result.payload.assign(bytes_read, bytes_read + size);
  }
  free(response);
  return result;
}

exchange_result read_vsan(uint32_t vsan) {
  return exchange(kOpVsanRow, kMsgGet, row_payload(vsan));
}

vsanEntry row_in(const exchange_result &answer) {
  return record_read<vsanEntry>(answer.payload.data() + offsetof(vsanRowMessage, row));
}

// The n-th row of a writer. All of it follows from n, so that a row that is half of one and half of another shows.
vsanEntry nth_row(uint32_t vsan, uint32_t n) {
  vsanEntry row = new_row(vsan, "v" + std::to_string(vsan) + "-" + std::to_string(n));
  row.vsanMtu = 256 + n % 1800;
  row.vsanNetworkDropLatency = 1 + n % 60000;
  row.vsanInorderDelivery = 1 + n % 2;
  return row;
}

// The number of a row; nothing when the row is none that was ever written.
std::optional<uint32_t> number_of(const vsanEntry &row) {
  const std::string name = row.vsanName;
  const size_t dash = name.find('-');
  const auto n = dash == std::string::npos ? 0U : static_cast<uint32_t>(std::stoul(name.substr(dash + 1)));
  const vsanEntry expected = nth_row(row.vsanIndex, n);
  const bool whole = name == expected.vsanName && row.vsanMtu == expected.vsanMtu &&
                     row.vsanNetworkDropLatency == expected.vsanNetworkDropLatency &&
                     row.vsanInorderDelivery == expected.vsanInorderDelivery;
  return whole ? std::optional(n) : std::nullopt;
}

uint32_t home_of(uint32_t n) {
  return kFirstHome + n % kHomes;
}

constexpr uint32_t kTimerValues = 3000;
uint32_t timer_of(uint32_t n) {
  return range_of_timer(kTimerEdtov).low + n % kTimerValues;
}

// Whether a value that follows from n as value_of(n) does, and repeats after `period`, is that of one of these writes.
bool is_of_one(uint32_t value, uint32_t first, uint32_t last, uint32_t period, uint32_t (*value_of)(uint32_t n)) {
  if (last - first >= period) {
    return true;  // the reader was away for too long to tell
  }
  for (uint32_t n = first; n <= last; ++n) {
    if (value_of(n) == value) {
      return true;
    }
  }
  return false;
}

// What a writer has told of itself, in memory that processes share. Writes are numbered from 1.
struct writer_log {
  std::atomic<uint32_t> started;
  std::atomic<uint32_t> acknowledged;
};
struct shared_log {
  writer_log rows[2];  // of VSANs 10 and 20
  writer_log moves;    // of the interface
  writer_log timer;    // E_D_TOV of VSAN 20
  std::atomic<bool> over;
};

class PublishedReads : public testing::Test {
 protected:
  temporary_directory directory;
  pid_t switchd = 0;
  std::vector<pid_t> writers;
  shared_log *log = nullptr;

  // Writers are as fast as the store; one in memory takes thousands of writes a second.
  static void SetUpTestSuite() {
    if (access("/dev/shm", W_OK) == 0) {
      setenv("TMPDIR", "/dev/shm", 1);
    }
  }
  static void TearDownTestSuite() { unsetenv("TMPDIR"); }
  void SetUp() override {
    void *at = mmap(nullptr, sizeof(shared_log), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(at, MAP_FAILED);
    log = static_cast<shared_log *>(at);
    std::ofstream(directory.path + "/t.toml") << topology();
    ASSERT_EQ(platform_set_run_dir((directory.path + "/run").c_str()), 0);
    start();
  }
  void TearDown() override {
    log->over = true;
    for (const pid_t writer : writers) {
      kill(writer, SIGKILL);
      waitpid(writer, nullptr, 0);
    }
    kill(switchd, SIGCONT);
    finish(SIGTERM);
    munmap(log, sizeof(shared_log));
    platform_set_run_dir("/nonexistent");
  }

  void start(const std::string &state = "s.db") {
    std::string line;
    switchd = start_program(SWITCHD,
                            {"--run-dir", directory.path + "/run", "--state", directory.path + "/" + state,
                             "--topology", directory.path + "/t.toml"},
                            directory.path + "/stderr", &line);
    ASSERT_EQ(line, "ready\n") << file_text(directory.path + "/stderr");
  }
  void finish(int number) {
    kill(switchd, number);
    wait_for_exit(switchd);
  }
  // Reads until reads cost no exchange. Returns whether they do.
  bool warm_up() {
    for (int i = 0; i < 100; ++i) {
      const uint64_t before = served();
      for (int read = 0; read < 10; ++read) {
        read_vsan(10);
      }
      if (served() == before) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }
  // Requests that the VSAN manager counted, as the switch tells.
  uint64_t served() const {
    const exchange_result answer = exchange(kOpStatus, kMsgGet, {}, kServiceControl);
    const std::string text(answer.payload.begin(), answer.payload.end());
    const size_t manager = text.find("\"service\":\"vsan-manager\"");
    const size_t count = text.rfind("\"requests\":", manager);
    return count == std::string::npos ? UINT64_MAX : std::stoull(text.substr(count + sizeof "\"requests\":" - 1));
  }
  void fault(const std::string &json) {
    ASSERT_EQ(exchange(kOpFaults, kMsgSet, bytes(json.begin(), json.end()), kServiceControl).status, 0);
  }

  // Starts a process that writes as fast as it is answered until the log says that it is over.
  void write_on(writer_log &own, const std::function<int(uint32_t n)> &write) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child != 0) {
      writers.push_back(child);
      return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (uint32_t n = own.started + 1; !log->over; ++n) {
      own.started = n;
      if (write(n) == 0) {
        own.acknowledged = n;
      } else {
        usleep(1000);  // the switch is away
      }
    }
    _exit(0);
  }
  void start_writers() {
    for (const uint32_t vsan : {10U, 20U}) {
      write_on(log->rows[vsan / 20],
               [vsan](uint32_t n) { return exchange(kOpVsanRow, kMsgSet, row_payload(nth_row(vsan, n))).status; });
    }
    write_on(log->moves, [](uint32_t n) {
      return exchange(kOpInterfaceVsan, kMsgSet, interface_payload(kInterface, home_of(n))).status;
    });
    write_on(log->timer, [](uint32_t n) {
      return exchange(kOpFcTimer, kMsgSet, timer_payload(kTimerEdtov, timer_of(n), 1, 1, 20)).status;
    });
  }

  // One read of a writer's value, checked against what the writer was told before and had asked for after. Returns
  // whether it was answered.
  bool check_row(uint32_t vsan) {
    const writer_log &writer = log->rows[vsan / 20];
    const uint32_t before = writer.acknowledged;
    const exchange_result got = read_vsan(vsan);
    const uint32_t after = writer.started;
    if (got.status != 0) {
      return false;
    }
    const std::optional<uint32_t> n = number_of(row_in(got));
    EXPECT_TRUE(n) << "a row that nobody wrote: " << row_in(got).vsanName;
    EXPECT_TRUE(n && *n >= before && *n <= after)
        << "read " << n.value_or(0) << ", acknowledged before " << before << ", asked for " << after;
    return true;
  }
  // The same for a value that stands by itself. `value` gets what was read, and its status is returned.
  bool check_value(const writer_log &writer, uint32_t period, uint32_t (*value_of)(uint32_t n),
                   const std::function<int(uint32_t &value)> &read) {
    const uint32_t before = writer.acknowledged;
    uint32_t value = 0;
    const int status = read(value);
    const uint32_t after = writer.started;
    if (status != 0) {
      return false;
    }
    EXPECT_TRUE(is_of_one(value, before, after, period, value_of))
        << "read " << value << ", acknowledged before " << before << ", asked for " << after;
    return true;
  }
  static int read_home(uint32_t &vsan) {
    const exchange_result got = exchange(kOpInterfaceVsan, kMsgGet, interface_payload(kInterface));
    vsan = got.status == 0 ? record_read<vsanIfEntry>(got.payload.data()).vsanIfVsan : 0;
    return got.status;
  }
  static int read_membership(uint32_t &vsan) {
    uint32_t interface = 0;
    uint8_t is_static = 0;
    return pm_cmi_get_active_vsan_port_membership(mts_response_q, kMsgGetNext, &vsan, &interface, &is_static, nullptr,
                                                  nullptr, 1);
  }
  static int read_timer(uint32_t &value) {
    const exchange_result got = exchange(kOpFcTimer, kMsgGet, timer_payload(kTimerEdtov, 0, 1, 0, 20));
    value = got.status == 0 ? record_read<vsanFcTimerEntry>(got.payload.data()).timer_value : 0;
    return got.status;
  }
  bool check_any(std::mt19937 &random) {
    switch (random() % 5) {
      case 0:
        return check_row(10);
      case 1:
        return check_row(20);
      case 2:
        return check_value(log->moves, kHomes, home_of, read_home);
      case 3:
        return check_value(log->moves, kHomes, home_of, read_membership);
      default:
        return check_value(log->timer, kTimerValues, timer_of, read_timer);
    }
  }
  uint32_t writes_begun() const {
    return log->rows[0].started + log->rows[1].started + log->moves.started + log->timer.started;
  }

  void kill_and_restart() {
    finish(SIGKILL);
    EXPECT_EQ(read_vsan(10).status, -1) << "answered for a dead switchd";
    start();
  }
  void stop_and_continue() {
    kill(switchd, SIGSTOP);
    std::this_thread::sleep_for(kBeatIsOld);
    const exchange_result got = read_vsan(10);
    EXPECT_EQ(got.status, -1) << "answered for a stopped switchd";
    EXPECT_EQ(got.why, ETIMEDOUT);
    kill(switchd, SIGCONT);
  }
};

TEST_F(PublishedReads, SeeWhatWasAcknowledgedUnderWritersAtFullSpeedWithSwitchdKilledAndStopped) {
  for (const uint32_t vsan : {10U, 20U}) {
    ASSERT_EQ(exchange(kOpVsanRow, kMsgSet, row_payload(nth_row(vsan, 0))).status, 0);
  }
  ASSERT_EQ(exchange(kOpFcTimer, kMsgSet, timer_payload(kTimerEdtov, timer_of(0), 1, 1, 20)).status, 0);
  start_writers();
  std::mt19937 random(11);
  unsigned answered = 0;
  unsigned events = 0;
  uint64_t by_exchange = 0;
  uint64_t served_before = served();
  uint32_t writes_before = writes_begun();
  const auto give_up_at = clock_type::now() + std::chrono::seconds(250);
  while (answered < kReads && !HasFailure() && clock_type::now() < give_up_at) {
    answered += check_any(random) ? 1 : 0;
    if (answered / kReadsBetweenEvents > events) {
      const uint64_t requests = served() - served_before;
      const uint64_t writes = writes_begun() - writes_before;
      by_exchange += requests > writes ? requests - writes : 0;
      ++events % 2 == 0 ? kill_and_restart() : stop_and_continue();
      served_before = served();
      writes_before = writes_begun();
    }
  }
  EXPECT_EQ(answered, kReads);
  printf("%u reads, %lu of them by an exchange, %u writes, %u kills and stops\n", answered,
         static_cast<unsigned long>(by_exchange), writes_begun(), events);
  EXPECT_LT(by_exchange, kReads / 5) << "the reads were to come from memory";
  EXPECT_GT(writes_begun(), 1000U);
}

TEST_F(PublishedReads, CostTheManagersNoRequest) {
  ASSERT_TRUE(warm_up());
  const uint64_t before = served();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(read_vsan(10).status, 0);
  }
  EXPECT_LE(served() - before, 10U);  // one when the beat was old
}

TEST_F(PublishedReads, AreNotAnsweredForAKilledSwitchdAtOnce) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(warm_up());
    finish(SIGKILL);
    EXPECT_EQ(read_vsan(10).status, -1);
    start();
  }
}

TEST_F(PublishedReads, AreNotAnsweredFromThePredecessorAfterARestart) {
  for (uint32_t i = 1; i <= 20; ++i) {
    ASSERT_TRUE(warm_up());
    finish(i % 2 == 0 ? SIGKILL : SIGTERM);
    start("another" + std::to_string(i) + ".db");
    const exchange_result got = exchange(kOpVsanRow, kMsgSet, row_payload(nth_row(10, i)));
    ASSERT_TRUE(got.status == 0 || got.why == ECONNRESET);  // the connection to the first may have to break first
    const exchange_result again = exchange(kOpVsanRow, kMsgSet, row_payload(nth_row(10, i)));
    ASSERT_EQ(again.status, 0);
    ASSERT_EQ(number_of(row_in(read_vsan(10))), i);
  }
}

TEST_F(PublishedReads, OfAStoppedSwitchdTimeOutOnceAndGoOnWhenItGoesOn) {
  ASSERT_TRUE(warm_up());
  stop_and_continue();
  const auto give_up_at = clock_type::now() + std::chrono::seconds(10);
  while (read_vsan(10).status != 0 && clock_type::now() < give_up_at) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(warm_up());
}

TEST_F(PublishedReads, MeetTheFaultsThatAreSwitchedOn) {
  ASSERT_TRUE(warm_up());
  fault(R"({"service":"vsan-manager","kind":"status","value":1075380225,"count":1})");
  EXPECT_EQ(read_vsan(10).status, 1075380225);
  fault(R"({"service":"vsan-manager","kind":"short-answer","value":7,"count":1})");
  EXPECT_EQ(read_vsan(10).payload.size(), 7U);
  fault(R"({"service":"vsan-manager","kind":"drop","count":1})");
  EXPECT_EQ(read_vsan(10).why, ECONNRESET);
  ASSERT_TRUE(warm_up());
  fault(R"({"service":"vsan-manager","kind":"delay","value":300,"count":1})");
  const auto start = clock_type::now();
  EXPECT_EQ(read_vsan(10).status, 0);
  EXPECT_GE(clock_type::now() - start, std::chrono::milliseconds(290));
  ASSERT_TRUE(warm_up());
  fault(R"({"service":"vsan-manager","kind":"hang","count":1})");
  EXPECT_EQ(read_vsan(10).why, ETIMEDOUT);
}

TEST_F(PublishedReads, OfMembershipsAndOfTheIdentityMeetTheirOwnFaults) {
  const auto membership = [] {
    uint32_t vsan = 0;
    uint32_t interface = 0;
    uint8_t is_static = 0;
    return pm_cmi_get_active_vsan_port_membership(mts_response_q, kMsgGetNext, &vsan, &interface, &is_static, nullptr,
                                                  nullptr, 1);
  };
  const auto identity = [] { return exchange(kOpSwitchWwn, kMsgGet, {}, kServiceIdentity).status; };
  ASSERT_TRUE(warm_up());
  EXPECT_EQ(membership(), 0);
  EXPECT_EQ(identity(), 0);
  fault(R"({"service":"port-manager","kind":"status","value":77})");
  EXPECT_EQ(membership(), 77);
  EXPECT_EQ(identity(), 0);
  fault(R"({"service":"identity","kind":"status","value":78})");
  EXPECT_EQ(identity(), 78);
  EXPECT_EQ(exchange(kOpFaults, kMsgDelete, {}, kServiceControl).status, 0);
  EXPECT_EQ(membership(), 0);
  EXPECT_EQ(identity(), 0);
}

TEST_F(PublishedReads, GoOnAfterPausesInWhichNobodyAskedAnything) {
  ASSERT_TRUE(warm_up());
  std::this_thread::sleep_for(std::chrono::milliseconds(2300));
  EXPECT_EQ(read_vsan(10).status, 0);
  EXPECT_TRUE(warm_up());
}

// How often a process gave the processor up of its own accord.
long sleeps_of(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with("voluntary_ctxt_switches:")) {
      return std::stol(line.substr(line.find_last_of(" \t")));
    }
  }
  return -1;
}

// A thousand switches on one machine must not wake up fifty times a second each for readers that are not there.
TEST_F(PublishedReads, LetASwitchdOfWhichNobodyAsksAnythingSleep) {
  ASSERT_TRUE(warm_up());
  const long before = sleeps_of(switchd);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_GE(sleeps_of(switchd) - before, 5) << "it shows that it lives";
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  const long idle = sleeps_of(switchd);
  std::this_thread::sleep_for(std::chrono::milliseconds(1000));
  EXPECT_LE(sleeps_of(switchd) - idle, 10);
}

// Nobody can write to it or cut it, whatever rights the process has.
TEST_F(PublishedReads, ThePageCannotBeWrittenByItsReaders) {
  ASSERT_TRUE(warm_up());
  std::ifstream maps("/proc/self/maps");
  std::string line;
  std::string range;
  while (std::getline(maps, line)) {
    if (line.find("switchd-published") != std::string::npos) {
      EXPECT_NE(line.find(" r--s "), std::string::npos) << line;
      range = line.substr(0, line.find(' '));
    }
  }
  ASSERT_FALSE(range.empty());
  auto *at = reinterpret_cast<void *>(std::stoull(range, nullptr, 16));
  EXPECT_NE(mprotect(at, 4096, PROT_READ | PROT_WRITE), 0);
  const int file = open(("/proc/self/map_files/" + range).c_str(), O_RDWR);
  if (file >= 0) {  // a process with enough rights gets a descriptor; it is of no use
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0), MAP_FAILED);
    EXPECT_LT(pwrite(file, "x", 1, 0), 0);
    EXPECT_NE(ftruncate(file, 0), 0);
    close(file);
  }
}

}  // namespace
