#include "topology.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <string_view>

#include "plain_text.h"
#include "platform/syserr.h"
#include "requests.h"
#include "rules/vsan_rules.h"
#include "statuses.h"
#include "text_pieces.h"
#include "topology_keys.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

constexpr size_t kProblemsTold = 50;
constexpr size_t kProblemMax = 300;  // octets that are told of one
constexpr size_t kKeyMax = 100;      // and of its key

// The problems of a file, by line.
struct topology_reader {
  std::string name;
  std::multimap<uint32_t, std::string> problems;
};

void complain(topology_reader &reader, const toml::node &where, const std::string &key, const std::string &what) {
  const std::string shown = key.size() <= kKeyMax ? key : key.substr(0, piece_end(key, 0, kKeyMax)) + "...";
  reader.problems.emplace(where.source().begin.line, shown + ": " + what);
}

// One line a problem.
std::string told(const topology_reader &reader) {
  std::string text;
  size_t left = kProblemsTold;
  for (const auto &[line, problem] : reader.problems) {
    text += (text.empty() ? "" : "\n") + reader.name;
    if (left-- == 0) {
      return text + ": " + std::to_string(reader.problems.size() - kProblemsTold) + " problems more";
    }
    text += ":" + std::to_string(line) + ": " + problem.substr(0, piece_end(problem, 0, kProblemMax));
  }
  return text;
}

// Returns the keys whose values could not be taken.
template <typename Target>
std::set<std::string_view> read_keys(topology_reader &reader, const toml::table &table, const std::string &section,
                                     std::span<const key_row<Target>> rows, Target &target) {
  std::set<std::string_view> refused;
  for (const auto &[key, node] : table) {
    const auto row = std::ranges::find(rows, key.str(), &key_row<Target>::name);
    const std::string path = section + "." + std::string(key.str());
    const std::string problem = row == rows.end() ? "unknown key" : row->take(node, target);
    if (!problem.empty()) {
      complain(reader, node, path, problem);
      refused.insert(key.str());
    }
  }
  return refused;
}

template <typename Target>
void read_section(topology_reader &reader, const toml::table &root, const char *section,
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
void read_array(topology_reader &reader, const toml::table &root, const char *section, const Read &read) {
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
const toml::node &blame(const toml::table &table, const char *key) {
  const toml::node *node = table.get(key);
  return node != nullptr ? *node : table;
}

std::string default_vsan_name(uint32_t id) {
  char name[kVsanNameMax + 1];
  snprintf(name, sizeof name, "VSAN%.4u", id);
  return name;
}

struct seen_values {
  std::set<uint32_t> ids;
  std::set<std::string> names;
};

// What is wrong with the name alone; empty when nothing is.
std::string vsan_name_problem(const std::string &name, seen_values &seen) {
  vsan_record named;
  named.id = kDefaultVsan;
  named.name = name;
  if (const int problem = vsan_problem(named); problem != 0) {
    return syserr2str(problem);
  }
  return name.empty() || seen.names.insert(name).second ? "" : "\"" + name + "\" is the name of another VSAN";
}

// Each check is made whatever the others say, so that all of a row's problems are told.
void read_vsan(topology_reader &reader, const toml::table &table, seen_values &seen, switch_change &change) {
  vsan_section section;
  const auto refused = read_keys<vsan_section>(reader, table, "vsan", kVsanKeys, section);
  vsan_record &vsan = section.vsan;
  vsan.interop = vsan.interop == 0 ? uint32_t{kVsanInteropDefault} : vsan.interop;
  const bool has_id = table.get("id") != nullptr && !refused.contains("id");
  const bool is_new = has_id && seen.ids.insert(vsan.id).second;
  if (table.get("id") == nullptr) {
    complain(reader, table, "vsan.id", "is missing");
  } else if (has_id && !is_new) {
    complain(reader, blame(table, "id"), "vsan.id", "VSAN " + std::to_string(vsan.id) + " is there twice");
  }
  if (!section.has_name && is_new) {
    vsan.name = default_vsan_name(vsan.id);
  }
  const std::string problem = refused.contains("name") ? "" : vsan_name_problem(vsan.name, seen);
  if (!problem.empty()) {
    complain(reader, blame(table, "name"), "vsan.name", problem);
  }
  for (const auto &[key, value] : section.timers) {
    change.timers[{vsan.id, key.second}] = value;
  }
  change.vsans.push_back(std::move(vsan));
}

std::string interface_name_problem(const std::string &name, seen_values &seen) {
  if (name.empty() || name.size() > kInterfaceNameMax || !is_plain_text(name)) {
    return syserr2str(kStatusInterfaceName);
  }
  return seen.names.insert(name).second ? "" : "\"" + name + "\" is there twice";
}

void read_interface(topology_reader &reader, const toml::table &table, seen_values &seen, switch_change &change) {
  interface_record interface;
  const auto refused = read_keys<interface_record>(reader, table, "interface", kInterfaceKeys, interface);
  if (table.get("index") == nullptr) {
    complain(reader, table, "interface.index", "is missing");
  } else if (!refused.contains("index") && !seen.ids.insert(interface.index).second) {
    complain(reader, blame(table, "index"), "interface.index", std::to_string(interface.index) + " is there twice");
  }
  const std::string name_problem = refused.contains("name") ? "" : interface_name_problem(interface.name, seen);
  if (!name_problem.empty()) {
    complain(reader, blame(table, "name"), "interface.name", name_problem);
  }
  const auto in_vsan = [&](const vsan_record &vsan) { return vsan.id == interface.vsan; };
  if (!refused.contains("vsan") && std::ranges::none_of(change.vsans, in_vsan)) {
    complain(reader, blame(table, "vsan"), "interface.vsan", "there is no VSAN " + std::to_string(interface.vsan));
  }
  if (change.interfaces.size() == kInterfacesMax) {
    complain(reader, table, "interface", "more than " + std::to_string(kInterfacesMax) + " interfaces");
  }
  change.interfaces.push_back(std::move(interface));
}

void check_sections(topology_reader &reader, const toml::table &root) {
  static constexpr std::string_view kSections[] = {"switch", "timers", "distribution", "vsan", "interface", "fabric"};
  for (const auto &[key, node] : root) {
    if (std::ranges::find(kSections, key.str()) == std::end(kSections)) {
      complain(reader, node, std::string(key.str()), "unknown section");
    }
  }
}

// VSAN 1 is always there; a file need not name it.
void add_default_vsan(switch_change &change, std::set<uint32_t> &ids) {
  if (ids.insert(kDefaultVsan).second) {
    vsan_record vsan;
    vsan.id = kDefaultVsan;
    vsan.name = default_vsan_name(kDefaultVsan);
    change.vsans.push_back(std::move(vsan));
  }
}

switch_change fresh_change() {
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

}  // namespace

switch_change default_topology() {
  switch_change change = fresh_change();
  std::set<uint32_t> none;
  add_default_vsan(change, none);
  return change;
}

namespace {

void read_root(topology_reader &reader, const toml::table &root, switch_change &change, fabric_options &fabric) {
  check_sections(reader, root);
  read_section<switch_settings>(reader, root, "switch", kSwitchKeys, change.settings);
  read_section<timer_map>(reader, root, "timers", kTimerKeys, change.timers);
  read_section<switch_change>(reader, root, "distribution", kDistributionKeys, change);
  read_section<fabric_options>(reader, root, "fabric", kFabricKeys, fabric);
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

}  // namespace

int parse_topology(const std::string &text, const std::string &name, switch_change &change, std::string &error,
                   fabric_options *fabric) {
  toml::parse_result parsed = toml::parse(text, name);
  if (!parsed) {
    error = name + ":" + std::to_string(parsed.error().source().begin.line) + ": " +
            std::string(parsed.error().description());
    return -1;
  }
  topology_reader reader{name, {}};
  switch_change read = fresh_change();
  fabric_options of_file;
  read_root(reader, parsed.table(), read, of_file);
  if (!reader.problems.empty()) {
    error = told(reader);
    return -1;
  }
  change = std::move(read);
  if (fabric != nullptr) {
    *fabric = std::move(of_file);
  }
  return 0;
}

int read_topology(const std::string &path, switch_change &change, std::string &error, fabric_options *fabric) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text;
  char part[65536];
  ssize_t got = -1;
  while (fd >= 0 && text.size() <= kConfigurationMax && (got = read(fd, part, sizeof part)) > 0) {
    text.append(part, static_cast<size_t>(got));
  }
  const int why = errno;
  if (fd >= 0) {
    close(fd);
  }
  if (got < 0) {
    error = "topology file " + path + ": " + strerror(why);
    return -1;
  }
  if (text.size() > kConfigurationMax) {
    error = path + ": more than " + std::to_string(kConfigurationMax) + " bytes";
    return -1;
  }
  return parse_topology(text, path, change, error, fabric);
}
