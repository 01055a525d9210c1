// The frames of the two local protocols: what a receiver takes for a frame lies within its bytes and reads back as it
// was.
#include "fuzz_input.h"
#include "message_frame.h"
#include "notification_frame.h"

namespace {

void read_message(const std::vector<uint8_t> &bytes) {
  message_header header;
  if (message_header_read(bytes.data(), bytes.size(), &header) != 0) {
    return;
  }
  uint8_t again[kMessageHeaderSize];
  message_header_write(header, again);
  FUZZ_EXPECT(memcmp(again, bytes.data(), sizeof again) == 0);
  if (!message_sizes_agree(header, bytes.size())) {
    return;
  }
  FUZZ_EXPECT(kMessageHeaderSize + size_t{header.user_size} + header.session_size + header.payload_size ==
              bytes.size());
}

void read_notification(const std::vector<uint8_t> &bytes) {
  notification_frame frame;
  if (notification_frame_read(bytes.data(), bytes.size(), &frame) != 0) {
    return;
  }
  FUZZ_EXPECT(frame.payload + frame.payload_size == bytes.data() + bytes.size());
  uint8_t again[kNotificationFrameMax];
  FUZZ_EXPECT(notification_frame_write(frame, again) == bytes.size());
  FUZZ_EXPECT(memcmp(again, bytes.data(), bytes.size()) == 0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::vector<uint8_t> bytes(data, data + size);
  read_message(bytes);
  read_notification(bytes);
  return 0;
}
