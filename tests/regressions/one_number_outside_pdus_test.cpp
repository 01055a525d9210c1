// Outside a PDU every call got the same number, so that a row kept by it was never fetched again.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/agent.h"

namespace {

TEST(NumberOutsidePdus, IsAnotherOneEachTimeAndNeverAPdus) {
  std::set<int> seen;
  for (int i = 0; i < 1000; ++i) {
    const int number = get_pdu_reqid();
    EXPECT_LT(number, 0) << "a PDU's is positive";
    EXPECT_TRUE(seen.insert(number).second) << number;
  }
}

std::string logged;

int on_log(int, int, void *message, void *) {
  logged += static_cast<const snmp_log_message *>(message)->msg;
  return 0;
}

TEST(NumberOutsidePdus, IsStillZeroWhereErrorsAreKept) {
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_log, nullptr);
  log_set_error(1, 584);
  EXPECT_NE(logged.find("PDU 0: "), std::string::npos) << logged;
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_log, nullptr, 1);
}

}  // namespace
