#include "configuration.h"

#include <algorithm>
#include <set>

#include "rules/fabric_rules.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

// What is wanted and not there as it is goes into `put`, what is there and not wanted into `removed`.
template <typename Record>
void compare_rows(const std::map<uint32_t, Record> &present, const std::vector<Record> &wanted,
                  uint32_t Record::*number, std::vector<Record> &put, std::vector<uint32_t> &removed) {
  std::set<uint32_t> numbers;
  for (const Record &row : wanted) {
    numbers.insert(row.*number);
    const auto found = present.find(row.*number);
    if (found == present.end() || found->second != row) {
      put.push_back(row);
    }
  }
  for (const auto &[each, row] : present) {
    if (!numbers.contains(each)) {
      removed.push_back(each);
    }
  }
}

// A value of 0 removes a timer.
timer_map timer_changes(const timer_map &present, const timer_map &wanted) {
  timer_map changes;
  for (const auto &[key, value] : wanted) {
    const auto found = present.find(key);
    if (found == present.end() || found->second != value) {
      changes[key] = value;
    }
  }
  for (const auto &[key, value] : present) {
    if (!wanted.contains(key)) {
      changes[key] = 0;
    }
  }
  return changes;
}

// In a fabric the timers that take part are the fabric's and not a file's.
timer_map wanted_timers(const switch_state &state, const switch_change &wanted) {
  if (!is_in_fabric(state)) {
    return wanted.timers;
  }
  const auto takes_part = [&](uint32_t vsan) {
    return vsan == 0 || (!wanted.kept_out.contains(vsan) &&
                         std::ranges::find(wanted.vsans, vsan, &vsan_record::id) != wanted.vsans.end());
  };
  timer_map timers = wanted.timers;
  std::erase_if(timers, [&](const auto &timer) { return takes_part(timer.first.first); });
  for (const auto &[key, value] : state.fabric_timers.empty() ? distributed_timers(state) : state.fabric_timers) {
    if (takes_part(key.first)) {
      timers[key] = value;
    }
  }
  return timers;
}

std::map<uint32_t, bool> kept_out_changes(const std::set<uint32_t> &present, const std::map<uint32_t, bool> &wanted) {
  std::map<uint32_t, bool> changes;
  for (const auto &[vsan, out] : wanted) {
    if (!present.contains(vsan)) {
      changes[vsan] = true;
    }
  }
  for (const uint32_t vsan : present) {
    if (!wanted.contains(vsan)) {
      changes[vsan] = false;
    }
  }
  return changes;
}

// Those that a file has; the others are the running switch's.
void take_settings(const switch_settings &wanted, switch_settings &settings) {
  settings.name = wanted.name;
  settings.wwn = wanted.wwn;
  settings.inorder = wanted.inorder;
  settings.switch_latency = wanted.switch_latency;
  settings.network_latency = wanted.network_latency;
  settings.notifications = wanted.notifications;
  settings.distribution.enabled = wanted.distribution.enabled;
  settings.distribution.show_running = wanted.distribution.show_running;
}

std::string counted(size_t count, const char *what) {
  return count == 0 ? "" : ", " + std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

switch_change configuration_change(const switch_state &state, const switch_change &wanted) {
  switch_change change = change_begin(state);
  take_settings(wanted.settings, change.settings);
  if (is_in_fabric(state)) {
    change.settings.distribution.enabled = 1;
  }
  compare_rows(state.vsans, wanted.vsans, &vsan_record::id, change.vsans, change.vsans_removed);
  compare_rows(state.interfaces, wanted.interfaces, &interface_record::index, change.interfaces,
               change.interfaces_removed);
  change.timers = timer_changes(state.timers, wanted_timers(state, wanted));
  change.kept_out = kept_out_changes(state.kept_out, wanted.kept_out);
  return change;
}

std::string configuration_extent(const switch_state &state, const switch_change &change) {
  const std::string text = counted(change.settings == state.settings ? 0 : 1, "setting of the switch") +
                           counted(change.vsans.size() + change.vsans_removed.size(), "VSAN") +
                           counted(change.interfaces.size() + change.interfaces_removed.size(), "interface") +
                           counted(change.timers.size(), "timer") + counted(change.kept_out.size(), "VSAN kept out");
  return text.empty() ? "nothing" : text.substr(2);
}

int configuration_apply(switch_managers &managers, const switch_change &wanted) {
  if (managers.state.settings.distribution.open != 0) {
    return kStatusSessionOpen;
  }
  switch_change change = configuration_change(managers.state, wanted);
  const std::vector<uint32_t> removed = change.vsans_removed;
  const std::vector<vsan_record> put = change.vsans;
  const int status = managers_commit(managers, change);
  if (status != 0) {
    return status;
  }
  // Rows that clients have read, or undo, were those of the old configuration.
  managers.dropped.clear();
  for (const uint32_t vsan : removed) {
    managers.writers.erase(vsan);
  }
  for (const vsan_record &vsan : put) {
    managers.writers.erase(vsan.id);
  }
  return 0;
}
