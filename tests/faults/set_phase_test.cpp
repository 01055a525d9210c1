// The manager fails at the n-th message of one SET PDU, for every n: what the client is told, and what is
// in the store.
#include <chrono>
#include <thread>

#include "fault_lab.h"
#include "set_lab.h"

namespace {

using namespace set_lab;

constexpr unsigned long kServedOrder[] = {5, 20, 10};

// Three VSANs, in the order of which their rows are served: the name's column first.
std::vector<varbind> change() {
  return {name(5, "p5"), admin_state(10, 2), name(20, "p20")};
}
std::vector<varbind> change_back() {
  return {name(5, "five"), admin_state(10, 1), name(20, "twenty")};
}

// What the PDU costs: a row is looked up for each varbind, fetched for each VSAN, then sent for each.
constexpr unsigned kLookUps = 3, kFetches = 3, kSends = 3, kMessages = kLookUps + kFetches + kSends;
// The varbind that each of the three belongs to.
constexpr long kVarbindOf[] = {1, 3, 2};

class SetPhase : public SetTest {
 protected:
  void fault(const std::vector<std::string> &words) { fault_lab::fault(l, words); }
  void fault_at(unsigned n, const std::vector<std::string> &words) { fault_lab::fault_at(l, n, words); }
  void clear_faults() { fault_lab::clear_faults(l); }

  // Whether the three VSANs are as the PDU wants them.
  std::vector<bool> changed() {
    const std::string rows = lab::store_rows(l);
    return {rows.find("vsan 5|p5|") != std::string::npos, rows.find("vsan 20|p20|") != std::string::npos,
            rows.find("vsan 10|ten|1|2|") != std::string::npos};
  }
  // The lists are empty: the next PDU gathers its rows afresh, sends each once, and puts everything back.
  void expect_fresh_start(const std::string &original) {
    sent();
    EXPECT_DONE(set(change_back()));
    EXPECT_EQ(sent(), (rows{"SET 5 five", "SET 20 twenty", "SET 10 ten"}));
    EXPECT_EQ(lab::store_rows(l), original);
    EXPECT_TRUE(lab::is_running(l.snmpd));
  }
};

TEST_F(SetPhase, AMessageThatIsDroppedOrRefusedFailsItsOwnRowOnlyOnceRowsAreSentAndTheWholePduBefore) {
  const std::string original = lab::store_rows(l);
  for (const std::vector<std::string> &kind : {std::vector<std::string>{"drop"}, {"status", "1075380323"}}) {
    for (unsigned n = 1; n <= kMessages + 1; ++n) {
      SCOPED_TRACE(kind[0] + " at message " + std::to_string(n));
      fault_at(n, kind);
      const outcome got = outcome_of(set(change()));
      clear_faults();
      const bool looked_up = n <= kLookUps, past = n > kMessages;
      if (looked_up || past) {
        EXPECT_EQ(got, (outcome{kNoError, 0})) << "a row that is not found is not missed before it is fetched";
        EXPECT_EQ(changed(), (std::vector<bool>{true, true, true}));
      } else if (n <= kLookUps + kFetches) {
        EXPECT_EQ(got, (outcome{kGenErr, kVarbindOf[n - kLookUps - 1]}));
        EXPECT_EQ(lab::store_rows(l), original);
      } else {
        const size_t failed = n - kLookUps - kFetches - 1;
        std::vector<bool> expected = {true, true, true};
        expected[failed] = false;
        EXPECT_EQ(got, (outcome{kGenErr, kVarbindOf[failed]}));
        EXPECT_EQ(changed(), expected);
      }
      expect_fresh_start(original);
    }
  }
}

TEST_F(SetPhase, AShortAnswerFailsThePduWhereARowIsFetchedAndNotWhereOneIsSent) {
  const std::string original = lab::store_rows(l);
  for (unsigned n = 1; n <= kMessages; ++n) {
    SCOPED_TRACE("short answer at message " + std::to_string(n));
    fault_at(n, {"short-answer", "2627"});
    const outcome got = outcome_of(set(change()));
    clear_faults();
    const bool fetched = n > kLookUps && n <= kLookUps + kFetches;
    EXPECT_EQ(got, fetched ? (outcome{kGenErr, kVarbindOf[n - kLookUps - 1]}) : (outcome{kNoError, 0}));
    EXPECT_EQ(changed(), std::vector<bool>(3, !fetched));
    expect_fresh_start(original);
  }
}

TEST_F(SetPhase, ErrorsSayThatTheManagerDidNotAnswerAndWhy) {
  fault_at(kMessages, {"drop"});
  EXPECT_SET(set(change()), kGenErr, 2);
  const std::string errors = lab::ctl(l, {"show", "errors"}).output;
  EXPECT_NE(errors.find("no answer from the manager: Connection reset by peer"), std::string::npos) << errors;
}

// Creation: the name, another VSAN's name, then the row status.
std::vector<varbind> creation() {
  return {name(30, "n30"), name(5, "p5"), row_status(30, kCreateAndGo)};
}

TEST_F(SetPhase, AFailureAnywhereInACreationLeavesNoHalfVsan) {
  const std::string original = lab::store_rows(l);
  constexpr unsigned kFetchFive = 4, kSendFive = 5, kFetchThirty = 6, kSendThirty = 7;
  for (unsigned n = 1; n <= kSendThirty + 1; ++n) {
    SCOPED_TRACE("drop at message " + std::to_string(n));
    fault_at(n, {"drop"});
    const outcome got = outcome_of(set(creation()));
    clear_faults();
    const bool refused = n >= kFetchFive && n <= kSendThirty;
    EXPECT_EQ(got.status, refused ? kGenErr : kNoError);
    EXPECT_EQ(vsan_line(l, 30).empty(), refused);
    EXPECT_EQ(vsan_line(l, 5).rfind("vsan 5|p5|", 0) == 0, n != kFetchFive && n != kSendFive);
    if (n == kFetchThirty || n == kSendThirty) {
      EXPECT_EQ(got.index, 3);
    }
    if (!refused) {
      EXPECT_DONE(set({row_status(30, kDestroy)}));
    }
    expect_fresh_start(original);
  }
}

// Creation of a VSAN that is there, but was not seen when the PDU was checked.
TEST_F(SetPhase, ACreationThatFindsTheVsanInPlaceAfterAllLeavesIt) {
  const std::string original = lab::store_rows(l);
  fault_at(1, {"drop"});
  EXPECT_SET(set({row_status(10, kCreateAndGo)}), kInconsistentValue, 1);
  clear_faults();
  EXPECT_EQ(lab::store_rows(l), original);
  expect_fresh_start(original);
}

// The same, and the row cannot be fetched either.
TEST_F(SetPhase, ACreationThatNeverSawTheVsanDeletesNothing) {
  const std::string original = lab::store_rows(l);
  fault({"drop", "--count", "2"});
  EXPECT_SET(set({row_status(10, kCreateAndGo)}), kGenErr, 1);
  clear_faults();
  EXPECT_EQ(lab::store_rows(l), original);
  fault({"drop", "--count", "3"});
  EXPECT_SET(set({name(10, "other"), row_status(10, kCreateAndGo)}), kGenErr, 2);
  clear_faults();
  EXPECT_EQ(lab::store_rows(l), original);
  expect_fresh_start(original);
}

// A process that dies or stops between two messages.

class SetPhaseProcess : public SetPhase {
 protected:
  // Sends the PDU; while its n-th message is being answered, `strike` runs. The manager has acted on that message by
  // then.
  snmp::answer set_struck_at(unsigned n, const std::function<void()> &strike) {
    fault_at(n, {"delay", "3000"});
    snmp::answer answer;
    std::thread client([&] { answer = set(change()); });
    EXPECT_TRUE(lab::wait_until([&] {
      return lab::ctl(l, {"fault", "list"}).output.find("delay") == std::string::npos;
    }));
    strike();
    client.join();
    return answer;
  }
  // What the rows that were sent before the strike, and the one under way, come to.
  static std::vector<bool> sent_by(unsigned n) {
    std::vector<bool> out(3, false);
    for (unsigned i = 0; i < kSends; ++i) {
      out[i] = n > kLookUps + kFetches + i;
    }
    return out;
  }
};

TEST_F(SetPhaseProcess, ASwitchdThatDiesAtAnyMessageRefusesThePduAndKeepsWhatItHadActedOn) {
  const std::string original = lab::store_rows(l);
  for (const int signal : {SIGKILL, SIGTERM}) {
    for (unsigned n = 1; n <= kMessages; ++n) {
      SCOPED_TRACE("signal " + std::to_string(signal) + " at message " + std::to_string(n));
      const auto start = std::chrono::steady_clock::now();
      const snmp::answer answer = set_struck_at(n, [&] { lab::stop(l.switchd, signal); });
      EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.5)
          << "no manager is told at once";
      EXPECT_EQ(answer.status, kGenErr);
      EXPECT_EQ(changed(), sent_by(n));
      lab::start_switchd(l);
      expect_fresh_start(original);
    }
  }
}

TEST_F(SetPhaseProcess, ASwitchdRestartedAtAnyMessageLosesNothingItAcknowledgedAndMixesNoRows) {
  const std::string original = lab::store_rows(l);
  for (unsigned n = 1; n <= kMessages; ++n) {
    SCOPED_TRACE("restart at message " + std::to_string(n));
    const snmp::answer answer = set_struck_at(n, [&] {
      lab::stop(l.switchd, SIGKILL);
      lab::start_switchd(l);
    });
    const std::vector<bool> now = changed(), before = sent_by(n);
    for (size_t i = 0; i < now.size(); ++i) {
      if (before[i] || answer.status == kNoError) {
        EXPECT_TRUE(now[i]) << "VSAN " << kServedOrder[i];
      }
    }
    expect_fresh_start(original);
  }
}

TEST_F(SetPhaseProcess, ASwitchdStoppedInEachPhaseCostsOneTimeOutAndItsLateAnswersAreNobodys) {
  const std::string original = lab::store_rows(l);
  for (const unsigned n : {1u, kLookUps + 1, kLookUps + kFetches + 1}) {
    SCOPED_TRACE("stopped at message " + std::to_string(n));
    const auto start = std::chrono::steady_clock::now();
    const snmp::answer answer = set_struck_at(n, [&] { lab::signal(l.switchd, SIGSTOP); });
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 6.5);
    EXPECT_EQ(answer.status, kGenErr);
    lab::signal(l.switchd, SIGCONT);
    EXPECT_TRUE(lab::wait_until([&] { return get(vsan_cell(kRowStatus, 5)).type == 2; }, 3));
    EXPECT_EQ(changed(), sent_by(n)) << "nothing is sent again by itself";
    expect_fresh_start(original);
  }
}

TEST_F(SetPhaseProcess, AnAnswerThatComesAfterTheTimeOutIsNobodys) {
  const std::string original = lab::store_rows(l);
  fault_at(kLookUps + 1, {"delay", "4500"});
  EXPECT_EQ(set(change()).status, kGenErr);
  EXPECT_EQ(lab::store_rows(l), original);
  clear_faults();
  EXPECT_TRUE(lab::wait_until([&] { return get(vsan_cell(kName, 10)) == name(10, "ten"); }, 3));
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(get(vsan_cell(kName, 20)), name(20, "twenty"));
    EXPECT_EQ(get(vsan_cell(kName, 5)), name(5, "five"));
  }
  expect_fresh_start(original);
}

}  // namespace
