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
    {.kept = &vsan_record::id,
     .sent = &vsanEntry::vsanIndex,
     .copied = &vsanRowCopy::vsanIndex,
     .low = kVsanFirst,
     .high = kVsanLast,
     .out_of_range = kStatusVsanRange},
    {.kept = &vsan_record::media_type,
     .sent = &vsanEntry::vsanMediaType,
     .copied = &vsanRowCopy::vsanMediaType,
     .low = kMediaFibreChannel,
     .high = kMediaEthernet,
     .out_of_range = kStatusMediaRange},
    {.kept = &vsan_record::admin_state,
     .sent = &vsanEntry::vsanAdminState,
     .copied = &vsanRowCopy::vsanAdminState,
     .low = kAdminActive,
     .high = kAdminSuspended,
     .out_of_range = kStatusAdminStateRange},
    {.kept = &vsan_record::mtu,
     .sent = &vsanEntry::vsanMtu,
     .copied = &vsanRowCopy::vsanMtu,
     .low = kMtuMin,
     .high = kMtuMax,
     .out_of_range = kStatusMtuRange},
    {.kept = &vsan_record::load_balancing,
     .sent = &vsanEntry::vsanLoadBalancingType,
     .copied = &vsanRowCopy::vsanLoadBalancingType,
     .low = kLoadBalancingSourceDestination,
     .high = kLoadBalancingExchange,
     .out_of_range = kStatusLoadBalancingRange},
    {.kept = &vsan_record::inorder,
     .sent = &vsanEntry::vsanInorderDelivery,
     .copied = &vsanRowCopy::vsanInorderDelivery,
     .low = kInorderOn,
     .high = kInorderOff,
     .out_of_range = kStatusInorderRange,
     .may_be_unwritten = true},
    {.kept = &vsan_record::drop_latency,
     .sent = &vsanEntry::vsanNetworkDropLatency,
     .copied = &vsanRowCopy::vsanNetworkDropLatency,
     .low = 1,
     .high = kLatencyMax,
     .out_of_range = kStatusLatencyRange,
     .may_be_unwritten = true},
    {.kept = &vsan_record::interop,
     .sent = &vsanEntry::vsanInteropMode,
     .copied = &vsanRowCopy::vsanInteropMode,
     .low = 1,
     .high = kInteropMax,
     .out_of_range = kStatusInteropRange,
     .also = kVsanInteropDefault},
};

#endif
