// The values of the whole switch: counts, the last change, latencies, in-order delivery, notification control.
#include "big_endian.h"
#include "record_words.h"
#include "statuses.h"
#include "vsan_manager/handlers.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

int answer_word(uint64_t value, message_reply &reply) {
  reply.payload.resize(4);
  put_be32(reply.payload.data(), static_cast<uint32_t>(value));
  return 0;
}

}  // namespace

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

namespace {

// The setting that a latency type names, or null.
uint64_t *latency_of(switch_settings &settings, const vsanLatency &latency) {
  switch (latency.latency_type) {
    case kAttrSwitchLatency:
      return &settings.switch_latency;
    case kAttrNetworkLatency:
      return &settings.network_latency;
    default:
      return nullptr;
  }
}

}  // namespace

int handle_latency_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  auto latency = record_read<vsanLatency>(request.payload.data());
  const uint64_t *setting = latency_of(managers.state.settings, latency);
  if (setting == nullptr) {
    return kStatusLatencyType;
  }
  latency.value = static_cast<uint32_t>(*setting);
  reply.payload = record_bytes(latency);
  return 0;
}

int handle_latency_set(switch_managers &managers, const message_request &request, message_reply &) {
  switch_change change = change_begin(managers.state);
  const auto latency = record_read<vsanLatency>(request.payload.data());
  uint64_t *setting = latency_of(change.settings, latency);
  if (setting == nullptr) {
    return kStatusLatencyType;
  }
  if (latency.value > kLatencyMax) {
    return kStatusLatencyRange;
  }
  *setting = latency.value;
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
