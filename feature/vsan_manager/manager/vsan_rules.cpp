#include "feature/vsan_manager/manager/vsan_rules.h"

#include "platform/services/status_texts.h"

struct field_rule {
  uint32_t vsan_record::*field;
  uint32_t low, high;
  int status;
};

static constexpr field_rule kFieldRules[] = {
    {&vsan_record::id, kVsanFirst, kVsanLast, kStatusVsanRange},
    {&vsan_record::media_type, kMediaFibreChannel, kMediaEthernet, kStatusMediaRange},
    {&vsan_record::admin_state, kAdminActive, kAdminSuspended, kStatusAdminStateRange},
    {&vsan_record::mtu, kMtuMin, kMtuMax, kStatusMtuRange},
    {&vsan_record::load_balancing, kLoadBalancingSourceDestination, kLoadBalancingExchange, kStatusLoadBalancingRange},
    {&vsan_record::inorder, kInorderOn, kInorderOff, kStatusInorderRange},
    {&vsan_record::drop_latency, 1, kLatencyMax, kStatusLatencyRange},
};

int vsan_problem(const vsan_record &vsan) {
  if (vsan.id == kVsanReserved) {
    return kStatusVsanReserved;
  }
  for (const field_rule &rule : kFieldRules) {
    const uint32_t value = vsan.*rule.field;
    if (value < rule.low || value > rule.high) {
      return rule.status;
    }
  }
  if (vsan.interop != kVsanInteropDefault && (vsan.interop < 1 || vsan.interop > kInteropMax)) {
    return kStatusInteropRange;
  }
  if (vsan.name.size() > kVsanNameMax) {
    return kStatusNameRange;
  }
  // SNMP managers cannot set a name with a blank either: a name is one word.
  return vsan.name.find_first_of(std::string_view(" \0", 2)) == std::string::npos ? 0 : kStatusNameMalformed;
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

int plan_vsan_set(const switch_state &state, vsan_record vsan, uint32_t row_status, switch_change &change) {
  const vsan_record *present = find_vsan(state, vsan.id);
  const vsan_record defaults;
  const vsan_record &unwritten = present != nullptr ? *present : defaults;
  vsan.inorder = vsan.inorder != 0 ? vsan.inorder : unwritten.inorder;
  vsan.drop_latency = vsan.drop_latency != 0 ? vsan.drop_latency : unwritten.drop_latency;
  vsan.interop = vsan.interop != 0 ? vsan.interop : uint32_t{kVsanInteropDefault};
  if (row_status > kRowStatusMax) {
    return kStatusRowStatusRange;
  }
  if (const int problem = vsan_problem(vsan); problem != 0) {
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

// Every timer of the map that belongs to the VSAN, as removals.
static void remove_timers_of(const timer_map &timers, uint32_t vsan, timer_map &removals) {
  for (auto timer = timers.lower_bound({vsan, 0}); timer != timers.end() && timer->first.first == vsan; ++timer) {
    removals[timer->first] = 0;
  }
}

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
