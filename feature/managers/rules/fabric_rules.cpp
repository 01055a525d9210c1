#include "rules/fabric_rules.h"

#include <algorithm>

#include "rules/timer_rules.h"

bool is_in_fabric(const switch_state &state) {
  return !state.settings.fabric.empty();
}

std::vector<distribution_value> listed_values(const timer_map &timers) {
  std::vector<distribution_value> values;
  values.reserve(timers.size());
  for (const auto &[key, value] : timers) {
    values.push_back({key.first, key.second, value});
  }
  return values;
}

timer_map distributed_timers(const switch_state &state) {
  timer_map timers = state.timers;
  std::erase_if(timers, [&](const auto &timer) { return state.kept_out.contains(timer.first.first); });
  return timers;
}

timer_map values_after_commit(const switch_state &state) {
  timer_map values = state.fabric_timers.empty() ? distributed_timers(state) : state.fabric_timers;
  for (const auto &[key, value] : state.pending) {
    values[key] = value;
  }
  return values;
}

namespace {

// Brings the timers of one VSAN, or of the whole switch, to what they are in the fabric.
void take_values(const switch_state &state, uint32_t vsan, const timer_map &fabric, timer_map &timers) {
  for (uint32_t key = kTimerFirst; key < kTimerFirst + kTimerKinds; ++key) {
    const timer_key timer{vsan, key};
    const auto wanted = fabric.find(timer);
    const auto present = state.timers.find(timer);
    if (wanted != fabric.end()) {
      timers[timer] = wanted->second;
    } else if (present != state.timers.end() && vsan != 0) {
      timers[timer] = 0;  // the switch-wide one holds
    }
    if (wanted != fabric.end() && present != state.timers.end() && present->second == wanted->second) {
      timers.erase(timer);
    }
  }
}

void take_fabric_values(const switch_state &state, const timer_map &fabric, switch_change &change) {
  for (const auto &[key, value] : state.fabric_timers) {
    if (!fabric.contains(key)) {
      change.fabric_timers[key] = 0;
    }
  }
  for (const auto &[key, value] : fabric) {
    const auto known = state.fabric_timers.find(key);
    if (known == state.fabric_timers.end() || known->second != value) {
      change.fabric_timers[key] = value;
    }
  }
  take_values(state, 0, fabric, change.timers);
  for (const auto &[id, vsan] : state.vsans) {
    if (!state.kept_out.contains(id)) {
      take_values(state, id, fabric, change.timers);
    }
  }
}

void drop_session(const switch_state &state, switch_change &change) {
  distribution_session &session = change.settings.distribution;
  session.open = 0;
  session.lost = 0;
  session.number = 0;
  session.owner.clear();
  drop_pending(state, change);
}

}  // namespace

void plan_fabric_commit(const switch_state &state, const std::string &name, const std::string &id,
                        const fabric_commit &commit, switch_change &change) {
  change.settings.fabric = name;
  change.settings.fabric_id = id;
  change.settings.fabric_left = 0;
  change.settings.fabric_revision = commit.revision;
  change.settings.fabric_commit = commit.number;
  change.settings.distribution.enabled = 1;
  if (commit.number == 0) {
    return;
  }
  timer_map fabric;
  for (const distribution_value &value : commit.timers) {
    fabric[{value.vsan, value.key}] = value.value;
  }
  take_fabric_values(state, fabric, change);
  const distribution_session &session = state.settings.distribution;
  if (session.open != 0 && session.number != 0 && session.number == commit.session) {
    drop_session(state, change);
  }
}

void plan_fabric_leave(const switch_state &state, switch_change &change) {
  change.settings.fabric.clear();
  change.settings.fabric_id.clear();
  change.settings.fabric_left = 1;
  change.settings.fabric_revision = 0;
  change.settings.fabric_commit = 0;
  for (const auto &[key, value] : state.fabric_timers) {
    change.fabric_timers[key] = 0;
  }
  if (state.settings.distribution.open != 0) {
    drop_session(state, change);
  }
}

void follow_fabric(const switch_state &state, switch_change &change) {
  if (!is_in_fabric(state) || state.fabric_timers.empty() || !change.fabric_timers.empty()) {
    return;
  }
  for (const vsan_record &vsan : change.vsans) {
    const auto kept = change.kept_out.find(vsan.id);
    const bool out = kept != change.kept_out.end() && kept->second;
    if (find_vsan(state, vsan.id) == nullptr && !out) {
      take_values(state, vsan.id, state.fabric_timers, change.timers);
    }
  }
  for (const auto &[vsan, out] : change.kept_out) {
    const bool stays = std::ranges::find(change.vsans_removed, vsan) == change.vsans_removed.end();
    if (!out && stays && find_vsan(state, vsan) != nullptr) {
      take_values(state, vsan, state.fabric_timers, change.timers);
    }
  }
}
