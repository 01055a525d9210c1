#include "switchplatform/vsan_range_codec.h"

#include "big_endian.h"
#include "notification_payloads.h"
#include "platform/vsan_range.h"

namespace {

constexpr size_t kWord = 4;
constexpr size_t kCountAt = 8 * kWord;

bool width_is_sound(uint32_t width) {
  return width >= 1 && width <= kWord;
}

bool is_sound(const uint8_t *payload, uint32_t size) {
  if (payload == nullptr || size < kVsanRangeHeadSize || get_be32(payload) != kVsanRangeFormat) {
    return false;
  }
  const uint32_t count = get_be32(payload + kCountAt);
  if (count > kVsanRangeAttributesMax || size != kVsanRangeHeadSize + count * kVsanRangeAttributeSize) {
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    if (!width_is_sound(get_be32(payload + kVsanRangeHeadSize + i * kVsanRangeAttributeSize + kWord))) {
      return false;
    }
  }
  return true;
}

int head_word(const uint8_t *payload, uint32_t index) {
  return static_cast<int>(get_be32(payload + index * kWord));
}

}  // namespace

size_t platform_vsan_range_write(uint8_t *buffer, size_t room, const platform_vsan_range_head *head,
                                 const platform_vsan_range_attribute *attributes, size_t attribute_count) {
  if (attribute_count > kVsanRangeAttributesMax) {
    return 0;
  }
  const size_t size = kVsanRangeHeadSize + attribute_count * kVsanRangeAttributeSize;
  if (room < size) {
    return 0;
  }
  for (size_t i = 0; i < attribute_count; ++i) {
    if (!width_is_sound(attributes[i].width)) {
      return 0;
    }
  }
  const uint32_t words[] = {kVsanRangeFormat, head->first,           head->second,
                            head->vsan_id,    head->is_vsan_created, head->third,
                            head->fourth,     head->fifth,           static_cast<uint32_t>(attribute_count)};
  uint8_t *at = buffer;
  for (const uint32_t word : words) {
    at = put_be32(at, word);
  }
  for (size_t i = 0; i < attribute_count; ++i) {
    at = put_be32(put_be32(put_be32(at, attributes[i].key), attributes[i].width), attributes[i].value);
  }
  return size;
}

int vsan_range_config_change_get_info(void *payload, uint32_t size, int *first, int *second, uint32_t *vsan_id,
                                      int *is_vsan_created, int *third, int *fourth, int *fifth) {
  const auto *bytes = static_cast<const uint8_t *>(payload);
  if (!is_sound(bytes, size)) {
    return -1;
  }
  *first = head_word(bytes, 1);
  *second = head_word(bytes, 2);
  *vsan_id = get_be32(bytes + 3 * kWord);
  *is_vsan_created = head_word(bytes, 4);
  *third = head_word(bytes, 5);
  *fourth = head_word(bytes, 6);
  *fifth = head_word(bytes, 7);
  return 0;
}

int vsan_range_config_change_get_attr_values(void *payload, uint32_t size, int key, uint32_t *value, uint32_t *length) {
  const auto *bytes = static_cast<const uint8_t *>(payload);
  if (!is_sound(bytes, size)) {
    return -1;
  }
  const uint8_t *end = bytes + size;
  for (const uint8_t *at = bytes + kVsanRangeHeadSize; at < end; at += kVsanRangeAttributeSize) {
    if (get_be32(at) != static_cast<uint32_t>(key)) {
      continue;
    }
    *length = get_be32(at + kWord);
    *value = get_be32(at + 2 * kWord);
    return 0;
  }
  return -1;
}
