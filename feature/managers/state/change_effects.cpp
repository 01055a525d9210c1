#include "state/change_effects.h"

#include <algorithm>

#include "epoch_seconds.h"
#include "notification_payloads.h"
#include "record_words.h"
#include "requests.h"
#include "switchplatform/vsan_range_codec.h"
#include "vsan_values.h"

namespace {

// Interfaces that are up, more or fewer, by VSAN; a VSAN whose interfaces only changed otherwise is there with 0.
std::map<uint32_t, int64_t> membership_deltas(const switch_state &state, const switch_change &change) {
  std::map<uint32_t, int64_t> deltas;
  for (const interface_record &after : change.interfaces) {
    if (const interface_record *before = find_interface(state, after.index); before != nullptr) {
      deltas[before->vsan] -= before->up ? 1 : 0;
    }
    deltas[after.vsan] += after.up ? 1 : 0;
  }
  for (const uint32_t index : change.interfaces_removed) {
    if (const interface_record *before = find_interface(state, index); before != nullptr) {
      deltas[before->vsan] -= before->up ? 1 : 0;
    }
  }
  for (const vsan_record &vsan : change.vsans) {
    deltas.try_emplace(vsan.id, 0);
  }
  for (const uint32_t id : change.vsans_removed) {
    deltas.try_emplace(id, 0);
  }
  return deltas;
}

const vsan_record *vsan_after(const switch_state &state, const switch_change &change, uint32_t id) {
  const auto put = std::ranges::find(change.vsans, id, &vsan_record::id);
  if (put != change.vsans.end()) {
    return &*put;
  }
  const bool removed = std::ranges::find(change.vsans_removed, id) != change.vsans_removed.end();
  return removed ? nullptr : find_vsan(state, id);
}

void raise(switch_change &change, int id, std::vector<uint8_t> payload) {
  if (change.settings.notifications == kNotificationsOn) {
    change.raised.push_back({++change.settings.last_notification, id, std::move(payload)});
  }
}

void raise_moves(const switch_state &state, switch_change &change) {
  for (const interface_record &after : change.interfaces) {
    const interface_record *before = find_interface(state, after.index);
    if (before == nullptr || before->vsan == after.vsan) {
      continue;
    }
    raise(change, kNotifyPortMembership, record_bytes(port_membership_change{after.index, before->vsan, after.vsan}));
  }
}

std::vector<uint8_t> encode_vsan_change(uint32_t id, bool created, uint32_t admin, uint32_t oper) {
  const platform_vsan_range_head head{0, 0, id, created ? 1U : 0U, 0, 0, 0};
  const platform_vsan_range_attribute attributes[] = {{kAttrOperState, 4, oper}, {kAttrState, 4, admin}};
  std::vector<uint8_t> payload(kVsanRangePayloadMax);
  payload.resize(platform_vsan_range_write(payload.data(), payload.size(), &head, attributes, std::size(attributes)));
  return payload;
}

// Returns whether the VSAN's row reads differently after the change.
bool complete_vsan(const switch_state &state, switch_change &change, uint32_t id, int64_t delta) {
  const vsan_record *before = find_vsan(state, id);
  const vsan_record *after = vsan_after(state, change, id);
  if (before == nullptr && after == nullptr) {
    return false;
  }
  const auto counted = state.up_members.find(id);
  const int64_t members = (counted == state.up_members.end() ? 0 : int64_t{counted->second}) + delta;
  const uint32_t admin = after == nullptr ? kStateNonconfigured : after->admin_state;
  const uint32_t oper = admin == kAdminActive && members > 0 ? kOperUp : kOperDown;
  const bool state_changed =
      before == nullptr || after == nullptr || before->admin_state != admin || oper_state(state, *before) != oper;
  const bool row_changed = state_changed || *before != *after;
  if (state_changed) {
    raise(change, kNotifyVsanChange, encode_vsan_change(id, before == nullptr, admin, oper));
  }
  return row_changed;
}

void count_drops(const switch_state &state, switch_change &change) {
  const auto kept = std::ranges::count_if(
      state.notifications, [&](const notification_record &record) { return record.number > change.taken; });
  const size_t total = static_cast<size_t>(kept) + change.raised.size();
  if (total > kNotificationsMax) {
    change.settings.dropped_notifications += total - kNotificationsMax;
  }
}

}  // namespace

void change_complete(const switch_state &state, switch_change &change, const timeval &now) {
  raise_moves(state, change);
  bool table_changed = false;
  for (const auto &[id, delta] : membership_deltas(state, change)) {
    table_changed |= complete_vsan(state, change, id, delta);
  }
  if (table_changed) {
    change.settings.changed_seconds = epoch_seconds(now.tv_sec);
    change.settings.changed_microseconds = static_cast<uint64_t>(now.tv_usec);
  }
  if (!change.raised.empty()) {
    count_drops(state, change);
  }
}

uint64_t notification_floor(const switch_state &state, const switch_change &change) {
  const size_t queued = state.notifications.size(), total = queued + change.raised.size();
  if (total <= kNotificationsMax) {
    return change.taken;
  }
  const size_t last_out = total - kNotificationsMax - 1;
  return std::max(change.taken,
                  last_out < queued ? state.notifications[last_out].number : change.raised[last_out - queued].number);
}
