#include <gtest/gtest.h>

#include "module_test.h"

namespace {

struct lookup {
  const char *(*find)(int);
  int (*str2enum)(const char *);
  int first;
  int last;
  const char *first_name;
  const char *last_name;
};

// Every enumeration's values are consecutive; the ends pin them.
constexpr lookup kLookups[] = {
    {__vsan_attr_key_t_find, __vsan_attr_key_t_str2enum, 0, 31, "VSAN_ATTR_VSAN_NAME",
     "VSAN_MGR_PSS_KEY_TYPE_TRAPNOTIFY"},
    {__vsan_media_t_find, __vsan_media_t_str2enum, 0, 2, "VSAN_MEDIA_VALUE_NOT_SET", "VSAN_MEDIA_ETHERNET"},
    {__vsan_loadbalancing_method_t_find, __vsan_loadbalancing_method_t_str2enum, 0, 2,
     "VSAN_LOADBALANCING_VALUE_NOT_SET", "VSAN_CONSIDER_SRCID_DSTID_OXID"},
    {__vsan_state_t_find, __vsan_state_t_str2enum, 0, 4, "VSAN_STATE_VALUE_NOT_SET", "VSAN_CONFIGURED"},
    {__vsan_oper_state_t_find, __vsan_oper_state_t_str2enum, 0, 2, "VSAN_OPERSTATE_VALUE_NOT_SET",
     "VSAN_OPER_STATE_DOWN"},
    {__vsan_state_change_t_find, __vsan_state_change_t_str2enum, 0, 2, "VSAN_STATE_NO_CHANGE",
     "VSAN_NONACTIVE_TO_ACTIVE"},
    {__port_membership_update_t_find, __port_membership_update_t_str2enum, 1, 7, "VSAN_PORT_VSAN_UPDATE",
     "VSAN_DELETE_MEMBERSHIP"},
    {__iscsi_vsan_list_operation_t_find, __iscsi_vsan_list_operation_t_str2enum, 1, 4, "VSAN_LIST_OVERRIDE",
     "VSAN_LIST_PURGE"},
    {__vsan_kdx_state_t_find, __vsan_kdx_state_t_str2enum, 100, 107, "VSAN_KDX_INIT_STATE",
     "VSAN_COMMIT_WITH_NO_SESSION_STATE"},
    {__vsan_kdx_attr_t_find, __vsan_kdx_attr_t_str2enum, 200, 202, "VSAN_KDX_ATTR_LOCK_USER_NAME",
     "VSAN_KDX_LOCK_HANDLE"},
};

TEST(Enums, EveryValueOfEveryTableIsFoundBothWays) {
  for (const lookup &row : kLookups) {
    EXPECT_STREQ(row.find(row.first), row.first_name);
    EXPECT_STREQ(row.find(row.last), row.last_name);
    for (int value = row.first; value <= row.last; ++value) {
      const char *name = row.find(value);
      ASSERT_NE(name, nullptr) << row.first_name << " " << value;
      EXPECT_EQ(row.str2enum(name), value) << name;
    }
  }
}

TEST(Enums, ValuesOutsideATableHaveNoName) {
  for (const lookup &row : kLookups) {
    EXPECT_EQ(row.find(row.first - 1), nullptr) << row.first_name;
    EXPECT_EQ(row.find(row.last + 1), nullptr) << row.first_name;
  }
  EXPECT_EQ(__port_membership_update_t_find(0), nullptr) << "the terminator is no entry";
  EXPECT_EQ(__vsan_state_t_find(5), nullptr);
}

TEST(Enums, NamesMatchWithoutCaseAndUnknownOnesGiveZero) {
  EXPECT_EQ(__vsan_state_t_str2enum("vsan_active"), 1);
  EXPECT_EQ(__vsan_kdx_attr_t_str2enum("vsan_kdx_lock_handle"), 202);
  for (const lookup &row : kLookups) {
    EXPECT_EQ(row.str2enum("NO_SUCH_NAME"), 0);
    EXPECT_EQ(row.str2enum(""), 0);
    EXPECT_EQ(row.str2enum(nullptr), 0);
  }
}

TEST(Enums, StateZeroHasAName) {
  EXPECT_STREQ(__vsan_state_t_find(0), "VSAN_STATE_VALUE_NOT_SET");
}

TEST(Enums, NamesBetweenTheEnds) {
  EXPECT_STREQ(__vsan_attr_key_t_find(7), "VSAN_ATTR_E_D_TOV");
  EXPECT_STREQ(__vsan_attr_key_t_find(8), "VSAN_ATTR_R_A_TOV");
  EXPECT_STREQ(__vsan_attr_key_t_find(9), "VSAN_ATTR_D_S_TOV");
  EXPECT_STREQ(__vsan_attr_key_t_find(10), "VSAN_ATTR_F_S_TOV");
  EXPECT_STREQ(__vsan_attr_key_t_find(17), "VSAN_ATTR_SWITCH_LATENCY");
  EXPECT_STREQ(__vsan_attr_key_t_find(18), "VSAN_ATTR_NETWORK_LATENCY");
  EXPECT_STREQ(__vsan_attr_key_t_find(19), "VSAN_ATTR_OPER_STATE");
  EXPECT_STREQ(__vsan_state_t_find(2), "VSAN_SUSPENDED");
  EXPECT_STREQ(__vsan_oper_state_t_find(1), "VSAN_OPER_STATE_UP");
  EXPECT_STREQ(__vsan_kdx_attr_t_find(200), "VSAN_KDX_ATTR_LOCK_USER_NAME");
}

}  // namespace
