// Before the extension was loaded, and after it was unloaded, its answers let everybody use every VSAN and interface.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <gtest/gtest.h>

#include "platform/agent.h"

extern "C" void init_switch_agent(void);
extern "C" void deinit_switch_agent(void);

namespace {

void expect_answers(int restricted, bool allowed) {
  const oid name[] = {1, 3, 6};
  vsan_set_t set = {kVsanSetBytes, {}};
  set.bits[1] = 4;
  EXPECT_EQ(snmp_get_allowed_vsans_subtree(&set, name, 3, 0xa0), restricted);
  EXPECT_EQ(snmp_is_vsan_allowed_in_list(10, &set) != 0, allowed) << "a set of nothing holds nothing";
  EXPECT_EQ(snmp_is_vsan_allowed_subtree(10, name, 3, 0xa0) != 0, allowed);
  EXPECT_EQ(intf_chk_vsan_role_allowed(16777216, 1, &set) == 0, allowed);
  EXPECT_EQ(intf_chk_vsan_role_allowed(16777216, 3, &set) == 0, allowed);
}

TEST(AnswersWithoutTheExtension, AreThoseForAUserWhoMayUseNothing) {
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE, "snmpd");
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
  expect_answers(1, false);
  init_switch_agent();
  expect_answers(0, true);
  deinit_switch_agent();
  expect_answers(1, false);
}

}  // namespace
