// The subscription to notifications ends five seconds after each notification that it took.
#include "notification_server_under_test.h"

namespace {

using numbers = std::vector<uint64_t>;

struct QuietSubscription : notification_server_under_test {
  int fd = -1;

  void SetUp() override {
    notification_server_under_test::SetUp();
    fd = connect_to_server();
  }
  void TearDown() override {
    ::close(fd);
    notification_server_under_test::TearDown();
  }
  void tell(notification_frame_kind kind, uint64_t number) {
    send_frame(fd, kind, number);
    turn_for({0, 100000});
  }
};

TEST_F(QuietSubscription, IsOpenWellOverFiveSecondsLater) {
  ASSERT_EQ(set_row(new_row(50, "first")), 0);
  tell(kNotificationSubscribe, 0);
  EXPECT_EQ(arrived(fd), numbers{1});
  tell(kNotificationAcknowledge, 1);
  turn_for({7, 100000});
  EXPECT_TRUE(notification_server_counters(server).subscribed);
  ASSERT_EQ(delete_row(50), 0);
  notification_server_pump(server);
  EXPECT_EQ(arrived(fd), numbers{2});
}

}  // namespace
