// Notifications: when they are raised, how long they are kept, and how a subscriber gets them.
#include <errno.h>

#include "big_endian.h"
#include "notification_server_under_test.h"
#include "platform/vsan_range.h"
#include "statuses.h"
#include "vsan_records.h"

namespace {

struct Notifications : switch_under_test {
  // "102 101 10>30" and "145 30 created admin oper", for each notification in the queue.
  std::vector<std::string> queue() {
    std::vector<std::string> texts;
    for (notification_record record : managers.state.notifications) {
      texts.push_back(text_of(record));
    }
    return texts;
  }
  static std::string text_of(notification_record &record) {
    uint8_t *payload = record.payload.data();
    if (record.id == kNotifyPortMembership) {
      EXPECT_EQ(record.payload.size(), 12U);
      return "102 " + std::to_string(get_be32(payload)) + " " + std::to_string(get_be32(payload + 4)) + ">" +
             std::to_string(get_be32(payload + 8));
    }
    int unused = 0;
    int first = -1;
    int created = -1;
    uint32_t vsan = 0;
    uint32_t admin = 0;
    uint32_t oper = 0;
    uint32_t length = 0;
    const auto size = static_cast<uint32_t>(record.payload.size());
    EXPECT_EQ(
        vsan_range_config_change_get_info(payload, size, &first, &unused, &vsan, &created, &unused, &unused, &unused),
        0);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(vsan_range_config_change_get_attr_values(payload, size, 1, &admin, &length), 0);
    EXPECT_EQ(vsan_range_config_change_get_attr_values(payload, size, 19, &oper, &length), 0);
    return std::to_string(record.id) + " " + std::to_string(vsan) + " " + std::to_string(created) + " " +
           std::to_string(admin) + " " + std::to_string(oper);
  }
  int move(uint32_t interface, uint32_t vsan) {
    return ask(kOpInterfaceVsan, kMsgSet, interface_payload(interface, vsan)).status;
  }
  using texts = std::vector<std::string>;
};

TEST_F(Notifications, ACreatedVsanRaisesAChange) {
  ASSERT_EQ(set_row(new_row(50, "new")), 0);
  EXPECT_EQ(queue(), (texts{"145 50 1 1 2"}));
}

TEST_F(Notifications, ADeletedVsanRaisesItsMovesAndItsEnd) {
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_EQ(queue(), (texts{"102 101 10>1", "102 102 10>1", "102 103 10>1", "145 1 0 1 1", "145 10 0 3 2"}));
}

TEST_F(Notifications, AnAdminStateChangeRaisesAChangeAndOtherFieldsDoNot) {
  vsanEntry row = row_of(10);
  row.vsanMtu = 1000;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(queue(), (texts{}));
  row.vsanAdminState = 2;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(queue(), (texts{"145 10 0 2 2"}));
}

TEST_F(Notifications, AMoveRaisesTheMembershipAndTheOperationalStatesThatFollow) {
  ASSERT_EQ(move(103, 30), 0);  // down: only the membership
  EXPECT_EQ(queue(), (texts{"102 103 10>30"}));
  ASSERT_EQ(move(101, 30), 0);
  ASSERT_EQ(move(102, 30), 0);
  EXPECT_EQ(queue(), (texts{"102 103 10>30", "102 101 10>30", "145 30 0 1 1", "102 102 10>30", "145 10 0 1 2"}));
}

TEST_F(Notifications, ARefusedRequestRaisesNothing) {
  EXPECT_REFUSED(delete_row(77), kStatusNoVsan);
  EXPECT_REFUSED(move(101, 77), kStatusNoVsan);
  EXPECT_EQ(queue(), (texts{}));
}

TEST_F(Notifications, ControlSwitchesThemOffAndOn) {
  ASSERT_EQ(ask(kOpNotificationControl, kMsgSet, words({2})).status, 0);
  ASSERT_EQ(set_row(new_row(50, "quiet")), 0);
  EXPECT_EQ(queue(), (texts{}));
  ASSERT_EQ(ask(kOpNotificationControl, kMsgSet, words({1})).status, 0);
  ASSERT_EQ(delete_row(50), 0);
  EXPECT_EQ(queue(), (texts{"145 50 0 3 2"}));
  EXPECT_REFUSED(ask(kOpNotificationControl, kMsgSet, words({0})).status, kStatusNotificationRange);
  EXPECT_REFUSED(ask(kOpNotificationControl, kMsgSet, words({3})).status, kStatusNotificationRange);
}

TEST_F(Notifications, TheOldestAreDroppedAndCountedBeyond1024) {
  for (int i = 0; i < 520; ++i) {
    ASSERT_EQ(set_row(new_row(50, "flap")), 0);
    ASSERT_EQ(delete_row(50), 0);
  }
  EXPECT_EQ(managers.state.notifications.size(), 1024U);
  EXPECT_EQ(managers.state.settings.dropped_notifications, 16U);
  EXPECT_EQ(managers.state.notifications.front().number, 17U);
  EXPECT_EQ(managers.state.notifications.back().number, 1040U);
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(before == managers.state);
}

// A subscriber, and a server that is turned after whatever the subscriber does.
struct Subscription : notification_server_under_test {
  std::vector<int> sockets;

  void TearDown() override {
    for (const int fd : sockets) {
      ::close(fd);
    }
    notification_server_under_test::TearDown();
  }
  // Turns the loop for longer than acknowledgements take to be stored.
  void turn_until_stored() { turn_for({0, 120000}); }
  int connect_and_turn() {
    sockets.push_back(connect_to_server());
    turn();
    return sockets.back();
  }
  void tell(int fd, notification_frame_kind kind, uint64_t number, uint32_t store_number = 4711) {
    send_frame(fd, kind, number, store_number);
    turn();
  }
  int subscribe(uint64_t after, uint32_t store_number = 4711) {
    const int fd = connect_and_turn();
    tell(fd, kNotificationSubscribe, after, store_number);
    return fd;
  }
  bool closed_by_server(int fd) {
    turn();
    uint8_t byte = 0;
    const ssize_t size = recv(fd, &byte, 1, 0);
    return size == 0 || (size < 0 && errno == ECONNRESET);
  }
  void flap(int times) {
    for (int i = 0; i < times; ++i) {
      ASSERT_EQ(set_row(new_row(50, "flap")), 0);
      ASSERT_EQ(delete_row(50), 0);
    }
    notification_server_pump(server);
  }
};

using numbers = std::vector<uint64_t>;

numbers from_to(uint64_t first, uint64_t last) {
  numbers all;
  for (uint64_t number = first; number <= last; ++number) {
    all.push_back(number);
  }
  return all;
}

TEST_F(Subscription, WhatIsKeptArrivesInOrderAndWhatComesLaterToo) {
  flap(2);
  const int fd = subscribe(0, 0);
  EXPECT_EQ(arrived(fd), from_to(1, 4));
  flap(1);
  EXPECT_EQ(arrived(fd), from_to(5, 6));
}

TEST_F(Subscription, AcknowledgedOnesLeaveQueueAndStore) {
  flap(2);
  const int fd = subscribe(0);
  tell(fd, kNotificationAcknowledge, 3);
  turn_until_stored();
  ASSERT_EQ(managers.state.notifications.size(), 1U);
  EXPECT_EQ(managers.state.notifications.front().number, 4U);
  const switch_state before = managers.state;
  stop();
  close();
  open();
  EXPECT_TRUE(before == managers.state);
  start();
}

TEST_F(Subscription, AcknowledgementsAreStoredWhenTheServerStops) {
  flap(2);
  tell(subscribe(0), kNotificationAcknowledge, 4);
  stop();
  EXPECT_TRUE(managers.state.notifications.empty());
  start();
}

TEST_F(Subscription, AWindowIsUnderWayAndNoMoreUntilItIsAcknowledged) {
  flap(50);
  const int fd = subscribe(0);
  EXPECT_EQ(arrived(fd), from_to(1, kNotificationWindow));
  turn();
  EXPECT_EQ(arrived(fd), numbers{});
  tell(fd, kNotificationAcknowledge, 10);
  EXPECT_EQ(arrived(fd), from_to(33, 42));
}

TEST_F(Subscription, ANewSubscriptionResumesAfterTheNumberTakenWhenTheOldOneEnded) {
  flap(3);
  const int first = subscribe(0);
  EXPECT_EQ(arrived(first), from_to(1, 6));
  EXPECT_EQ(shutdown(first, SHUT_WR), 0);
  const int second = subscribe(4);
  EXPECT_EQ(arrived(second), from_to(5, 6));
  EXPECT_TRUE(closed_by_server(first));
  turn_until_stored();
  EXPECT_EQ(managers.state.notifications.front().number, 5U);
}

TEST_F(Subscription, AnotherStoresNumberMeansNothingHere) {
  flap(2);
  const int fd = subscribe(3, 999);
  EXPECT_EQ(arrived(fd), from_to(1, 4));
  tell(fd, kNotificationAcknowledge, 4, 999);
  turn_until_stored();
  EXPECT_EQ(managers.state.notifications.size(), 4U);
}

TEST_F(Subscription, AcknowledgingWhatWasNotSentTakesOnlyWhatWasSent) {
  flap(50);
  const int fd = subscribe(0);
  tell(fd, kNotificationAcknowledge, 1000000);
  EXPECT_EQ(arrived(fd).size(), 64U);
  turn_until_stored();
  EXPECT_EQ(managers.state.notifications.front().number, 33U);
}

TEST_F(Subscription, BytesThatAreNoFrameEndTheConnection) {
  const int fd = connect_and_turn();
  EXPECT_EQ(send(fd, "garbage", 7, MSG_NOSIGNAL), 7);
  EXPECT_TRUE(closed_by_server(fd));
  const int delivering = subscribe(0);
  tell(delivering, kNotificationDeliver, 1);
  EXPECT_TRUE(closed_by_server(delivering));
}

TEST_F(Subscription, ASilentSubscriberStopsNobodyAndTheQueueStaysBounded) {
  subscribe(0);
  flap(600);
  EXPECT_EQ(managers.state.notifications.size(), 1024U);
  EXPECT_EQ(managers.state.settings.dropped_notifications, 176U);
}

TEST_F(Subscription, MoreConnectionsThanAllowedAreClosedAtOnce) {
  for (int i = 0; i < 8; ++i) {
    connect_and_turn();
  }
  EXPECT_TRUE(closed_by_server(connect_and_turn()));
  EXPECT_FALSE(closed_by_server(sockets[0]));
}

}  // namespace
