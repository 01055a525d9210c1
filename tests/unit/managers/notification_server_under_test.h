// A switch under test with its notification server, in a loop that the test turns, and switchd's log in a file.
#ifndef TESTS_UNIT_MANAGERS_NOTIFICATION_SERVER_UNDER_TEST_H
#define TESTS_UNIT_MANAGERS_NOTIFICATION_SERVER_UNDER_TEST_H

#include <event2/event.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "log.h"
#include "notification_frame.h"
#include "notification_server.h"
#include "requests.h"
#include "socket_path.h"
#include "switch_under_test.h"

struct notification_server_under_test : switch_under_test {
  event_base *base = nullptr;
  notification_server *server = nullptr;

  void SetUp() override {
    switch_under_test::SetUp();
    std::string error;
    ASSERT_EQ(log_open("info", log_path(), error), 0);
    base = event_base_new();
    start();
  }
  void TearDown() override {
    stop();
    event_base_free(base);
    std::string error;
    EXPECT_EQ(log_open("error", "", error), 0);
    switch_under_test::TearDown();
  }
  void start() {
    server = notification_server_open(base, directory.path.c_str(), managers);
    ASSERT_NE(server, nullptr);
  }
  void stop() {
    notification_server_close(server);
    server = nullptr;
  }
  void turn() { event_base_loop(base, EVLOOP_NONBLOCK); }
  void turn_for(timeval time) {
    event_base_loopexit(base, &time);
    event_base_dispatch(base);
  }
  // A connected socket, which the caller closes.
  int connect_to_server() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    EXPECT_EQ(
        service_socket_path(directory.path.c_str(), kServiceNotifications, address.sun_path, sizeof address.sun_path),
        0);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return fd;
  }
  // Sends a frame of a subscriber. The store's number is small_configuration's unless said otherwise.
  static void send_frame(int fd, notification_frame_kind kind, uint64_t number, uint32_t store_number = 4711) {
    uint8_t buffer[kNotificationFrameMax];
    const size_t size = notification_frame_write({kind, store_number, number, 0, nullptr, 0}, buffer);
    EXPECT_EQ(send(fd, buffer, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
  }
  // The numbers of the notifications that have arrived.
  static std::vector<uint64_t> arrived(int fd) {
    std::vector<uint64_t> numbers;
    uint8_t buffer[kNotificationFrameMax];
    ssize_t size = 0;
    while ((size = recv(fd, buffer, sizeof buffer, 0)) > 0) {
      notification_frame frame{};
      EXPECT_EQ(notification_frame_read(buffer, static_cast<size_t>(size), &frame), 0);
      EXPECT_EQ(frame.kind, kNotificationDeliver);
      EXPECT_EQ(frame.store, 4711U);
      numbers.push_back(frame.number);
    }
    return numbers;
  }
  std::string log_path() const { return directory.path + "/log"; }
  // Lines of the log in which the words are.
  size_t lines_with(const std::string &words) const { return times_in(file_text(log_path()), words); }
};

#endif
