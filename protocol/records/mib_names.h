// The objects of the VSAN MIB by name: where they stand under the switch's root, and by which exchange their values are
// read and written. For people who type and read names; the module has its own table.
#ifndef PROTOCOL_RECORDS_MIB_NAMES_H
#define PROTOCOL_RECORDS_MIB_NAMES_H

#include <stddef.h>
#include <stdint.h>

#include "requests.h"

// One kind of exchange with a receiver, and what it carries.
struct mib_exchange {
  int service;
  int opcode;
  const char *carries;
};
inline constexpr mib_exchange kVsanRowExchange = {kServiceVsanManager, kOpVsanRow, "rows of vsanTable"};
inline constexpr mib_exchange kInterfaceVsanExchange = {kServiceVsanManager, kOpInterfaceVsan, "rows of vsanIfTable"};
inline constexpr mib_exchange kMembershipExchange = {kServicePortManager, kOpActiveMembership,
                                                     "rows of vsanMembershipSummaryTable"};
inline constexpr mib_exchange kTimerExchange = {kServiceVsanManager, kOpFcTimer, "timers"};
inline constexpr mib_exchange kLatencyExchange = {kServiceVsanManager, kOpLatency, "latencies of the switch"};
inline constexpr mib_exchange kInorderExchange = {kServiceVsanManager, kOpInorderDelivery, "fcInorderDelivery"};
inline constexpr mib_exchange kVsanNumberExchange = {kServiceVsanManager, kOpVsanNumber, "vsanNumber"};
inline constexpr mib_exchange kLastChangeExchange = {kServiceVsanManager, kOpTableLastChange, "vsanTableLastChange"};
inline constexpr mib_exchange kInterfaceNumberExchange = {kServiceVsanManager, kOpInterfaceNumber, "vsanIfNumber"};
inline constexpr mib_exchange kWwnExchange = {kServiceIdentity, kOpSwitchWwn, "vsanSwitchWwn, in traps"};
inline constexpr mib_exchange kNotificationControlExchange = {kServiceVsanManager, kOpNotificationControl,
                                                              "switching notifications on and off"};

inline constexpr const mib_exchange *kMibExchanges[] = {
    &kVsanRowExchange,         &kInterfaceVsanExchange, &kMembershipExchange,          &kTimerExchange,
    &kLatencyExchange,         &kInorderExchange,       &kVsanNumberExchange,          &kLastChangeExchange,
    &kInterfaceNumberExchange, &kWwnExchange,           &kNotificationControlExchange,
};

// An object: `numbers` stand behind the switch's root, the instance behind them.
struct mib_name {
  const char *name;
  const mib_exchange *exchange;
  size_t length;
  uint8_t numbers[5];
};
inline constexpr mib_name kMibNames[] = {
    {"vsanNumber", &kVsanNumberExchange, 3, {1, 1, 1}},
    {"vsanTableLastChange", &kLastChangeExchange, 3, {1, 1, 2}},
    {"vsanName", &kVsanRowExchange, 5, {1, 1, 3, 1, 2}},
    {"vsanMediaType", &kVsanRowExchange, 5, {1, 1, 3, 1, 3}},
    {"vsanAdminState", &kVsanRowExchange, 5, {1, 1, 3, 1, 4}},
    {"vsanMtu", &kVsanRowExchange, 5, {1, 1, 3, 1, 5}},
    {"vsanLoadBalancingType", &kVsanRowExchange, 5, {1, 1, 3, 1, 6}},
    {"vsanOperState", &kVsanRowExchange, 5, {1, 1, 3, 1, 8}},
    {"vsanRowStatus", &kVsanRowExchange, 5, {1, 1, 3, 1, 9}},
    {"vsanInterOperType", &kVsanRowExchange, 5, {1, 1, 3, 1, 10}},
    {"vsanInorderDelivery", &kVsanRowExchange, 5, {1, 1, 3, 1, 11}},
    {"vsanNetworkDropLatency", &kVsanRowExchange, 5, {1, 1, 3, 1, 12}},
    {"vsanIfNumber", &kInterfaceNumberExchange, 3, {1, 2, 4}},
    {"vsanIfVsan", &kInterfaceVsanExchange, 5, {1, 2, 5, 1, 1}},
    {"vsanIfDenyList", &kInterfaceVsanExchange, 5, {1, 2, 5, 1, 2}},
    {"vsanMembershipSummaryInterface", &kMembershipExchange, 5, {1, 2, 8, 1, 1}},
    {"fcTimerRatov", &kTimerExchange, 3, {1, 4, 1}},
    {"fcTimerEdtov", &kTimerExchange, 3, {1, 4, 2}},
    {"fcTimerFstov", &kTimerExchange, 3, {1, 4, 3}},
    {"fcTimerDstov", &kTimerExchange, 3, {1, 4, 4}},
    {"fcNetworkLatency", &kLatencyExchange, 3, {1, 4, 5}},
    {"fcSwitchLatency", &kLatencyExchange, 3, {1, 4, 6}},
    {"fcInorderDelivery", &kInorderExchange, 3, {1, 4, 7}},
    {"vsanFcTimerForceFlag", &kTimerExchange, 5, {1, 4, 8, 1, 1}},
    {"vsanFcTimerRatov", &kTimerExchange, 5, {1, 4, 8, 1, 2}},
    {"vsanFcTimerEdtov", &kTimerExchange, 5, {1, 4, 8, 1, 3}},
    {"vsanFcTimerDstov", &kTimerExchange, 5, {1, 4, 8, 1, 4}},
    {"vsanFcTimerFstov", &kTimerExchange, 5, {1, 4, 8, 1, 5}},
    {"vsanSwitchWwn", &kWwnExchange, 3, {1, 5, 1}},
};

#endif
