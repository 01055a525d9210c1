// The frame of a request and of its answer: a fixed header, then user, session and payload. One message of the socket
// is one frame; all integers are big-endian.
#ifndef PROTOCOL_FRAMES_MESSAGE_FRAME_H
#define PROTOCOL_FRAMES_MESSAGE_FRAME_H

#include <stddef.h>
#include <stdint.h>

#include "big_endian.h"

enum {
  kMessageMagic = 0x56534d47,
  kMessageVersion = 1,
  kMessageHeaderSize = 36,
  kMessageMax = 64 * 1024,  // bytes of a frame, the header included
  kMessageIdleMax = 60,     // seconds, after which a server closes a connection
};

// Flags of a frame.
enum : uint16_t {
  kMessageIsAnswer = 1,
  kMessageWantsPayload = 2,  // the client has room for an answer's payload
  kMessageIsProbe = 4,       // asks for nothing but an answer: whether the receiver lives
  kMessageIsSpared = 8,      // of an operator's command that faults may leave alone
};

struct message_header {
  uint16_t flags;
  uint32_t sequence;  // an answer carries that of its request
  uint32_t opcode;
  uint32_t msg_type;
  uint32_t service;
  uint32_t status;  // 0 in a request
  uint16_t user_size;
  uint16_t session_size;
  uint32_t payload_size;
};

// Writes kMessageHeaderSize bytes.
inline void message_header_write(const message_header &header, uint8_t *to) {
  to = put_be32(to, kMessageMagic);
  to = put_be16(to, kMessageVersion);
  to = put_be16(to, header.flags);
  to = put_be32(to, header.sequence);
  to = put_be32(to, header.opcode);
  to = put_be32(to, header.msg_type);
  to = put_be32(to, header.service);
  to = put_be32(to, header.status);
  to = put_be16(to, header.user_size);
  to = put_be16(to, header.session_size);
  put_be32(to, header.payload_size);
}

// Reads the header of a frame of `size` bytes. Returns 0, or -1 when there is none: too few bytes, another magic or
// version; nothing is written then. The sizes in it are checked with message_sizes_agree.
inline int message_header_read(const uint8_t *from, size_t size, message_header *header) {
  if (size < kMessageHeaderSize || get_be32(from) != kMessageMagic || get_be16(from + 4) != kMessageVersion) {
    return -1;
  }
  *header = {
      .flags = get_be16(from + 6),
      .sequence = get_be32(from + 8),
      .opcode = get_be32(from + 12),
      .msg_type = get_be32(from + 16),
      .service = get_be32(from + 20),
      .status = get_be32(from + 24),
      .user_size = get_be16(from + 28),
      .session_size = get_be16(from + 30),
      .payload_size = get_be32(from + 32),
  };
  return 0;
}

// Whether what the header announces is what a frame of `size` bytes holds.
inline bool message_sizes_agree(const message_header &header, size_t size) {
  return size == uint64_t{kMessageHeaderSize} + header.user_size + header.session_size + header.payload_size;
}

#endif
