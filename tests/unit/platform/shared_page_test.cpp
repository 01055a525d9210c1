#include "switchplatform/shared_page.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "page_layout.h"
#include "platform/kdx.h"
#include "platform/sdwrap.h"
#include "private_dir.h"
#include "switchplatform/run_dir.h"

namespace {

std::string page_file(const private_dir &dir) {
  return dir.path + "/switch.page";
}

void write_file(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string read_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(SharedPage, OwnerMakesItForOwnerAndGroupWhateverTheUmask) {
  const private_dir dir;
  unlink(page_file(dir).c_str());
  const mode_t before = umask(0077);
  EXPECT_EQ(platform_page_own(-1), 0);
  umask(before);
  struct stat found;
  ASSERT_EQ(stat(page_file(dir).c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0660U);
  EXPECT_EQ(found.st_size, static_cast<off_t>(sizeof(switch_page)));
}

TEST(SharedPage, NobodyElseMakesIt) {
  const private_dir dir;
  platform_page_close();
  unlink(page_file(dir).c_str());
  EXPECT_EQ(platform_page_open(), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(platform_level_set(kLevelPrinted, 55, 1), -1);
  EXPECT_NE(access(page_file(dir).c_str(), F_OK), 0);
}

TEST(SharedPage, LaterUserFindsWhatTheFirstWrote) {
  const private_dir dir;
  ASSERT_EQ(platform_level_set(kLevelPrinted, 55, 1), 0);
  platform_page_close();
  ASSERT_EQ(platform_page_open(), 0);
  EXPECT_EQ(platform_level_get(kLevelPrinted, 55), 1);
  ASSERT_EQ(platform_page_own(-1), 0);
  EXPECT_EQ(platform_level_get(kLevelPrinted, 55), 1) << "a sound page outlives a restart of its owner";
}

TEST(SharedPage, ManyProcessesAtOnceUseOnePage) {
  const private_dir dir;
  pid_t children[8];
  for (pid_t &child : children) {
    child = fork();
    if (child == 0) {
      _exit(platform_level_set(kLevelPrinted, static_cast<int>(&child - children), 1) == 0 ? 0 : 1);
    }
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  for (int level = 0; level < 8; ++level) {
    EXPECT_EQ(platform_level_get(kLevelPrinted, level), 1) << level;
  }
}

TEST(SharedPage, IsGivenToAGroupWhoseNumberTakesAll32Bits) {
  const private_dir dir;
  platform_page_close();
  if (chown(page_file(dir).c_str(), static_cast<uid_t>(-1), 3'000'000'000U) != 0) {
    GTEST_SKIP() << "this user may not give files to any group";
  }
  unlink(page_file(dir).c_str());
  ASSERT_EQ(platform_page_own(3'000'000'000), 0);
  struct stat found;
  ASSERT_EQ(stat(page_file(dir).c_str(), &found), 0);
  EXPECT_EQ(found.st_gid, 3'000'000'000U);
  EXPECT_EQ(platform_page_own(-1), 0) << "the group of later tests";
}

struct foreign_page {
  const char *name;
  std::string (*change)(std::string page);
};

class ForeignPage : public testing::TestWithParam<foreign_page> {};

TEST_P(ForeignPage, IsRefusedAndLeftAsItIsUntilItsOwnerReplacesIt) {
  const private_dir dir;
  platform_page_close();
  const std::string foreign = GetParam().change(read_file(page_file(dir)));
  write_file(page_file(dir), foreign);

  EXPECT_EQ(platform_page_open(), -1);
  EXPECT_EQ(errno, EPROTO);
  int enabled = 7;
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), -1);
  EXPECT_EQ(enabled, 7);
  EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0);
  EXPECT_EQ(sdwrap_chk_int(101, 0, 0, 1), 0);
  EXPECT_EQ(read_file(page_file(dir)), foreign);

  EXPECT_EQ(platform_page_own(-1), 0);
  EXPECT_EQ(platform_level_get(kLevelRecorded, 101), 1);
}

INSTANTIATE_TEST_SUITE_P(Each, ForeignPage,
                         testing::Values(foreign_page{"AnotherVersion",
                                                      [](std::string page) {
                                                        page[4] ^= 2, page[7] ^= 2;
                                                        return page;
                                                      }},
                                         foreign_page{"AnotherMagic",
                                                      [](std::string page) {
                                                        page[0] ^= 1;
                                                        return page;
                                                      }},
                                         foreign_page{"AnotherSizeWord",
                                                      [](std::string page) {
                                                        page[9] ^= 1;
                                                        return page;
                                                      }},
                                         foreign_page{"CutShort",
                                                      [](std::string page) {
                                                        page.resize(4096);
                                                        return page;
                                                      }},
                                         foreign_page{"Longer",
                                                      [](std::string page) {
                                                        page.push_back(0);
                                                        return page;
                                                      }},
                                         foreign_page{"Text", [](std::string) { return std::string("hello"); }}),
                         [](const auto &each) { return std::string(each.param.name); });

TEST(SharedPage, ReplacingAForeignPageLeavesItsOldReadersTheirs) {
  const private_dir dir;
  const int old_reader = open(page_file(dir).c_str(), O_RDONLY | O_CLOEXEC);
  platform_page_close();
  std::string page = read_file(page_file(dir));
  page[4] ^= 1;
  const int writer = open(page_file(dir).c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(writer, page.data(), page.size(), 0), static_cast<ssize_t>(page.size()));
  close(writer);
  ASSERT_EQ(platform_page_own(-1), 0);
  struct stat found;
  ASSERT_EQ(fstat(old_reader, &found), 0);
  EXPECT_EQ(found.st_size, static_cast<off_t>(sizeof(switch_page)));
  EXPECT_EQ(found.st_nlink, 0U);
  close(old_reader);
}

TEST(SharedPage, WhatAMakerThatDiedLeftIsReplaced) {
  const private_dir dir;
  platform_page_close();
  write_file(page_file(dir) + ".new", "half");
  write_file(page_file(dir), std::string(sizeof(switch_page), '\0'));
  ASSERT_EQ(platform_page_own(-1), 0);
  EXPECT_EQ(platform_level_get(kLevelRecorded, 100), 1);
  EXPECT_NE(access((page_file(dir) + ".new").c_str(), F_OK), 0);
}

TEST(SharedPage, ReplacedFileIsNoticedWithinSeconds) {
  const private_dir dir;
  ASSERT_EQ(platform_kdx_publish("fctimer", 1, 0), 0);
  int enabled = 7;
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
  ASSERT_EQ(unlink(page_file(dir).c_str()), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), -1);
  EXPECT_EQ(platform_page_keep(), 1);
  EXPECT_EQ(platform_kdx_publish("fctimer", 0, 0), 0);
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
  EXPECT_EQ(enabled, 0);
}

TEST(SharedPage, ReaderGoesOnInThePageThatReplacedItsOwn) {
  const private_dir dir;
  const struct {
    uint32_t level;
    char text[8];
  } record = {101, "text"};
  for (int i = 0; i < 5; ++i) {
    sdwrap_hist_event(1, 9, &record);
  }
  platform_event_reader reader;
  ASSERT_EQ(platform_events_open(&reader, 0), 0);
  unlink(page_file(dir).c_str());
  ASSERT_EQ(platform_page_own(-1), 0);
  sdwrap_hist_event(1, 9, &record);
  platform_event event;
  ASSERT_EQ(platform_events_next(&reader, &event), 1);
  EXPECT_EQ(event.number, 1U);
  EXPECT_EQ(platform_events_next(&reader, &event), 0);
}

TEST(DistributionState, IsUnknownUntilItIsPublished) {
  const private_dir dir;
  int enabled = 7, mode = 8;
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), -1);
  EXPECT_EQ(get_kdx_show_run_mode("fctimer", &mode), -1);
  EXPECT_EQ(enabled, 7);
  EXPECT_EQ(mode, 8);
}

TEST(DistributionState, EachStateIsReadAsItWasPublished) {
  const private_dir dir;
  for (int state = 0; state < 4; ++state) {
    ASSERT_EQ(platform_kdx_publish("fctimer", state & 1, state >> 1), 0);
    int enabled = 7, mode = 8;
    EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
    EXPECT_EQ(get_kdx_show_run_mode("fctimer", &mode), 0);
    EXPECT_EQ(enabled, state & 1);
    EXPECT_EQ(mode, state >> 1);
  }
}

TEST(DistributionState, OtherApplicationsAndValuesAreRefused) {
  const private_dir dir;
  EXPECT_EQ(platform_kdx_publish("fctimer", 1, 0), 0);
  EXPECT_EQ(platform_kdx_publish("zone", 1, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(platform_kdx_publish("fctimer", 2, 0), -1);
  EXPECT_EQ(platform_kdx_publish("fctimer", 0, -1), -1);
  int enabled = 7;
  EXPECT_EQ(is_kdx_enabled("zone", &enabled), -1);
  EXPECT_EQ(enabled, 7);
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
  EXPECT_EQ(enabled, 1);
}

TEST(LevelSwitches, NewPageRecordsTheModulesTwoLevelsAndTheMarksAndPrintsNone) {
  const private_dir dir;
  for (int level = 0; level <= kLevelMax; ++level) {
    EXPECT_EQ(sdwrap_hist_event_subtype_check(0x730000, level) == 0, level >= 100 && level <= 102) << level;
    EXPECT_EQ(sdwrap_chk_int(level, 0, 0, 1), 0) << level;
  }
}

TEST(LevelSwitches, EachTurnsItsOwnLevelOnlyAndAtOnceInOtherProcesses) {
  const private_dir dir;
  const pid_t child = fork();
  if (child == 0) {
    const bool done = platform_level_set(kLevelPrinted, 100, 1) == 0 && platform_level_set(kLevelRecorded, 101, 0) == 0;
    _exit(done ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  EXPECT_NE(sdwrap_chk_int(100, 0, 0, 1), 0);
  EXPECT_EQ(sdwrap_chk_int(101, 0, 0, 1), 0);
  EXPECT_EQ(sdwrap_hist_event_subtype_check(0, 100), 0);
  EXPECT_NE(sdwrap_hist_event_subtype_check(0, 101), 0);
  EXPECT_EQ(platform_level_set(kLevelPrinted, 100, 0), 0);
  EXPECT_EQ(sdwrap_chk_int(100, 0, 0, 1), 0);
}

TEST(LevelSwitches, LevelsAndSwitchesThatDoNotExistAreRefused) {
  const private_dir dir;
  for (const int level : {-1, 256, 1 << 30}) {
    EXPECT_EQ(platform_level_set(kLevelPrinted, level, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(platform_level_get(kLevelRecorded, level), -1);
    EXPECT_NE(sdwrap_hist_event_subtype_check(0, level), 0);
    EXPECT_EQ(sdwrap_chk_int(level, 0, 0, 1), 0);
  }
  EXPECT_EQ(platform_level_set(2, 100, 1), -1);
  EXPECT_EQ(platform_level_get(-1, 100), -1);
}

}  // namespace
