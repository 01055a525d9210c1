// The VSAN manager's enumerations, both ways.
#include <gtest/gtest.h>

#include <span>

#include "module_test.h"

namespace {

// The tables as the VSAN manager has them.
struct named {
  int value;
  const char *name;
};
constexpr named kVsanAttrKey[] = {{0, "VSAN_ATTR_VSAN_NAME"},
                                  {1, "VSAN_ATTR_STATE"},
                                  {2, "VSAN_ATTR_MEDIA"},
                                  {3, "VSAN_ATTR_IN_ORDER_DELIVERY"},
                                  {4, "VSAN_ATTR_MTU"},
                                  {5, "VSAN_ATTR_LOADBALANCING_METHOD"},
                                  {6, "VSAN_ATTR_SWITCH_WWN"},
                                  {7, "VSAN_ATTR_E_D_TOV"},
                                  {8, "VSAN_ATTR_R_A_TOV"},
                                  {9, "VSAN_ATTR_D_S_TOV"},
                                  {10, "VSAN_ATTR_F_S_TOV"},
                                  {11, "VSAN_ATTR_MAX_VSAN"},
                                  {12, "VSAN_ATTR_DEFAULT_VSAN"},
                                  {13, "VSAN_ATTR_RESERVED_VSAN"},
                                  {14, "VSAN_ATTR_ZOL_REVISION"},
                                  {15, "VSAN_ATTR_ZOL_CHECKSUM"},
                                  {16, "VSAN_ATTR_IN_USE_VSANS"},
                                  {17, "VSAN_ATTR_SWITCH_LATENCY"},
                                  {18, "VSAN_ATTR_NETWORK_LATENCY"},
                                  {19, "VSAN_ATTR_OPER_STATE"},
                                  {20, "VSAN_ATTR_OPER_STATE_RECORD"},
                                  {21, "VSAN_ATTR_MAX_RECV_BUFFER_SIZE"},
                                  {22, "VSAN_ATTR_FC_CLASSES_SUPPORTED"},
                                  {23, "VSAN_ATTR_INTEROP_MODE"},
                                  {24, "VSAN_ATTR_INTEROP_MODE_VALUE"},
                                  {25, "VSAN_ATTR_INORDER_CONFIG_LOCK"},
                                  {26, "VSAN_ATTR_IGNORE_ISCSI_INTERFACE"},
                                  {27, "VSAN_ATTR_KDX_DIST_ENABLED"},
                                  {28, "VSAN_ATTR_KDX_SESSION_HANDLE"},
                                  {29, "VSAN_ATTR_KDX_SESSION_USER"},
                                  {30, "VSAN_NUM_ATTR_KEY"},
                                  {31, "VSAN_MGR_PSS_KEY_TYPE_TRAPNOTIFY"}};
constexpr named kVsanMedia[] = {
    {0, "VSAN_MEDIA_VALUE_NOT_SET"}, {1, "VSAN_MEDIA_FIBRE_CHANNEL"}, {2, "VSAN_MEDIA_ETHERNET"}};
constexpr named kVsanLoadbalancingMethod[] = {
    {0, "VSAN_LOADBALANCING_VALUE_NOT_SET"}, {1, "VSAN_CONSIDER_SRCID_DSTID"}, {2, "VSAN_CONSIDER_SRCID_DSTID_OXID"}};
constexpr named kVsanState[] = {{0, "VSAN_STATE_VALUE_NOT_SET"},
                                {1, "VSAN_ACTIVE"},
                                {2, "VSAN_SUSPENDED"},
                                {3, "VSAN_NONCONFIGURED"},
                                {4, "VSAN_CONFIGURED"}};
constexpr named kVsanOperState[] = {
    {0, "VSAN_OPERSTATE_VALUE_NOT_SET"}, {1, "VSAN_OPER_STATE_UP"}, {2, "VSAN_OPER_STATE_DOWN"}};
constexpr named kVsanStateChange[] = {
    {0, "VSAN_STATE_NO_CHANGE"}, {1, "VSAN_ACTIVE_TO_NONACTIVE"}, {2, "VSAN_NONACTIVE_TO_ACTIVE"}};
constexpr named kPortMembershipUpdate[] = {{1, "VSAN_PORT_VSAN_UPDATE"},   {2, "VSAN_ALLOWED_LIST_OVERRIDE"},
                                           {3, "VSAN_ALLOWED_LIST_ADD"},   {4, "VSAN_ALLOWED_LIST_DELETE"},
                                           {5, "VSAN_MEMBERSHIP_INVALID"}, {6, "VSAN_MEMBERSHIP_VALID"},
                                           {7, "VSAN_DELETE_MEMBERSHIP"}};
constexpr named kIscsiVsanListOperation[] = {
    {1, "VSAN_LIST_OVERRIDE"}, {2, "VSAN_LIST_ADD"}, {3, "VSAN_LIST_DELETE"}, {4, "VSAN_LIST_PURGE"}};
constexpr named kVsanKdxState[] = {{100, "VSAN_KDX_INIT_STATE"},
                                   {101, "VSAN_KDX_LOCK_PENDING_STATE"},
                                   {102, "VSAN_KDX_LOCKED_STATE"},
                                   {103, "VSAN_KDX_DISTRIBUTE_STATE"},
                                   {104, "VSAN_KDX_COMMIT_STATE"},
                                   {105, "VSAN_KDX_UNLOCKED_STATE"},
                                   {106, "VSAN_KDX_REMOTE_PEER_LOCKED_STATE"},
                                   {107, "VSAN_COMMIT_WITH_NO_SESSION_STATE"}};
constexpr named kVsanKdxAttr[] = {
    {200, "VSAN_KDX_ATTR_LOCK_USER_NAME"}, {201, "VSAN_KDX_ATTR_CMD"}, {202, "VSAN_KDX_LOCK_HANDLE"}};

struct lookup {
  const char *(*find)(int);
  int (*str2enum)(const char *);
  std::span<const named> table;
};
constexpr lookup kLookups[] = {
    {__vsan_attr_key_t_find, __vsan_attr_key_t_str2enum, kVsanAttrKey},
    {__vsan_media_t_find, __vsan_media_t_str2enum, kVsanMedia},
    {__vsan_loadbalancing_method_t_find, __vsan_loadbalancing_method_t_str2enum, kVsanLoadbalancingMethod},
    {__vsan_state_t_find, __vsan_state_t_str2enum, kVsanState},
    {__vsan_oper_state_t_find, __vsan_oper_state_t_str2enum, kVsanOperState},
    {__vsan_state_change_t_find, __vsan_state_change_t_str2enum, kVsanStateChange},
    {__port_membership_update_t_find, __port_membership_update_t_str2enum, kPortMembershipUpdate},
    {__iscsi_vsan_list_operation_t_find, __iscsi_vsan_list_operation_t_str2enum, kIscsiVsanListOperation},
    {__vsan_kdx_state_t_find, __vsan_kdx_state_t_str2enum, kVsanKdxState},
    {__vsan_kdx_attr_t_find, __vsan_kdx_attr_t_str2enum, kVsanKdxAttr},
};

TEST(Enums, EveryValueOfEveryTableIsFoundBothWays) {
  for (const lookup &each : kLookups) {
    for (const named &row : each.table) {
      EXPECT_STREQ(each.find(row.value), row.name);
      EXPECT_EQ(each.str2enum(row.name), row.value);
    }
  }
}

TEST(Enums, ValuesOutsideATableHaveNoName) {
  for (const lookup &each : kLookups) {
    EXPECT_EQ(each.find(each.table.front().value - 1), nullptr) << each.table.front().name;
    EXPECT_EQ(each.find(each.table.back().value + 1), nullptr) << each.table.front().name;
  }
  EXPECT_EQ(__port_membership_update_t_find(0), nullptr) << "the terminator is no entry";
}

TEST(Enums, NamesMatchWithoutCaseAndUnknownOnesGiveZero) {
  EXPECT_EQ(__vsan_state_t_str2enum("vsan_active"), 1);
  EXPECT_EQ(__vsan_kdx_attr_t_str2enum("vsan_kdx_lock_handle"), 202);
  for (const lookup &each : kLookups) {
    EXPECT_EQ(each.str2enum("NO_SUCH_NAME"), 0);
    EXPECT_EQ(each.str2enum(""), 0);
    EXPECT_EQ(each.str2enum(nullptr), 0);
  }
}

}  // namespace
