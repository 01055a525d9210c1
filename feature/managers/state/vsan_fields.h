// The number fields of a VSAN: in memory, on the wire, and what each may be. One row a field.
#ifndef FEATURE_MANAGERS_STATE_VSAN_FIELDS_H
#define FEATURE_MANAGERS_STATE_VSAN_FIELDS_H

#include "state/switch_state.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"
#include "vsan_values.h"

struct vsan_field {
  uint32_t vsan_record::*kept;
  uint32_t vsanEntry::*sent;      // in a row
  uint32_t vsanRowCopy::*copied;  // in the copy behind it
  uint32_t low, high;
  int out_of_range;               // the status that says so
  uint32_t also = 0;              // another value that it may have; 0: none
  bool may_be_unwritten = false;  // a client sends 0 to leave it as it is
};

// In the order in which they are checked. The first is the VSAN's own number; clients write the others.
inline constexpr vsan_field kVsanFields[] = {
    {&vsan_record::id, &vsanEntry::vsanIndex, &vsanRowCopy::vsanIndex, kVsanFirst, kVsanLast, kStatusVsanRange},
    {&vsan_record::media_type, &vsanEntry::vsanMediaType, &vsanRowCopy::vsanMediaType, kMediaFibreChannel,
     kMediaEthernet, kStatusMediaRange},
    {&vsan_record::admin_state, &vsanEntry::vsanAdminState, &vsanRowCopy::vsanAdminState, kAdminActive, kAdminSuspended,
     kStatusAdminStateRange},
    {&vsan_record::mtu, &vsanEntry::vsanMtu, &vsanRowCopy::vsanMtu, kMtuMin, kMtuMax, kStatusMtuRange},
    {&vsan_record::load_balancing, &vsanEntry::vsanLoadBalancingType, &vsanRowCopy::vsanLoadBalancingType,
     kLoadBalancingSourceDestination, kLoadBalancingExchange, kStatusLoadBalancingRange},
    {&vsan_record::inorder, &vsanEntry::vsanInorderDelivery, &vsanRowCopy::vsanInorderDelivery, kInorderOn, kInorderOff,
     kStatusInorderRange, 0, true},
    {&vsan_record::drop_latency, &vsanEntry::vsanNetworkDropLatency, &vsanRowCopy::vsanNetworkDropLatency, 1,
     kLatencyMax, kStatusLatencyRange, 0, true},
    {&vsan_record::interop, &vsanEntry::vsanInteropMode, &vsanRowCopy::vsanInteropMode, 1, kInteropMax,
     kStatusInteropRange, kVsanInteropDefault},
};

#endif
