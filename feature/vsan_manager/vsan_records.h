// The records, opcodes and values that the VSAN manager and its clients share.
//
// 1. In memory every integer is in host order; on the wire it is a 32-bit big-endian word.
// 2. Offsets are part of the contract with the manager and are checked at the end of each record.
#ifndef FEATURE_VSAN_MANAGER_VSAN_RECORDS_H
#define FEATURE_VSAN_MANAGER_VSAN_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include "platform/bitset.h"

enum {
  kVsanNameField = 36,        // bytes of the name field, the terminating NUL included
  kVsanNameMax = 32,          // the longest name that can be set
  kVsanInteropDefault = 100,  // marks the default interoperability mode; managers see 0
};

// Message types.
enum { kMsgGet = 1, kMsgGetNext = 2, kMsgSet = 3, kMsgDelete = 4, kMsgKdxGet = 5 };

// Opcodes. All but kOpSwitchWwn are the VSAN manager's.
enum {
  kOpInterfaceVsan = 124,
  kOpVsanNumber = 125,
  kOpTableLastChange = 126,
  kOpFcTimer = 127,
  kOpInterfaceNumber = 128,
  kOpLatency = 136,
  kOpInorderDelivery = 140,
  kOpVsanRow = 149,
  kOpSwitchWwn = 1282,
  kOpNotificationControl = 8018,
};

// Receivers.
enum { kServiceVsanManager = 15, kServiceIdentity = 46 };

// Notifications.
enum { kNotifyPortMembership = 102, kNotifyVsanChange = 145 };

// Statuses that cross the boundary. They are 32-bit words; an `int` holds them.
enum {
  kStatusNoVsan = 0x40190001,             // the named VSAN does not fit the request: there is none
  kStatusNotInDistribution = 0x40190002,  // the distribution service holds no value for this VSAN
  kStatusVsanConflict = 0x40190004,  // the named VSAN does not fit the request: a name in use, a VSAN that must stay
  kStatusLatencyZero = 0x40190014,   // a drop latency of 0 marks "not written" and cannot be set
  kStatusNoValue = 0x4019001F,       // a write came without a value
  kStatusRemoteLock = 0x40190028,    // another switch holds the distribution lock
  kStatusNoEntry = 0x40490002,       // no such row; also the end of a table
  kStatusVsanDenied = 0x4049002C,    // the user may not touch this VSAN
  kStatusRowDenied = 0x40540008,     // a restricted user may not create or delete this row
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
  uint32_t timer_type;   // a `vsan_attr_key_t`: 7 E_D_TOV, 8 R_A_TOV, 9 D_S_TOV, 10 F_S_TOV
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
  uint32_t latency_type;  // 17 switch, 18 network
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
