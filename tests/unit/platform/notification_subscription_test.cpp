// The agent's subscription, driven by net-snmp's own event and alarm tables, against a switch played by the test.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <grp.h>
#include <gtest/gtest.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <pwd.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "local_socket.h"
#include "notification_frame.h"
#include "platform/agent.h"
#include "platform/cmi.h"
#include "platform/mts.h"
#include "private_dir.h"
#include "switchplatform/run_dir.h"

extern "C" void init_switch_agent(void);
extern "C" void deinit_switch_agent(void);

namespace {

std::vector<std::string> handled;

netsnmp_variable_list *on_change(void *msg, oid *, size_t *, int *send) {
  handled.emplace_back(static_cast<const char *>(mts_payload_get(msg)), mts_payload_size(msg));
  *send = 0;
  return nullptr;
}

netsnmp_variable_list *on_membership(void *, oid *, size_t *, int *send) {
  handled.emplace_back("membership");
  *send = 0;
  return nullptr;
}

// One turn of the agent's loop.
void turn_agent() {
  fd_set readable, writable, exceptional;
  FD_ZERO(&readable);
  FD_ZERO(&writable);
  FD_ZERO(&exceptional);
  int count = 0;
  netsnmp_external_event_info(&count, &readable, &writable, &exceptional);
  timeval wait = {0, 5000};
  int ready = select(count, &readable, &writable, &exceptional, &wait);
  if (ready > 0) {
    netsnmp_dispatch_external_events(&ready, &readable, &writable, &exceptional);
  }
  run_alarms();
}

bool turn_agent_until(const std::function<bool()> &done, int milliseconds = 6000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    turn_agent();
  }
  return true;
}

// The notification socket of a switch.
struct fake_switch {
  explicit fake_switch(const private_dir &dir) : path(dir.path + "/notifications.sock") {
    listener = local_socket_listen(path.c_str());
  }
  ~fake_switch() {
    hang_up();
    close(listener);
    unlink(path.c_str());
  }
  void hang_up() {
    if (connection >= 0) {
      close(connection);
    }
    connection = -1;
  }
  bool accept_one() {
    if (connection < 0) {
      connection = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    }
    return connection >= 0;
  }
  // The next frame that the agent sends; nothing when none comes.
  std::optional<notification_frame> next_frame() {
    std::optional<notification_frame> found;
    turn_agent_until([&] {
      uint8_t bytes[kNotificationFrameMax];
      notification_frame frame;
      const ssize_t got = accept_one() ? recv(connection, bytes, sizeof bytes, 0) : -1;
      if (got > 0 && notification_frame_read(bytes, static_cast<size_t>(got), &frame) == 0) {
        found = frame;
      }
      return found.has_value();
    });
    return found;
  }
  void deliver(uint64_t number, const std::string &payload, uint32_t store, uint32_t id = 145) {
    uint8_t bytes[kNotificationFrameMax];
    const auto *data = reinterpret_cast<const uint8_t *>(payload.data());
    const size_t size = notification_frame_write(
        {kNotificationDeliver, store, number, id, data, static_cast<uint32_t>(payload.size())}, bytes);
    ASSERT_EQ(send(connection, bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
  }
  void refuse(const std::string &why) {
    uint8_t bytes[kNotificationFrameMax];
    const auto *data = reinterpret_cast<const uint8_t *>(why.data());
    const size_t size =
        notification_frame_write({kNotificationRefused, 0, 0, 0, data, static_cast<uint32_t>(why.size())}, bytes);
    ASSERT_EQ(send(connection, bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    hang_up();
  }
  // Waits for the subscription; returns the number and the store that it resumes after.
  std::pair<uint64_t, uint32_t> subscribed() {
    const auto frame = next_frame();
    EXPECT_TRUE(frame && frame->kind == kNotificationSubscribe);
    return frame ? std::pair{frame->number, frame->store} : std::pair{uint64_t{0}, uint32_t{0}};
  }
  // Waits for an acknowledgement; returns its number, 0 when none came.
  uint64_t acknowledged() {
    const auto frame = next_frame();
    return frame && frame->kind == kNotificationAcknowledge ? frame->number : 0;
  }
  std::string path;
  int listener = -1;
  int connection = -1;
};

struct loaded_agent {
  loaded_agent() {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE, "snmpd");
    snmp_disable_log();
    handled.clear();
    load();
    register_for_notification(145, on_change);
  }
  ~loaded_agent() {
    unregister_for_notification(145);
    deinit_switch_agent();
  }
  // The token `switchRunDir` would name the directory once the library is loaded.
  void load() {
    init_switch_agent();
    platform_set_run_dir(dir.path.c_str());
  }
  private_dir dir;
};

TEST(NotificationSubscription, PayloadReachesTheHandlerAndIsAcknowledged) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(1, "first", 501);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(handled, (std::vector<std::string>{"first"}));
}

TEST(NotificationSubscription, BurstIsHandledOnceAndInOrder) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  std::vector<std::string> expected;
  for (uint64_t number = 1; number <= 500; ++number) {
    expected.push_back(std::to_string(number));
    switched.deliver(number, expected.back(), 502);
    if (number % kNotificationWindow != 0) {
      continue;
    }
    while (switched.acknowledged() < number) {
    }
  }
  EXPECT_TRUE(turn_agent_until([&] { return handled.size() == expected.size(); }));
  EXPECT_EQ(handled, expected);
}

TEST(NotificationSubscription, IdWithoutAHandlerIsAcknowledgedAndForgotten) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(1, "nobody's", 503, 999);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_TRUE(handled.empty());
}

TEST(NotificationSubscription, BrokenConnectionIsMadeAgainAndResumesAfterTheLastTaken) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(41, "x", 504);
  EXPECT_EQ(switched.acknowledged(), 41U);
  switched.hang_up();
  EXPECT_EQ(switched.subscribed(), (std::pair<uint64_t, uint32_t>{41, 504}));
}

TEST(NotificationSubscription, NotificationThatComesAgainIsAcknowledgedAndNotHandledAgain) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(7, "seven", 505);
  EXPECT_EQ(switched.acknowledged(), 7U);
  switched.deliver(6, "six", 505);
  EXPECT_EQ(switched.acknowledged(), 7U);
  switched.deliver(7, "seven", 505);
  EXPECT_EQ(switched.acknowledged(), 7U);
  switched.deliver(8, "eight", 505);
  EXPECT_EQ(switched.acknowledged(), 8U);
  EXPECT_EQ(handled, (std::vector<std::string>{"seven", "eight"}));
}

TEST(NotificationSubscription, NumbersOfAnotherStoreStartAfresh) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(900, "old store", 506);
  EXPECT_EQ(switched.acknowledged(), 900U);
  switched.deliver(1, "new store", 507);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(handled, (std::vector<std::string>{"old store", "new store"}));
}

TEST(NotificationSubscription, FrameThatCannotBeReadEndsTheConnectionAndItComesBack) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(1, "sound", 508);
  EXPECT_EQ(switched.acknowledged(), 1U);
  const std::string frames[] = {"x", std::string(kNotificationHeaderSize, '\0'),
                                std::string(kNotificationFrameMax + 500, 'x')};
  for (const std::string &frame : frames) {
    ASSERT_GT(send(switched.connection, frame.data(), frame.size(), MSG_NOSIGNAL), 0);
    char byte;
    EXPECT_TRUE(turn_agent_until([&] { return recv(switched.connection, &byte, 1, 0) == 0; }));
    switched.hang_up();
    EXPECT_EQ(switched.subscribed(), (std::pair<uint64_t, uint32_t>{1, 508}));
  }
  EXPECT_EQ(handled.size(), 1U);
}

// What the agent logs, while there is one.
struct captured_log {
  captured_log() {
    lines.clear();
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_line, nullptr);
    snmp_enable_calllog();
  }
  ~captured_log() {
    snmp_disable_calllog();
    snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_line, nullptr, 0);
  }
  static int on_line(int, int, void *line, void *) {
    lines.emplace_back(static_cast<const snmp_log_message *>(line)->msg);
    return 0;
  }
  static inline std::vector<std::string> lines;
};

TEST(NotificationSubscription, RefusalIsToldOnceAndTheSubscriptionTakenLater) {
  loaded_agent agent;
  const captured_log log;
  fake_switch switched(agent.dir);
  for (int i = 0; i < 3; ++i) {
    switched.subscribed();
    switched.refuse("process 12 of user 0 has\nit");
  }
  switched.subscribed();
  EXPECT_EQ(log.lines,
            (std::vector<std::string>{"switch_agent: no notifications for now: process 12 of user 0 has?it\n"}));
  switched.deliver(1, "x", 512);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(log.lines.back(), "switch_agent: notifications come again\n");
  EXPECT_EQ(log.lines.size(), 2U);
}

TEST(NotificationSubscription, RefusalIsToldAfterAnotherReasonToo) {
  loaded_agent agent;
  const captured_log log;
  turn_agent_until([&] { return !log.lines.empty(); });
  fake_switch switched(agent.dir);
  for (int i = 0; i < 2; ++i) {
    switched.subscribed();
    switched.refuse("somebody has it");
  }
  switched.subscribed();
  EXPECT_EQ(log.lines, (std::vector<std::string>{"switch_agent: no notifications for now: " + switched.path +
                                                     ": No such file or directory: is switchd running?\n",
                                                 "switch_agent: no notifications for now: somebody has it\n"}));
}

// The agent as a user who has given up root, and is in no group but root's.
struct other_user {
  other_user() { EXPECT_EQ(seteuid(getpwnam("nobody")->pw_uid), 0); }
  ~other_user() { EXPECT_EQ(seteuid(0), 0); }
};

std::string denied(const std::string &path) {
  return "switch_agent: no notifications for now: " + path +
         ": Permission denied: is user nobody in group daemon? A group counts from the agent's next start\n";
}

TEST(NotificationSubscription, WhoMayNotConnectIsToldThePathTheUserAndTheGroupOnce) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can become another user";
  }
  loaded_agent agent;
  const captured_log log;
  fake_switch switched(agent.dir);
  ASSERT_EQ(chmod(agent.dir.path.c_str(), 0755), 0);
  ASSERT_EQ(chown(switched.path.c_str(), 0, getgrnam("daemon")->gr_gid), 0);
  {
    const other_user nobody;
    turn_agent_until([] { return false; }, 800);
  }
  EXPECT_EQ(log.lines, (std::vector<std::string>{denied(switched.path)}));
  switched.subscribed();
  switched.deliver(1, "x", 514);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(log.lines.back(), "switch_agent: notifications come again\n");
}

TEST(NotificationSubscription, WhoMayNotEnterTheRunDirectoryIsToldItsGroupEvenAfterAnotherReason) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can become another user";
  }
  loaded_agent agent;
  const captured_log log;
  turn_agent_until([&] { return !log.lines.empty(); });
  fake_switch switched(agent.dir);
  ASSERT_EQ(chown(agent.dir.path.c_str(), 0, getgrnam("daemon")->gr_gid), 0);
  ASSERT_EQ(chmod(agent.dir.path.c_str(), 0750), 0);
  {
    const other_user nobody;
    turn_agent_until([] { return false; }, 800);
  }
  ASSERT_EQ(log.lines.size(), 2U);
  EXPECT_EQ(log.lines[1], denied(switched.path));
}

TEST(NotificationSubscription, SwitchThatStartsLaterIsFound) {
  loaded_agent agent;
  turn_agent_until([] { return false; }, 400);
  fake_switch switched(agent.dir);
  switched.subscribed();
}

TEST(NotificationSubscription, ReloadSubscribesAgainAndForgetsNothing) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  for (uint64_t round = 1; round <= 20; ++round) {
    switched.subscribed();
    switched.deliver(round, "x", 509);
    EXPECT_EQ(switched.acknowledged(), round);
    deinit_switch_agent();
    char byte;
    EXPECT_EQ(recv(switched.connection, &byte, 1, 0), 0);
    switched.hang_up();
    agent.load();
  }
  EXPECT_EQ(handled.size(), 20U);
}

// What a handler that needs a manager does while none answers.
bool manager_answers;

netsnmp_variable_list *on_change_that_asks(void *msg, oid *trap_oid, size_t *trap_oid_len, int *send) {
  uint32_t size = 0;
  void *response = nullptr;
  cmi_req_resp(1282, 1, nullptr, &response, &size, nullptr, nullptr, 46, mts_response_q, 1);
  free(response);
  if (!manager_answers) {
    return *send = 0, nullptr;
  }
  on_change(msg, trap_oid, trap_oid_len, send);
  *send = 1;
  return nullptr;
}

TEST(NotificationSubscription, OneWhoseHandlerGetsNoAnswerIsTriedAgainAheadOfTheNextOnTheSameConnection) {
  loaded_agent agent;
  EXPECT_EQ(register_for_notification(145, on_change_that_asks), 0);
  fake_switch switched(agent.dir);
  switched.subscribed();
  manager_answers = false;
  switched.deliver(1, "first", 512);
  switched.deliver(2, "second", 512);
  EXPECT_FALSE(turn_agent_until([] { return !handled.empty(); }, 500));
  manager_answers = true;
  EXPECT_EQ(switched.acknowledged(), 1U) << "and no new subscription";
  EXPECT_EQ(switched.acknowledged(), 2U);
  EXPECT_EQ(handled, (std::vector<std::string>{"first", "second"}));
}

TEST(NotificationSubscription, OneThatIsHeldWhenTheConnectionEndsIsHandledOnce) {
  loaded_agent agent;
  EXPECT_EQ(register_for_notification(145, on_change_that_asks), 0);
  fake_switch switched(agent.dir);
  switched.subscribed();
  manager_answers = false;
  switched.deliver(1, "first", 513);
  EXPECT_FALSE(turn_agent_until([] { return !handled.empty(); }, 300));
  switched.hang_up();
  manager_answers = true;
  EXPECT_EQ(switched.subscribed().first, 1U) << "taken, although it could not be acknowledged";
  EXPECT_EQ(handled, (std::vector<std::string>{"first"}));
}

TEST(NotificationSubscription, NoConnectionIsKeptWithoutAHandler) {
  loaded_agent agent;
  fake_switch switched(agent.dir);
  switched.subscribed();
  EXPECT_EQ(unregister_for_notification(145), 0);
  char byte;
  EXPECT_EQ(recv(switched.connection, &byte, 1, 0), 0);
  EXPECT_EQ(unregister_for_notification(145), -1);
  switched.hang_up();
  EXPECT_EQ(register_for_notification(102, on_membership), 0);
  switched.subscribed();
  switched.deliver(1, "x", 510, 102);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(handled, (std::vector<std::string>{"membership"}));
  EXPECT_EQ(unregister_for_notification(102), 0);
}

TEST(NotificationHandlers, SecondRegistrationReplacesTheFirstAndNullIsRefused) {
  loaded_agent agent;
  EXPECT_EQ(register_for_notification(145, nullptr), -1);
  EXPECT_EQ(register_for_notification(145, on_membership), 0);
  fake_switch switched(agent.dir);
  switched.subscribed();
  switched.deliver(1, "x", 511);
  EXPECT_EQ(switched.acknowledged(), 1U);
  EXPECT_EQ(handled, (std::vector<std::string>{"membership"}));
}

TEST(OutsideAPdu, NobodyAsksAndNothingIsRestricted) {
  loaded_agent agent;
  const oid name[] = {1, 3, 6};
  vsan_set_t set = {kVsanSetBytes, {}};
  EXPECT_STREQ(get_snmp_username(0), "");
  EXPECT_STREQ(get_snmp_sessionid(0), "");
  EXPECT_LT(get_pdu_reqid(), 0);
  EXPECT_EQ(snmp_get_allowed_vsans_subtree(&set, name, 3, SNMP_MSG_GET), 0);
  EXPECT_NE(snmp_is_vsan_allowed_subtree(10, name, 3, SNMP_MSG_SET), 0);
  EXPECT_EQ(intf_chk_vsan_role_allowed(1, 1, &set), 0);
}

TEST(AllowedVsans, NextIsTheNextInTheSetAndTheLastHasNone) {
  vsan_set_t set = {kVsanSetBytes, {}};
  for (const uint32_t vsan : {0U, 7U, 8U, 4095U}) {
    set.bits[vsan / 8] |= static_cast<uint8_t>(1U << vsan % 8);
  }
  std::vector<uint32_t> found;
  uint32_t vsan = 0;
  while (snmp_get_next_allowed_vsan_in_list(&vsan, &set)) {
    found.push_back(vsan);
  }
  EXPECT_EQ(found, (std::vector<uint32_t>{7, 8, 4095}));
  EXPECT_EQ(vsan, 4095U);
  for (const uint32_t beyond : {4095U, 4096U, UINT32_MAX}) {
    vsan = beyond;
    EXPECT_EQ(snmp_get_next_allowed_vsan_in_list(&vsan, &set), 0);
    EXPECT_EQ(vsan, beyond);
  }
  EXPECT_NE(snmp_is_vsan_allowed_in_list(0, &set), 0);
  EXPECT_NE(snmp_is_vsan_allowed_in_list(4095, &set), 0);
  EXPECT_EQ(snmp_is_vsan_allowed_in_list(9, &set), 0);
  EXPECT_EQ(snmp_is_vsan_allowed_in_list(4096, &set), 0);
  EXPECT_EQ(snmp_is_vsan_allowed_in_list(UINT32_MAX, &set), 0);
}

TEST(BuildVarbind, AppendsCopiesAndKeepsTheHead) {
  const oid first[] = {1, 3, 6, 1};
  const oid second[] = {1, 3, 6, 2, 9};
  uint32_t number = 42;
  netsnmp_variable_list *list = build_varbind(nullptr, &number, ASN_INTEGER, sizeof number, first, 4);
  ASSERT_NE(list, nullptr);
  number = 0;
  EXPECT_EQ(build_varbind(list, "name", ASN_OCTET_STR, 4, second, 5), list);
  EXPECT_EQ(*list->val.integer, 42);
  EXPECT_EQ(list->name_length, 4U);
  const netsnmp_variable_list *next = list->next_variable;
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(next->val.string), next->val_len), "name");
  EXPECT_EQ(next->name[4], 9U);
  EXPECT_EQ(next->next_variable, nullptr);
  snmp_free_varbind(list);
}

}  // namespace
