// Whoever made the shared page first could keep switchd out of it; users of another account shared nothing with
// switchd; and a page that was cut to nothing ended the agent.
#include <errno.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "client_call.h"
#include "fake_manager.h"
#include "local_socket.h"
#include "page_layout.h"
#include "platform/kdx.h"
#include "platform/sdwrap.h"
#include "private_dir.h"

namespace {

constexpr uid_t kStranger = 65534;
constexpr gid_t kGroup = 4711;

// Runs `work` in a process of another account, a member of kGroup if wanted. Returns what it returns.
int as_stranger(bool member, const std::function<int()> &work) {
  const pid_t child = fork();
  if (child == 0) {
    const gid_t group = kGroup;
    const bool became = setgroups(member ? 1 : 0, &group) == 0 && setgid(kStranger) == 0 && setuid(kStranger) == 0;
    _exit(became ? work() : 99);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class PageOfAnother : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "other accounts are played, which only root can do";
    file = dir.path + "/switch.page";
    std::filesystem::permissions(dir.path, std::filesystem::perms(0755));
  }
  void TearDown() override { local_socket_set_group(-1); }

  const private_dir dir;
  std::string file;
};

TEST_F(PageOfAnother, OneThatSwitchdCannotOpenIsReplaced) {
  ASSERT_EQ(chown(dir.path.c_str(), kStranger, kStranger), 0);
  std::filesystem::permissions(file, std::filesystem::perms(0600));  // root's, and switchd is not root here
  EXPECT_EQ(as_stranger(false, [] { return platform_page_own(-1) == 0 ? 0 : errno; }), 0);
  struct stat found;
  ASSERT_EQ(stat(file.c_str(), &found), 0);
  EXPECT_EQ(found.st_uid, kStranger);
}

TEST_F(PageOfAnother, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  const std::string elsewhere = dir.path + "/elsewhere";
  std::ofstream(elsewhere) << "precious";
  std::filesystem::remove(file);
  std::filesystem::create_symlink(elsewhere, file);
  EXPECT_EQ(platform_page_own(-1), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(file));
  EXPECT_EQ(std::filesystem::file_size(elsewhere), 8U);
}

TEST_F(PageOfAnother, MembersOfTheGroupShareItAndConnectAndOthersDoNot) {
  ASSERT_EQ(platform_page_own(kGroup), 0);
  ASSERT_EQ(platform_kdx_publish("fctimer", 1, 0), 0);
  local_socket_set_group(kGroup);
  fake_manager manager(dir.path);
  const auto use = [] {
    int enabled = 0;
    platform_page_close();
    const bool shares = platform_page_open() == 0 && is_kdx_enabled("fctimer", &enabled) == 0 && enabled == 1;
    return (shares ? 1 : 0) + (call("a").payload == "a" ? 2 : 0);
  };
  EXPECT_EQ(as_stranger(true, use), 3);
  EXPECT_EQ(as_stranger(false, use), 0);
  EXPECT_EQ(platform_page_own(-1), 0);
}

const struct {
  uint32_t level;
  char text[8];
} kRecord = {101, "text"};

TEST_F(PageOfAnother, OneThatIsCutToNothingEndsNobodyAndIsMadeAnew) {
  ASSERT_EQ(sdwrap_hist_event(1, 9, &kRecord), 0);
  ASSERT_EQ(truncate(file.c_str(), 0), 0);
  for (int i = 0; i < 20'000; ++i) {
    sdwrap_hist_event(1, 9, &kRecord);
  }
  sdwrap_chk_int(101, 0, 0, 1);
  EXPECT_EQ(std::filesystem::file_size(file), 0U) << "what a user writes goes nowhere";
  EXPECT_EQ(platform_page_keep(), 1);
  EXPECT_EQ(platform_page_keep(), 0);
  EXPECT_EQ(sdwrap_hist_event(1, 9, &kRecord), 0);
  platform_event_counters counters;
  ASSERT_EQ(platform_events_counters(&counters), 0);
  EXPECT_EQ(counters.written, 1U);
}

TEST_F(PageOfAnother, OneThatIsCutAndMadeAsLongAgainIsMadeAnew) {
  const auto size = std::filesystem::file_size(file);
  ASSERT_EQ(truncate(file.c_str(), 0), 0);
  ASSERT_EQ(truncate(file.c_str(), static_cast<off_t>(size)), 0);
  EXPECT_EQ(platform_page_keep(), 1);
  EXPECT_EQ(sdwrap_hist_event(1, 9, &kRecord), 0);
  EXPECT_EQ(platform_level_get(kLevelRecorded, 101), 1);
}

TEST_F(PageOfAnother, AFaultThatIsNotThePagesStillEndsTheProcess) {
  const pid_t child = fork();
  if (child == 0) {
    raise(SIGBUS);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
