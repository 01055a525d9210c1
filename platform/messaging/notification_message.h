// What a notification handler gets as `msg`; read with mts_payload_get and mts_payload_size.
#ifndef PLATFORM_MESSAGING_NOTIFICATION_MESSAGE_H
#define PLATFORM_MESSAGING_NOTIFICATION_MESSAGE_H

#include <stdint.h>

struct notification_message {
  const uint8_t *payload;  // owned by whoever calls the handler
  uint32_t size;
};

#endif
