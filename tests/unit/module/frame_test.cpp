// Loading and unloading, dispatch, tracing, error mapping.
#include <string.h>

#include <algorithm>

#include "memory_ledger.h"
#include "module_frame/trace.h"
#include "module_test.h"
#include "objects/object_magic.h"

using namespace vsan_mib;

namespace {

using namespace mib;

class Frame : public ModuleTest {};

struct object {
  u_char magic;
  const char *suffix;
  u_char type;
  u_short access;
  FindVarMethod *find;
};

constexpr object kObjects[] = {
    {1, ".1.1.1", ASN_INTEGER, 1, get_vsan_mib},
    {2, ".1.1.2", ASN_TIMETICKS, 1, get_vsan_mib},
    {3, ".1.1.3.1.2", ASN_OCTET_STR, 2, get_vsanEntry},
    {4, ".1.1.3.1.3", ASN_INTEGER, 1, get_vsanEntry},
    {5, ".1.1.3.1.4", ASN_INTEGER, 2, get_vsanEntry},
    {6, ".1.1.3.1.5", ASN_GAUGE, 1, get_vsanEntry},
    {8, ".1.1.3.1.6", ASN_INTEGER, 2, get_vsanEntry},
    {10, ".1.1.3.1.8", ASN_INTEGER, 2, get_vsanEntry},
    {11, ".1.1.3.1.9", ASN_INTEGER, 2, get_vsanEntry},
    {12, ".1.1.3.1.10", ASN_INTEGER, 2, get_vsanEntry},
    {13, ".1.1.3.1.11", ASN_INTEGER, 2, get_vsanEntry},
    {14, ".1.1.3.1.12", ASN_GAUGE, 2, get_vsanEntry},
    {15, ".1.2.4", ASN_INTEGER, 1, get_vsan_mib},
    {16, ".1.2.5.1.1", ASN_INTEGER, 2, get_vsanIfEntry},
    {17, ".1.2.5.1.2", ASN_INTEGER, 1, get_vsanIfEntry},
    {30, ".1.2.8.1.1", ASN_INTEGER, 1, get_vsanMembershipSummaryEntry},
    {31, ".1.4.1", ASN_GAUGE, 2, get_vsan_mib},
    {32, ".1.4.2", ASN_GAUGE, 2, get_vsan_mib},
    {33, ".1.4.3", ASN_GAUGE, 1, get_vsan_mib},
    {34, ".1.4.4", ASN_GAUGE, 2, get_vsan_mib},
    {35, ".1.4.5", ASN_GAUGE, 2, get_vsan_mib},
    {36, ".1.4.6", ASN_GAUGE, 2, get_vsan_mib},
    {37, ".1.4.7", ASN_INTEGER, 2, get_vsan_mib},
    {38, ".1.4.8.1.1", ASN_OCTET_STR, 2, get_vsanFcTimerEntry},
    {39, ".1.4.8.1.2", ASN_GAUGE, 2, get_vsanFcTimerEntry},
    {40, ".1.4.8.1.3", ASN_GAUGE, 2, get_vsanFcTimerEntry},
    {41, ".1.4.8.1.4", ASN_GAUGE, 2, get_vsanFcTimerEntry},
    {42, ".1.4.8.1.5", ASN_GAUGE, 1, get_vsanFcTimerEntry},
};

TEST_F(Frame, ObjectTableHas28RowsAsManagersKnowThem) {
  ASSERT_EQ(std::size(kObjects), size_t{kVsanMibObjects});
  EXPECT_EQ(text(root()), ".1.3.6.1.4.1.32473.9.282");
  for (size_t i = 0; i < std::size(kObjects); ++i) {
    const struct variable7 &row = vsan_mib_variables[i];
    EXPECT_EQ(row.magic, kObjects[i].magic) << i;
    EXPECT_EQ(text(name_t(row.name, row.name + row.namelen)), kObjects[i].suffix) << i;
    EXPECT_EQ(row.type, kObjects[i].type) << i;
    EXPECT_EQ(row.acl, kObjects[i].access) << i;
    EXPECT_EQ(row.findVar, kObjects[i].find) << i;
  }
}

TEST_F(Frame, ObjectTableIsInOidOrder) {
  for (size_t i = 1; i < kVsanMibObjects; ++i) {
    const struct variable7 &a = vsan_mib_variables[i - 1];
    const struct variable7 &b = vsan_mib_variables[i];
    EXPECT_LT(snmp_oid_compare(a.name, a.namelen, b.name, b.namelen), 0) << i;
  }
}

// Every magic from 0 to 255 through each dispatch: which write method, and what is traced.
TEST_F(Frame, DispatchHandsOutTheWriteMethodOfEachMagicAndLeavesOthersUntouched) {
  const std::map<int, std::pair<WriteMethod *, const char *>> expected = {
      {3, {set_vsanName, "VSANNAME"}},
      {4, {set_vsanMediaType, "VSANNAME"}},
      {5, {set_vsanAdminState, "VSANADMINSTATE"}},
      {6, {set_vsanMtu, "VSANMTU"}},
      {8, {set_vsanLoadBalancingType, "VSANLOADBALANCINGTYPE"}},
      {11, {set_vsanRowStatus, "VSANROWSTATUS"}},
      {12, {set_vsanInterOperType, "VSANITEROPERYPE"}},
      {13, {set_vsanInorderDelivery, "VSANINORDERDELIVERY"}},
      {14, {set_vsanNetworkDropLatency, "VSANNETWORKDROPLATENCY"}},
  };
  WriteMethod *const untouched = write_vsanNotificationCntl;
  for (int magic = -1; magic < 256; ++magic) {
    fake::the().history.clear();
    WriteMethod *method = untouched;
    set_table_set_methods(magic, &method);
    const auto row = expected.find(magic);
    EXPECT_EQ(method, row == expected.end() ? untouched : row->second.first) << magic;
    ASSERT_EQ(fake::the().history.size(), row == expected.end() ? 0u : 1u) << magic;
    if (row != expected.end()) {
      EXPECT_TRUE(fake::the().traced(std::string("set_table_set_methods(#) set-method ") + row->second.second + " \n"));
    }
  }
}

TEST_F(Frame, DispatchOfInterfaceColumnsStoresNullForTheDenyList) {
  WriteMethod *method = set_vsanName;
  set_if_table_set_methods(16, &method);
  EXPECT_EQ(method, set_vsanIfVsan);
  set_if_table_set_methods(17, &method);
  EXPECT_EQ(method, nullptr);
  method = set_vsanName;
  set_if_table_set_methods(18, &method);
  EXPECT_EQ(method, set_vsanName);
  EXPECT_TRUE(fake::the().history.empty());
}

TEST_F(Frame, DispatchOfTimerColumnsLeavesTheReadOnlyOneUntouched) {
  WriteMethod *const expected[] = {set_vsanFcTimerForceFlag, set_vsanFcTimerRatov, set_vsanFcTimerEdtov,
                                   set_vsanFcTimerDstov};
  for (int magic = 38; magic <= 41; ++magic) {
    WriteMethod *method = nullptr;
    set_fctimer_table_set_methods(magic, &method);
    EXPECT_EQ(method, expected[magic - 38]) << magic;
  }
  WriteMethod *method = set_vsanName;
  set_fctimer_table_set_methods(42, &method);
  EXPECT_EQ(method, set_vsanName);
  EXPECT_TRUE(fake::the().history.empty());
}

TEST_F(Frame, ErrorMappingNamesAndInconsistency) {
  EXPECT_EQ(to_snmp_error_code(0x40190004, 3), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(to_snmp_error_code(0x40190001, 3), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(to_snmp_error_code(0x40190004, 1), SNMP_ERR_NOSUCHNAME);
  EXPECT_EQ(to_snmp_error_code(0x40190001, 4), SNMP_ERR_NOSUCHNAME);
  EXPECT_EQ(to_snmp_error_code(1, 3), SNMP_ERR_GENERR);
  EXPECT_EQ(to_snmp_error_code(-1, 3), SNMP_ERR_GENERR);
  EXPECT_EQ(to_snmp_error_code(0x4049002C, 3), SNMP_ERR_GENERR);
  EXPECT_EQ(to_snmp_error_code(0, 3), SNMP_ERR_NOERROR);
  EXPECT_EQ(fake::the().count_traced("to_snmp_error_code(#) \n"), 8u);
  EXPECT_EQ(fake::the().count_traced("to_snmp_error_code(#) ***Inconsistant Name! \n"), 4u);
}

TEST_F(Frame, TraceReachesDebugPrintWhileHistoryIsOffAndTheReverse) {
  fake::the().history_on = false;
  fake::the().debug_on = true;
  TRACE("%s(%d) one\n", "name", 5);
  EXPECT_TRUE(fake::the().history.empty());
  ASSERT_EQ(fake::the().debug.size(), 1u);
  EXPECT_EQ(fake::the().debug[0], "name(5) one\n");

  fake::the().history_on = true;
  fake::the().debug_on = false;
  TRACE_AT(100, "%s two\n", "name");
  ASSERT_EQ(fake::the().history.size(), 1u);
  EXPECT_EQ(fake::the().history[0], std::make_pair(100, std::string("name two\n")));
  EXPECT_EQ(fake::the().debug.size(), 1u);
}

TEST_F(Frame, TraceOfALongLineIsCutInTheHistoryAndWholeInTheDebugPrint) {
  fake::the().debug_on = true;
  const std::string line(700, 'x');
  TRACE("%s", line.c_str());
  EXPECT_EQ(fake::the().history[0].second, std::string(511, 'x'));
  EXPECT_EQ(fake::the().debug[0], line);
}

TEST_F(Frame, TraceFormatsNothingWhenNoSinkWantsTheLine) {
  fake::the().history_on = false;
  TRACE("%s", "unseen");
  EXPECT_TRUE(fake::the().history.empty());
  EXPECT_TRUE(fake::the().debug.empty());
}

TEST_F(Frame, TraceKeepsErrnoAcrossBothSinks) {
  fake::the().debug_on = true;
  errno = ETIMEDOUT;
  TRACE("%s", "line");
  EXPECT_EQ(errno, ETIMEDOUT);
}

// What the agent's registry knows under the root.
size_t registered_objects() {
  size_t count = 0;
  for (const struct variable7 &row : vsan_mib_variables) {
    name_t name = root();
    name.insert(name.end(), row.name, row.name + row.namelen);
    const netsnmp_subtree *subtree = netsnmp_subtree_find(name.data(), name.size(), nullptr, "");
    if (subtree != nullptr && subtree->reginfo != nullptr && subtree->reginfo->rootoid_len == name.size()) {
      ++count;
    }
  }
  return count;
}

class Loading : public LoadingTest {};

std::string output_of(void (*procedure)()) {
  testing::internal::CaptureStdout();
  procedure();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST_F(Loading, RegistersObjectsHandlersAndListsInThisOrder) {
  EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \nDEBUG : EXIT init_vsan_mib \n");
  EXPECT_EQ(registered_objects(), size_t{kVsanMibObjects});
  EXPECT_EQ(fake::the().calls,
            (std::vector<std::string>{"register_for_notification 145", "register_for_notification 102",
                                      "indxobj_create", "indxobj_create"}));
  EXPECT_EQ(fake::the().handlers[145], handle_notifications);
  EXPECT_EQ(fake::the().handlers[102], handle_port_memb_change_notifications);

  fake::the().calls.clear();
  EXPECT_EQ(output_of(deinit_vsan_mib), "DEBUG : ENTER deinit_vsan_mib \nDEBUG : EXIT deinit_vsan_mib \n");
  EXPECT_EQ(registered_objects(), 0u);
  EXPECT_EQ(fake::the().calls,
            (std::vector<std::string>{"indxobj_destroy", "indxobj_destroy", "unregister_for_notification 145",
                                      "unregister_for_notification 102"}));
}

TEST_F(Loading, UnloadingFreesTheRowsThatAPduLeftListed) {
  output_of(init_vsan_mib);
  fake::add_vsan(10);
  const varbind name = octets(vsan_cell(kName, 10), "left");
  EXPECT_EQ(mini::phase(set_vsanName, RESERVE2, name), 0);
  EXPECT_EQ(fake::not_given_back().rows, 2);
  output_of(deinit_vsan_mib);
  EXPECT_EQ(fake::not_given_back().rows, 0);
}

TEST_F(Loading, UnregistersTheRootAndEveryRow) {
  output_of(init_vsan_mib);
  fake::the().unregistered.clear();
  output_of(deinit_vsan_mib);
  ASSERT_EQ(fake::the().unregistered.size(), size_t{1 + kVsanMibObjects});
  EXPECT_EQ(fake::the().unregistered[0], root());
}

TEST_F(Loading, UnloadingAndLoadingAgainLeavesNothingBehind) {
  for (int i = 0; i < 50; ++i) {
    output_of(init_vsan_mib);
    ASSERT_EQ(registered_objects(), size_t{kVsanMibObjects}) << i;
    output_of(deinit_vsan_mib);
    ASSERT_EQ(registered_objects(), 0u) << i;
    ASSERT_EQ(vsanEntry_list.opaque[0], nullptr);
    ASSERT_EQ(vsanEntry_undo_list.opaque[0], nullptr);
    ASSERT_TRUE(fake::the().handlers.empty());
  }
}

TEST_F(Loading, UndoListThatCannotBeMadeUnregistersTheObjectsAndKeepsTheHandlers) {
  fake::the().fail_create_at = 1;
  EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \n");
  EXPECT_EQ(registered_objects(), 0u);
  EXPECT_EQ(fake::the().handlers.size(), 2u);
  EXPECT_EQ(std::count(fake::the().calls.begin(), fake::the().calls.end(), "indxobj_create"), 1);
  output_of(deinit_vsan_mib);
}

TEST_F(Loading, PendingListThatCannotBeMadeLeavesTheUndoListMade) {
  fake::the().fail_create_at = 2;
  EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \n");
  EXPECT_EQ(registered_objects(), 0u);
  EXPECT_NE(vsanEntry_undo_list.opaque[0], nullptr);
  EXPECT_EQ(vsanEntry_list.opaque[0], nullptr);
  output_of(deinit_vsan_mib);
  EXPECT_EQ(vsanEntry_undo_list.opaque[0], nullptr);
}

TEST_F(Loading, OnlyTwoIsSuccessOfListCreation) {
  for (int result : {0, 1, 3, -1}) {
    fake::the().list_created = result;
    EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \n") << result;
    EXPECT_EQ(registered_objects(), 0u) << result;
    output_of(deinit_vsan_mib);
  }
}

std::string debug_lines;
int keep_debug_line(int, int, void *message, void *) {
  debug_lines += static_cast<struct snmp_log_message *>(message)->msg;
  return 0;
}

TEST_F(Loading, FailedRegistrationIsToldOnlyWhileTheAgentDebugsAndStopsNothing) {
  output_of(init_vsan_mib);
  fake::the().calls.clear();
  // Every row is registered already: registering the table again fails.
  indxobj_destroy(&vsanEntry_list);
  indxobj_destroy(&vsanEntry_undo_list);
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, keep_debug_line, nullptr);
  debug_register_tokens("trace,register_mib");

  debug_lines.clear();
  EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \nDEBUG : EXIT init_vsan_mib \n");
  EXPECT_EQ(debug_lines.find("vsan_mib registration failed"), std::string::npos) << debug_lines;

  indxobj_destroy(&vsanEntry_list);
  indxobj_destroy(&vsanEntry_undo_list);
  debug_lines.clear();
  snmp_set_do_debugging(1);
  EXPECT_EQ(output_of(init_vsan_mib), "DEBUG : ENTER init_vsan_mib \nDEBUG : EXIT init_vsan_mib \n");
  snmp_set_do_debugging(0);
  EXPECT_NE(debug_lines.find("register_mib: vsan_mib registration failed\n"), std::string::npos) << debug_lines;
  EXPECT_NE(debug_lines.find("trace: init_vsan_mib(): "), std::string::npos) << debug_lines;
  EXPECT_NE(debug_lines.find("init_vsan_mib(): feature/vsan_manager/mib/vsan_mib, "), std::string::npos) << debug_lines;
  EXPECT_EQ(fake::the().handlers.size(), 2u);
  snmp_disable_calllog();
  output_of(deinit_vsan_mib);
}

}  // namespace
