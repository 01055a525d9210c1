// The objects of the MIB by name: what mibs/VSAN-MIB.txt calls them, without the prefix of their table.
#ifndef TESTS_SUPPORT_MIB_OBJECTS_H
#define TESTS_SUPPORT_MIB_OBJECTS_H

#include "varbind.h"

namespace mib {

// vsanTable.
enum vsan_object : unsigned long {
  kName = 2,
  kMediaType = 3,
  kAdminState = 4,
  kMtu = 5,
  kLoadBalancing = 6,
  kOperState = 8,
  kRowStatus = 9,
  kInterop = 10,
  kInorder = 11,
  kDropLatency = 12,
};
constexpr vsan_object kVsanColumns[] = {kName,      kMediaType, kAdminState, kMtu,     kLoadBalancing,
                                        kOperState, kRowStatus, kInterop,    kInorder, kDropLatency};
inline name_t vsan_table() {
  return root({1, 1, 3});
}
inline name_t vsan_column(unsigned long column) {
  return root({1, 1, 3, 1, column});
}
inline name_t vsan_cell(unsigned long column, unsigned long vsan) {
  return root({1, 1, 3, 1, column, vsan});
}

// What vsanRowStatus takes.
enum row_status_value : long {
  kActive = 1,
  kNotInService = 2,
  kNotReady = 3,
  kCreateAndGo = 4,
  kCreateAndWait = 5,
  kDestroy = 6,
};

// vsanIfTable: interfaces by ifIndex.
enum if_object : unsigned long { kIfVsan = 1, kIfDenyList = 2 };
inline name_t if_table() {
  return root({1, 2, 5});
}
inline name_t if_column(unsigned long column) {
  return root({1, 2, 5, 1, column});
}
inline name_t if_vsan(unsigned long interface) {
  return root({1, 2, 5, 1, kIfVsan, interface});
}
inline name_t deny_list(unsigned long interface) {
  return root({1, 2, 5, 1, kIfDenyList, interface});
}

// vsanMembershipSummaryTable, of one column.
inline name_t summary_table() {
  return root({1, 2, 8});
}
inline name_t summary_column() {
  return root({1, 2, 8, 1, 1});
}
inline name_t summary(unsigned long vsan, unsigned long interface) {
  return root({1, 2, 8, 1, 1, vsan, interface});
}

// vsanFcTimerTable.
enum timer_object : unsigned long { kForceFlag = 1, kRatov = 2, kEdtov = 3, kDstov = 4, kFstov = 5 };
constexpr timer_object kTimerColumns[] = {kForceFlag, kRatov, kEdtov, kDstov, kFstov};
inline name_t timer_table() {
  return root({1, 4, 8});
}
inline name_t timer_column(unsigned long column) {
  return root({1, 4, 8, 1, column});
}
inline name_t timer_cell(unsigned long column, unsigned long vsan) {
  return root({1, 4, 8, 1, column, vsan});
}

// The scalars. Those of the whole switch are vsanFabricParameters of their own.
inline name_t vsan_number() {
  return root({1, 1, 1, 0});
}
inline name_t last_change() {
  return root({1, 1, 2, 0});
}
inline name_t if_number() {
  return root({1, 2, 4, 0});
}
enum switch_object : unsigned long {
  kSwitchRatov = 1,
  kSwitchEdtov = 2,
  kSwitchFstov = 3,
  kSwitchDstov = 4,
  kNetworkLatency = 5,
  kSwitchLatency = 6,
  kSwitchInorder = 7,
};
inline name_t switch_wide(unsigned long object) {
  return root({1, 4, object, 0});
}

// What travels in notifications only, and the notifications.
inline name_t notified_vsan() {
  return root({1, 1, 4, 0});
}
inline name_t switch_wwn() {
  return root({1, 5, 1, 0});
}
inline name_t status_change() {
  return root({1, 3, 0, 1});
}
inline name_t membership_change() {
  return root({1, 3, 0, 2});
}

}  // namespace mib

#endif
