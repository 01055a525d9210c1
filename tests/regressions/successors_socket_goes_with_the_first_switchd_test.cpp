// A switchd whose run directory was removed and made anew by its successor removes the successor's notification socket
// at its end, and publishes its own distribution state over the successor's.
#include <signal.h>
#include <unistd.h>

#include <filesystem>

#include "platform/kdx.h"
#include "platform/run_dir.h"
#include "platform/services/shared_page.h"
#include "tests/unit/managers/programs.h"
#include "tests/unit/managers/switch_under_test.h"

namespace {

// Whether distribution is enabled, as the agent reads it from the shared page; -1 when there is none.
int kdx_enabled() {
  int enabled = -1;
  return is_kdx_enabled("fctimer", &enabled) == 0 ? enabled : -1;
}

TEST(SuccessorsRunDirectory, NothingInItIsRemovedByTheFirstOnesEnd) {
  const temporary_directory directory;
  const std::string run_dir = directory.path + "/run";
  std::string line;
  const pid_t first = start_program(SWITCHD, {"--run-dir", run_dir, "--state", directory.path + "/first.db"},
                                    directory.path + "/first.log", &line);
  EXPECT_EQ("ready\n", line);
  std::filesystem::remove_all(run_dir);
  const pid_t second = start_program(SWITCHD, {"--run-dir", run_dir, "--state", directory.path + "/second.db"},
                                     directory.path + "/second.log", &line);
  EXPECT_EQ("ready\n", line);
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
  EXPECT_EQ(0, wait_for_exit(first));
  EXPECT_EQ(before, files());
  kill(second, SIGTERM);
  EXPECT_EQ(0, wait_for_exit(second));
}

TEST(SuccessorsRunDirectory, ItsSharedPageIsLeftAloneByTheFirst) {
  const temporary_directory directory;
  const std::string run_dir = directory.path + "/run";
  std::string line;
  const pid_t first = start_program(SWITCHD, {"--run-dir", run_dir, "--state", directory.path + "/first.db"},
                                    directory.path + "/first.log", &line);
  EXPECT_EQ("ready\n", line);
  std::filesystem::remove_all(run_dir);
  const pid_t second = start_program(SWITCHD, {"--run-dir", run_dir, "--state", directory.path + "/second.db"},
                                     directory.path + "/second.log", &line);
  EXPECT_EQ("ready\n", line);
  EXPECT_EQ(0, run_program(VSANCTL, {"--run-dir", run_dir, "kdx", "enable"}).code);
  ASSERT_EQ(0, platform_set_run_dir(run_dir.c_str()));
  platform_page_close();
  for (int i = 0; i < 60; ++i) {  // the first looks after its page every second
    ASSERT_EQ(1, kdx_enabled()) << file_text(directory.path + "/first.log");
    usleep(50000);
  }
  const std::string log = file_text(directory.path + "/first.log");
  EXPECT_EQ(std::string::npos, log.find("made anew")) << log;
  const size_t said = log.find("it is left alone");
  EXPECT_NE(std::string::npos, said) << log;
  EXPECT_EQ(said, log.rfind("it is left alone")) << log;
  platform_page_close();
  for (const pid_t each : {first, second}) {
    kill(each, SIGTERM);
    EXPECT_EQ(0, wait_for_exit(each));
  }
}

}  // namespace
