// Ranges, defaults and key numbers of what the switch keeps, named once for all.
#ifndef PROTOCOL_RECORDS_VSAN_VALUES_H
#define PROTOCOL_RECORDS_VSAN_VALUES_H

#include <stddef.h>
#include <stdint.h>

// VSANs are kVsanFirst to kVsanLast. SNMP's indexes and the roles know one number more, which no VSAN has.
inline constexpr uint32_t kVsanFirst = 1;
inline constexpr uint32_t kVsanLast = 4094;
inline constexpr uint32_t kVsanReserved = 4095;
inline constexpr uint32_t kDefaultVsan = 1;  // cannot be deleted; home of the interfaces of a deleted VSAN

// Row fields.
inline constexpr uint32_t kMediaFibreChannel = 1, kMediaEthernet = 2;
inline constexpr uint32_t kAdminActive = 1, kAdminSuspended = 2, kStateNonconfigured = 3;
inline constexpr uint32_t kOperUp = 1, kOperDown = 2;
inline constexpr uint32_t kLoadBalancingSourceDestination = 1, kLoadBalancingExchange = 2;
inline constexpr uint32_t kMtuMin = 256, kMtuMax = 2112, kMtuDefault = 2112;  // bytes
inline constexpr uint32_t kInteropMax = 4;
inline constexpr uint32_t kInorderOn = 1, kInorderOff = 2;
inline constexpr uint32_t kRowStatusActive = 1, kRowStatusMax = 6;

// Milliseconds.
inline constexpr uint32_t kLatencyMax = 60000;
inline constexpr uint32_t kNetworkLatencyDefault = 2000, kSwitchLatencyDefault = 500;

// Timers, by their attribute key. Milliseconds.
inline constexpr uint32_t kTimerEdtov = 7, kTimerRatov = 8, kTimerDstov = 9, kTimerFstov = 10;
inline constexpr uint32_t kTimerFirst = kTimerEdtov;
inline constexpr size_t kTimerKinds = 4;
struct timer_range {
  const char *name;
  const char *word;  // in topology files and in vsanctl
  uint32_t low, high, standard;
};
inline constexpr timer_range kTimerRanges[kTimerKinds] = {
    {"E_D_TOV", "e_d_tov", 1000, 4000, 2000},
    {"R_A_TOV", "r_a_tov", 5000, 10000, 10000},
    {"D_S_TOV", "d_s_tov", 5000, 10000, 5000},
    {"F_S_TOV", "f_s_tov", 5000, 10000, 5000},
};
inline constexpr bool is_timer(uint32_t key) {
  return key >= kTimerFirst && key < kTimerFirst + kTimerKinds;
}
// The range of a key that is a timer's.
inline constexpr const timer_range &range_of_timer(uint32_t key) {
  return kTimerRanges[key - kTimerFirst];
}

// Attribute keys of the latencies and of a notification's states.
inline constexpr uint32_t kAttrState = 1, kAttrSwitchLatency = 17, kAttrNetworkLatency = 18, kAttrOperState = 19;

// The only application that is distributed today.
inline constexpr char kFcTimerApplication[] = "fctimer";

inline constexpr uint32_t kInterfaceNameMax = 31;    // characters
inline constexpr uint32_t kSwitchNameMax = 255;      // octets
inline constexpr uint32_t kFabricNameMax = 64;       // octets of a fabric's name
inline constexpr uint32_t kSessionOwnerMax = 63;     // octets of a distribution session's owner
inline constexpr uint32_t kInterfacesMax = 4096;     // of one switch
inline constexpr uint32_t kNotificationsMax = 1024;  // kept until they are taken
inline constexpr uint32_t kNotificationsOn = 1, kNotificationsOff = 2;

#endif
