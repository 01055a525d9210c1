// The words that people type and read for values, in topology files and in vsanctl. Those of timers are in
// kTimerRanges.
#ifndef PROTOCOL_RECORDS_VALUE_WORDS_H
#define PROTOCOL_RECORDS_VALUE_WORDS_H

#include "vsan_values.h"

// Of a value that is 1 or 2.
struct value_words {
  const char *of_1;
  const char *of_2;
};

static_assert(kAdminActive == 1 && kAdminSuspended == 2 && kOperUp == 1 && kOperDown == 2);
static_assert(kMediaFibreChannel == 1 && kMediaEthernet == 2);
static_assert(kLoadBalancingSourceDestination == 1 && kLoadBalancingExchange == 2);
static_assert(kInorderOn == 1 && kInorderOff == 2 && kNotificationsOn == 1 && kNotificationsOff == 2);

inline constexpr value_words kAdminWords = {"active", "suspended"};
inline constexpr value_words kOperWords = {"up", "down"};
inline constexpr value_words kMediaWords = {"fibre-channel", "ethernet"};
inline constexpr value_words kLoadBalancingWords = {"src-dst", "src-dst-ox"};
inline constexpr value_words kSwitchWords = {"on", "off"};  // in-order delivery, notifications

#endif
