// The description of a fleet: which switches there are, where each of them is, how their agents are reached. In TOML;
// the keys are in vsanfleet.toml(5).
#ifndef FLEET_FLEET_DESCRIPTION_H
#define FLEET_FLEET_DESCRIPTION_H

#include <stdint.h>

#include <string>
#include <vector>

// One switch and its agent.
struct fleet_switch {
  std::string name;
  std::string group;
  std::string topology;  // the file that its store is filled from, with another name and world wide name
  std::string host;      // the machine that runs it; empty in a description without machines
  std::string address;   // where stations find the agent: an IPv4 address or a name
  std::string listen;    // where the agent listens: an IPv4 address
  uint64_t wwn = 0;
  uint32_t number = 0;  // from 1, in the order of the description
  uint16_t port = 0;
};

struct fleet_description {
  std::string name;
  std::string directory;             // absolute; all that the fleet writes is below it
  std::string supervisor = "auto";   // auto, s6 or systemd
  uint32_t at_once = 0;              // how many switches are started at a time; 0: by the number of processors
  std::string fabric;                // empty: the switches are by themselves
  std::string fabric_endpoints;      // URLs, with commas between
  std::string community = "public";  // may read
  std::string write_community;       // may write; empty: nobody may
  bool interfaces = true;            // agents serve IF-MIB and the switch's name
  std::vector<std::string> lines;    // more lines of every agent's configuration
  std::vector<std::string> hosts;
  std::vector<fleet_switch> switches;
};

// Takes the description from its text. `file` is what messages call it, and paths in it are relative to its folder.
// Returns 0, or -1 with every problem in `problems`, one a line: "FILE:LINE: KEY: what is wrong".
int parse_fleet(const std::string &text, const std::string &file, fleet_description &fleet, std::string &problems);

// The same for a file. Returns 0, or -1 with `problems` filled, also when the file cannot be read.
int read_fleet(const std::string &file, fleet_description &fleet, std::string &problems);

// Leaves those switches in the fleet that the machine runs. Without `host` it is the machine's own name, where the
// description has machines. Returns 0, or -1 with `problem` filled when the description does not have that machine.
int keep_host(fleet_description &fleet, const std::string &host, std::string &problem);

// Leaves those switches that `list` names: numbers, ranges of them, names, names of groups, with commas between; and
// of these a share in percent, 1 to 100, spread evenly, at least one. An empty list is all. Returns 0, or -1 with
// `problem` filled when a word of the list is no switch of the fleet.
int keep_switches(fleet_description &fleet, const std::string &list, uint32_t percent, std::string &problem);

// The address of the agent `number`, from 1, of the network A.B.0.0, given in host order: A.B.0.1 to A.B.0.254, then
// A.B.1.1 and so on, since .0 and .255 are no host's in many places.
std::string network_address(uint32_t network, uint32_t number);

// How many agents a network has room for.
inline constexpr uint32_t kNetworkAgents = 256 * 254;

// The switch's folder, and the folder of one of its processes for the supervisor, absolute.
std::string switch_folder(const fleet_description &fleet, const fleet_switch &each);
std::string service_folder(const fleet_description &fleet, const fleet_switch &each, const char *service);

#endif
