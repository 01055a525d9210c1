// Writes that put back what a refused PDU changed, and the one time-out of a PDU.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>

#include "client_call.h"
#include "fake_manager.h"
#include "private_dir.h"
#include "repairs.h"
#include "requests.h"
#include "served_pdu_scope.h"

namespace {

struct ended {
  std::string payload;
  int status;
  int why;
  int late;
  bool operator==(const ended &other) const = default;
};
std::vector<ended> reports;

void note(const platform_repair_outcome *outcome) {
  reports.push_back({std::string(reinterpret_cast<const char *>(outcome->payload), outcome->size), outcome->status,
                     outcome->why, outcome->late});
}

class Repair : public ::testing::Test {
 protected:
  void SetUp() override { reports.clear(); }
  void TearDown() override { platform_repairs_abandon(note); }
  static call_result repair(const std::string &payload, call_options options = {}) {
    options.wants_payload = false;
    platform_repairs_begin();
    const call_result result = call(payload, options);
    platform_repairs_end();
    return result;
  }
  // Turns until nothing is under way, three seconds at most.
  static bool turned_out() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (platform_repairs_turn(note) > 0) {
      if (std::chrono::steady_clock::now() > end) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }
  static std::vector<std::string> payloads(fake_manager &manager) {
    std::vector<std::string> out;
    for (const seen_request &each : manager.seen()) {
      out.emplace_back(each.payload.begin(), each.payload.end());
    }
    return out;
  }

  const private_dir dir;
};

TEST_F(Repair, IsWaitedForLikeAnyWriteWhileTheReceiverIsWell) {
  fake_manager manager(dir.path);
  EXPECT_EQ(repair("a").status, 0);
  manager.answer = [](const message_request &, message_reply &reply) { reply.status = 77; };
  EXPECT_EQ(repair("b", {.user = "u", .session = "s"}).status, 77);
  EXPECT_EQ(platform_repairs_turn(note), 0);
  EXPECT_EQ(reports, (std::vector<ended>{{"a", 0, 0, 0}, {"b", 77, 0, 0}}));
  EXPECT_EQ(manager.seen()[1].user, "u");
}

TEST_F(Repair, IsSentInOrderWithoutWaitingWhileTheReceiverIsSuspect) {
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::hang, -1, 1, 0});
  // Late enough that no answer shows life while the repairs are made.
  manager.add_fault({fault_kind::delay, -1, 3, 1000});
  EXPECT_EQ(call("hangs").why, ETIMEDOUT);
  const long took = took_ms([] {
    for (const char *payload : {"a", "b", "c"}) {
      EXPECT_EQ(repair(payload).why, ETIMEDOUT);
    }
  });
  EXPECT_LT(took, 500);
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(payloads(manager), (std::vector<std::string>{"a", "b", "c"})) << "a request that hangs is not handled";
  EXPECT_EQ(reports, (std::vector<ended>{{"a", 0, 0, 1}, {"b", 0, 0, 1}, {"c", 0, 0, 1}}));
  EXPECT_EQ(call("life was shown").payload, "life was shown");
}

TEST_F(Repair, IsSentAheadOfEverythingElseWhenTheReceiverIsThereAgain) {
  EXPECT_EQ(repair("a").why, ENOENT);
  EXPECT_EQ(repair("b").why, ENOENT);
  EXPECT_EQ(platform_repairs_turn(note), 2);
  fake_manager manager(dir.path);
  EXPECT_EQ(call("c").payload, "c");
  EXPECT_EQ(payloads(manager), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(reports, (std::vector<ended>{{"a", 0, 0, 1}, {"b", 0, 0, 1}}));
}

TEST_F(Repair, GoesByItselfOnceTheReceiverIsThereAgain) {
  EXPECT_EQ(repair("a").why, ENOENT);
  fake_manager manager(dir.path);
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(payloads(manager), (std::vector<std::string>{"a"}));
}

TEST_F(Repair, WhoseConnectionEndedBeforeItsAnswerIsSentAgain) {
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::drop, -1, 1, 0});
  EXPECT_EQ(repair("a").why, ECONNRESET);
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(payloads(manager), (std::vector<std::string>{"a"}));
  EXPECT_EQ(reports, (std::vector<ended>{{"a", 0, 0, 1}}));
}

TEST_F(Repair, ThatIsRefusedLateIsReportedWithItsStatus) {
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, -1, 1, 1500});
  manager.answer = [](const message_request &, message_reply &reply) { reply.status = 78; };
  EXPECT_EQ(repair("a").why, ETIMEDOUT);
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(reports, (std::vector<ended>{{"a", 78, 0, 1}}));
}

TEST_F(Repair, ThatIsAbandonedIsReported) {
  EXPECT_EQ(repair("a").why, ENOENT);
  platform_repairs_abandon(note);
  EXPECT_EQ(reports, (std::vector<ended>{{"a", -1, ECANCELED, 1}}));
  EXPECT_EQ(platform_repairs_turn(note), 0);
}

TEST_F(Repair, OneTooManyIsRefusedAndReportedAndTheOthersGoOn) {
  for (int i = 0; i < 1024; ++i) {
    EXPECT_EQ(repair(std::to_string(i)).why, ENOENT);
  }
  EXPECT_EQ(repair("one too many").why, ENOBUFS);
  EXPECT_EQ(platform_repairs_turn(note), 1024);
  EXPECT_EQ(reports, (std::vector<ended>{{"one too many", -1, ENOBUFS, 0}}));
  fake_manager manager(dir.path);
  EXPECT_TRUE(turned_out());
  EXPECT_EQ(manager.seen().size(), 1024U);
}

TEST_F(Repair, AReadIsNoRepair) {
  platform_repairs_begin();
  EXPECT_EQ(call("a").why, ENOENT);
  platform_repairs_end();
  EXPECT_EQ(platform_repairs_turn(note), 0);
}

TEST_F(Repair, AChildKeepsNoneOfItsParents) {
  fake_manager manager(dir.path);
  call("connect");
  manager.add_fault({fault_kind::hang, -1, 1, 0});
  EXPECT_EQ(repair("a").why, ETIMEDOUT);
  const pid_t child = fork();
  if (child == 0) {
    _exit(platform_repairs_turn(note));
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(platform_repairs_turn(note), 1);
}

// The PDU at hand.

struct pdu_scope {
  explicit pdu_scope(int number) { platform_exchanges_of_pdu(number); }
  ~pdu_scope() { platform_exchanges_of_pdu(0); }
};

TEST_F(Repair, APduThatHadItsTimeOutGoesOnOnlyWithWhoAnswersPromptly) {
  fake_manager hung(dir.path);
  fake_manager well(dir.path, kServicePortManager);
  hung.add_fault({fault_kind::hang, -1, 1, 0});
  {
    const pdu_scope pdu(7);
    EXPECT_EQ(call("a").why, ETIMEDOUT);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_LT(took_ms([] { EXPECT_EQ(call("b").why, ETIMEDOUT); }), 500);
    EXPECT_EQ(call("c", {.service = kServicePortManager}).payload, "c");
    well.add_fault({fault_kind::delay, -1, 1, 900});
    EXPECT_LT(took_ms([] { EXPECT_EQ(call("d", {.service = kServicePortManager}).why, ETIMEDOUT); }), 800);
    EXPECT_LT(took_ms([] { EXPECT_EQ(call("e", {.service = kServicePortManager}).why, ETIMEDOUT); }), 100);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  }
  const pdu_scope next(8);
  EXPECT_EQ(call("f", {.service = kServicePortManager}).payload, "f");
  EXPECT_EQ(call("g").payload, "g");
}

TEST_F(Repair, OutsideAPduEachExchangeStandsForItself) {
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::hang, -1, 1, 0});
  EXPECT_EQ(call("a").why, ETIMEDOUT);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(call("b").payload, "b");
}

TEST_F(Repair, ExchangesAreCountedWhetherTheySucceedOrNot) {
  const unsigned before = platform_exchanges_begun();
  EXPECT_EQ(call("a").why, ENOENT);
  fake_manager manager(dir.path);
  EXPECT_EQ(call("b").payload, "b");
  EXPECT_EQ(platform_exchanges_begun() - before, 2U);
}

}  // namespace
