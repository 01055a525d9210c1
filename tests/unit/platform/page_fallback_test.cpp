// A page of the process's own, for want of switchd's.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "page_layout.h"
#include "platform/sdwrap.h"
#include "private_dir.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

std::string read_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// As a host of the other byte order would have made it.
std::string other_order(std::string page) {
  for (size_t at = 0; at + 4 <= page.size(); at += 4) {
    std::swap(page[at], page[at + 3]);
    std::swap(page[at + 1], page[at + 2]);
  }
  return page;
}

void next_look() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
}

platform_page_report now() {
  platform_page_report report;
  platform_page_tell(&report);
  return report;
}

int record(const char *text) {
  struct {
    uint32_t level = 101;
    char text[16] = {};
  } event;
  snprintf(event.text, sizeof event.text, "%s", text);
  return sdwrap_hist_event(1, static_cast<int>(sizeof event.level + strlen(event.text) + 1), &event);
}

uint32_t recorded() {
  platform_event_counters counters = {};
  platform_events_counters(&counters);
  return counters.written;
}

// A run directory whose page is gone, and a place for another.
class PageFallback : public ::testing::Test {
 protected:
  void SetUp() override {
    platform_page_close();
    page = read_file(shared);
    std::filesystem::remove(shared);
  }
  void TearDown() override {
    platform_page_fall_back("");
    platform_page_at("");
  }

  const private_dir dir;
  const std::string shared = dir.path + "/switch.page";
  const std::string own = dir.path + "/own.page";
  std::string page;  // a new one, as switchd makes it
};

TEST_F(PageFallback, NobodyFallsBackUnasked) {
  EXPECT_EQ(record("a"), -1);
  EXPECT_FALSE(std::filesystem::exists(own));
  EXPECT_EQ(now().own, 0);
  EXPECT_EQ(now().why, ENOENT);
  EXPECT_EQ(now().why_no_own, 0);
}

TEST_F(PageFallback, EventsErrorsAndLevelsAreKeptInAPageForOwnerAndGroup) {
  const mode_t before = umask(0077);
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  umask(before);
  EXPECT_EQ(now().own, 1);
  EXPECT_EQ(now().why, ENOENT);
  struct stat found;
  ASSERT_EQ(stat(own.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0660U);
  platform_error error = {};
  error.pdu = 7;
  EXPECT_EQ(platform_errors_write(&error), 0);
  EXPECT_EQ(platform_level_set(kLevelPrinted, 55, 1), 0);
  EXPECT_FALSE(std::filesystem::exists(shared));

  // Whoever is told where finds it all.
  platform_page_fall_back("");
  ASSERT_EQ(platform_page_at(own.c_str()), 0);
  EXPECT_EQ(recorded(), 1U);
  platform_error errors[kErrorsKept];
  EXPECT_EQ(platform_errors_read(errors, kErrorsKept), 1);
  EXPECT_EQ(platform_level_get(kLevelPrinted, 55), 1);
  EXPECT_FALSE(std::filesystem::exists(shared));
}

TEST_F(PageFallback, SwitchdsPageIsUsedAndNoOtherMadeWhileItIsThere) {
  ASSERT_EQ(platform_page_own(-1), 0);
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  EXPECT_EQ(now().shared, 1);
  EXPECT_FALSE(std::filesystem::exists(own));
}

TEST_F(PageFallback, SwitchdsPageIsTakenWhenItComesAndLeftWhenItGoes) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("own"), 0);
  write_file(shared, page);
  next_look();
  EXPECT_EQ(record("shared"), 0);
  EXPECT_EQ(now().shared, 1);
  EXPECT_EQ(recorded(), 1U);
  std::filesystem::remove(shared);
  next_look();
  EXPECT_EQ(record("own"), 0);
  EXPECT_EQ(now().own, 1);
  EXPECT_EQ(recorded(), 2U) << "the page of before";
}

TEST_F(PageFallback, APageOfTheOtherByteOrderIsNoPageAndLeftAlone) {
  const std::string foreign = other_order(page);
  write_file(shared, foreign);
  EXPECT_EQ(platform_page_open(), -1);
  EXPECT_EQ(errno, EILSEQ);
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  EXPECT_EQ(now().own, 1);
  EXPECT_EQ(now().why, EILSEQ);
  EXPECT_EQ(read_file(shared), foreign);
}

TEST_F(PageFallback, ItsDistributionStateIsNeverKnown) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(platform_kdx_publish("fctimer", 1, 0), 0);
  int enabled = 7, mode = 7;
  uint32_t publisher = 0;
  EXPECT_EQ(platform_kdx_published("fctimer", &enabled, &mode, &publisher), -1);
  EXPECT_EQ(errno, ENODATA);
  EXPECT_EQ(enabled, 7);
  EXPECT_EQ(mode, 7);
}

TEST_F(PageFallback, TwoProcessesShareOneAndTheSecondLosesNothingOfTheFirsts) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("first"), 0);
  const pid_t child = fork();
  if (child == 0) {
    platform_page_close();  // as a process that starts
    _exit(record("second") == 0 && recorded() == 2 ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(record("first"), 0);
  EXPECT_EQ(recorded(), 3U);
}

TEST_F(PageFallback, ManyProcessesThatStartAtOnceEndWithOne) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  pid_t children[8];
  for (pid_t &child : children) {
    child = fork();
    if (child == 0) {
      _exit(record("a") == 0 ? 0 : 1);
    }
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(recorded(), 8U);
  size_t files = 0;
  for (const auto &entry : std::filesystem::directory_iterator(dir.path)) {
    files += entry.path().string().starts_with(own) ? 1 : 0;
  }
  EXPECT_EQ(files, 1U) << "what was not needed is gone";
}

struct file_there {
  const char *name;
  std::string (*made_of)(std::string page);
};

class FileOfAnother : public PageFallback, public ::testing::WithParamInterface<file_there> {};

TEST_P(FileOfAnother, InThePlaceOfTheOwnPageIsLeftAsItIs) {
  const std::string text = GetParam().made_of(page);
  write_file(own, text);
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), -1);
  EXPECT_EQ(now().own, 0);
  EXPECT_EQ(now().why, ENOENT);
  EXPECT_EQ(now().why_no_own, EEXIST);
  EXPECT_EQ(read_file(own), text);
}

INSTANTIATE_TEST_SUITE_P(Each, FileOfAnother,
                         ::testing::Values(file_there{"Text", [](std::string) { return std::string("precious"); }},
                                           file_there{"OneByte", [](std::string) { return std::string("V"); }},
                                           file_there{"Zeros",
                                                      [](std::string made) { return std::string(made.size(), '\0'); }},
                                           file_there{"AnotherMagic",
                                                      [](std::string made) {
                                                        made[1] ^= 1;
                                                        return made;
                                                      }}),
                         [](const auto &each) { return std::string(each.param.name); });

class OldPage : public PageFallback, public ::testing::WithParamInterface<file_there> {};

TEST_P(OldPage, InThePlaceOfTheOwnOneIsReplaced) {
  write_file(own, GetParam().made_of(page));
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  EXPECT_EQ(now().own, 1);
  EXPECT_EQ(recorded(), 1U);
  EXPECT_EQ(std::filesystem::file_size(own), sizeof(switch_page));
}

INSTANTIATE_TEST_SUITE_P(Each, OldPage,
                         ::testing::Values(file_there{"OtherByteOrder", other_order},
                                           file_there{"Empty", [](std::string) { return std::string(); }},
                                           file_there{"CutShort", [](std::string made) { return made.substr(0, 100); }},
                                           file_there{"AnotherVersion",
                                                      [](std::string made) {
                                                        made[4] ^= 2, made[7] ^= 2;
                                                        return made;
                                                      }}),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(PageFallback, ALinkOrADirectoryInItsPlaceIsNotFollowed) {
  const std::string elsewhere = dir.path + "/elsewhere";
  write_file(elsewhere, "");
  std::filesystem::create_symlink(elsewhere, own);
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), -1);
  EXPECT_EQ(now().why_no_own, ELOOP);
  EXPECT_EQ(std::filesystem::file_size(elsewhere), 0U);
  ASSERT_EQ(platform_page_fall_back(dir.path.c_str()), 0);
  EXPECT_EQ(record("a"), -1);
  EXPECT_EQ(now().why_no_own, EISDIR);
}

TEST_F(PageFallback, SwitchdsPageIsNeverMadeByAnother) {
  const std::string foreign = other_order(page);
  write_file(shared, foreign);
  ASSERT_EQ(platform_page_fall_back(shared.c_str()), 0);
  EXPECT_EQ(record("a"), -1);
  EXPECT_EQ(now().why_no_own, EINVAL);
  EXPECT_EQ(read_file(shared), foreign);
}

TEST_F(PageFallback, OneThatIsCutOrRemovedEndsNobodyAndIsMadeAnew) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  ASSERT_EQ(truncate(own.c_str(), 0), 0);
  record("lost");
  EXPECT_EQ(record("b"), 0);
  EXPECT_EQ(recorded(), 1U);
  EXPECT_EQ(std::filesystem::file_size(own), sizeof(switch_page));
  std::filesystem::remove(own);
  next_look();
  EXPECT_EQ(record("c"), 0);
  EXPECT_TRUE(std::filesystem::exists(own));
}

TEST_F(PageFallback, OneThatIsCutIsLeftForSwitchdsWhichCame) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  write_file(shared, page);
  ASSERT_EQ(truncate(own.c_str(), 0), 0);
  record("lost");
  EXPECT_EQ(record("b"), 0);
  EXPECT_EQ(now().shared, 1);
}

TEST_F(PageFallback, AnotherRunDirectoryIsLookedAtFirst) {
  ASSERT_EQ(platform_page_fall_back(own.c_str()), 0);
  EXPECT_EQ(record("a"), 0);
  const std::string other = dir.path + "/other";
  std::filesystem::create_directory(other);
  write_file(other + "/switch.page", page);
  ASSERT_EQ(platform_set_run_dir(other.c_str()), 0);
  EXPECT_EQ(record("b"), 0);
  EXPECT_EQ(now().shared, 1);
  EXPECT_EQ(recorded(), 1U);
}

TEST_F(PageFallback, PathsThatAreTooLongAreRefused) {
  const std::string long_path(5000, 'a');
  EXPECT_EQ(platform_page_fall_back(long_path.c_str()), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(platform_page_at(long_path.c_str()), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
}

}  // namespace
