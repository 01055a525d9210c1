// A switchd whose run directory was removed and made anew by its successor removes the successor's notification
// socket at its end, and publishes its own distribution state over the successor's.
#include <signal.h>
#include <unistd.h>

#include <filesystem>

#include "platform/kdx.h"
#include "programs.h"
#include "switch_under_test.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

// Whether distribution is enabled, as the agent reads it from the shared page; -1 when there is none.
int kdx_enabled() {
  int enabled = -1;
  return is_kdx_enabled("fctimer", &enabled) == 0 ? enabled : -1;
}

// A switchd whose run directory was removed, and a second one that made it anew.
struct SuccessorsRunDirectory : testing::Test {
  const temporary_directory directory;
  const std::string run_dir = directory.path + "/run";
  pid_t first = 0;
  pid_t second = 0;

  void SetUp() override {
    first = start("first");
    std::filesystem::remove_all(run_dir);
    second = start("second");
  }
  pid_t start(const std::string &name) {
    std::string line;
    const pid_t started = start_program(SWITCHD, {"--run-dir", run_dir, "--state", directory.path + "/" + name + ".db"},
                                        directory.path + "/" + name + ".log", &line);
    EXPECT_EQ(line, "ready\n");
    return started;
  }
};

TEST_F(SuccessorsRunDirectory, NothingInItIsRemovedByTheFirstOnesEnd) {
  const auto files = [&] {
    std::set<std::string> names;
    for (const auto &each : std::filesystem::directory_iterator(run_dir)) {
      names.insert(each.path().filename());
    }
    return names;
  };
  const std::set<std::string> before = files();
  EXPECT_TRUE(before.contains("notifications.sock"));
  kill(first, SIGTERM);
  EXPECT_EQ(wait_for_exit(first), 0);
  EXPECT_EQ(files(), before);
  kill(second, SIGTERM);
  EXPECT_EQ(wait_for_exit(second), 0);
}

TEST_F(SuccessorsRunDirectory, ItsSharedPageIsLeftAloneByTheFirst) {
  EXPECT_EQ(run_program(VSANCTL, {"--run-dir", run_dir, "kdx", "enable"}).code, 0);
  ASSERT_EQ(platform_set_run_dir(run_dir.c_str()), 0);
  platform_page_close();
  for (int i = 0; i < 60; ++i) {  // the first looks after its page every second
    ASSERT_EQ(kdx_enabled(), 1) << file_text(directory.path + "/first.log");
    usleep(50000);
  }
  const std::string log = file_text(directory.path + "/first.log");
  EXPECT_EQ(log.find("made anew"), std::string::npos) << log;
  const size_t said = log.find("it is left alone");
  EXPECT_NE(said, std::string::npos) << log;
  EXPECT_EQ(log.rfind("it is left alone"), said) << log;
  platform_page_close();
  for (const pid_t each : {first, second}) {
    kill(each, SIGTERM);
    EXPECT_EQ(wait_for_exit(each), 0);
  }
}

}  // namespace
