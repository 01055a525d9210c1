// A name that was acknowledged is gone after somebody else, who had read the row before, changed another
// column of it.
#include <signal.h>
#include <string.h>

#include <atomic>
#include <thread>

#include "platform/cmi.h"
#include "programs.h"
#include "requests.h"
#include "switch_under_test.h"
#include "switchplatform/run_dir.h"
#include "vsan_records.h"

namespace {

TEST_F(switch_under_test, TheNameStaysWhenAnotherColumnIsWrittenFromAnEarlierRead) {
  const vsanEntry read = row_of(10);
  vsanEntry renamed = read;
  strcpy(renamed.vsanName, "new");
  ASSERT_EQ(ask(kOpVsanRow, kMsgSet, row_payload(renamed), "nms").status, 0);
  vsanEntry suspended = read;
  suspended.vsanAdminState = 2;
  ASSERT_EQ(ask(kOpVsanRow, kMsgSet, row_payload(suspended), "operator").status, 0);
  EXPECT_STREQ(row_of(10).vsanName, "new");
  EXPECT_EQ(row_of(10).vsanAdminState, 2U);
}

struct RealWriters : testing::Test {
  temporary_directory directory;
  pid_t switchd = -1;

  void SetUp() override {
    std::string line;
    switchd = start_program(SWITCHD, {"--run-dir", run_dir(), "--state", directory.path + "/s.db"},
                            directory.path + "/stderr", &line);
    ASSERT_EQ(line, "ready\n") << file_text(directory.path + "/stderr");
    ASSERT_EQ(run_program(VSANCTL, {"--run-dir", run_dir(), "vsan", "create", "10"}).code, 0);
    ASSERT_EQ(platform_set_run_dir(run_dir().c_str()), 0);
  }
  void TearDown() override {
    kill(switchd, SIGTERM);
    EXPECT_EQ(wait_for_exit(switchd), 0);
  }
  std::string run_dir() const { return directory.path + "/run"; }
  // One exchange about VSAN 10; what is answered replaces the message.
  static int exchange(int msg_type, bytes &message) {
    void *answer = nullptr;
    auto size = static_cast<uint32_t>(message.size());
    const bool write = msg_type == kMsgSet;
    const int status =
        cmi_req_resp(kOpVsanRow, msg_type, message.data(), write ? nullptr : &answer, &size, write ? "nms" : nullptr,
                     write ? "renamer" : nullptr, kServiceVsanManager, mts_response_q, 0);
    if (answer != nullptr) {
      const auto *at = static_cast<uint8_t *>(answer);
      message.assign(at, at + size);
      free(answer);
    }
    return status;
  }
  // Renames the VSAN as a client does: reads the row, changes the name, writes the row.
  static void rename_to(const std::string &name) {
    bytes message = row_payload(10);
    ASSERT_EQ(exchange(kMsgGet, message), 0);
    char *field = reinterpret_cast<char *>(message.data()) + 520 + 36;
    memset(field, 0, kVsanNameField);
    memcpy(field, name.data(), name.size());
    ASSERT_EQ(exchange(kMsgSet, message), 0);
  }
  static std::string name() {
    bytes message = row_payload(10);
    EXPECT_EQ(exchange(kMsgGet, message), 0);
    return reinterpret_cast<const char *>(message.data()) + 520 + 36;
  }
};

// One side writes states for as long as the other renames: after each acknowledged rename, the name is the new one.
TEST_F(RealWriters, NoAcknowledgedNameIsLostToAStateThatIsWrittenAtTheSameTime) {
  std::atomic<bool> done = false;
  std::thread operators([&] {
    for (int i = 0; !done && i < 2000; ++i) {
      const program_result written = run_program(
          VSANCTL, {"--run-dir", run_dir(), "vsan", "set", "10", "--state", i % 2 == 0 ? "suspended" : "active"});
      EXPECT_EQ(written.code, 0) << written.err;
    }
  });
  int lost = 0;
  for (int round = 0; round < 300; ++round) {
    const std::string wanted = "name-" + std::to_string(round);
    rename_to(wanted);
    for (int look = 0; look < 20; ++look) {
      lost += name() == wanted ? 0 : 1;
    }
  }
  done = true;
  operators.join();
  EXPECT_EQ(lost, 0);
}

}  // namespace
