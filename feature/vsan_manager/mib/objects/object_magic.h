// The magic numbers of the objects, by which their rows are found in the tables of this folder. 7, 9 and 18 to 29
// name no object.
#ifndef FEATURE_VSAN_MANAGER_MIB_OBJECTS_OBJECT_MAGIC_H
#define FEATURE_VSAN_MANAGER_MIB_OBJECTS_OBJECT_MAGIC_H

#include <stddef.h>
#include <stdint.h>

namespace vsan_mib {

enum object_magic : uint8_t {
  kVsanNumber = 1,
  kVsanTableLastChange = 2,
  kVsanName = 3,
  kVsanMediaType = 4,
  kVsanAdminState = 5,
  kVsanMtu = 6,
  kVsanLoadBalancingType = 8,
  kVsanOperState = 10,
  kVsanRowStatus = 11,
  kVsanInterOperType = 12,
  kVsanInorderDelivery = 13,
  kVsanNetworkDropLatency = 14,
  kVsanIfNumber = 15,
  kVsanIfVsan = 16,
  kVsanIfDenyList = 17,
  kMembershipSummaryIf = 30,
  kFcTimerRatov = 31,
  kFcTimerEdtov = 32,
  kFcTimerFstov = 33,
  kFcTimerDstov = 34,
  kFcNetworkLatency = 35,
  kFcSwitchLatency = 36,
  kFcInorderDelivery = 37,
  kVsanFcTimerForceFlag = 38,
  kVsanFcTimerRatov = 39,
  kVsanFcTimerEdtov = 40,
  kVsanFcTimerDstov = 41,
  kVsanFcTimerFstov = 42,
};

// The row of the object in a table, or null.
template <typename Row, size_t N>
constexpr const Row *find_row_of(const Row (&table)[N], int magic) {
  for (const Row &row : table) {
    if (row.magic == magic) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace vsan_mib

#endif
