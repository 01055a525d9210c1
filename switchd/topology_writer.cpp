// A switch's state, written as a topology file.
#include <span>

#include "topology.h"
#include "topology_keys.h"

namespace {

constexpr char kHead[] =
    "# The configuration of a switch. \"vsanctl import FILE\" applies it to a running one, \"switchd --topology FILE\" "
    "to a new one.\n";

template <typename Target>
void write_keys(std::string &text, std::span<const key_row<Target>> rows, const Target &target) {
  for (const key_row<Target> &row : rows) {
    const std::string value = row.give(target);
    if (!value.empty()) {
      text += std::string(row.name) + " = " + value + "\n";
    }
  }
}

template <typename Target>
void write_section(std::string &text, const char *heading, std::span<const key_row<Target>> rows,
                   const Target &target) {
  text += std::string("\n") + heading + "\n";
  write_keys(text, rows, target);
}

// The timers of one VSAN, or of the whole switch when it is 0.
timer_map timers_of(const switch_state &state, uint32_t vsan) {
  return {state.timers.lower_bound({vsan, 0}), state.timers.upper_bound({vsan, UINT32_MAX})};
}

}  // namespace

std::string write_topology(const switch_state &state) {
  std::string text = kHead;
  write_section<switch_settings>(text, "[switch]", kSwitchKeys, state.settings);
  write_section<timer_map>(text, "[timers]", kTimerKeys, timers_of(state, 0));
  switch_change distribution;
  distribution.settings.distribution = state.settings.distribution;
  for (const uint32_t vsan : state.kept_out) {
    distribution.kept_out[vsan] = true;
  }
  write_section<switch_change>(text, "[distribution]", kDistributionKeys, distribution);
  for (const auto &[id, vsan] : state.vsans) {
    write_section<vsan_section>(text, "[[vsan]]", kVsanKeys,
                                {.vsan = vsan, .timers = timers_of(state, id), .has_name = true});
  }
  for (const auto &[index, interface] : state.interfaces) {
    write_section<interface_record>(text, "[[interface]]", kInterfaceKeys, interface);
  }
  return text;
}
