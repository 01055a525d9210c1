#include <gtest/gtest.h>

#include <vector>

#include "notification_payloads.h"
#include "platform/vsan_range.h"
#include "switchplatform/vsan_range_codec.h"

namespace {

constexpr platform_vsan_range_head kHead = {1, 2, 4094, 1, 3, 4, 5};
constexpr platform_vsan_range_attribute kAttributes[] = {{1, 4, 2}, {19, 1, 0xfffffffe}, {7, 2, 2000}};

std::vector<uint8_t> sample() {
  std::vector<uint8_t> payload(kVsanRangePayloadMax);
  payload.resize(platform_vsan_range_write(payload.data(), payload.size(), &kHead, kAttributes, 3));
  return payload;
}

struct info {
  int first = -7, second = -7;
  uint32_t vsan = 77;
  int created = -7, third = -7, fourth = -7, fifth = -7;
};

int read_info(std::vector<uint8_t> payload, info *to) {
  return vsan_range_config_change_get_info(payload.data(), static_cast<uint32_t>(payload.size()), &to->first,
                                           &to->second, &to->vsan, &to->created, &to->third, &to->fourth, &to->fifth);
}

int read_attribute(std::vector<uint8_t> payload, int key, uint32_t *value, uint32_t *length) {
  return vsan_range_config_change_get_attr_values(payload.data(), static_cast<uint32_t>(payload.size()), key, value,
                                                  length);
}

TEST(ChangePayload, HeadComesBackAsItWasWritten) {
  info read;
  ASSERT_EQ(read_info(sample(), &read), 0);
  EXPECT_EQ(read.first, 1);
  EXPECT_EQ(read.second, 2);
  EXPECT_EQ(read.vsan, 4094U);
  EXPECT_EQ(read.created, 1);
  EXPECT_EQ(read.third, 3);
  EXPECT_EQ(read.fourth, 4);
  EXPECT_EQ(read.fifth, 5);
}

TEST(ChangePayload, AttributesComeBackWithTheirWidths) {
  for (const auto &attribute : kAttributes) {
    uint32_t value = 0, length = 0;
    ASSERT_EQ(read_attribute(sample(), static_cast<int>(attribute.key), &value, &length), 0);
    EXPECT_EQ(value, attribute.value);
    EXPECT_EQ(length, attribute.width);
  }
}

TEST(ChangePayload, BytesAreBigEndian) {
  const std::vector<uint8_t> payload = sample();
  ASSERT_EQ(payload.size(), 36U + 3 * 12);
  EXPECT_EQ(std::vector<uint8_t>(payload.begin(), payload.begin() + 4), (std::vector<uint8_t>{'V', 'R', 'C', '1'}));
  EXPECT_EQ(std::vector<uint8_t>(payload.begin() + 12, payload.begin() + 16), (std::vector<uint8_t>{0, 0, 0x0f, 0xfe}));
  EXPECT_EQ(std::vector<uint8_t>(payload.begin() + 32, payload.begin() + 36), (std::vector<uint8_t>{0, 0, 0, 3}));
}

TEST(ChangePayload, AbsentAttributeIsRefusedAndWritesNothing) {
  uint32_t value = 5, length = 6;
  EXPECT_EQ(read_attribute(sample(), 8, &value, &length), -1);
  EXPECT_EQ(value, 5U);
  EXPECT_EQ(length, 6U);
}

void expect_refused(const std::vector<uint8_t> &payload) {
  info read;
  uint32_t value = 5, length = 6;
  EXPECT_EQ(read_info(payload, &read), -1);
  EXPECT_EQ(read.first, -7);
  EXPECT_EQ(read.vsan, 77U);
  EXPECT_EQ(read.fifth, -7);
  EXPECT_EQ(read_attribute(payload, 1, &value, &length), -1);
  EXPECT_EQ(value, 5U);
  EXPECT_EQ(length, 6U);
}

TEST(ChangePayload, EveryTruncationIsRefused) {
  const std::vector<uint8_t> whole = sample();
  for (size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    expect_refused(std::vector<uint8_t>(whole.begin(), whole.begin() + static_cast<long>(size)));
  }
}

TEST(ChangePayload, NullIsRefused) {
  info read;
  EXPECT_EQ(vsan_range_config_change_get_info(nullptr, 0, &read.first, &read.second, &read.vsan, &read.created,
                                              &read.third, &read.fourth, &read.fifth),
            -1);
  EXPECT_EQ(vsan_range_config_change_get_info(nullptr, 72, &read.first, &read.second, &read.vsan, &read.created,
                                              &read.third, &read.fourth, &read.fifth),
            -1);
}

TEST(ChangePayload, TrailingBytesOtherFormatsAndWrongCountsAreRefused) {
  std::vector<uint8_t> payload = sample();
  payload.push_back(0);
  expect_refused(payload);
  payload = sample();
  payload[3] = '2';
  expect_refused(payload);
  for (const size_t at : {32U, 33U, 34U, 35U}) {
    payload = sample();
    payload[at] = 0xff;
    SCOPED_TRACE(at);
    expect_refused(payload);
  }
}

TEST(ChangePayload, WidthsOfZeroAndFiveAreRefusedByReadersAndWriter) {
  for (const uint32_t width : {0U, 5U, 255U}) {
    std::vector<uint8_t> payload = sample();
    payload[36 + 2 * 12 + 7] = static_cast<uint8_t>(width);
    expect_refused(payload);
    const platform_vsan_range_attribute attribute = {1, width, 0};
    uint8_t buffer[kVsanRangePayloadMax];
    EXPECT_EQ(platform_vsan_range_write(buffer, sizeof buffer, &kHead, &attribute, 1), 0U);
  }
}

TEST(ChangePayload, HeadAloneIsSound) {
  uint8_t buffer[kVsanRangeHeadSize];
  ASSERT_EQ(platform_vsan_range_write(buffer, sizeof buffer, &kHead, nullptr, 0), sizeof buffer);
  info read;
  EXPECT_EQ(read_info(std::vector<uint8_t>(buffer, buffer + sizeof buffer), &read), 0);
  uint32_t value, length;
  EXPECT_EQ(read_attribute(std::vector<uint8_t>(buffer, buffer + sizeof buffer), 1, &value, &length), -1);
}

TEST(ChangePayload, WriterRefusesTooManyAttributesAndTooLittleRoom) {
  const std::vector<platform_vsan_range_attribute> many(kVsanRangeAttributesMax + 1, {1, 4, 0});
  std::vector<uint8_t> buffer(kVsanRangePayloadMax + 100);
  EXPECT_EQ(platform_vsan_range_write(buffer.data(), buffer.size(), &kHead, many.data(), many.size()), 0U);
  EXPECT_EQ(platform_vsan_range_write(buffer.data(), buffer.size(), &kHead, many.data(), many.size() - 1),
            size_t{kVsanRangePayloadMax});
  EXPECT_EQ(platform_vsan_range_write(buffer.data(), 47, &kHead, kAttributes, 1), 0U);
  EXPECT_EQ(platform_vsan_range_write(buffer.data(), 48, &kHead, kAttributes, 1), 48U);
}

}  // namespace
