// Two agents on one run directory end each other's subscription to notifications again and again.
#include <signal.h>
#include <sys/wait.h>

#include "notification_server_under_test.h"

namespace {

struct TwoAgents : notification_server_under_test {
  pid_t first = -1;
  std::vector<int> sockets;

  void TearDown() override {
    end_first();
    for (const int fd : sockets) {
      ::close(fd);
    }
    notification_server_under_test::TearDown();
  }
  int subscribe() {
    const int fd = connect_to_server();
    send_frame(fd, kNotificationSubscribe, 0);
    return fd;
  }
  // The first agent is a process of its own, which subscribes and then only lives.
  void start_first() {
    first = fork();
    if (first == 0) {
      subscribe();
      pause();
      _exit(0);
    }
    for (int i = 0; i < 1000 && !notification_server_counters(server).subscribed; ++i) {
      turn();
      usleep(10000);
    }
    ASSERT_TRUE(notification_server_counters(server).subscribed);
  }
  void end_first() {
    if (first > 0) {
      kill(first, SIGKILL);
      waitpid(first, nullptr, 0);
    }
    first = -1;
  }
  // Subscribes as this process; returns the kinds of the frames that come, and the text of a refusal.
  std::string answer_to_second() {
    const int fd = subscribe();
    sockets.push_back(fd);
    turn();
    turn();
    std::string text;
    uint8_t buffer[kNotificationFrameMax];
    ssize_t size = 0;
    while ((size = recv(fd, buffer, sizeof buffer, 0)) > 0) {
      notification_frame frame{};
      EXPECT_EQ(notification_frame_read(buffer, static_cast<size_t>(size), &frame), 0);
      text += std::to_string(frame.kind) +
              std::string(reinterpret_cast<const char *>(frame.payload), frame.kind == 4 ? frame.payload_size : 0);
    }
    return text + (size == 0 ? " closed" : " open");
  }
  size_t refusals_in_log() const { return lines_with("gets no notifications"); }
};

TEST_F(TwoAgents, TheSecondIsToldWhoHasItAndTheFirstKeepsIt) {
  ASSERT_EQ(set_row(new_row(50, "new")), 0);
  start_first();
  const std::string refusal = "4process " + std::to_string(first) + " of user " + std::to_string(getuid()) +
                              " has the subscription to notifications closed";
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(answer_to_second(), refusal);
  }
  EXPECT_EQ(refusals_in_log(), 1U) << file_text(log_path());
  EXPECT_NE(file_text(log_path()).find("process " + std::to_string(first)), std::string::npos);
  EXPECT_TRUE(notification_server_counters(server).subscribed);
}

TEST_F(TwoAgents, TheSecondTakesOverWhenTheFirstIsGoneEvenIfItsEndWasNotReadYet) {
  ASSERT_EQ(set_row(new_row(50, "new")), 0);
  start_first();
  answer_to_second();
  end_first();
  EXPECT_EQ(answer_to_second(), "2 open");
}

TEST_F(TwoAgents, BehindOneForwarderTheyAreOneProcessAndTheFirstKeepsItUntilItEnds) {
  EXPECT_EQ(answer_to_second(), " open");
  for (int i = 0; i < 5; ++i) {
    EXPECT_NE(answer_to_second().find("has the subscription to notifications closed"), std::string::npos);
  }
  uint8_t byte;
  EXPECT_EQ(recv(sockets[0], &byte, 1, MSG_DONTWAIT), -1);
  EXPECT_EQ(refusals_in_log(), 1U);
  ::close(sockets[0]);
  sockets.erase(sockets.begin());
  EXPECT_EQ(answer_to_second(), " open");
}

}  // namespace
