// Bit sets, status texts, the heartbeat, debug lines.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "platform/bitset.h"
#include "platform/sdwrap.h"
#include "platform/syserr.h"
#include "platform/sysmgr.h"
#include "private_dir.h"
#include "statuses.h"

namespace {

TEST(Bitset, ClearEmptiesEveryBitAndKeepsTheSize) {
  vsan_set_t set;
  memset(&set, 0xff, sizeof set);
  set.size = kVsanSetBytes;
  bitset_clear(&set);
  EXPECT_EQ(set.size, 512U);
  for (const uint8_t byte : set.bits) {
    EXPECT_EQ(byte, 0);
  }
}

TEST(StatusTexts, KnownStatusesHaveTheirOwnText) {
  EXPECT_STREQ(syserr2str(kStatusNoVsan), "no such VSAN");
  EXPECT_STREQ(syserr2str(0), "success");
  EXPECT_STREQ(syserr2str(kStatusTimerMustForce), "the VSAN is operational: its timers must be forced");
}

TEST(StatusTexts, FormatPutsTheStatusInFront) {
  EXPECT_STREQ(syserr_format(kStatusNoVsan), "0x40190001 (no such VSAN)");
}

TEST(StatusTexts, UnknownStatusesShowTheirNumber) {
  EXPECT_STREQ(syserr2str(0x12345678), "status 0x12345678");
  EXPECT_STREQ(syserr2str(-1), "status 0xffffffff");
  EXPECT_STREQ(syserr_format(5), "0x00000005 (status 0x00000005)");
}

TEST(StatusTexts, OwnStatusesAllHaveATextThatFitsAnErrorRecord) {
  for (const int status : {int{kStatusMalformed}, int{kStatusVsanReserved}, int{kStatusEndOfMemberships},
                           int{kStatusSessionOther}, int{kStatusInterfaceDenied}, int{kStatusRolesUnknown}}) {
    EXPECT_EQ(strstr(syserr2str(status), "status 0x"), nullptr) << status;
    EXPECT_LT(strlen(syserr_format(status)), 159U);
  }
}

TEST(Heartbeat, IsHarmlessWhereNothingWatches) {
  unsetenv("NOTIFY_SOCKET");
  unsetenv("WATCHDOG_USEC");
  EXPECT_EQ(sysmgr_heartbeat(1), 0);
  EXPECT_EQ(sysmgr_heartbeat(0), 0);
}

#ifdef HAVE_LIBSYSTEMD
int bind_notify_socket(const std::string &path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, path.c_str());
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  return bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 ? fd : -1;
}

TEST(Heartbeat, BothEndsOfALongCallReachTheWatchdog) {
  const private_dir dir;
  const int fd = bind_notify_socket(dir.path + "/notify");
  ASSERT_GE(fd, 0);
  setenv("NOTIFY_SOCKET", (dir.path + "/notify").c_str(), 1);
  setenv("WATCHDOG_USEC", "1000000", 1);
  for (const int blocking : {1, 0}) {
    EXPECT_EQ(sysmgr_heartbeat(blocking), 0);
    char text[64] = {};
    ASSERT_GT(recv(fd, text, sizeof text - 1, 0), 0);
    EXPECT_STREQ(text, "WATCHDOG=1");
  }
  unsetenv("WATCHDOG_USEC");
  sysmgr_heartbeat(1);
  char byte;
  EXPECT_LT(recv(fd, &byte, 1, 0), 0);  // not watched: nothing is sent
  unsetenv("NOTIFY_SOCKET");
  close(fd);
}
#endif

std::string debug_line(const char *text) {
  testing::internal::CaptureStderr();
  buginf(1, &sdwrap_dbg_modname, 0, "%s : %d%s", text, 7, "\n");
  return testing::internal::GetCapturedStderr();
}

TEST(DebugPrint, LineHasTimeModuleAndText) {
  const std::string line = debug_line("get_vsanEntry");
  EXPECT_EQ(line.substr(15), " vsan_mib: get_vsanEntry : 7\n");
  EXPECT_EQ(line[2], ':');
  EXPECT_EQ(line[8], '.');
}

TEST(DebugPrint, LineWithoutAnEndGetsOneAndALongOneStaysALine) {
  testing::internal::CaptureStderr();
  buginf(1, sdwrap_dbg_modname, 0, "no end");
  EXPECT_EQ(testing::internal::GetCapturedStderr().substr(15), " vsan_mib: no end\n");
  const std::string line = debug_line(std::string(5000, 'x').c_str());
  EXPECT_LT(line.size(), 2200U);
  EXPECT_EQ(line.back(), '\n');
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  const std::string shorter = debug_line(std::string(1000, 'x').c_str());
  EXPECT_NE(shorter.find(std::string(1000, 'x') + " : 7\n"), std::string::npos);
}

}  // namespace
