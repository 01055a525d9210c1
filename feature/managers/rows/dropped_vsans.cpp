#include "rows/dropped_vsans.h"

#include "monotonic_clock.h"
#include "vsan_values.h"

namespace {

timer_map timers_of(const timer_map &timers, uint32_t vsan) {
  return {timers.lower_bound({vsan, 0}), timers.lower_bound({vsan + 1, 0})};
}

}  // namespace

dropped_vsan take_down(const switch_state &state, uint32_t id) {
  dropped_vsan taken;
  taken.at = monotonic_ms();
  taken.vsan = *find_vsan(state, id);
  for (const auto &[index, interface] : state.interfaces) {
    if (interface.vsan == id) {
      taken.interfaces[index] = interface.is_static;
    }
  }
  taken.timers = timers_of(state.timers, id);
  taken.pending = timers_of(state.pending, id);
  taken.kept_out = state.kept_out.contains(id);
  return taken;
}

namespace {

void forget_old(dropped_vsans &dropped) {
  const int64_t now = monotonic_ms();
  std::erase_if(dropped, [now](const auto &each) { return now - each.second.at > kDroppedKept; });
}

}  // namespace

void keep_dropped(dropped_vsans &dropped, dropped_vsan taken) {
  forget_old(dropped);
  for (auto &[id, other] : dropped) {
    std::erase_if(other.interfaces, [&](const auto &each) { return taken.interfaces.contains(each.first); });
  }
  const uint32_t id = taken.vsan.id;
  dropped[id] = std::move(taken);
}

dropped_vsan *find_dropped(dropped_vsans &dropped, uint32_t id) {
  forget_old(dropped);
  const auto found = dropped.find(id);
  return found == dropped.end() ? nullptr : &found->second;
}

void plan_give_back(const switch_state &state, const dropped_vsan &taken, uint64_t session, switch_change &change) {
  const uint32_t id = taken.vsan.id;
  for (const auto &[index, is_static] : taken.interfaces) {
    const interface_record *present = find_interface(state, index);
    if (present != nullptr && present->vsan == kDefaultVsan && !present->is_static) {
      change.interfaces.push_back(*present);
      change.interfaces.back().vsan = id;
      change.interfaces.back().is_static = is_static;
    }
  }
  change.timers = taken.timers;
  if (state.settings.distribution.open != 0 && taken.session == session) {
    change.pending = taken.pending;
  }
  if (taken.kept_out) {
    change.kept_out[id] = true;
  }
}
