#include "notification_message.h"
#include "platform/mts.h"

namespace {
// The queue has no state here: a connection belongs to the process, not to a queue. Its address tells it from null.
char response_queue;
}  // namespace

mts_queue_t mts_response_q = &response_queue;

void *mts_payload_get(void *msg) {
  if (msg == nullptr) {
    return nullptr;
  }
  const auto *message = static_cast<const notification_message *>(msg);
  return message->size == 0 ? nullptr : const_cast<uint8_t *>(message->payload);
}

uint32_t mts_payload_size(void *msg) {
  return msg == nullptr ? 0 : static_cast<const notification_message *>(msg)->size;
}
