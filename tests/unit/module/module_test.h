// The fixture of the module's unit tests: a fresh faked platform and made set lists.
#ifndef TESTS_UNIT_MODULE_MODULE_TEST_H
#define TESTS_UNIT_MODULE_MODULE_TEST_H

#include <gtest/gtest.h>

#include "fake_platform.h"
#include "mini_agent.h"
#include "vsan_table_write/row_lists.h"

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake::reset();
    mini::make_set_lists();
    fake::the().calls.clear();
    fake::the().failable_calls = 0;
  }
  void TearDown() override {
    drop_refused();
    EXPECT_EQ(fake::listed(vsanEntry_list), 0u) << "a pending row outlived its PDU";
    EXPECT_EQ(fake::listed(vsanEntry_undo_list), 0u) << "a saved row outlived its PDU";
    indxobj_destroy(&vsanEntry_list);
    indxobj_destroy(&vsanEntry_undo_list);
  }

  // Drops the rows that columns of refused PDUs left listed, as the next PDU of their VSANs does.
  static void drop_refused() {
    for (oid vsan = 0; vsan < 4096; ++vsan) {
      const mib::name_t name = mib::vsan_cell(mib::kName, vsan);
      vsan_mib::forget_finished_pdu(name.data(), name.size());
    }
  }

  // What every read asks for: an answer within 4 s, for no user in particular.
  static void expect_read(const fake::exchange &e) {
    EXPECT_TRUE(e.wants_response);
    EXPECT_FALSE(e.user.has_value());
    EXPECT_FALSE(e.session.has_value());
    EXPECT_EQ(e.service, 15);
    EXPECT_EQ(e.queue, mts_response_q);
    EXPECT_EQ(e.timeout, 4);
  }

  // Standard error as written since.
  static void capture() { testing::internal::CaptureStderr(); }
  static std::string captured() { return testing::internal::GetCapturedStderr(); }
};

// Loading runs against the agent's real registry.
class LoadingTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    snmp_disable_log();
    init_agent("vsan_mib_test");
  }
  void SetUp() override { fake::reset(); }
};

#endif
