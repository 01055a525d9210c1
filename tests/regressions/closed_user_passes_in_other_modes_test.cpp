// A closed user's request in a mode that is neither a read nor a phase of a SET was taken for a SET's later phase.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <gtest/gtest.h>

#include <initializer_list>

#include "served_pdu.h"
#include "switch_root.h"

namespace {

int served;

int count_served(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *,
                 netsnmp_request_info *) {
  ++served;
  return SNMP_ERR_NOERROR;
}

// Whether a request in this mode gets to the object behind the extension. Called as another handler would call it:
// the agent itself gives out no modes but the known ones.
bool passes(netsnmp_handler_registration *object, int mode) {
  netsnmp_variable_list value = {};
  netsnmp_request_info request = {};
  request.requestvb = &value;
  netsnmp_agent_request_info info = {};
  info.mode = mode;
  served = 0;
  netsnmp_call_handler(object->handler, object, &info, &request);
  netsnmp_free_request_data_sets(&request);
  return served != 0;
}

// The extension is mapped and not loaded: everybody is closed.
TEST(ClosedUser, PassesInTheLaterPhasesOfASetOnly) {
  const oid name[] = {SWITCH_ROOT, 1, 1, 1};
  setup_tree();
  netsnmp_handler_registration *object = netsnmp_create_handler_registration(
      "object", count_served, name, sizeof name / sizeof name[0], HANDLER_CAN_RWRITE);
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(netsnmp_register_handler(object), MIB_REGISTERED_OK);
  for (const int phase : {MODE_SET_RESERVE2, MODE_SET_ACTION, MODE_SET_COMMIT, MODE_SET_FREE, MODE_SET_UNDO}) {
    EXPECT_TRUE(passes(object, phase)) << phase;
  }
  for (const int mode : std::initializer_list<int>{MODE_GET, MODE_GETNEXT, MODE_GETBULK, MODE_SET_RESERVE1}) {
    EXPECT_FALSE(passes(object, mode)) << mode;
  }
  for (const int mode : {MODE_GET_STASH, MODE_SET_BEGIN, MODE_BSTEP_CHECK_VALUE, MODE_BSTEP_COMMIT, 1000}) {
    EXPECT_FALSE(passes(object, mode)) << mode;
  }
  EXPECT_EQ(netsnmp_unregister_handler(object), MIB_UNREGISTERED_OK);
}

}  // namespace
