// Notifications into traps, and their control.
#include <errno.h>
#include <string.h>

#include <string>

#include "module_test.h"

namespace {

using namespace mib;
using namespace std::string_literals;

// The switch's name as the faked identity service gives it.
const std::string kWwn = "\x20\x00\x00\x0d\xec\x01\x02\x03"s;

// The handlers keep the switch's name for the module's life, so that what follows from its absence comes first.
class Notifications : public ModuleTest {};

struct trap {
  std::vector<varbind> varbinds;
  name_t name;
  int send = -1;
};

trap call(notification_handler_t handler, fake::message *message) {
  oid name[MAX_OID_LEN] = {};
  size_t length = 77;
  trap t;
  netsnmp_variable_list *list = handler(message, name, &length, &t.send);
  for (const netsnmp_variable_list *v = list; v != nullptr; v = v->next_variable) {
    t.varbinds.push_back(from_library(*v));
  }
  if (list != nullptr) {
    t.name.assign(name, name + length);
  } else {
    EXPECT_EQ(length, 77u) << "written only when a trap is built";
    EXPECT_EQ(name[0], 0u);
  }
  snmp_free_varbind(list);
  return t;
}

fake::message membership(const char *hex) {
  return {fake::to_hex_bytes(hex)};
}

// VSAN 300, created, `first`, then attributes.
fake::message change(const std::string &attributes, const char *first = "00000000") {
  return {fake::to_hex_bytes("0000012c 00000001 " + std::string(first) + attributes)};
}
constexpr const char *kState = "00000001 00000002";
constexpr const char *kOper = "00000013 00000001";

TEST_F(Notifications, MembershipTrapIsNotSentWhileTheSwitchsNameIsUnknownAndAsksAgainNextTime) {
  fake::message m = membership("00000064 00000000 0000012c");
  const fake::reply failures[] = {
      {-1, ETIMEDOUT, {}, {}}, {5, 0, fake::bytes(8, 1), {}}, {0, 0, {}, {}}, {0, 0, fake::bytes(7, 1), {}}};
  for (const fake::reply &reply : failures) {
    fake::the().overrule = [&](const fake::exchange &) { return reply; };
    const trap t = call(handle_port_memb_change_notifications, &m);
    EXPECT_EQ(t.send, 0);
    EXPECT_TRUE(t.varbinds.empty());
  }
  EXPECT_EQ(fake::the().sent(1282).size(), 4u) << "asked again each time";

  // An all-zero name counts as unknown.
  fake::the().overrule = [&](const fake::exchange &) { return fake::reply{0, 0, fake::bytes(8, 0), {}}; };
  call(handle_port_memb_change_notifications, &m);
  call(handle_port_memb_change_notifications, &m);
  EXPECT_EQ(fake::the().sent(1282).size(), 6u);

  // Asked for even without a message.
  fake::the().overrule = nullptr;
  EXPECT_EQ(call(handle_port_memb_change_notifications, nullptr).send, 0);
  ASSERT_EQ(fake::the().sent(1282).size(), 7u);
  const fake::exchange e = fake::the().sent(1282).back();
  EXPECT_EQ(e.msg_type, 1);
  EXPECT_FALSE(e.has_request);
  EXPECT_EQ(e.size, 0u);
  EXPECT_TRUE(e.wants_response);
  EXPECT_EQ(e.user, "operator");
  EXPECT_EQ(e.session, "session-1");
  EXPECT_EQ(e.service, 46);
  EXPECT_EQ(e.timeout, 4);

  // Known from here on, and kept.
  fake::the().wwn = fake::bytes(8, 0xff);
  const trap t = call(handle_port_memb_change_notifications, &m);
  EXPECT_EQ(t.send, 1);
  EXPECT_EQ(t.varbinds[0].octets, kWwn);
  EXPECT_EQ(fake::the().sent(1282).size(), 7u);
}

class MembershipTrap : public Notifications {
 protected:
  void SetUp() override {
    Notifications::SetUp();
    call(handle_port_memb_change_notifications, nullptr);
  }
};

TEST_F(MembershipTrap, VarbindsAreTheSwitchTheInterfaceAndTheVsan) {
  fake::message m = membership("00000064 ffffffff 0000012c");
  const trap t = call(handle_port_memb_change_notifications, &m);
  EXPECT_EQ(t.send, 1);
  EXPECT_EQ(t.name, membership_change());
  const std::vector<varbind> expected = {octets(switch_wwn(), kWwn), integer({1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 100}, 100),
                                         integer(notified_vsan(), 300)};
  EXPECT_EQ(t.varbinds, expected);
}

TEST_F(MembershipTrap, TruncatedPayloadsSendNoTrap) {
  const fake::message whole = membership("00000064 00000000 0000012c");
  for (size_t size = 0; size < 12; ++size) {
    fake::message m = {fake::bytes(whole.payload.begin(), whole.payload.begin() + static_cast<long>(size))};
    const trap t = call(handle_port_memb_change_notifications, &m);
    EXPECT_EQ(t.send, 0) << size;
    EXPECT_TRUE(t.varbinds.empty()) << size;
  }
}

TEST_F(MembershipTrap, ATrapThatCannotBeBuiltIsNotSent) {
  fake::message m = membership("00000064 00000000 0000012c");
  for (int nth = 1; nth <= 4; ++nth) {
    fake::the().failable_calls = 0;
    fake::the().fail_at = nth;
    EXPECT_EQ(call(handle_port_memb_change_notifications, &m).send, 0) << nth;
  }
}

TEST_F(Notifications, StatusTrapsVarbindsAreTheVsanItsAdminAndItsOperState) {
  fake::message m = change(std::string(kState) + kOper);
  const trap t = call(handle_notifications, &m);
  EXPECT_EQ(t.send, 1);
  EXPECT_EQ(t.name, status_change());
  const std::vector<varbind> expected = {integer(notified_vsan(), 300), integer(vsan_cell(kAdminState, 300), 2),
                                         integer(vsan_cell(kOperState, 300), 1)};
  EXPECT_EQ(t.varbinds, expected);
  EXPECT_TRUE(fake::the().traced("handle_notifications(#)Vsan_id:300  is_vsan_created:1\n"));
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(Notifications, StatusTrapIsSentAlsoForAChangeThatIsMarkedAsNotShown) {
  fake::message m = change(std::string(kState) + kOper, "00000001");
  EXPECT_EQ(call(handle_notifications, &m).send, 1);
}

TEST_F(Notifications, StatusTrapWithoutEitherStateIsNotSent) {
  fake::message without_oper = change(kState), without_state = change(kOper), with_neither = change("");
  for (fake::message *m : {&without_oper, &without_state, &with_neither}) {
    const trap t = call(handle_notifications, m);
    EXPECT_EQ(t.send, 0);
    EXPECT_TRUE(t.varbinds.empty());
  }
}

TEST_F(Notifications, StatusTrapOfNoMessageOrATruncatedOneIsNotSent) {
  EXPECT_EQ(call(handle_notifications, nullptr).send, 0);
  const fake::message whole = change(std::string(kState) + kOper);
  for (size_t size = 0; size < whole.payload.size(); ++size) {
    fake::message m = {fake::bytes(whole.payload.begin(), whole.payload.begin() + static_cast<long>(size))};
    EXPECT_EQ(call(handle_notifications, &m).send, 0) << size;
  }
}

TEST_F(Notifications, StatusTrapFailsWithAnyPlatformCall) {
  fake::message m = change(std::string(kState) + kOper);
  for (int nth = 1; nth <= 7; ++nth) {
    fake::the().failable_calls = 0;
    fake::the().fail_at = nth;
    EXPECT_EQ(call(handle_notifications, &m).send, 0) << nth;
  }
  fake::the().failable_calls = 0;
  fake::the().fail_at = 8;
  EXPECT_EQ(call(handle_notifications, &m).send, 1);
}

int control(int action, int32_t value, u_char type = ASN_INTEGER, size_t length = 4) {
  return mini::phase_raw(write_vsanNotificationCntl, action, root({1, 1, 5, 0}), type, mini::word(value), length);
}

TEST_F(Notifications, ControlAccepts1And2AndRefusesOthers) {
  EXPECT_EQ(control(RESERVE1, 1), 0);
  EXPECT_EQ(control(RESERVE1, 2), 0);
  for (int32_t value : {0, 3, -1, 258}) {
    EXPECT_EQ(control(RESERVE1, value), SNMP_ERR_WRONGVALUE) << value;
  }
  EXPECT_EQ(control(RESERVE1, 1, ASN_INTEGER, 0), 0) << "a length of 0 passes";
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(Notifications, ControlRefusesTypeAndLengthOnStandardError) {
  capture();
  EXPECT_EQ(control(RESERVE1, 1, ASN_UNSIGNED), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(captured(), "write to vsanNotificationCntl not ASN_INTEGER\n");
  capture();
  EXPECT_EQ(control(RESERVE1, 1, ASN_INTEGER, 5), SNMP_ERR_WRONGLENGTH);
  EXPECT_EQ(captured(), "write to vsanNotificationCntl: bad length\n");
}

TEST_F(Notifications, ControlSends1WhicheverValueWasWritten) {
  for (int32_t value : {1, 2}) {
    EXPECT_EQ(control(ACTION, value), 0);
    const fake::exchange e = fake::the().exchanges.back();
    EXPECT_EQ(e.opcode, 8018);
    EXPECT_EQ(e.msg_type, 3);
    EXPECT_EQ(fake::hex(e.request), "00000001");
    EXPECT_EQ(e.size, 4u);
    EXPECT_FALSE(e.wants_response);
    EXPECT_FALSE(e.user.has_value());
    EXPECT_FALSE(e.session.has_value());
    EXPECT_EQ(e.service, 15);
    EXPECT_EQ(e.timeout, 0);
  }
}

TEST_F(Notifications, ControlThatIsNotTakenIsGenErrAndTraced) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{77, 0, {}, {}}; };
  EXPECT_EQ(control(ACTION, 1), SNMP_ERR_GENERR);
  ASSERT_EQ(fake::the().history.size(), 1u);
  EXPECT_EQ(fake::the().history[0].second.rfind("****Ret_Value:77 [", 0), 0u);
  EXPECT_NE(fake::the().history[0].second.find("(vsan_trap_vsan_set)]\n"), std::string::npos);
  EXPECT_EQ(vsan_trap_vsan_set(1), -1);
}

TEST_F(Notifications, ControlSendsTheGivenValueWhenCalledDirectly) {
  EXPECT_EQ(vsan_trap_vsan_set(2), 0);
  EXPECT_EQ(fake::hex(fake::the().exchanges.back().request), "00000002");
}

TEST_F(Notifications, ControlDoesNothingInOtherPhases) {
  for (int action : {RESERVE2, COMMIT, FREE, UNDO, 6}) {
    EXPECT_EQ(control(action, 1), 0);
  }
  EXPECT_TRUE(fake::the().exchanges.empty());
}

}  // namespace
