#include "rules/vsan_rules.h"

#include <algorithm>

#include "plain_text.h"
#include "state/vsan_fields.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_values.h"

int vsan_problem(const vsan_record &vsan, std::string_view known_name) {
  if (vsan.id == kVsanReserved) {
    return kStatusVsanReserved;
  }
  for (const vsan_field &field : kVsanFields) {
    const uint32_t value = vsan.*field.kept;
    if ((value < field.low || value > field.high) && (field.also == 0 || value != field.also)) {
      return field.out_of_range;
    }
  }
  if (vsan.name.size() > kVsanNameMax) {
    return kStatusNameRange;
  }
  // SNMP managers cannot set a name with a blank either: a name is one word.
  const bool one_word = vsan.name.find_first_of(std::string_view(" \0", 2)) == std::string::npos;
  return one_word && (vsan.name == known_name || is_plain_text(vsan.name)) ? 0 : kStatusNameMalformed;
}

int interface_problem(const interface_record &interface) {
  if (interface.index == 0 || interface.index == UINT32_MAX) {
    return kStatusNoInterface;
  }
  if (interface.name.empty() || interface.name.size() > kInterfaceNameMax) {
    return kStatusNameRange;
  }
  return interface.vsan < kVsanFirst || interface.vsan > kVsanLast ? kStatusVsanRange : 0;
}

int plan_vsan_set(const switch_state &state, vsan_record vsan, uint32_t row_status, std::string_view known_name,
                  switch_change &change) {
  const vsan_record *present = find_vsan(state, vsan.id);
  const vsan_record defaults;
  const vsan_record &unwritten = present != nullptr ? *present : defaults;
  for (const vsan_field &field : kVsanFields) {
    if (field.may_be_unwritten && vsan.*field.kept == 0) {
      vsan.*field.kept = unwritten.*field.kept;
    }
  }
  vsan.interop = vsan.interop != 0 ? vsan.interop : uint32_t{kVsanInteropDefault};
  if (row_status > kRowStatusMax) {
    return kStatusRowStatusRange;
  }
  const bool keeps_name = present != nullptr && present->name == vsan.name;
  if (const int problem = vsan_problem(vsan, keeps_name ? present->name : known_name); problem != 0) {
    return problem;
  }
  if (present == nullptr && row_status != kRowStatusActive) {
    return kStatusNoVsan;
  }
  const auto named = state.vsan_of_name.find(vsan.name);
  if (named != state.vsan_of_name.end() && named->second != vsan.id) {
    return kStatusVsanConflict;
  }
  if (present == nullptr || *present != vsan) {
    change.vsans.push_back(std::move(vsan));
  }
  return 0;
}

namespace {

// Every timer of the map that belongs to the VSAN, as removals.
void remove_timers_of(const timer_map &timers, uint32_t vsan, timer_map &removals) {
  for (auto timer = timers.lower_bound({vsan, 0}); timer != timers.end() && timer->first.first == vsan; ++timer) {
    removals[timer->first] = 0;
  }
}

}  // namespace

int plan_vsan_delete(const switch_state &state, uint32_t id, switch_change &change) {
  if (find_vsan(state, id) == nullptr) {
    return kStatusNoVsan;
  }
  if (id == kDefaultVsan) {
    return kStatusVsanConflict;
  }
  change.vsans_removed.push_back(id);
  for (const auto &[index, interface] : state.interfaces) {
    if (interface.vsan == id) {
      change.interfaces.push_back(interface);
      change.interfaces.back().vsan = kDefaultVsan;
      change.interfaces.back().is_static = false;
    }
  }
  remove_timers_of(state.timers, id, change.timers);
  remove_timers_of(state.pending, id, change.pending);
  if (state.kept_out.contains(id)) {
    change.kept_out[id] = false;
  }
  return 0;
}

int plan_interface_move(const switch_state &state, uint32_t index, uint32_t vsan, switch_change &change) {
  const interface_record *present = find_interface(state, index);
  if (present == nullptr) {
    return kStatusNoEntry;
  }
  if (find_vsan(state, vsan) == nullptr) {
    return kStatusNoVsan;
  }
  interface_record moved = *present;
  moved.vsan = vsan;
  moved.is_static = true;
  if (moved != *present) {
    change.interfaces.push_back(std::move(moved));
  }
  return 0;
}

int plan_interface_admin(const switch_state &state, uint32_t index, bool up, switch_change &change) {
  const interface_record *present = find_interface(state, index);
  if (present == nullptr) {
    return kStatusNoEntry;
  }
  if (present->up != up) {
    change.interfaces.push_back(*present);
    change.interfaces.back().up = up;
  }
  return 0;
}

namespace {

// Whether an interface other than `index` has the name.
bool is_interface_name(const switch_state &state, std::string_view name, uint32_t index) {
  return std::ranges::any_of(state.interfaces,
                             [&](const auto &each) { return each.first != index && each.second.name == name; });
}

int interface_name_problem(const switch_state &state, const interface_record &interface) {
  const std::string &name = interface.name;
  if (name.empty() || name.size() > kInterfaceNameMax || !is_plain_text(name)) {
    return kStatusInterfaceName;
  }
  return is_interface_name(state, name, interface.index) ? int{kStatusInterfaceExists} : 0;
}

}  // namespace

int plan_interface_create(const switch_state &state, interface_record interface, switch_change &change) {
  if (interface.index == 0 || interface.index == UINT32_MAX) {
    return kStatusInterfaceIndex;
  }
  if (find_interface(state, interface.index) != nullptr) {
    return kStatusInterfaceExists;
  }
  if (const int problem = interface_name_problem(state, interface); problem != 0) {
    return problem;
  }
  if (find_vsan(state, interface.vsan) == nullptr) {
    return kStatusNoVsan;
  }
  if (state.interfaces.size() >= kInterfacesMax) {
    return kStatusInterfacesFull;
  }
  interface.is_static = true;
  change.interfaces.push_back(std::move(interface));
  return 0;
}

int plan_interface_delete(const switch_state &state, uint32_t index, switch_change &change) {
  if (find_interface(state, index) == nullptr) {
    return kStatusNoEntry;
  }
  change.interfaces_removed.push_back(index);
  return 0;
}

int plan_interface_rename(const switch_state &state, uint32_t index, std::string name, switch_change &change) {
  const interface_record *present = find_interface(state, index);
  if (present == nullptr) {
    return kStatusNoEntry;
  }
  interface_record renamed = *present;
  renamed.name = std::move(name);
  if (renamed == *present) {
    return 0;
  }
  if (const int problem = interface_name_problem(state, renamed); problem != 0) {
    return problem;
  }
  change.interfaces.push_back(std::move(renamed));
  return 0;
}
