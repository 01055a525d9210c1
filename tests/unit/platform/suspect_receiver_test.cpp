#include <gtest/gtest.h>

#include <chrono>

#include "client_call.h"
#include "fake_manager.h"
#include "private_dir.h"
#include "requests.h"

namespace {

void sleep_ms(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

TEST(SuspectReceiver, HungRequestTakesItsTimeoutAndTheNextOnesNoTime) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::hang, -1, -1, 0});
  call_result result;
  const long first = took_ms([&] { result = call("a"); });
  EXPECT_EQ(result.why, ETIMEDOUT);
  EXPECT_GE(first, 990);
  EXPECT_LT(first, 1500);
  const long more = took_ms([&] {
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(call("b").why, ETIMEDOUT);
    }
  });
  EXPECT_LT(more, 200);
  EXPECT_EQ(manager.counters().requests, 1U);
}

TEST(SuspectReceiver, IsAskedAgainAfterASecond) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::hang, -1, 1, 0});
  EXPECT_EQ(call("a").why, ETIMEDOUT);
  EXPECT_EQ(call("b").why, ETIMEDOUT);
  sleep_ms(1050);
  EXPECT_EQ(call("c").payload, "c");
}

TEST(SuspectReceiver, LateAnswerIsLifeAndIsDropped) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, -1, 1, 1200});
  EXPECT_EQ(call("late").why, ETIMEDOUT);
  EXPECT_EQ(call("refused").why, ETIMEDOUT);
  sleep_ms(400);  // less than the second of suspicion
  EXPECT_EQ(call("own answer").payload, "own answer");
  EXPECT_EQ(manager.seen().size(), 2U);
}

TEST(SuspectReceiver, LateAnswerDuringTheNextWaitIsNotTakenForItsAnswer) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, -1, 1, 2400});
  manager.add_fault({fault_kind::delay, -1, 1, 800});
  EXPECT_EQ(call("late").why, ETIMEDOUT);
  sleep_ms(1050);
  EXPECT_EQ(call("own answer", {.timeout = 3}).payload, "own answer");
}

TEST(SuspectReceiver, RestartedManagerIsNotSuspectAnyMore) {
  const private_dir dir;
  {
    fake_manager manager(dir.path);
    manager.add_fault({fault_kind::hang, -1, -1, 0});
    EXPECT_EQ(call("a").why, ETIMEDOUT);
  }
  fake_manager manager(dir.path);
  EXPECT_EQ(call("b").payload, "b");
}

TEST(SuspectReceiver, SuspicionIsOfOneReceiverOnly) {
  const private_dir dir;
  fake_manager hung(dir.path);
  fake_manager other(dir.path, kServicePortManager);
  hung.add_fault({fault_kind::hang, -1, -1, 0});
  EXPECT_EQ(call("a").why, ETIMEDOUT);
  EXPECT_EQ(call("b", {.service = kServicePortManager, .timeout = 5}).payload, "b");
  EXPECT_EQ(call("c").why, ETIMEDOUT);
}

}  // namespace
