// The first membership traps were lost while the identity service did not answer: the notification was acknowledged,
// although the handler could make no trap.
#include "fabric_lab.h"
#include "fault_lab.h"

namespace {

using namespace fabric_lab;
using namespace set_lab;

constexpr int kSwitchWwn = 1282;

size_t membership_traps(const lab::lab &l) {
  const std::string text = lab::read_file(l.dir + "/traps.log");
  const std::string trap = ".1.3.6.1.4.1.32473.9.282.1.3.0.2";
  size_t count = 0;
  for (size_t at = text.find(trap); at != std::string::npos; at = text.find(trap, at + 1)) {
    ++count;
  }
  return count;
}

class MembershipTrap : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(MembershipTrap, IsSentOnceTheIdentityServiceAnswers) {
  lab::lab l;
  lab::start(l, {.traps = true});
  std::vector<std::string> words = GetParam();
  words.insert(words.end(), {"--service", "identity"});
  fault_lab::fault(l, words, kSwitchWwn);
  snmp::client c(l, snmp::community("private"), 30);
  EXPECT_DONE(snmp::set(c, {move(kFc4, 10)}));
  EXPECT_DONE(snmp::set(c, {move(kFc4, 20)}));
  EXPECT_TRUE(lab::wait_until([&] { return membership_traps(l) == 2; }, 30)) << lab::read_file(l.dir + "/agent.log");
  EXPECT_TRUE(lab::wait_until([&] {
    return lab::ctl(l, {"show", "notifications", "--json"}).output.find("\"queued\":0") != std::string::npos ||
           lab::ctl(l, {"show", "notifications", "--json"}).output.find("\"queued\": 0") != std::string::npos;
  }));
  EXPECT_EQ(membership_traps(l), 2u);
}

INSTANTIATE_TEST_SUITE_P(Faults, MembershipTrap,
                         ::testing::Values(std::vector<std::string>{"status", "1075380323", "--count", "3"},
                                           std::vector<std::string>{"drop", "--count", "2"},
                                           std::vector<std::string>{"short-answer", "7", "--count", "2"},
                                           std::vector<std::string>{"hang", "--count", "1"}));

}  // namespace
