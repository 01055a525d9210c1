// switchd that is out of descriptors takes all of a processor, and its log does not say why.
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "programs.h"
#include "switch_under_test.h"

namespace {

struct OutOfDescriptors : testing::Test {
  temporary_directory directory;
  pid_t switchd = -1;

  void SetUp() override {
    std::string line;
    switchd = start_program(SWITCHD, {"--run-dir", run_dir(), "--state", directory.path + "/s.db"}, log(), &line);
    ASSERT_EQ(line, "ready\n") << file_text(log());
  }
  void TearDown() override {
    kill(switchd, SIGTERM);
    EXPECT_EQ(wait_for_exit(switchd), 0);
  }
  std::string run_dir() const { return directory.path + "/run"; }
  std::string log() const { return directory.path + "/stderr"; }
  // Processor time that switchd used so far, in seconds.
  double used() const {
    const std::string stat = file_text("/proc/" + std::to_string(switchd) + "/stat");
    unsigned long user = 0;
    unsigned long system = 0;
    EXPECT_EQ(
        sscanf(stat.c_str() + stat.rfind(')'), ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system),
        2);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
  }
  int connect_to(const std::string &name) const {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s/%s.sock", run_dir().c_str(), name.c_str());
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return fd;
  }
  size_t times_in_log(const std::string &words) const { return times_in(file_text(log()), words); }
};

TEST_F(OutOfDescriptors, ItWaitsSaysSoOnceAndServesWhenThereAreSomeAgain) {
  rlim_t open = 0;  // the lowest number that is free
  while (std::filesystem::exists(
      std::filesystem::symlink_status("/proc/" + std::to_string(switchd) + "/fd/" + std::to_string(open)))) {
    ++open;
  }
  rlimit before = {};
  ASSERT_EQ(prlimit(switchd, RLIMIT_NOFILE, nullptr, &before), 0);
  const rlimit none = {open, before.rlim_max};
  ASSERT_EQ(prlimit(switchd, RLIMIT_NOFILE, &none, nullptr), 0);
  const int fds[] = {connect_to("notifications"), connect_to("identity")};
  const double at_first = used();
  sleep(2);
  EXPECT_LT(used() - at_first, 0.7);
  EXPECT_EQ(times_in_log("notifications.sock: cannot accept connections for now: Too many open files"), 1U)
      << file_text(log());
  EXPECT_EQ(times_in_log("identity.sock: cannot accept connections for now: Too many open files"), 1U);
  ASSERT_EQ(prlimit(switchd, RLIMIT_NOFILE, &before, nullptr), 0);
  EXPECT_EQ(run_program(VSANCTL, {"--run-dir", run_dir(), "show", "vsan"}).code, 0);
  for (int i = 0; i < 500 && times_in_log("connections are accepted again") < 2; ++i) {
    usleep(10000);
  }
  EXPECT_EQ(times_in_log("connections are accepted again"), 2U) << file_text(log());
  for (const int fd : fds) {
    close(fd);
  }
}

TEST_F(OutOfDescriptors, IdleConnectionsThatFillAServiceGiveWay) {
  std::vector<int> fds;
  for (int i = 0; i < 256; ++i) {
    fds.push_back(connect_to("vsan-manager"));
  }
  int code = -1;
  for (int i = 0; i < 30 && code != 0; ++i) {
    code = run_program(VSANCTL, {"--run-dir", run_dir(), "show", "vsan"}).code;
    usleep(code == 0 ? 0 : 500000);
  }
  EXPECT_EQ(code, 0) << file_text(log());
  for (const int fd : fds) {
    close(fd);
  }
}

}  // namespace
