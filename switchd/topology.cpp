#define TOML_EXCEPTIONS 0
#include "switchd/topology.h"

#include <ctype.h>
#include <stdio.h>
#include <sys/random.h>

#include <toml++/toml.h>
#include <algorithm>
#include <set>
#include <span>

#include "feature/vsan_manager/manager/vsan_rules.h"
#include "platform/syserr.h"

// Each reader takes one value into the target and returns an empty text, or what is wrong with the value.
template <typename Target>
struct key_row {
  const char *key;
  std::string (*take)(const toml::node &node, Target &target);
};

struct interface_section {
  interface_record interface;
  bool has_index = false;
};

static std::string take_number(const toml::node &node, uint32_t low, uint32_t high, uint32_t &number) {
  const auto value = node.value_exact<int64_t>();
  if (!value || *value < int64_t{low} || *value > int64_t{high}) {
    return "a whole number from " + std::to_string(low) + " to " + std::to_string(high) + " is wanted";
  }
  number = static_cast<uint32_t>(*value);
  return "";
}

static std::string take_number(const toml::node &node, uint32_t low, uint32_t high, uint64_t &number) {
  uint32_t word = 0;
  const std::string problem = take_number(node, low, high, word);
  if (problem.empty()) {
    number = word;
  }
  return problem;
}

static std::string take_text(const toml::node &node, std::string &text) {
  const auto value = node.value_exact<std::string>();
  if (!value) {
    return "a text in quotes is wanted";
  }
  text = *value;
  return "";
}

// `number` becomes `yes` or `no`.
template <typename Number>
static std::string take_bool(const toml::node &node, uint32_t yes, uint32_t no, Number &number) {
  const auto value = node.value_exact<bool>();
  if (!value) {
    return "true or false is wanted";
  }
  number = static_cast<Number>(*value ? yes : no);
  return "";
}

// `number` becomes `first` or `second`, by the word.
static std::string take_word(const toml::node &node, const char *first_word, const char *second_word, uint32_t first,
                             uint32_t second, uint32_t &number) {
  const auto value = node.value_exact<std::string>();
  if (!value || (*value != first_word && *value != second_word)) {
    return std::string("\"") + first_word + "\" or \"" + second_word + "\" is wanted";
  }
  number = *value == first_word ? first : second;
  return "";
}

// Eight octets in hexadecimal with colons between.
static std::string take_wwn(const toml::node &node, uint64_t &wwn) {
  const std::string text = node.value_exact<std::string>().value_or("");
  uint64_t value = 0;
  bool sound = text.size() == 23;
  for (size_t i = 0; sound && i < text.size(); ++i) {
    if (i % 3 == 2) {
      sound = text[i] == ':';
      continue;
    }
    sound = isxdigit(static_cast<unsigned char>(text[i])) != 0;
    const int digit = isdigit(static_cast<unsigned char>(text[i])) != 0
                          ? text[i] - '0'
                          : tolower(static_cast<unsigned char>(text[i])) - 'a' + 10;
    value = value << 4 | static_cast<unsigned>(digit & 0xF);
  }
  if (!sound || value == 0) {
    return "a world wide name such as \"20:00:02:00:00:00:00:01\", not all zero, is wanted";
  }
  wwn = value;
  return "";
}

template <uint32_t Key>
static std::string take_timer(const toml::node &node, timer_map &timers) {
  constexpr timer_range kRange = kTimerRanges[Key - kTimerFirst];
  uint32_t value = 0;
  const std::string problem = take_number(node, kRange.low, kRange.high, value);
  if (problem.empty()) {
    timers[{0, Key}] = value;  // the caller knows the VSAN
  }
  return problem;
}

static constexpr key_row<timer_map> kTimerKeys[] = {
    {"e_d_tov", take_timer<kTimerEdtov>},
    {"r_a_tov", take_timer<kTimerRatov>},
    {"d_s_tov", take_timer<kTimerDstov>},
    {"f_s_tov", take_timer<kTimerFstov>},
};

static constexpr key_row<switch_settings> kSwitchKeys[] = {
    {"name", [](const toml::node &node, switch_settings &s) { return take_text(node, s.name); }},
    {"wwn", [](const toml::node &node, switch_settings &s) { return take_wwn(node, s.wwn); }},
    {"inorder_delivery",
     [](const toml::node &node, switch_settings &s) { return take_bool(node, kInorderOn, kInorderOff, s.inorder); }},
    {"switch_latency",
     [](const toml::node &node, switch_settings &s) { return take_number(node, 0, kLatencyMax, s.switch_latency); }},
    {"network_latency",
     [](const toml::node &node, switch_settings &s) { return take_number(node, 0, kLatencyMax, s.network_latency); }},
    {"notifications",
     [](const toml::node &node, switch_settings &s) {
       return take_bool(node, kNotificationsOn, kNotificationsOff, s.notifications);
     }},
};

static std::string take_kept_out(const toml::node &node, switch_change &change) {
  const toml::array *vsans = node.as_array();
  if (vsans == nullptr) {
    return "a list of VSANs is wanted";
  }
  for (const toml::node &each : *vsans) {
    uint32_t vsan = 0;
    const std::string problem = take_number(each, kVsanFirst, kVsanLast, vsan);
    if (!problem.empty()) {
      return problem;
    }
    change.kept_out[vsan] = true;
  }
  return "";
}

static constexpr key_row<switch_change> kDistributionKeys[] = {
    {"enabled",
     [](const toml::node &node, switch_change &c) { return take_bool(node, 1, 0, c.settings.distribution.enabled); }},
    {"show_running", [](const toml::node &node,
                        switch_change &c) { return take_bool(node, 1, 0, c.settings.distribution.show_running); }},
    {"kept_out", take_kept_out},
};

struct vsan_section {
  vsan_record vsan;
  timer_map timers;
  bool has_name = false;
};

static std::string take_vsan_timers(const toml::node &node, vsan_section &section);

static constexpr key_row<vsan_section> kVsanKeys[] = {
    {"id", [](const toml::node &node, vsan_section &s) { return take_number(node, kVsanFirst, kVsanLast, s.vsan.id); }},
    {"name",
     [](const toml::node &node, vsan_section &s) {
       s.has_name = true;
       return take_text(node, s.vsan.name);
     }},
    {"state",
     [](const toml::node &node, vsan_section &s) {
       return take_word(node, "active", "suspended", kAdminActive, kAdminSuspended, s.vsan.admin_state);
     }},
    {"media",
     [](const toml::node &node, vsan_section &s) {
       return take_word(node, "fibre-channel", "ethernet", kMediaFibreChannel, kMediaEthernet, s.vsan.media_type);
     }},
    {"mtu", [](const toml::node &node, vsan_section &s) { return take_number(node, kMtuMin, kMtuMax, s.vsan.mtu); }},
    {"load_balancing",
     [](const toml::node &node, vsan_section &s) {
       return take_word(node, "src-dst", "src-dst-ox", kLoadBalancingSourceDestination, kLoadBalancingExchange,
                        s.vsan.load_balancing);
     }},
    {"interop",
     [](const toml::node &node, vsan_section &s) { return take_number(node, 0, kInteropMax, s.vsan.interop); }},
    {"inorder_delivery",
     [](const toml::node &node, vsan_section &s) { return take_bool(node, kInorderOn, kInorderOff, s.vsan.inorder); }},
    {"drop_latency",
     [](const toml::node &node, vsan_section &s) { return take_number(node, 1, kLatencyMax, s.vsan.drop_latency); }},
    {"timers", take_vsan_timers},
};

static constexpr key_row<interface_section> kInterfaceKeys[] = {
    {"name", [](const toml::node &node, interface_section &s) { return take_text(node, s.interface.name); }},
    {"index",
     [](const toml::node &node, interface_section &s) {
       s.has_index = true;
       return take_number(node, 1, UINT32_MAX - 1, s.interface.index);
     }},
    {"vsan",
     [](const toml::node &node, interface_section &s) {
       s.interface.is_static = true;
       return take_number(node, kVsanFirst, kVsanLast, s.interface.vsan);
     }},
    {"up", [](const toml::node &node, interface_section &s) { return take_bool(node, 1, 0, s.interface.up); }},
};

// Where a problem is. The first one sticks.
struct topology_reader {
  std::string path;
  std::string problem;
};

static void complain(topology_reader &reader, const toml::node &where, const std::string &key,
                     const std::string &what) {
  if (reader.problem.empty()) {
    reader.problem = reader.path + ":" + std::to_string(where.source().begin.line) + ": " + key + ": " + what;
  }
}

template <typename Target>
static void read_keys(topology_reader &reader, const toml::table &table, const std::string &section,
                      std::span<const key_row<Target>> rows, Target &target) {
  for (const auto &[key, node] : table) {
    const auto row = std::ranges::find_if(rows, [&](const key_row<Target> &each) { return key.str() == each.key; });
    const std::string path = section + "." + std::string(key.str());
    const std::string problem = row == rows.end() ? "unknown key" : row->take(node, target);
    if (!problem.empty()) {
      complain(reader, node, path, problem);
    }
  }
}

static std::string take_vsan_timers(const toml::node &node, vsan_section &section) {
  if (!node.is_table()) {
    return "a table of timers is wanted";
  }
  for (const auto &[key, timer] : *node.as_table()) {
    const auto row = std::ranges::find_if(kTimerKeys, [&](const auto &each) { return key.str() == each.key; });
    const std::string problem = row == std::end(kTimerKeys) ? "unknown key" : row->take(timer, section.timers);
    if (!problem.empty()) {
      return std::string(key.str()) + ": " + problem;
    }
  }
  return "";
}

template <typename Target>
static void read_section(topology_reader &reader, const toml::table &root, const char *section,
                         std::span<const key_row<Target>> rows, Target &target) {
  const toml::node *node = root.get(section);
  if (node == nullptr) {
    return;
  }
  if (!node->is_table()) {
    complain(reader, *node, section, "a [table] is wanted");
    return;
  }
  read_keys(reader, *node->as_table(), section, rows, target);
}

// Calls `read` for each table of the array `section`.
template <typename Read>
static void read_array(topology_reader &reader, const toml::table &root, const char *section, const Read &read) {
  const toml::node *node = root.get(section);
  if (node == nullptr) {
    return;
  }
  if (!node->is_array_of_tables()) {
    complain(reader, *node, section, "an [[array of tables]] is wanted");
    return;
  }
  for (const toml::node &each : *node->as_array()) {
    read(*each.as_table());
  }
}

// The node to blame for a key of the table: the key's value when it is there, else the table.
static const toml::node &blame(const toml::table &table, const char *key) {
  const toml::node *node = table.get(key);
  return node != nullptr ? *node : table;
}

static std::string default_vsan_name(uint32_t id) {
  char name[kVsanNameMax + 1];
  snprintf(name, sizeof name, "VSAN%.4u", id);
  return name;
}

struct seen_values {
  std::set<uint32_t> ids;
  std::set<std::string> names;
};

static void read_vsan(topology_reader &reader, const toml::table &table, seen_values &seen, switch_change &change) {
  vsan_section section;
  read_keys<vsan_section>(reader, table, "vsan", kVsanKeys, section);
  vsan_record &vsan = section.vsan;
  if (!section.has_name) {
    vsan.name = default_vsan_name(vsan.id);
  }
  vsan.interop = vsan.interop == 0 ? uint32_t{kVsanInteropDefault} : vsan.interop;
  if (table.get("id") == nullptr) {
    complain(reader, table, "vsan.id", "is missing");
  } else if (!seen.ids.insert(vsan.id).second) {
    complain(reader, blame(table, "id"), "vsan.id", "VSAN " + std::to_string(vsan.id) + " is there twice");
  } else if (const int problem = vsan_problem(vsan); problem != 0) {
    complain(reader, blame(table, "name"), "vsan.name", syserr2str(problem));
  } else if (!vsan.name.empty() && !seen.names.insert(vsan.name).second) {
    complain(reader, blame(table, "name"), "vsan.name", "\"" + vsan.name + "\" is the name of another VSAN");
  }
  for (const auto &[key, value] : section.timers) {
    change.timers[{vsan.id, key.second}] = value;
  }
  change.vsans.push_back(std::move(vsan));
}

static void read_interface(topology_reader &reader, const toml::table &table, seen_values &seen,
                           switch_change &change) {
  interface_section section;
  read_keys<interface_section>(reader, table, "interface", kInterfaceKeys, section);
  interface_record &interface = section.interface;
  const auto in_vsan = [&](const vsan_record &vsan) { return vsan.id == interface.vsan; };
  if (!section.has_index) {
    complain(reader, table, "interface.index", "is missing");
  } else if (!seen.ids.insert(interface.index).second) {
    complain(reader, blame(table, "index"), "interface.index", std::to_string(interface.index) + " is there twice");
  } else if (interface.name.empty() || interface.name.size() > kInterfaceNameMax) {
    complain(reader, blame(table, "name"), "interface.name",
             "1 to " + std::to_string(kInterfaceNameMax) + " characters are wanted");
  } else if (!seen.names.insert(interface.name).second) {
    complain(reader, blame(table, "name"), "interface.name", "\"" + interface.name + "\" is there twice");
  } else if (std::ranges::none_of(change.vsans, in_vsan)) {
    complain(reader, blame(table, "vsan"), "interface.vsan", "there is no VSAN " + std::to_string(interface.vsan));
  }
  if (change.interfaces.size() == kInterfacesMax) {
    complain(reader, table, "interface", "more than " + std::to_string(kInterfacesMax) + " interfaces");
  }
  change.interfaces.push_back(std::move(interface));
}

static void check_sections(topology_reader &reader, const toml::table &root) {
  static constexpr const char *kSections[] = {"switch", "timers", "distribution", "vsan", "interface"};
  for (const auto &[key, node] : root) {
    if (std::ranges::none_of(kSections, [&](const char *section) { return key.str() == section; })) {
      complain(reader, node, std::string(key.str()), "unknown section");
    }
  }
}

// VSAN 1 is always there; a file need not name it.
static void add_default_vsan(switch_change &change, std::set<uint32_t> &ids) {
  if (ids.insert(kDefaultVsan).second) {
    vsan_record vsan;
    vsan.id = kDefaultVsan;
    vsan.name = default_vsan_name(kDefaultVsan);
    change.vsans.push_back(std::move(vsan));
  }
}

static switch_change fresh_change() {
  switch_change change;
  change.settings.name = "switch";
  change.settings.wwn = 0x2000020000000001;  // a locally administered name
  uint32_t id = 0;
  while (id == 0) {
    if (getrandom(&id, sizeof id, 0) != sizeof id) {
      id = 0;
    }
  }
  change.settings.store_id = id;
  for (uint32_t key = kTimerFirst; key < kTimerFirst + kTimerKinds; ++key) {
    change.timers[{0, key}] = kTimerRanges[key - kTimerFirst].standard;
  }
  return change;
}

switch_change default_topology() {
  switch_change change = fresh_change();
  std::set<uint32_t> none;
  add_default_vsan(change, none);
  return change;
}

static void read_root(topology_reader &reader, const toml::table &root, switch_change &change) {
  check_sections(reader, root);
  read_section<switch_settings>(reader, root, "switch", kSwitchKeys, change.settings);
  read_section<timer_map>(reader, root, "timers", kTimerKeys, change.timers);
  read_section<switch_change>(reader, root, "distribution", kDistributionKeys, change);
  seen_values vsans;
  read_array(reader, root, "vsan", [&](const toml::table &table) { read_vsan(reader, table, vsans, change); });
  add_default_vsan(change, vsans.ids);
  seen_values interfaces;
  read_array(reader, root, "interface",
             [&](const toml::table &table) { read_interface(reader, table, interfaces, change); });
  for (const auto &[vsan, out] : change.kept_out) {
    if (!vsans.ids.contains(vsan)) {
      complain(reader, *root.get("distribution"), "distribution.kept_out", "there is no VSAN " + std::to_string(vsan));
    }
  }
}

int read_topology(const std::string &path, switch_change &change, std::string &error) {
  toml::parse_result parsed = toml::parse_file(path);
  if (!parsed) {
    error = path + ":" + std::to_string(parsed.error().source().begin.line) + ": " +
            std::string(parsed.error().description());
    return -1;
  }
  topology_reader reader{path, ""};
  switch_change read = fresh_change();
  read_root(reader, parsed.table(), read);
  if (!reader.problem.empty()) {
    error = reader.problem;
    return -1;
  }
  change = std::move(read);
  return 0;
}
