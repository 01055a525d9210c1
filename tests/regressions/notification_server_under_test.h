// A switch under test with its notification server, in a loop that the test turns, and switchd's log in a file.
#ifndef TESTS_REGRESSIONS_NOTIFICATION_SERVER_UNDER_TEST_H
#define TESTS_REGRESSIONS_NOTIFICATION_SERVER_UNDER_TEST_H

#include <event2/event.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "log.h"
#include "notification_server.h"
#include "programs.h"
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
    server = notification_server_open(base, directory.path.c_str(), managers);
    ASSERT_NE(server, nullptr);
  }
  void TearDown() override {
    notification_server_close(server);
    event_base_free(base);
    std::string error;
    EXPECT_EQ(log_open("error", "", error), 0);
    switch_under_test::TearDown();
  }
  std::string log_path() const { return directory.path + "/log"; }
  void turn() { event_base_loop(base, EVLOOP_NONBLOCK); }
  // A connected socket, or -1.
  int connect_to_server() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    service_socket_path(directory.path.c_str(), kServiceNotifications, address.sun_path, sizeof address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
      return fd;
    }
    ::close(fd);
    return -1;
  }
  // Lines of the log in which the words are.
  size_t lines_with(const std::string &words) const { return times_in(file_text(log_path()), words); }
};

#endif
