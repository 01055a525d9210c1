// The payloads of the switch's notifications. All integers are big-endian words.
#ifndef PROTOCOL_RECORDS_NOTIFICATION_PAYLOADS_H
#define PROTOCOL_RECORDS_NOTIFICATION_PAYLOADS_H

#include <stdint.h>

// kNotifyPortMembership: an interface moved into another VSAN.
struct port_membership_change {
  uint32_t interface;
  uint32_t from;  // the VSAN it was in; readers of today skip this word
  uint32_t vsan;  // the one it is in
};
static_assert(sizeof(port_membership_change) == 12);

// kNotifyVsanChange: a head, then the attributes that changed: format (kVsanRangeFormat), first, second, VSAN, created,
// third, fourth, fifth, number of attributes; then for each attribute its key, its width in bytes, and its value.
// Nothing follows the last one.
enum {
  kVsanRangeFormat = 0x56524331,
  kVsanRangeHeadSize = 36,
  kVsanRangeAttributeSize = 12,
  kVsanRangeAttributesMax = 32,
  kVsanRangePayloadMax = kVsanRangeHeadSize + kVsanRangeAttributesMax * kVsanRangeAttributeSize,
};

#endif
