// With a second agent on the run directory, notifications go now to one of them, now to the other, and
// both logs fill.
#include "set_lab.h"

namespace {

using namespace set_lab;

class SecondAgent : public SetTest {
 protected:
  void SetUp() override {
    SetTest::SetUp();
    ASSERT_TRUE(lab::wait_until([&] { return text("switchd").find("are subscribed to") != std::string::npos; }));
    second = lab::launch({lab::agent_program(), "-f", "-C", "-c", l.dir + "/snmpd.conf", "-I", "-smux",
                          "--persistentDir=" + l.dir + "/second", "-Lf", l.dir + "/second.log",
                          "udp:127.0.0.1:" + std::to_string(lab::free_udp_port())},
                         l.dir + "/second-out.log", true);
  }
  void TearDown() override { lab::stop(second); }
  std::string text(const std::string &which) const {
    return lab::read_file(which == "switchd" ? l.switchd.log : l.dir + "/" + which + ".log");
  }
  static size_t count(const std::string &in, const std::string &words) {
    size_t times = 0;
    for (size_t at = 0; (at = in.find(words, at)) != std::string::npos; ++at) {
      ++times;
    }
    return times;
  }
  lab::process second;
};

TEST_F(SecondAgent, IsToldWhoHasThemOnceAndTakesOverWhenThatOneIsGone) {
  const std::string holder = "process " + std::to_string(l.snmpd.pid) + " of user ";
  EXPECT_TRUE(lab::wait_until([&] { return count(text("second"), holder) > 0; }, 20)) << text("second");
  EXPECT_TRUE(lab::wait_until([&] { return count(text("switchd"), holder) > 0; })) << text("switchd");
  lab::wait_until([] { return false; }, 3);  // it tries several times meanwhile
  EXPECT_EQ(count(text("second"), "no notifications for now"), 1u) << text("second");
  EXPECT_EQ(count(text("switchd"), "gets no notifications"), 1u) << text("switchd");
  EXPECT_EQ(count(text("switchd"), "are subscribed to"), 1u) << text("switchd");
  EXPECT_EQ(count(text("agent"), "no notifications for now"), 0u) << text("agent");
  lab::stop(l.snmpd, SIGKILL);
  EXPECT_TRUE(lab::wait_until([&] { return count(text("switchd"), "are subscribed to") == 2; }, 30));
  EXPECT_EQ(lab::ctl(l, {"vsan", "create", "40"}).status, 0);
  EXPECT_TRUE(lab::wait_until([&] { return count(text("second"), "notifications come again") == 1; }, 20));
}

}  // namespace
