// The keys of a topology file: one row per key, with the procedures that take its value and give it back.
#ifndef SWITCHD_TOPOLOGY_KEYS_H
#define SWITCHD_TOPOLOGY_KEYS_H

#include <stdint.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>

#include "fabric_options.h"
#include "plain_text.h"
#include "state/switch_state.h"
#include "toml_library.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"
#include "wwn_text.h"

// `take` takes one value into the target and returns an empty text, or what is wrong with the value. `give` returns the
// value as the file has it; empty when the key is to be left out.
template <typename Target>
struct key_row {
  std::string_view name;
  std::string (*take)(const toml::node &node, Target &target);
  std::string (*give)(const Target &target);
};

inline std::string give_number(uint64_t number) {
  return std::to_string(number);
}

inline std::string give_bool(bool value) {
  return value ? "true" : "false";
}

inline std::string give_word(uint32_t value, const value_words &words) {
  return std::string("\"") + (value == 1 ? words.of_1 : words.of_2) + '"';
}

inline std::string give_text(const std::string &text) {
  std::ostringstream quoted;
  quoted << toml::toml_formatter(toml::value<std::string>(text), toml::format_flags::none);
  return quoted.str();
}

inline std::string take_number(const toml::node &node, uint32_t low, uint32_t high, uint32_t &number) {
  const auto value = node.value_exact<int64_t>();
  if (!value || *value < int64_t{low} || *value > int64_t{high}) {
    return "a whole number from " + std::to_string(low) + " to " + std::to_string(high) + " is wanted";
  }
  number = static_cast<uint32_t>(*value);
  return "";
}

inline std::string take_number(const toml::node &node, uint32_t low, uint32_t high, uint64_t &number) {
  uint32_t word = 0;
  std::string problem = take_number(node, low, high, word);
  if (problem.empty()) {
    number = word;
  }
  return problem;
}

inline std::string take_text(const toml::node &node, std::string &text) {
  const auto value = node.value_exact<std::string>();
  if (!value) {
    return "a text in quotes is wanted";
  }
  text = *value;
  return "";
}

inline std::string take_switch_name(const toml::node &node, std::string &name) {
  const std::string problem = take_text(node, name);
  return problem.empty() ? plain_text_problem(name, kSwitchNameMax) : problem;
}

// `number` becomes `yes` or `no`.
template <typename Number>
inline std::string take_bool(const toml::node &node, uint32_t yes, uint32_t no, Number &number) {
  const auto value = node.value_exact<bool>();
  if (!value) {
    return "true or false is wanted";
  }
  number = static_cast<Number>(*value ? yes : no);
  return "";
}

// `number` becomes 1 or 2, by the word.
inline std::string take_word(const toml::node &node, const value_words &words, uint32_t &number) {
  const auto value = node.value_exact<std::string>();
  if (!value || (*value != words.of_1 && *value != words.of_2)) {
    return std::string("\"") + words.of_1 + "\" or \"" + words.of_2 + "\" is wanted";
  }
  number = *value == words.of_1 ? 1 : 2;
  return "";
}

inline std::string take_wwn(const toml::node &node, uint64_t &wwn) {
  uint64_t value = 0;
  if (!wwn_read(node.value_exact<std::string>().value_or(""), value) || value == 0) {
    return "a world wide name such as \"20:00:02:00:00:00:00:01\", not all zero, is wanted";
  }
  wwn = value;
  return "";
}

inline std::string give_wwn(uint64_t wwn) {
  return '"' + wwn_text(wwn) + '"';
}

template <uint32_t Key>
inline std::string take_timer(const toml::node &node, timer_map &timers) {
  constexpr timer_range kRange = range_of_timer(Key);
  uint32_t value = 0;
  std::string problem = take_number(node, kRange.low, kRange.high, value);
  if (problem.empty()) {
    timers[{0, Key}] = value;  // the caller knows the VSAN
  }
  return problem;
}

// Of the one VSAN, or of the whole switch, whose timers are in the map.
template <uint32_t Key>
inline std::string give_timer(const timer_map &timers) {
  for (const auto &[key, value] : timers) {
    if (key.second == Key) {
      return give_number(value);
    }
  }
  return "";
}

template <uint32_t Key>
inline constexpr key_row<timer_map> kTimerKey = {range_of_timer(Key).word, take_timer<Key>, give_timer<Key>};
inline constexpr key_row<timer_map> kTimerKeys[] = {kTimerKey<kTimerEdtov>, kTimerKey<kTimerRatov>,
                                                    kTimerKey<kTimerDstov>, kTimerKey<kTimerFstov>};

inline constexpr key_row<switch_settings> kSwitchKeys[] = {
    {"name", [](const toml::node &node, switch_settings &s) { return take_switch_name(node, s.name); },
     [](const switch_settings &s) { return give_text(s.name); }},
    {"wwn", [](const toml::node &node, switch_settings &s) { return take_wwn(node, s.wwn); },
     [](const switch_settings &s) { return give_wwn(s.wwn); }},
    {"inorder_delivery",
     [](const toml::node &node, switch_settings &s) { return take_bool(node, kInorderOn, kInorderOff, s.inorder); },
     [](const switch_settings &s) { return give_bool(s.inorder == kInorderOn); }},
    {"switch_latency",
     [](const toml::node &node, switch_settings &s) { return take_number(node, 0, kLatencyMax, s.switch_latency); },
     [](const switch_settings &s) { return give_number(s.switch_latency); }},
    {"network_latency",
     [](const toml::node &node, switch_settings &s) { return take_number(node, 0, kLatencyMax, s.network_latency); },
     [](const switch_settings &s) { return give_number(s.network_latency); }},
    {"notifications",
     [](const toml::node &node, switch_settings &s) {
       return take_bool(node, kNotificationsOn, kNotificationsOff, s.notifications);
     },
     [](const switch_settings &s) { return give_bool(s.notifications == kNotificationsOn); }},
};

inline std::string take_kept_out(const toml::node &node, switch_change &change) {
  const toml::array *vsans = node.as_array();
  if (vsans == nullptr) {
    return "a list of VSANs is wanted";
  }
  for (const toml::node &each : *vsans) {
    uint32_t vsan = 0;
    std::string problem = take_number(each, kVsanFirst, kVsanLast, vsan);
    if (!problem.empty()) {
      return problem;
    }
    change.kept_out[vsan] = true;
  }
  return "";
}

inline std::string give_kept_out(const switch_change &change) {
  std::string list;
  for (const auto &[vsan, out] : change.kept_out) {
    list += (list.empty() ? "" : ", ") + std::to_string(vsan);
  }
  return "[" + list + "]";
}

inline constexpr key_row<switch_change> kDistributionKeys[] = {
    {"enabled",
     [](const toml::node &node, switch_change &c) { return take_bool(node, 1, 0, c.settings.distribution.enabled); },
     [](const switch_change &c) { return give_bool(c.settings.distribution.enabled != 0); }},
    {"show_running",
     [](const toml::node &node, switch_change &c) {
       return take_bool(node, 1, 0, c.settings.distribution.show_running);
     },
     [](const switch_change &c) { return give_bool(c.settings.distribution.show_running != 0); }},
    {"kept_out", take_kept_out, give_kept_out},
};

inline std::string take_fabric_name(const toml::node &node, std::string &name) {
  const std::string problem = take_text(node, name);
  return problem.empty() ? fabric_name_problem(name) : problem;
}

inline std::string take_endpoints(const toml::node &node, std::vector<std::string> &endpoints) {
  const toml::array *urls = node.as_array();
  if (urls == nullptr || urls->empty()) {
    return "a list of URLs is wanted";
  }
  for (const toml::node &each : *urls) {
    endpoints.emplace_back();
    std::string problem = take_text(each, endpoints.back());
    problem = problem.empty() ? fabric_endpoint_problem(endpoints.back()) : problem;
    if (!problem.empty()) {
      return problem;
    }
  }
  return "";
}

// Never written: an exported configuration is of one switch.
template <std::string fabric_options::*Text>
inline constexpr auto kTakeFabricText =
    [](const toml::node &node, fabric_options &o) { return take_text(node, o.*Text); };
inline std::string give_nothing(const fabric_options &) {
  return "";
}

inline constexpr key_row<fabric_options> kFabricKeys[] = {
    {"name", [](const toml::node &node, fabric_options &o) { return take_fabric_name(node, o.name); }, give_nothing},
    {"endpoints", [](const toml::node &node, fabric_options &o) { return take_endpoints(node, o.endpoints); },
     give_nothing},
    {"ca", kTakeFabricText<&fabric_options::ca>, give_nothing},
    {"cert", kTakeFabricText<&fabric_options::cert>, give_nothing},
    {"key", kTakeFabricText<&fabric_options::key>, give_nothing},
    {"user", kTakeFabricText<&fabric_options::user>, give_nothing},
    {"password_file", kTakeFabricText<&fabric_options::password_file>, give_nothing},
};

struct vsan_section {
  vsan_record vsan;
  timer_map timers;
  bool has_name = false;
};

inline std::string take_vsan_timers(const toml::node &node, vsan_section &section) {
  if (!node.is_table()) {
    return "a table of timers is wanted";
  }
  for (const auto &[key, timer] : *node.as_table()) {
    const auto row = std::ranges::find(kTimerKeys, key.str(), &key_row<timer_map>::name);
    std::string problem = row == std::end(kTimerKeys) ? "unknown key" : row->take(timer, section.timers);
    if (!problem.empty()) {
      return std::string(key.str()) + ": " + problem;
    }
  }
  return "";
}

inline std::string give_vsan_timers(const vsan_section &section) {
  std::string table;
  for (const key_row<timer_map> &row : kTimerKeys) {
    const std::string value = row.give(section.timers);
    if (!value.empty()) {
      table += (table.empty() ? "" : ", ") + std::string(row.name) + " = " + value;
    }
  }
  return table.empty() ? "" : "{ " + table + " }";
}

inline constexpr key_row<vsan_section> kVsanKeys[] = {
    {"id", [](const toml::node &node, vsan_section &s) { return take_number(node, kVsanFirst, kVsanLast, s.vsan.id); },
     [](const vsan_section &s) { return give_number(s.vsan.id); }},
    {"name",
     [](const toml::node &node, vsan_section &s) {
       s.has_name = true;
       return take_text(node, s.vsan.name);
     },
     [](const vsan_section &s) { return give_text(s.vsan.name); }},
    {"state", [](const toml::node &node, vsan_section &s) { return take_word(node, kAdminWords, s.vsan.admin_state); },
     [](const vsan_section &s) { return give_word(s.vsan.admin_state, kAdminWords); }},
    {"media", [](const toml::node &node, vsan_section &s) { return take_word(node, kMediaWords, s.vsan.media_type); },
     [](const vsan_section &s) { return give_word(s.vsan.media_type, kMediaWords); }},
    {"mtu", [](const toml::node &node, vsan_section &s) { return take_number(node, kMtuMin, kMtuMax, s.vsan.mtu); },
     [](const vsan_section &s) { return give_number(s.vsan.mtu); }},
    {"load_balancing",
     [](const toml::node &node, vsan_section &s) {
       return take_word(node, kLoadBalancingWords, s.vsan.load_balancing);
     },
     [](const vsan_section &s) { return give_word(s.vsan.load_balancing, kLoadBalancingWords); }},
    {"interop",
     [](const toml::node &node, vsan_section &s) { return take_number(node, 0, kInteropMax, s.vsan.interop); },
     [](const vsan_section &s) {
       return s.vsan.interop == kVsanInteropDefault ? std::string() : give_number(s.vsan.interop);
     }},
    {"inorder_delivery",
     [](const toml::node &node, vsan_section &s) { return take_bool(node, kInorderOn, kInorderOff, s.vsan.inorder); },
     [](const vsan_section &s) { return give_bool(s.vsan.inorder == kInorderOn); }},
    {"drop_latency",
     [](const toml::node &node, vsan_section &s) { return take_number(node, 1, kLatencyMax, s.vsan.drop_latency); },
     [](const vsan_section &s) { return give_number(s.vsan.drop_latency); }},
    {"timers", take_vsan_timers, give_vsan_timers},
};

inline constexpr key_row<interface_record> kInterfaceKeys[] = {
    {"name", [](const toml::node &node, interface_record &s) { return take_text(node, s.name); },
     [](const interface_record &s) { return give_text(s.name); }},
    {"index", [](const toml::node &node, interface_record &s) { return take_number(node, 1, UINT32_MAX - 1, s.index); },
     [](const interface_record &s) { return give_number(s.index); }},
    {"vsan",
     [](const toml::node &node, interface_record &s) {
       s.is_static = true;
       return take_number(node, kVsanFirst, kVsanLast, s.vsan);
     },
     [](const interface_record &s) { return s.is_static ? give_number(s.vsan) : std::string(); }},
    {"up", [](const toml::node &node, interface_record &s) { return take_bool(node, 1, 0, s.up); },
     [](const interface_record &s) { return give_bool(s.up); }},
};

#endif
