// The subscription to notifications ends five seconds after each notification that it took.
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

namespace {

struct QuietSubscription : switch_under_test {
  event_base *base = nullptr;
  notification_server *server = nullptr;
  int fd = -1;

  void SetUp() override {
    switch_under_test::SetUp();
    std::string error;
    ASSERT_EQ(log_open("error", "", error), 0);
    base = event_base_new();
    server = notification_server_open(base, directory.path.c_str(), managers);
    ASSERT_NE(server, nullptr);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_EQ(
        service_socket_path(directory.path.c_str(), kServiceNotifications, address.sun_path, sizeof address.sun_path),
        0);
    fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  }
  void TearDown() override {
    ::close(fd);
    notification_server_close(server);
    event_base_free(base);
    switch_under_test::TearDown();
  }
  void turn_for(time_t seconds) {
    const timeval wait{seconds, 100000};
    event_base_loopexit(base, &wait);
    event_base_dispatch(base);
  }
  void tell(notification_frame_kind kind, uint64_t number) {
    uint8_t buffer[kNotificationFrameMax];
    const size_t size = notification_frame_write({kind, 4711, number, 0, nullptr, 0}, buffer);
    ASSERT_EQ(send(fd, buffer, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    turn_for(0);
  }
  // The number of the next notification; 0 when none has come.
  uint64_t arrived() {
    uint8_t buffer[kNotificationFrameMax];
    notification_frame frame{};
    const ssize_t size = recv(fd, buffer, sizeof buffer, 0);
    return size > 0 && notification_frame_read(buffer, static_cast<size_t>(size), &frame) == 0 ? frame.number : 0;
  }
};

TEST_F(QuietSubscription, IsOpenWellOverFiveSecondsLater) {
  ASSERT_EQ(set_row(new_row(50, "first")), 0);
  tell(kNotificationSubscribe, 0);
  EXPECT_EQ(arrived(), 1U);
  tell(kNotificationAcknowledge, 1);
  turn_for(7);
  EXPECT_TRUE(notification_server_counters(server).subscribed);
  ASSERT_EQ(delete_row(50), 0);
  notification_server_pump(server);
  EXPECT_EQ(arrived(), 2U);
}

}  // namespace
