// The copy of a VSAN row that travels in `vsanEntry::rest`.
//
// Clients read a whole row, change a column and send the whole row back. So that the manager can tell what a client
// changed from what it only carries, every row that the manager answers has this copy of itself in its last bytes, and
// whoever sends a row that was read sends these bytes as they came. Nobody but the manager looks into them.
//
// A row without the copy (no magic word) is meant as a whole. A copy that no answered row can have is refused with
// kStatusRowCopyDamaged.
#ifndef PROTOCOL_RECORDS_VSAN_ROW_COPY_H
#define PROTOCOL_RECORDS_VSAN_ROW_COPY_H

#include "vsan_records.h"

enum : uint32_t {
  kRowCopyMagic = 0x56524F57,  // "VROW" in ASCII
  kRowCopyVersion = 1,         // of the layout below
};

// The layout. All integers are big-endian words; the bytes behind it are zeros.
typedef struct {
  uint32_t magic;
  uint32_t version;
  uint32_t vsanIndex;  // the columns as they were answered
  uint32_t vsanMediaType;
  uint32_t vsanAdminState;
  uint32_t vsanMtu;
  uint32_t vsanInorderDelivery;
  uint32_t vsanInteropMode;
  uint32_t vsanLoadBalancingType;
  uint32_t vsanNetworkDropLatency;
  char vsanName[kVsanNameField];
} vsanRowCopy;

static_assert(offsetof(vsanRowCopy, magic) == 0);
static_assert(offsetof(vsanRowCopy, version) == 4);
static_assert(offsetof(vsanRowCopy, vsanIndex) == 8);
static_assert(offsetof(vsanRowCopy, vsanMediaType) == 12);
static_assert(offsetof(vsanRowCopy, vsanAdminState) == 16);
static_assert(offsetof(vsanRowCopy, vsanMtu) == 20);
static_assert(offsetof(vsanRowCopy, vsanInorderDelivery) == 24);
static_assert(offsetof(vsanRowCopy, vsanInteropMode) == 28);
static_assert(offsetof(vsanRowCopy, vsanLoadBalancingType) == 32);
static_assert(offsetof(vsanRowCopy, vsanNetworkDropLatency) == 36);
static_assert(offsetof(vsanRowCopy, vsanName) == 40);
static_assert(sizeof(vsanRowCopy) == 76);
static_assert(sizeof(vsanRowCopy) <= sizeof(vsanEntry::rest));

#endif
