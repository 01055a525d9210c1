// The values of the whole switch: counts, the last change, latencies, in-order delivery, notification control.
#include "feature/vsan_manager/manager/handlers.h"
#include "feature/vsan_manager/vsan_records.h"
#include "platform/messaging/big_endian.h"
#include "platform/services/status_texts.h"

static int answer_word(uint64_t value, message_reply &reply) {
  reply.payload.resize(4);
  put_be32(reply.payload.data(), static_cast<uint32_t>(value));
  return 0;
}

int handle_vsan_count(switch_managers &managers, const message_request &, message_reply &reply) {
  return answer_word(managers.state.vsans.size(), reply);
}

int handle_interface_count(switch_managers &managers, const message_request &, message_reply &reply) {
  return answer_word(managers.state.interfaces.size(), reply);
}

int handle_last_change(switch_managers &managers, const message_request &, message_reply &reply) {
  reply.payload.resize(8);
  put_be32(reply.payload.data(), static_cast<uint32_t>(managers.state.settings.changed_seconds));
  put_be32(reply.payload.data() + 4, static_cast<uint32_t>(managers.state.settings.changed_microseconds));
  return 0;
}

// The setting that a latency type names, or null.
static uint64_t *latency_of(switch_settings &settings, const message_request &request) {
  switch (get_be32(request.payload.data() + offsetof(vsanLatency, latency_type))) {
    case kAttrSwitchLatency:
      return &settings.switch_latency;
    case kAttrNetworkLatency:
      return &settings.network_latency;
    default:
      return nullptr;
  }
}

int handle_latency_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const uint64_t *latency = latency_of(managers.state.settings, request);
  if (latency == nullptr) {
    return kStatusLatencyType;
  }
  reply.payload.assign(request.payload.begin(), request.payload.end());
  put_be32(reply.payload.data() + offsetof(vsanLatency, value), static_cast<uint32_t>(*latency));
  return 0;
}

int handle_latency_set(switch_managers &managers, const message_request &request, message_reply &) {
  switch_change change = change_begin(managers.state);
  uint64_t *latency = latency_of(change.settings, request);
  if (latency == nullptr) {
    return kStatusLatencyType;
  }
  const uint32_t value = get_be32(request.payload.data() + offsetof(vsanLatency, value));
  if (value > kLatencyMax) {
    return kStatusLatencyRange;
  }
  *latency = value;
  return managers_commit(managers, change);
}

int handle_inorder_get(switch_managers &managers, const message_request &, message_reply &reply) {
  return answer_word(managers.state.settings.inorder, reply);
}

int handle_inorder_set(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t value = get_be32(request.payload.data());
  if (value != kInorderOn && value != kInorderOff) {
    return kStatusInorderRange;
  }
  switch_change change = change_begin(managers.state);
  change.settings.inorder = value;
  return managers_commit(managers, change);
}

int handle_notification_control(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t value = get_be32(request.payload.data());
  if (value != kNotificationsOn && value != kNotificationsOff) {
    return kStatusNotificationRange;
  }
  switch_change change = change_begin(managers.state);
  change.settings.notifications = value;
  return managers_commit(managers, change);
}
