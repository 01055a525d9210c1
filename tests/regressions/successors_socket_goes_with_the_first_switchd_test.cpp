// A switchd that ends removes the notification socket of its successor, which was started in a run directory made anew.
#include <signal.h>

#include <filesystem>

#include "tests/unit/managers/programs.h"
#include "tests/unit/managers/switch_under_test.h"

namespace {

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

}  // namespace
