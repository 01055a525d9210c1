#include "state/switch_state.h"

#include "vsan_values.h"

switch_change change_begin(const switch_state &state) {
  switch_change change;
  change.settings = state.settings;
  return change;
}

namespace {

void put_timers(timer_map &timers, const timer_map &changed) {
  for (const auto &[key, value] : changed) {
    if (value == 0) {
      timers.erase(key);
    } else {
      timers[key] = value;
    }
  }
}

void put_vsan(switch_state &state, const vsan_record &vsan) {
  vsan_record &kept = state.vsans[vsan.id];
  const auto named = state.vsan_of_name.find(kept.name);
  if (named != state.vsan_of_name.end() && named->second == vsan.id) {
    state.vsan_of_name.erase(named);
  }
  kept = vsan;
  if (!vsan.name.empty()) {
    state.vsan_of_name[vsan.name] = vsan.id;
  }
}

void remove_vsan(switch_state &state, uint32_t id) {
  const auto found = state.vsans.find(id);
  if (found == state.vsans.end()) {
    return;
  }
  const auto named = state.vsan_of_name.find(found->second.name);
  if (named != state.vsan_of_name.end() && named->second == id) {
    state.vsan_of_name.erase(named);
  }
  state.vsans.erase(found);
}

void count_membership(switch_state &state, const interface_record &interface, bool present) {
  if (!interface.up) {
    return;
  }
  if (present) {
    ++state.up_members[interface.vsan];
    state.memberships_up.emplace(interface.vsan, interface.index);
    return;
  }
  state.memberships_up.erase({interface.vsan, interface.index});
  const auto count = state.up_members.find(interface.vsan);
  if (--count->second == 0) {
    state.up_members.erase(count);
  }
}

void put_interface(switch_state &state, const interface_record &interface) {
  const auto found = state.interfaces.find(interface.index);
  if (found != state.interfaces.end()) {
    count_membership(state, found->second, false);
  }
  state.interfaces[interface.index] = interface;
  count_membership(state, interface, true);
}

void remove_interface(switch_state &state, uint32_t index) {
  const auto found = state.interfaces.find(index);
  if (found == state.interfaces.end()) {
    return;
  }
  count_membership(state, found->second, false);
  state.interfaces.erase(found);
}

void apply_notifications(switch_state &state, const switch_change &change) {
  for (const notification_record &raised : change.raised) {
    state.notifications.push_back(raised);
  }
  while (!state.notifications.empty() &&
         (state.notifications.front().number <= change.taken || state.notifications.size() > kNotificationsMax)) {
    state.notifications.pop_front();
  }
}

}  // namespace

void state_apply(switch_state &state, const switch_change &change) {
  for (const uint32_t id : change.vsans_removed) {
    remove_vsan(state, id);
  }
  for (const vsan_record &vsan : change.vsans) {
    put_vsan(state, vsan);
  }
  for (const uint32_t index : change.interfaces_removed) {
    remove_interface(state, index);
  }
  for (const interface_record &interface : change.interfaces) {
    put_interface(state, interface);
  }
  put_timers(state.timers, change.timers);
  put_timers(state.pending, change.pending);
  put_timers(state.fabric_timers, change.fabric_timers);
  for (const auto &[vsan, out] : change.kept_out) {
    if (out) {
      state.kept_out.insert(vsan);
    } else {
      state.kept_out.erase(vsan);
    }
  }
  state.settings = change.settings;
  apply_notifications(state, change);
}

namespace {

template <typename Table>
auto *find_in(Table &table, uint32_t key) {
  const auto found = table.find(key);
  return found == table.end() ? nullptr : &found->second;
}

template <typename Table>
auto *next_in(Table &table, uint32_t key) {
  const auto found = table.upper_bound(key);
  return found == table.end() ? nullptr : &found->second;
}

}  // namespace

const vsan_record *find_vsan(const switch_state &state, uint32_t id) {
  return find_in(state.vsans, id);
}
const vsan_record *next_vsan(const switch_state &state, uint32_t id) {
  return next_in(state.vsans, id);
}

const interface_record *find_interface(const switch_state &state, uint32_t index) {
  return find_in(state.interfaces, index);
}

const interface_record *next_interface(const switch_state &state, uint32_t index) {
  return next_in(state.interfaces, index);
}

uint32_t oper_state(const switch_state &state, const vsan_record &vsan) {
  return vsan.admin_state == kAdminActive && state.up_members.contains(vsan.id) ? kOperUp : kOperDown;
}

uint32_t timer_in_force(const switch_state &state, uint32_t vsan, uint32_t key) {
  const auto own = state.timers.find({vsan, key});
  return own != state.timers.end() ? own->second : state.timers.at({0, key});
}

uint32_t timer_pending(const switch_state &state, uint32_t vsan, uint32_t key) {
  // An own value beats a switch-wide one, pending or not: that is what a commit will leave.
  for (const timer_key &wanted : {timer_key{vsan, key}, timer_key{0, key}}) {
    for (const timer_map *timers : {&state.pending, &state.timers}) {
      const auto found = timers->find(wanted);
      if (found != timers->end()) {
        return found->second;
      }
    }
  }
  return state.timers.at({0, key});
}
