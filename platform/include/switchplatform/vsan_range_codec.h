// The payload of notification 145, a change of a range of VSANs, as a manager writes it. Its layout is in
// notification_payloads.h, its readers are in platform/vsan_range.h.
#ifndef SWITCHPLATFORM_VSAN_RANGE_CODEC_H
#define SWITCHPLATFORM_VSAN_RANGE_CODEC_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The head. A manager that does not group changes fills `vsan_id` and `is_vsan_created` and leaves the others 0.
typedef struct {
  uint32_t first;  // non-zero: not shown to managers
  uint32_t second;
  uint32_t vsan_id;
  uint32_t is_vsan_created;  // 1 when the change created the VSAN
  uint32_t third;
  uint32_t fourth;
  uint32_t fifth;
} platform_vsan_range_head;

typedef struct {
  uint32_t key;    // a `vsan_attr_key_t`, such as 1 (state) and 19 (operational state)
  uint32_t width;  // of the value in bytes, 1 to 4
  uint32_t value;
} platform_vsan_range_attribute;

// Writes a payload to `buffer`, which has room for `room` bytes (kVsanRangePayloadMax is always enough). Returns its
// size, or 0 when there are more than kVsanRangeAttributesMax attributes, a width is out of range, or the room does not
// do.
size_t platform_vsan_range_write(uint8_t *buffer, size_t room, const platform_vsan_range_head *head,
                                 const platform_vsan_range_attribute *attributes, size_t attribute_count);

#ifdef __cplusplus
}
#endif

#endif
