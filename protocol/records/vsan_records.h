// The records that the VSAN manager and its clients exchange.
//
// 1. In memory every integer is in host order; on the wire it is a 32-bit big-endian word (record_words.h).
// 2. Offsets are part of the contract with the manager and are checked below.
#ifndef PROTOCOL_RECORDS_VSAN_RECORDS_H
#define PROTOCOL_RECORDS_VSAN_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include "platform/bitset.h"

enum {
  kVsanNameField = 36,        // bytes of the name field, the terminating NUL included
  kVsanNameMax = 32,          // the longest name that can be set
  kVsanInteropDefault = 100,  // marks the default interoperability mode; managers see 0
};

typedef struct {
  uint32_t vsanIndex;
  uint32_t vsanMediaType;
  uint32_t vsanAdminState;
  uint32_t vsanMtu;
  uint32_t vsanInorderDelivery;
  uint32_t vsanInteropMode;
  uint32_t vsanLoadBalancingType;
  uint32_t vsanRowStatus;
  uint32_t vsanOperState;
  char vsanName[kVsanNameField];
  uint32_t vsanNetworkDropLatency;
  uint8_t rest[2032];  // carried unchanged; the manager puts a vsanRowCopy there
} vsanEntry;

typedef struct {
  uint32_t ifIndex;
  uint32_t vsanIfVsan;
  uint32_t vsanIfDenyList;
  uint32_t vsanIfRowStatus;
} vsanIfEntry;

// One timer of one VSAN, or of the whole switch. The VSAN id is not aligned.
typedef struct __attribute__((packed)) {
  uint32_t timer_type;   // a `vsan_attr_key_t`: kTimerEdtov and its neighbours in vsan_values.h
  uint32_t timer_value;  // milliseconds
  uint8_t flag;          // 1: of one VSAN; 0: of the whole switch
  uint8_t force;         // 1: set it although the VSAN is operational
  uint32_t vsan_id;
  uint8_t reserved;
} vsanFcTimerEntry;

// A membership pair as the summary table keeps it.
typedef struct __attribute__((packed)) {
  uint32_t vsanIndex;
  uint32_t ifIndex;
  uint8_t is_static;
  uint8_t reserved[6];
} vsanMembershipSummaryEntry;

// The envelope of a VSAN row under kOpVsanRow, request and response alike.
typedef struct {
  uint32_t first;     // 0
  vsan_set_t filter;  // not used: zeros
  vsanEntry row;
  uint32_t last;  // not used: zero
} vsanRowMessage;

// Payload of kOpLatency.
typedef struct {
  uint32_t latency_type;  // a `vsan_attr_key_t`: kAttrSwitchLatency or kAttrNetworkLatency
  uint32_t value;         // milliseconds
  uint32_t reserved;
} vsanLatency;

#ifdef __cplusplus
static_assert(sizeof(vsanEntry) == 2108);
static_assert(offsetof(vsanEntry, vsanIndex) == 0);
static_assert(offsetof(vsanEntry, vsanMediaType) == 4);
static_assert(offsetof(vsanEntry, vsanAdminState) == 8);
static_assert(offsetof(vsanEntry, vsanMtu) == 12);
static_assert(offsetof(vsanEntry, vsanInorderDelivery) == 16);
static_assert(offsetof(vsanEntry, vsanInteropMode) == 20);
static_assert(offsetof(vsanEntry, vsanLoadBalancingType) == 24);
static_assert(offsetof(vsanEntry, vsanRowStatus) == 28);
static_assert(offsetof(vsanEntry, vsanOperState) == 32);
static_assert(offsetof(vsanEntry, vsanName) == 36);
static_assert(offsetof(vsanEntry, vsanNetworkDropLatency) == 72);
static_assert(offsetof(vsanEntry, rest) == 76);

static_assert(sizeof(vsanIfEntry) == 16);
static_assert(offsetof(vsanIfEntry, ifIndex) == 0);
static_assert(offsetof(vsanIfEntry, vsanIfVsan) == 4);
static_assert(offsetof(vsanIfEntry, vsanIfDenyList) == 8);
static_assert(offsetof(vsanIfEntry, vsanIfRowStatus) == 12);

static_assert(sizeof(vsanFcTimerEntry) == 15);
static_assert(offsetof(vsanFcTimerEntry, timer_type) == 0);
static_assert(offsetof(vsanFcTimerEntry, timer_value) == 4);
static_assert(offsetof(vsanFcTimerEntry, flag) == 8);
static_assert(offsetof(vsanFcTimerEntry, force) == 9);
static_assert(offsetof(vsanFcTimerEntry, vsan_id) == 10);
static_assert(offsetof(vsanFcTimerEntry, reserved) == 14);

static_assert(sizeof(vsanMembershipSummaryEntry) == 15);
static_assert(sizeof(vsanLatency) == 12);
static_assert(sizeof(vsanRowMessage) == 2632);
static_assert(offsetof(vsanRowMessage, row) == 520);
#endif

#endif
