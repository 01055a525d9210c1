// The rule of who may see and move which interface.
#include "module_test.h"

namespace {

using namespace mib;

class Restriction : public ModuleTest {
 protected:
  int may(int mode, uint32_t vsan) {
    name_t name = if_vsan(42);
    return process_for_vsan_restriction(42, mode, vsan, name.data(), name.size(), mode == 1 ? 163 : 160);
  }
};

TEST_F(Restriction, AUserWhoIsNotRestrictedMayEverything) {
  EXPECT_EQ(may(1, 9), 0);
  EXPECT_EQ(may(3, 9), 0);
  EXPECT_EQ(fake::the().calls,
            (std::vector<std::string>{"snmp_get_allowed_vsans_subtree 163", "snmp_get_allowed_vsans_subtree 160"}));
}

TEST_F(Restriction, OnlyTheAnswerOneRestrictsAnInterface) {
  fake::the().restricted = true;
  fake::the().restricted_answer = 2;
  fake::the().interface_refusal = 77;
  EXPECT_EQ(may(1, 9), 0);
}

TEST_F(Restriction, TheRolesRefusalIsPassedOnUnchanged) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 77;
  EXPECT_EQ(may(3, 9), 77);
  EXPECT_EQ(may(1, 9), 77);
  EXPECT_TRUE(fake::the().set_errors.empty());
}

TEST_F(Restriction, AReadIsNotTestedForItsVsan) {
  fake::the().restricted = true;
  EXPECT_EQ(may(3, 9), 0);
}

TEST_F(Restriction, AWriteIsTestedForItsVsanAndItsRefusalLogged) {
  fake::the().restricted = true;
  fake::the().allowed = {8};
  EXPECT_EQ(may(1, 8), 0);
  EXPECT_EQ(may(1, 9), SNMP_ERR_GENERR);
  EXPECT_EQ(fake::the().calls.back(), "log_set_error");
  EXPECT_EQ(fake::the().set_errors, (std::vector<std::pair<int, int>>{{0x4049002C, 584}}));
}

}  // namespace
