// The subscription to notifications: frames on the AF_UNIX SOCK_SEQPACKET socket of kServiceNotifications.
//
// 1. The subscriber sends one subscribe frame: "resume after number N of store S" (0, 0 when it has taken nothing yet).
// 2. The server sends each notification that it keeps with a number above N, in order; all that it keeps, when S is not
//    the store that it has. At most kNotificationWindow of them are under way without an acknowledgement.
// 3. The subscriber acknowledges the number of the last one that it took, which takes all up to that number; the server
//    then forgets them. What was not acknowledged is sent again to the next subscription, so a subscriber skips numbers
//    of the same store that it has taken already, and acknowledges them again.
// 4. All integers are big-endian. One message of the socket is one frame. A frame that cannot be read ends the
//    connection.
// 5. There is one subscriber. While another connection has the subscription, the server answers the subscribe frame
//    with a refused frame, whose payload is a text that names the process behind that one, and closes the connection.
//    The subscriber may try again, and gets the subscription when the other connection has ended.
#ifndef PROTOCOL_FRAMES_NOTIFICATION_FRAME_H
#define PROTOCOL_FRAMES_NOTIFICATION_FRAME_H

#include <stddef.h>
#include <stdint.h>

#include "big_endian.h"

enum {
  kNotificationMagic = 0x564e5446,
  kNotificationVersion = 1,
  kNotificationHeaderSize = 28,
  kNotificationPayloadMax = 4096,
  kNotificationFrameMax = kNotificationHeaderSize + kNotificationPayloadMax,
  kNotificationWindow = 32,
};

enum notification_frame_kind : uint16_t {
  kNotificationSubscribe = 1,    // number: the last one taken; store: the store it came from
  kNotificationDeliver = 2,      // number, store, id, payload
  kNotificationAcknowledge = 3,  // number, store
  kNotificationRefused = 4,      // payload: who has the subscription, printable text without a NUL
};

// One frame. `id` and the payload are those of a notification (a refused frame has a text there), zero and empty in the
// other kinds.
struct notification_frame {
  notification_frame_kind kind;
  uint32_t store;          // which store the number counts in: a random number other than 0, kept in the store itself
  uint64_t number;         // notifications of a store are numbered from 1
  uint32_t id;             // 145, 102
  const uint8_t *payload;  // owned by whoever made the frame; within the bytes that it was read from
  uint32_t payload_size;   // at most kNotificationPayloadMax
};

// Writes `frame` to `buffer`, which has room for kNotificationFrameMax. Returns the frame's size in bytes, or 0 when
// the payload is too large.
inline size_t notification_frame_write(const notification_frame &frame, uint8_t *buffer) {
  if (frame.payload_size > kNotificationPayloadMax) {
    return 0;
  }
  uint8_t *at = put_be32(buffer, kNotificationMagic);
  at = put_be16(at, kNotificationVersion);
  at = put_be16(at, frame.kind);
  at = put_be32(at, frame.store);
  at = put_be64(at, frame.number);
  at = put_be32(at, frame.id);
  at = put_be32(at, frame.payload_size);
  for (uint32_t i = 0; i < frame.payload_size; ++i) {
    *at++ = frame.payload[i];
  }
  return static_cast<size_t>(at - buffer);
}

// Reads a frame of `size` bytes. Returns 0, or -1 when it is no frame: cut short, too long, another magic, version or
// kind; nothing is written then.
inline int notification_frame_read(const uint8_t *bytes, size_t size, notification_frame *frame) {
  if (size < kNotificationHeaderSize || get_be32(bytes) != kNotificationMagic) {
    return -1;
  }
  if (get_be16(bytes + 4) != kNotificationVersion) {
    return -1;
  }
  const uint16_t kind = get_be16(bytes + 6);
  const uint32_t payload_size = get_be32(bytes + 24);
  if (kind < kNotificationSubscribe || kind > kNotificationRefused) {
    return -1;
  }
  if (payload_size > kNotificationPayloadMax || size != kNotificationHeaderSize + payload_size) {
    return -1;
  }
  *frame = {static_cast<notification_frame_kind>(kind),
            get_be32(bytes + 8),
            get_be64(bytes + 12),
            get_be32(bytes + 20),
            bytes + kNotificationHeaderSize,
            payload_size};
  return 0;
}

#endif
