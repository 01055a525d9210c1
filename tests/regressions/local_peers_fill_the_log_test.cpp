// A process that is refused again and again, or sends nonsense again and again, fills switchd's log without limit.
#include "notification_server_under_test.h"
#include "requests.h"

namespace {

constexpr int kTimes = 2000;
// The lines that are written at once, and some for the seconds that a busy machine takes.
constexpr size_t kLinesMax = 200;

struct LogFlood : notification_server_under_test {
  int connect_and_turn() {
    const int fd = connect_to_server();
    turn();
    return fd;
  }
};

TEST_F(LogFlood, ConnectionsThatHaveNoPlaceAreCounted) {
  std::vector<int> held;
  for (int i = 0; i < 8; ++i) {
    held.push_back(connect_and_turn());
  }
  for (int i = 0; i < kTimes; ++i) {
    ::close(connect_and_turn());
  }
  EXPECT_GE(lines_with("was refused"), 1U);
  EXPECT_LE(lines_with("was refused"), kLinesMax);
  sleep(2);
  ::close(connect_and_turn());
  EXPECT_GE(lines_with("lines like the next one were left out"), 1U) << file_text(log_path());
  for (const int fd : held) {
    ::close(fd);
  }
}

TEST_F(LogFlood, NonsenseIsCounted) {
  for (int i = 0; i < kTimes; ++i) {
    const int fd = connect_and_turn();
    EXPECT_EQ(send(fd, "nonsense", 8, MSG_NOSIGNAL), 8);
    turn();
    ::close(fd);
  }
  EXPECT_GE(lines_with("are no frame of a subscriber"), 1U);
  EXPECT_LE(lines_with("are no frame of a subscriber"), kLinesMax);
}

TEST_F(LogFlood, RequestsThatTheManagersRefuseAreCounted) {
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_NE(ask(4242, kMsgSet, {}).status, 0);
  }
  EXPECT_EQ(managers.malformed, static_cast<uint64_t>(kTimes));
  EXPECT_GE(log.size(), 1U);
  EXPECT_LE(log.size(), kLinesMax);
}

}  // namespace
