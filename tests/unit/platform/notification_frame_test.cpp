#include "notification_frame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "notification_message.h"
#include "platform/mts.h"

namespace {

constexpr uint8_t kPayload[] = {9, 8, 7};

std::vector<uint8_t> sample() {
  std::vector<uint8_t> bytes(kNotificationFrameMax);
  const notification_frame frame = {kNotificationDeliver, 0x01020304, 0x1122334455667788, 145, kPayload, 3};
  bytes.resize(notification_frame_write(frame, bytes.data()));
  return bytes;
}

TEST(NotificationWire, FrameComesBackAsItWasWritten) {
  const std::vector<uint8_t> bytes = sample();
  notification_frame frame;
  ASSERT_EQ(notification_frame_read(bytes.data(), bytes.size(), &frame), 0);
  EXPECT_EQ(frame.kind, kNotificationDeliver);
  EXPECT_EQ(frame.store, 0x01020304U);
  EXPECT_EQ(frame.number, 0x1122334455667788U);
  EXPECT_EQ(frame.id, 145U);
  EXPECT_EQ(std::vector<uint8_t>(frame.payload, frame.payload + frame.payload_size), (std::vector<uint8_t>{9, 8, 7}));
}

TEST(NotificationWire, BytesAreBigEndian) {
  EXPECT_EQ(sample(), (std::vector<uint8_t>{'V',  'N',  'T',  'F',  0, 1, 0, 2,   1, 2, 3, 4, 0x11, 0x22, 0x33, 0x44,
                                            0x55, 0x66, 0x77, 0x88, 0, 0, 0, 145, 0, 0, 0, 3, 9,    8,    7}));
}

TEST(NotificationWire, EveryTruncationAndEveryExtensionIsRefused) {
  std::vector<uint8_t> bytes = sample();
  notification_frame frame;
  for (size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(notification_frame_read(bytes.data(), size, &frame), -1) << size;
  }
  bytes.push_back(0);
  EXPECT_EQ(notification_frame_read(bytes.data(), bytes.size(), &frame), -1);
}

TEST(NotificationWire, OtherMagicVersionAndKindAreRefused) {
  const struct {
    size_t at;
    uint8_t value;
  } kChanges[] = {{0, 0}, {5, 2}, {7, 0}, {7, 5}, {6, 1}};
  for (const auto &change : kChanges) {
    std::vector<uint8_t> bytes = sample();
    bytes[change.at] = change.value;
    notification_frame frame;
    EXPECT_EQ(notification_frame_read(bytes.data(), bytes.size(), &frame), -1) << change.at;
  }
}

TEST(NotificationWire, LargestPayloadGoesAndOneByteMoreDoesNot) {
  const std::vector<uint8_t> payload(kNotificationPayloadMax + 1, 7);
  std::vector<uint8_t> bytes(kNotificationFrameMax);
  notification_frame frame = {kNotificationDeliver, 1, 1, 102, payload.data(), kNotificationPayloadMax};
  EXPECT_EQ(notification_frame_write(frame, bytes.data()), size_t{kNotificationFrameMax});
  EXPECT_EQ(notification_frame_read(bytes.data(), bytes.size(), &frame), 0);
  frame.payload = payload.data();
  frame.payload_size = kNotificationPayloadMax + 1;
  EXPECT_EQ(notification_frame_write(frame, bytes.data()), 0U);
}

TEST(NotificationWire, ARefusalCarriesAText) {
  const std::string why = "process 12 has it";
  uint8_t bytes[kNotificationFrameMax];
  const auto *text = reinterpret_cast<const uint8_t *>(why.data());
  const size_t size =
      notification_frame_write({kNotificationRefused, 0, 0, 0, text, static_cast<uint32_t>(why.size())}, bytes);
  notification_frame frame;
  ASSERT_EQ(notification_frame_read(bytes, size, &frame), 0);
  EXPECT_EQ(frame.kind, kNotificationRefused);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(frame.payload), frame.payload_size), why);
}

TEST(NotificationMessage, PayloadAndSizeAreTheMessages) {
  notification_message message = {kPayload, sizeof kPayload};
  EXPECT_EQ(mts_payload_get(&message), kPayload);
  EXPECT_EQ(mts_payload_size(&message), 3U);
}

TEST(NotificationMessage, NullMessageAndEmptyPayloadHaveNone) {
  notification_message message = {kPayload, 0};
  EXPECT_EQ(mts_payload_get(&message), nullptr);
  EXPECT_EQ(mts_payload_size(&message), 0U);
  EXPECT_EQ(mts_payload_get(nullptr), nullptr);
  EXPECT_EQ(mts_payload_size(nullptr), 0U);
}

}  // namespace
