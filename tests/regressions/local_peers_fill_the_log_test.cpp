// A process that is refused again and again, or sends nonsense again and again, fills switchd's log without limit.
#include <event2/event.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/messaging/service_names.h"
#include "switchd/log.h"
#include "switchd/notification_server.h"
#include "tests/unit/managers/programs.h"
#include "tests/unit/managers/switch_under_test.h"

namespace {

constexpr int kTimes = 2000;
// The lines that are written at once, and some for the seconds that a busy machine takes.
constexpr size_t kLinesMax = 200;

struct LogFlood : switch_under_test {
  event_base *base = nullptr;
  notification_server *server = nullptr;

  void SetUp() override {
    switch_under_test::SetUp();
    std::string error;
    ASSERT_EQ(0, log_open("info", log_path(), error));
    base = event_base_new();
    server = notification_server_open(base, directory.path.c_str(), managers);
    ASSERT_NE(nullptr, server);
  }
  void TearDown() override {
    notification_server_close(server);
    event_base_free(base);
    std::string error;
    EXPECT_EQ(0, log_open("error", "", error));
    switch_under_test::TearDown();
  }
  std::string log_path() const { return directory.path + "/log"; }
  void turn() { event_base_loop(base, EVLOOP_NONBLOCK); }
  int connect_to_server() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    service_socket_path(directory.path.c_str(), kServiceNotifications, address.sun_path, sizeof address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
    EXPECT_EQ(0, connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address));
    turn();
    return fd;
  }
  // Lines of the log in which the words are.
  size_t lines_with(const std::string &words) const {
    const std::string text = file_text(log_path());
    size_t count = 0;
    for (size_t at = 0; (at = text.find(words, at)) != std::string::npos; ++at) {
      ++count;
    }
    return count;
  }
};

TEST_F(LogFlood, ConnectionsThatHaveNoPlaceAreCounted) {
  std::vector<int> held;
  for (int i = 0; i < 8; ++i) {
    held.push_back(connect_to_server());
  }
  for (int i = 0; i < kTimes; ++i) {
    ::close(connect_to_server());
  }
  EXPECT_LE(1U, lines_with("was refused"));
  EXPECT_GE(kLinesMax, lines_with("was refused"));
  sleep(2);
  ::close(connect_to_server());
  EXPECT_LE(1U, lines_with("lines like the next one were left out")) << file_text(log_path());
  for (const int fd : held) {
    ::close(fd);
  }
}

TEST_F(LogFlood, NonsenseIsCounted) {
  for (int i = 0; i < kTimes; ++i) {
    const int fd = connect_to_server();
    EXPECT_EQ(8, send(fd, "nonsense", 8, MSG_NOSIGNAL));
    turn();
    ::close(fd);
  }
  EXPECT_LE(1U, lines_with("are no frame of a subscriber"));
  EXPECT_GE(kLinesMax, lines_with("are no frame of a subscriber"));
}

TEST_F(LogFlood, RequestsThatTheManagersRefuseAreCounted) {
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_NE(0, ask(4242, kMsgSet, {}).status);
  }
  EXPECT_EQ(static_cast<uint64_t>(kTimes), managers.malformed);
  EXPECT_LE(1U, log.size());
  EXPECT_GE(kLinesMax, log.size());
}

}  // namespace
