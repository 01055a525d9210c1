#include "fleet_description.h"

#include <arpa/inet.h>
#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <sstream>

#include "toml_library.h"
#include "wwn_text.h"

namespace {

constexpr size_t kNameMax = 32;  // as long as a switch's name may be
constexpr size_t kSocketPathMax = 107;
constexpr size_t kSocketNameMax = 24;  // the longest of a run directory, and room for one more
constexpr uint64_t kFirstWwn = 0x200002f100000001;
constexpr const char *kSupervisors[] = {"auto", "s6", "systemd"};

struct description_reader {
  std::string file;
  std::multimap<uint32_t, std::string> problems;  // by line
};

// Where agents are: each at an address of a network, or all at one address, on ports from one on.
struct agent_place {
  std::string network;
  std::string address;
  std::string listen;
  uint32_t port = 0;
};

struct fleet_section {
  fleet_description *fleet;
  std::string topology;
  uint64_t wwn = kFirstWwn;
};

struct snmp_section {
  fleet_description *fleet;
  agent_place place;
};

struct group_section {
  std::string name;
  uint32_t count = 0;
  std::vector<std::string> names;
  std::string topology;
};

struct host_section {
  std::string name;
  uint32_t switches = 0;
  agent_place place;
  const toml::table *where = nullptr;
};

template <typename Target>
struct description_key {
  std::string_view name;
  std::string (*take)(const toml::node &node, Target &target);  // returns what is wrong; empty when nothing is
};

void complain(description_reader &reader, const toml::node &where, const std::string &key, const std::string &what) {
  reader.problems.emplace(where.source().begin.line, key + ": " + what);
}

bool all_of(const std::string &text, std::string_view more) {
  return std::ranges::all_of(text, [more](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           more.find(c) != std::string_view::npos;
  });
}

std::string take_name(const toml::node &node, std::string &name) {
  name = node.value_exact<std::string>().value_or("");
  return !name.empty() && name.size() <= kNameMax && all_of(name, "_-") && name[0] != '-'
             ? ""
             : "1 to " + std::to_string(kNameMax) + " letters, digits, _ and - are wanted";
}

std::string take_text(const toml::node &node, std::string &text) {
  text = node.value_exact<std::string>().value_or("");
  return !text.empty() && text.find_first_of("\r\n") == std::string::npos ? "" : "a text of one line is wanted";
}

std::string take_word(const toml::node &node, std::string &word) {
  return take_text(node, word).empty() && word.size() <= 64 && all_of(word, "_-.:/+@")
             ? ""
             : "1 to 64 letters, digits and _ - . : / + @ are wanted";
}

std::string take_texts(const toml::node &node, std::vector<std::string> &texts) {
  const toml::array *list = node.as_array();
  for (size_t i = 0; list != nullptr && i < list->size(); ++i) {
    if (!take_text((*list)[i], texts.emplace_back()).empty()) {
      list = nullptr;
    }
  }
  return list != nullptr && !list->empty() ? "" : "a list of texts is wanted";
}

std::string take_count(const toml::node &node, uint32_t most, uint32_t &count) {
  const int64_t value = node.value_exact<int64_t>().value_or(0);
  count = value >= 1 && value <= most ? static_cast<uint32_t>(value) : 0;
  return count != 0 ? "" : "a whole number from 1 to " + std::to_string(most) + " is wanted";
}

// In host order; nothing when the text is no IPv4 address.
bool ipv4(const std::string &text, uint32_t &address) {
  in_addr read = {};
  const bool sound = inet_pton(AF_INET, text.c_str(), &read) == 1;
  address = ntohl(read.s_addr);
  return sound;
}

std::string take_network(const toml::node &node, std::string &network) {
  network = node.value_exact<std::string>().value_or("");
  uint32_t address = 0;
  return ipv4(network, address) && (address & 0xFFFF) == 0 ? "" : "a network such as \"127.1.0.0\" is wanted";
}

std::string take_listen(const toml::node &node, std::string &listen) {
  listen = node.value_exact<std::string>().value_or("");
  uint32_t address = 0;
  return ipv4(listen, address) ? "" : "an IPv4 address is wanted";
}

std::string take_address(const toml::node &node, std::string &address) {
  address = node.value_exact<std::string>().value_or("");
  return !address.empty() && all_of(address, ".-") ? "" : "an IPv4 address or a machine's name is wanted";
}

std::string take_directory(const toml::node &node, std::string &directory) {
  directory = node.value_exact<std::string>().value_or("");
  return !directory.empty() && all_of(directory, "/._-") ? "" : "a path of letters, digits and / . _ - is wanted";
}

std::string take_supervisor(const toml::node &node, std::string &supervisor) {
  supervisor = node.value_exact<std::string>().value_or("");
  const bool known = std::ranges::find(kSupervisors, supervisor) != std::end(kSupervisors);
  return known ? "" : "\"auto\", \"s6\" or \"systemd\" is wanted";
}

std::string take_endpoints(const toml::node &node, std::string &endpoints) {
  std::vector<std::string> urls;
  std::string problem = take_texts(node, urls);
  for (const std::string &url : urls) {
    if (problem.empty() && (!all_of(url, "_-.:/[]") || url.find("://") == std::string::npos)) {
      problem = "\"" + url + "\" is no URL such as \"http://127.0.0.1:2379\"";
    }
    endpoints += (endpoints.empty() ? "" : ",") + url;
  }
  return problem;
}

std::string take_flag(const toml::node &node, bool &flag) {
  flag = node.value_exact<bool>().value_or(false);
  return node.is_boolean() ? "" : "true or false is wanted";
}

std::string take_wwn(const toml::node &node, uint64_t &wwn) {
  const bool sound = wwn_read(node.value_exact<std::string>().value_or(""), wwn);
  return sound && wwn != 0 ? "" : "a world wide name such as \"20:00:02:f1:00:00:00:01\" is wanted";
}

constexpr description_key<fleet_section> kFleetKeys[] = {
    {"name", [](const toml::node &node, fleet_section &s) { return take_name(node, s.fleet->name); }},
    {"directory", [](const toml::node &node, fleet_section &s) { return take_directory(node, s.fleet->directory); }},
    {"topology", [](const toml::node &node, fleet_section &s) { return take_text(node, s.topology); }},
    {"wwn", [](const toml::node &node, fleet_section &s) { return take_wwn(node, s.wwn); }},
    {"supervisor", [](const toml::node &node, fleet_section &s) { return take_supervisor(node, s.fleet->supervisor); }},
    {"at_once", [](const toml::node &node, fleet_section &s) { return take_count(node, 1000, s.fleet->at_once); }},
    {"fabric", [](const toml::node &node, fleet_section &s) { return take_word(node, s.fleet->fabric); }},
    {"fabric_endpoints",
     [](const toml::node &node, fleet_section &s) { return take_endpoints(node, s.fleet->fabric_endpoints); }},
};

constexpr description_key<snmp_section> kSnmpKeys[] = {
    {"network", [](const toml::node &node, snmp_section &s) { return take_network(node, s.place.network); }},
    {"address", [](const toml::node &node, snmp_section &s) { return take_address(node, s.place.address); }},
    {"listen", [](const toml::node &node, snmp_section &s) { return take_listen(node, s.place.listen); }},
    {"port", [](const toml::node &node, snmp_section &s) { return take_count(node, UINT16_MAX, s.place.port); }},
    {"community", [](const toml::node &node, snmp_section &s) { return take_word(node, s.fleet->community); }},
    {"write_community",
     [](const toml::node &node, snmp_section &s) { return take_word(node, s.fleet->write_community); }},
    {"interfaces", [](const toml::node &node, snmp_section &s) { return take_flag(node, s.fleet->interfaces); }},
    {"lines", [](const toml::node &node, snmp_section &s) { return take_texts(node, s.fleet->lines); }},
};

constexpr description_key<group_section> kGroupKeys[] = {
    {"name", [](const toml::node &node, group_section &s) { return take_name(node, s.name); }},
    {"count", [](const toml::node &node, group_section &s) { return take_count(node, kNetworkAgents, s.count); }},
    {"names", [](const toml::node &node, group_section &s) { return take_texts(node, s.names); }},
    {"topology", [](const toml::node &node, group_section &s) { return take_text(node, s.topology); }},
};

constexpr description_key<host_section> kHostKeys[] = {
    {"name", [](const toml::node &node, host_section &s) { return take_address(node, s.name); }},
    {"switches", [](const toml::node &node, host_section &s) { return take_count(node, kNetworkAgents, s.switches); }},
    {"network", [](const toml::node &node, host_section &s) { return take_network(node, s.place.network); }},
    {"address", [](const toml::node &node, host_section &s) { return take_address(node, s.place.address); }},
    {"listen", [](const toml::node &node, host_section &s) { return take_listen(node, s.place.listen); }},
    {"port", [](const toml::node &node, host_section &s) { return take_count(node, UINT16_MAX, s.place.port); }},
};

template <typename Target>
void take_keys(description_reader &reader, const toml::table &table, const std::string &section,
               std::span<const description_key<Target>> keys, Target &target) {
  for (const auto &[key, node] : table) {
    const auto row = std::ranges::find(keys, key.str(), &description_key<Target>::name);
    const std::string problem = row == keys.end() ? "unknown key" : row->take(node, target);
    if (!problem.empty()) {
      complain(reader, node, section + "." + std::string(key.str()), problem);
    }
  }
}

// The tables of the section, of which there may be one, or several where it is an array; none when it is missing.
std::vector<const toml::table *> tables_of(description_reader &reader, const toml::table &root, const char *section,
                                           bool several) {
  std::vector<const toml::table *> tables;
  const toml::node *node = root.get(section);
  if (node != nullptr && !several && node->is_table()) {
    tables.push_back(node->as_table());
  } else if (node != nullptr && several && node->is_array_of_tables()) {
    for (const toml::node &each : *node->as_array()) {
      tables.push_back(each.as_table());
    }
  } else if (node != nullptr) {
    complain(reader, *node, section, several ? "an [[array of tables]] is wanted" : "a [table] is wanted");
  }
  return tables;
}

// A path of the description is relative to the folder that the description is in.
std::string resolved(const description_reader &reader, const std::string &path) {
  const std::filesystem::path folder = std::filesystem::absolute(reader.file).parent_path();
  return (folder / path).lexically_normal().string();
}

void read_fleet_section(description_reader &reader, const toml::table &root, fleet_section &section) {
  const auto tables = tables_of(reader, root, "fleet", false);
  const size_t before = reader.problems.size();
  if (!tables.empty()) {
    take_keys<fleet_section>(reader, *tables[0], "fleet", kFleetKeys, section);
  }
  const bool refused = reader.problems.size() != before;
  const toml::table &blamed = tables.empty() ? root : *tables[0];
  for (const char *key : {"name", "directory", "topology"}) {
    if (blamed.get(key) == nullptr || tables.empty()) {
      complain(reader, blamed, std::string("fleet.") + key, "is missing");
    }
  }
  fleet_description &fleet = *section.fleet;
  if (fleet.fabric.empty() != fleet.fabric_endpoints.empty()) {
    complain(reader, blamed, "fleet.fabric", "fabric and fabric_endpoints go together");
  }
  fleet.directory = resolved(reader, fleet.directory);
  if (!all_of(fleet.directory, "/._-") && !refused) {
    complain(reader, blamed, "fleet.directory", fleet.directory + " has others than letters, digits and / . _ -");
  }
}

void add_switch(description_reader &reader, const toml::table &where, const std::string &name,
                const group_section &group, const fleet_section &section, std::set<std::string> &names) {
  fleet_description &fleet = *section.fleet;
  const std::string topology = group.topology.empty() ? section.topology : group.topology;
  fleet_switch added;
  added.name = name;
  added.group = group.name;
  added.topology = resolved(reader, topology);
  added.wwn = section.wwn + fleet.switches.size();
  added.number = static_cast<uint32_t>(fleet.switches.size() + 1);
  if (name.empty() || name.size() > kNameMax || !all_of(name, "_-") || name[0] == '-') {
    complain(reader, where, "group.names", "\"" + name + "\": a name has 1 to 32 letters, digits, _ and -");
  } else if (!names.insert(name).second) {
    complain(reader, where, "group.names", "there are two switches \"" + name + "\"");
  }
  fleet.switches.push_back(std::move(added));
}

void read_group(description_reader &reader, const toml::table &table, const fleet_section &section,
                std::set<std::string> &names) {
  group_section group;
  const size_t before = reader.problems.size();
  take_keys<group_section>(reader, table, "group", kGroupKeys, group);
  if (table.get("name") == nullptr) {
    complain(reader, table, "group.name", "is missing");
  }
  if ((table.get("count") == nullptr) == (table.get("names") == nullptr)) {
    complain(reader, table, "group.count", "either count or names is wanted");
  }
  if (section.fleet->switches.size() + group.count + group.names.size() > UINT16_MAX) {
    complain(reader, table, "group.count", "a fleet has 65535 switches at most");
  }
  if (reader.problems.size() != before) {
    return;
  }
  for (uint32_t i = 1; i <= group.count; ++i) {
    add_switch(reader, table, group.name + "-" + std::to_string(i), group, section, names);
  }
  for (const std::string &name : group.names) {
    add_switch(reader, table, name, group, section, names);
  }
}

void read_groups(description_reader &reader, const toml::table &root, const fleet_section &section) {
  std::set<std::string> names;
  const auto tables = tables_of(reader, root, "group", true);
  for (const toml::table *table : tables) {
    read_group(reader, *table, section, names);
  }
  if (tables.empty() && root.get("group") == nullptr) {
    complain(reader, root, "group", "is missing: no switches are described");
  }
}

// Gives places to `count` switches from `first` on.
void place_switches(description_reader &reader, const toml::node &where, fleet_description &fleet, size_t first,
                    size_t count, const std::string &host, const agent_place &place) {
  uint32_t network = 0;
  const bool each_its_own = ipv4(place.network, network);
  if (each_its_own ? count > kNetworkAgents : place.port + count - 1 > UINT16_MAX) {
    complain(reader, where, each_its_own ? "network" : "port", std::to_string(count) + " agents have no room there");
    return;
  }
  for (size_t i = 0; i < count; ++i) {
    fleet_switch &each = fleet.switches[first + i];
    each.host = host;
    each.address = each_its_own ? network_address(network, static_cast<uint32_t>(i + 1)) : place.address;
    each.listen = place.listen.empty() ? each.address : place.listen;
    each.port = static_cast<uint16_t>(each_its_own ? place.port : place.port + i);
  }
}

// The keys of a place go together. Called where each of them is sound.
void check_place(description_reader &reader, const toml::node &where, const std::string &section,
                 const agent_place &place) {
  uint32_t address = 0;
  if (!place.network.empty() && (!place.address.empty() || !place.listen.empty())) {
    complain(reader, where, section + ".network", "it goes with neither address nor listen");
  } else if (!place.address.empty() && place.listen.empty() && !ipv4(place.address, address)) {
    complain(reader, where, section + ".listen", "is missing: \"" + place.address + "\" is a name");
  } else if (!place.listen.empty() && place.address.empty()) {
    complain(reader, where, section + ".address", "is missing: where stations find what listens there");
  }
}

std::vector<host_section> read_hosts(description_reader &reader, const toml::table &root, const agent_place &usual) {
  std::vector<host_section> hosts;
  std::set<std::string> names;
  for (const toml::table *table : tables_of(reader, root, "host", true)) {
    host_section &host = hosts.emplace_back();
    host.where = table;
    const size_t before = reader.problems.size();
    take_keys<host_section>(reader, *table, "host", kHostKeys, host);
    host.place.port = host.place.port == 0 ? usual.port : host.place.port;
    if (reader.problems.size() == before) {
      check_place(reader, *table, "host", host.place);
    }
    if (host.name.empty() && table->get("name") == nullptr) {
      complain(reader, *table, "host.name", "is missing");
    } else if (!names.insert(host.name).second) {
      complain(reader, *table, "host.name", "there are two hosts \"" + host.name + "\"");
    }
    if (host.place.network.empty() && host.place.address.empty()) {
      complain(reader, *table, "host.address", "is missing: where stations find the agents of this host");
    }
  }
  return hosts;
}

// Each host gets the number of switches that it names, or all an equal share.
void share_out(description_reader &reader, const std::vector<host_section> &hosts, fleet_description &fleet) {
  const size_t total = fleet.switches.size();
  const auto says = std::ranges::count_if(hosts, [](const host_section &host) { return host.switches != 0; });
  size_t named = 0;
  for (const host_section &host : hosts) {
    named += host.switches;
  }
  if (says != 0 && (says != std::ssize(hosts) || named != total)) {
    complain(reader, *hosts[0].where, "host.switches",
             "the hosts' numbers add up to " + std::to_string(named) + ", the fleet has " + std::to_string(total));
    return;
  }
  size_t first = 0;
  for (size_t i = 0; i < hosts.size(); ++i) {
    const size_t end = says != 0 ? first + hosts[i].switches : total * (i + 1) / hosts.size();
    place_switches(reader, *hosts[i].where, fleet, first, end - first, hosts[i].name, hosts[i].place);
    fleet.hosts.push_back(hosts[i].name);
    first = end;
  }
}

void check_sections(description_reader &reader, const toml::table &root) {
  static constexpr std::string_view kSections[] = {"fleet", "snmp", "group", "host"};
  for (const auto &[key, node] : root) {
    if (std::ranges::find(kSections, key.str()) == std::end(kSections)) {
      complain(reader, node, std::string(key.str()), "unknown section");
    }
  }
}

// A socket's path has 107 octets at most, wherever the directory is.
void check_paths(description_reader &reader, const toml::table &root, const fleet_description &fleet) {
  for (const fleet_switch &each : fleet.switches) {
    const size_t length = switch_folder(fleet, each).size() + strlen("/run/") + kSocketNameMax;
    if (length > kSocketPathMax) {
      complain(reader, *root.get("fleet"), "fleet.directory",
               "is too long by " + std::to_string(length - kSocketPathMax) + " for the sockets of " + each.name);
      return;
    }
  }
}

void read_root(description_reader &reader, const toml::table &root, fleet_description &fleet) {
  check_sections(reader, root);
  fleet_section section{&fleet, "", kFirstWwn};
  read_fleet_section(reader, root, section);
  snmp_section snmp{&fleet, {"", "", "", 1161}};
  for (const toml::table *table : tables_of(reader, root, "snmp", false)) {
    const size_t before = reader.problems.size();
    take_keys<snmp_section>(reader, *table, "snmp", kSnmpKeys, snmp);
    if (reader.problems.size() == before) {
      check_place(reader, *table, "snmp", snmp.place);
    }
  }
  read_groups(reader, root, section);
  const std::vector<host_section> hosts = read_hosts(reader, root, snmp.place);
  if (!reader.problems.empty()) {
    return;  // what follows rests on it
  }
  if (snmp.place.network.empty() && snmp.place.address.empty()) {
    snmp.place.network = "127.1.0.0";
  }
  if (hosts.empty()) {
    place_switches(reader, root, fleet, 0, fleet.switches.size(), "", snmp.place);
  } else {
    share_out(reader, hosts, fleet);
  }
  check_paths(reader, root, fleet);
}

std::string problems_told(const description_reader &reader) {
  std::string text;
  for (const auto &[line, problem] : reader.problems) {
    text += (text.empty() ? "" : "\n") + reader.file + ":" + std::to_string(line) + ": " + problem;
  }
  return text;
}

}  // namespace

std::string network_address(uint32_t network, uint32_t number) {
  const uint32_t address = network + ((number - 1) / 254 << 8) + (number - 1) % 254 + 1;
  char text[INET_ADDRSTRLEN] = {};
  const in_addr_t on_the_wire = htonl(address);
  inet_ntop(AF_INET, &on_the_wire, text, sizeof text);
  return text;
}

std::string switch_folder(const fleet_description &fleet, const fleet_switch &each) {
  return fleet.directory + "/switches/" + each.name;
}

std::string service_folder(const fleet_description &fleet, const fleet_switch &each, const char *service) {
  return fleet.directory + "/services/" + each.name + "." + service;
}

int parse_fleet(const std::string &text, const std::string &file, fleet_description &fleet, std::string &problems) {
  const toml::parse_result parsed = toml::parse(text, file);
  if (!parsed) {
    problems = file + ":" + std::to_string(parsed.error().source().begin.line) + ": " +
               std::string(parsed.error().description());
    return -1;
  }
  description_reader reader{file, {}};
  fleet_description read;
  read_root(reader, parsed.table(), read);
  if (!reader.problems.empty()) {
    problems = problems_told(reader);
    return -1;
  }
  fleet = std::move(read);
  return 0;
}

int read_fleet(const std::string &file, fleet_description &fleet, std::string &problems) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  if (!in || !(text << in.rdbuf())) {
    problems = file + ": " + (errno != 0 ? strerror(errno) : "it is empty, or cannot be read");
    return -1;
  }
  return parse_fleet(text.str(), file, fleet, problems);
}

int keep_host(fleet_description &fleet, const std::string &host, std::string &problem) {
  if (fleet.hosts.empty() && host.empty()) {
    return 0;
  }
  char own[256] = {};
  gethostname(own, sizeof own - 1);
  const std::string wanted = host.empty() ? own : host;
  if (std::ranges::find(fleet.hosts, wanted) == fleet.hosts.end()) {
    problem = "the description has no host \"" + wanted + "\"";
    return -1;
  }
  std::erase_if(fleet.switches, [&](const fleet_switch &each) { return each.host != wanted; });
  return 0;
}

namespace {

// "7" or "3-9", as two numbers.
bool number_range(const std::string &word, uint32_t &low, uint32_t &high) {
  const char *end = word.data() + word.size();
  const auto first = std::from_chars(word.data(), end, low);
  high = low;
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') {
    return first.ec == std::errc() && first.ptr == end;
  }
  const auto second = std::from_chars(first.ptr + 1, end, high);
  return second.ec == std::errc() && second.ptr == end;
}

}  // namespace

int keep_switches(fleet_description &fleet, const std::string &list, uint32_t percent, std::string &problem) {
  std::set<uint32_t> chosen;
  std::istringstream words(list);
  for (std::string word; std::getline(words, word, ',');) {
    uint32_t low = 0;
    uint32_t high = 0;
    const bool by_number = number_range(word, low, high);
    bool found = false;
    for (const fleet_switch &each : fleet.switches) {
      const bool meant = by_number ? each.number >= low && each.number <= high : word == each.name;
      if (meant || word == each.group) {
        chosen.insert(each.number);
        found = true;
      }
    }
    if (!found) {
      problem = "\"" + word + "\" is no number, range, name or group of a switch here";
      return -1;
    }
  }
  if (!list.empty()) {
    std::erase_if(fleet.switches, [&](const fleet_switch &each) { return !chosen.contains(each.number); });
  }
  std::vector<fleet_switch> share;
  const size_t wanted = std::max<size_t>(1, fleet.switches.size() * percent / 100);
  for (size_t i = 0; i < wanted && !fleet.switches.empty(); ++i) {
    share.push_back(fleet.switches[i * fleet.switches.size() / wanted]);
  }
  fleet.switches = std::move(share);
  return 0;
}
