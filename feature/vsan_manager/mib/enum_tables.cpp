// The VSAN manager's enumerations, each as a table of values and names. The values are a contract with the manager.
#include <strings.h>

#include "vsan_mib.h"

namespace {

// A table ends with a row whose name is empty.
struct enum_row {
  int value;
  const char *name;
};

constexpr enum_row kAttrKey[] = {
    {0, "VSAN_ATTR_VSAN_NAME"},
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
    {31, "VSAN_MGR_PSS_KEY_TYPE_TRAPNOTIFY"},
    {0, ""},
};

constexpr enum_row kMedia[] = {
    {0, "VSAN_MEDIA_VALUE_NOT_SET"}, {1, "VSAN_MEDIA_FIBRE_CHANNEL"}, {2, "VSAN_MEDIA_ETHERNET"}, {0, ""}};

constexpr enum_row kLoadBalancing[] = {{0, "VSAN_LOADBALANCING_VALUE_NOT_SET"},
                                       {1, "VSAN_CONSIDER_SRCID_DSTID"},
                                       {2, "VSAN_CONSIDER_SRCID_DSTID_OXID"},
                                       {0, ""}};

constexpr enum_row kState[] = {{0, "VSAN_STATE_VALUE_NOT_SET"}, {1, "VSAN_ACTIVE"},     {2, "VSAN_SUSPENDED"},
                               {3, "VSAN_NONCONFIGURED"},       {4, "VSAN_CONFIGURED"}, {0, ""}};

constexpr enum_row kOperState[] = {
    {0, "VSAN_OPERSTATE_VALUE_NOT_SET"}, {1, "VSAN_OPER_STATE_UP"}, {2, "VSAN_OPER_STATE_DOWN"}, {0, ""}};

constexpr enum_row kStateChange[] = {
    {0, "VSAN_STATE_NO_CHANGE"}, {1, "VSAN_ACTIVE_TO_NONACTIVE"}, {2, "VSAN_NONACTIVE_TO_ACTIVE"}, {0, ""}};

constexpr enum_row kPortMembershipUpdate[] = {{1, "VSAN_PORT_VSAN_UPDATE"},   {2, "VSAN_ALLOWED_LIST_OVERRIDE"},
                                              {3, "VSAN_ALLOWED_LIST_ADD"},   {4, "VSAN_ALLOWED_LIST_DELETE"},
                                              {5, "VSAN_MEMBERSHIP_INVALID"}, {6, "VSAN_MEMBERSHIP_VALID"},
                                              {7, "VSAN_DELETE_MEMBERSHIP"},  {0, ""}};

constexpr enum_row kIscsiVsanListOperation[] = {
    {1, "VSAN_LIST_OVERRIDE"}, {2, "VSAN_LIST_ADD"}, {3, "VSAN_LIST_DELETE"}, {4, "VSAN_LIST_PURGE"}, {0, ""}};

constexpr enum_row kKdxState[] = {{100, "VSAN_KDX_INIT_STATE"},
                                  {101, "VSAN_KDX_LOCK_PENDING_STATE"},
                                  {102, "VSAN_KDX_LOCKED_STATE"},
                                  {103, "VSAN_KDX_DISTRIBUTE_STATE"},
                                  {104, "VSAN_KDX_COMMIT_STATE"},
                                  {105, "VSAN_KDX_UNLOCKED_STATE"},
                                  {106, "VSAN_KDX_REMOTE_PEER_LOCKED_STATE"},
                                  {107, "VSAN_COMMIT_WITH_NO_SESSION_STATE"},
                                  {0, ""}};

constexpr enum_row kKdxAttr[] = {
    {200, "VSAN_KDX_ATTR_LOCK_USER_NAME"}, {201, "VSAN_KDX_ATTR_CMD"}, {202, "VSAN_KDX_LOCK_HANDLE"}, {0, ""}};

const char *find_name(const enum_row *row, int value) {
  for (; row->name[0] != '\0'; ++row) {
    if (row->value == value) {
      return row->name;
    }
  }
  return nullptr;
}

// An unknown name gives 0, as the first name of most tables does: callers know.
int find_value(const enum_row *row, const char *name) {
  if (name == nullptr) {
    return 0;
  }
  for (; row->name[0] != '\0'; ++row) {
    if (strcasecmp(row->name, name) == 0) {
      return row->value;
    }
  }
  return 0;
}

}  // namespace

#define ENUM_LOOKUPS(type, table)             \
  const char *__##type##_find(int value) {    \
    return find_name(table, value);           \
  }                                           \
  int __##type##_str2enum(const char *name) { \
    return find_value(table, name);           \
  }

ENUM_LOOKUPS(vsan_attr_key_t, kAttrKey)
ENUM_LOOKUPS(vsan_media_t, kMedia)
ENUM_LOOKUPS(vsan_loadbalancing_method_t, kLoadBalancing)
ENUM_LOOKUPS(vsan_state_t, kState)
ENUM_LOOKUPS(vsan_oper_state_t, kOperState)
ENUM_LOOKUPS(vsan_state_change_t, kStateChange)
ENUM_LOOKUPS(port_membership_update_t, kPortMembershipUpdate)
ENUM_LOOKUPS(iscsi_vsan_list_operation_t, kIscsiVsanListOperation)
ENUM_LOOKUPS(vsan_kdx_state_t, kKdxState)
ENUM_LOOKUPS(vsan_kdx_attr_t, kKdxAttr)
