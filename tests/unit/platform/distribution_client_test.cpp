// The distribution state where the shared page does not have it: asked of its service, once a PDU.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "client_call.h"
#include "distribution_records.h"
#include "fake_manager.h"
#include "platform/kdx.h"
#include "private_dir.h"
#include "record_words.h"
#include "requests.h"
#include "served_pdu_scope.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr int kPdu = 4711;

struct kdx_answer {
  int enabled;  // -1: not known
  int mode;
  bool operator==(const kdx_answer &other) const = default;
};

kdx_answer ask() {
  kdx_answer answer = {-1, -1};
  is_kdx_enabled("fctimer", &answer.enabled);
  get_kdx_show_run_mode("fctimer", &answer.mode);
  return answer;
}

constexpr kdx_answer kUnknown = {-1, -1};

// A switch whose page knows no state, as a fresh one, with a distribution service and a VSAN manager.
class DistributionClient : public ::testing::Test {
 protected:
  void SetUp() override {
    distribution.answer = [this](const message_request &, message_reply &reply) {
      ++asked;
      reply.status = status;
      reply.payload = record_bytes(state);
      reply.payload.resize(size);
    };
    platform_exchanges_of_pdu(++pdu);
  }
  void TearDown() override { platform_exchanges_of_pdu(0); }

  call_result read_timer() { return call("timer", {.opcode = kOpFcTimer}); }

  static inline int pdu = kPdu;
  const private_dir dir;
  distribution_status state = {1, 0, 0, 0, 0, {}};
  int status = 0;
  size_t size = sizeof(distribution_status);
  std::atomic<int> asked = 0;
  fake_manager distribution{dir.path, kServiceDistribution};
  fake_manager vsan_manager{dir.path};
};

TEST_F(DistributionClient, AsksOnceAPdu) {
  EXPECT_EQ(ask(), (kdx_answer{1, 0}));
  state.show_running = 1;
  EXPECT_EQ(ask(), (kdx_answer{1, 0})) << "what the PDU was told first holds for it";
  EXPECT_EQ(asked, 1);
  platform_exchanges_of_pdu(++pdu);
  EXPECT_EQ(ask(), (kdx_answer{1, 1}));
  EXPECT_EQ(asked, 2);
  const seen_request seen = distribution.seen().at(0);
  EXPECT_EQ(seen.opcode, kOpDistribution);
  EXPECT_EQ(seen.msg_type, kMsgGet);
  EXPECT_TRUE(seen.payload.empty());
}

TEST_F(DistributionClient, OutsideAPduAsksForEachPair) {
  platform_exchanges_of_pdu(0);
  for (uint32_t enabled = 0; enabled < 2; ++enabled) {
    state.enabled = enabled;
    EXPECT_EQ(ask(), (kdx_answer{static_cast<int>(enabled), 0}));
  }
  EXPECT_EQ(asked, 2);
}

TEST_F(DistributionClient, DoesNotAskWhileThePageKnows) {
  ASSERT_EQ(platform_kdx_publish("fctimer", 0, 1), 0);
  EXPECT_EQ(ask(), (kdx_answer{0, 1}));
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(read_timer().status, 0);
}

// Such as one that was left by a switch that is gone, where the sockets are another's now.
TEST_F(DistributionClient, AsksWhileThePageIsOfAnotherProcessThanTheOneThatAnswers) {
  const pid_t other = fork();
  if (other == 0) {
    _exit(platform_kdx_publish("fctimer", 0, 1) == 0 ? 0 : 1);
  }
  int ended = -1;
  ASSERT_EQ(waitpid(other, &ended, 0), other);
  ASSERT_EQ(ended, 0);
  EXPECT_EQ(ask(), (kdx_answer{1, 0}));
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(platform_page_is_of_another(), 1);
  ASSERT_EQ(platform_kdx_publish("fctimer", 0, 1), 0);
  EXPECT_EQ(ask(), (kdx_answer{0, 1}));
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(platform_page_is_of_another(), 0);
}

TEST_F(DistributionClient, AFailureIsForgottenOnceThePageKnows) {
  platform_exchanges_of_pdu(0);
  status = 0x40190004;
  EXPECT_EQ(ask(), kUnknown);
  EXPECT_EQ(read_timer().status, -1);
  ASSERT_EQ(platform_kdx_publish("fctimer", 0, 1), 0);
  EXPECT_EQ(ask(), (kdx_answer{0, 1}));
  EXPECT_EQ(read_timer().status, 0);
}

TEST_F(DistributionClient, AsksForAnApplicationThatIsDistributedOnly) {
  int enabled = 7;
  EXPECT_EQ(is_kdx_enabled("zone", &enabled), -1);
  EXPECT_EQ(enabled, 7);
  EXPECT_EQ(asked, 0);
}

TEST_F(DistributionClient, AsksWhereThereIsNoPage) {
  unlink((dir.path + "/switch.page").c_str());
  platform_page_close();
  EXPECT_EQ(ask(), (kdx_answer{1, 0}));
  EXPECT_EQ(asked, 1);
}

TEST_F(DistributionClient, AStatusInsteadOfTheStateRefusesTimersForThisPdu) {
  status = 0x40190004;
  EXPECT_EQ(ask(), kUnknown);
  EXPECT_EQ(read_timer().status, -1);
  EXPECT_EQ(read_timer().why, EPROTO);
  EXPECT_EQ(call("row").payload, "row") << "other objects are served";
  EXPECT_EQ(call("timer", {.opcode = kOpFcTimer, .wants_payload = false}).status, 0) << "writes go through";
  status = 0;
  EXPECT_EQ(ask(), kUnknown) << "one question a PDU";
  EXPECT_EQ(asked, 1);
  platform_exchanges_of_pdu(++pdu);
  EXPECT_EQ(ask(), (kdx_answer{1, 0}));
  EXPECT_EQ(read_timer().payload, "timer");
}

TEST_F(DistributionClient, AnAnswerOfAnotherSizeIsNone) {
  for (const size_t wrong : {sizeof(distribution_status) - 1, sizeof(distribution_status) + 1, size_t{0}}) {
    size = wrong;
    platform_exchanges_of_pdu(++pdu);
    EXPECT_EQ(ask(), kUnknown) << wrong;
    EXPECT_EQ(read_timer().why, EPROTO) << wrong;
  }
}

TEST_F(DistributionClient, AStatusThatIsNegativeIsNoStateEither) {
  status = -7;
  EXPECT_EQ(ask(), kUnknown);
  EXPECT_EQ(read_timer().why, EPROTO);
}

TEST_F(DistributionClient, OutsideAPduAFailureRefusesTimersUntilTheNextAnswer) {
  platform_exchanges_of_pdu(0);
  status = 1;
  EXPECT_EQ(ask(), kUnknown);
  EXPECT_EQ(read_timer().why, EPROTO);
  status = 0;
  EXPECT_EQ(ask(), (kdx_answer{1, 0}));
  EXPECT_EQ(read_timer().status, 0);
}

TEST_F(DistributionClient, AServiceThatHangsIsWaitedForOnceAPdu) {
  distribution.add_fault({fault_kind::hang, -1, -1, 0});
  const long first = took_ms([] { EXPECT_EQ(ask(), kUnknown); });
  EXPECT_GE(first, 3900);
  const long more = took_ms([&] {
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(ask(), kUnknown);
      EXPECT_EQ(read_timer().why, ETIMEDOUT);
    }
  });
  EXPECT_LT(more, 500);
  EXPECT_EQ(vsan_manager.counters().requests, 0U);
  EXPECT_EQ(call("row").payload, "row");
}

TEST(DistributionClientAlone, AServiceThatIsNotThereIsNotWaitedFor) {
  const private_dir dir;
  fake_manager vsan_manager(dir.path);
  platform_exchanges_of_pdu(1);
  EXPECT_LT(took_ms([] { EXPECT_EQ(ask(), kUnknown); }), 1000);
  EXPECT_EQ(call("timer", {.opcode = kOpFcTimer}).why, ENOENT);
  platform_exchanges_of_pdu(0);
}

}  // namespace
