#include "platform/port_manager.h"

#include <errno.h>
#include <gtest/gtest.h>

#include "fake_manager.h"
#include "port_records.h"
#include "private_dir.h"
#include "requests.h"
#include "statuses.h"

namespace {

struct membership {
  uint32_t vsan = 10;
  uint32_t interface = 7;
  uint8_t is_static = 9;
};

int ask(int operation, membership *pair) {
  return pm_cmi_get_active_vsan_port_membership(mts_response_q, operation, &pair->vsan, &pair->interface,
                                                &pair->is_static, "user", "session", 1);
}

TEST(PortManager, PairGoesAndComesBigEndian) {
  const private_dir dir;
  fake_manager manager(dir.path, kServicePortManager);
  manager.answer = [](const message_request &, message_reply &reply) {
    reply.payload = {0, 0, 0x0f, 0xfe, 0x01, 0x02, 0x03, 0x04, 1, 0, 0, 0};
  };
  membership pair;
  EXPECT_EQ(ask(2, &pair), 0);
  EXPECT_EQ(pair.vsan, 4094U);
  EXPECT_EQ(pair.interface, 0x01020304U);
  EXPECT_EQ(pair.is_static, 1);
  const seen_request seen = manager.seen().at(0);
  EXPECT_EQ(seen.opcode, kOpActiveMembership);
  EXPECT_EQ(seen.msg_type, 2);
  EXPECT_EQ(seen.payload, (std::vector<uint8_t>{0, 0, 0, 10, 0, 0, 0, 7, 0, 0, 0, 0}));
  EXPECT_EQ(seen.user, "user");
  EXPECT_EQ(seen.session, "session");
}

void expect_untouched(const membership &pair) {
  EXPECT_EQ(pair.vsan, 10U);
  EXPECT_EQ(pair.interface, 7U);
  EXPECT_EQ(pair.is_static, 9);
}

TEST(PortManager, StatusLeavesThePairAsItWas) {
  const private_dir dir;
  fake_manager manager(dir.path, kServicePortManager);
  manager.answer = [](const message_request &, message_reply &reply) {
    reply.status = kStatusEndOfMemberships;
    reply.payload.assign(sizeof(active_membership), 0xff);
  };
  membership pair;
  EXPECT_EQ(ask(2, &pair), kStatusEndOfMemberships);
  expect_untouched(pair);
}

TEST(PortManager, AnswerOfAnyOtherSizeIsEproto) {
  const private_dir dir;
  fake_manager manager(dir.path, kServicePortManager);
  for (const size_t size : {0U, 1U, 11U, 13U, 64U}) {
    manager.answer = [size](const message_request &, message_reply &reply) { reply.payload.assign(size, 0xff); };
    membership pair;
    EXPECT_EQ(ask(1, &pair), -1) << size;
    EXPECT_EQ(errno, EPROTO) << size;
    expect_untouched(pair);
  }
}

TEST(PortManager, NoPortManagerIsEnoent) {
  const private_dir dir;
  membership pair;
  EXPECT_EQ(ask(1, &pair), -1);
  EXPECT_EQ(errno, ENOENT);
  expect_untouched(pair);
}

}  // namespace
