// Whether an SNMP agent answers.
#ifndef FLEET_AGENT_PROBE_H
#define FLEET_AGENT_PROBE_H

#include <stdint.h>

#include <string>

// A GetRequest of version 2c for sysUpTime.0, as it goes out. The community has 64 octets at most.
std::string uptime_request(const std::string &community);

// Asks the agent at the IPv4 address until it answers, with whatever it answers. Returns true when it does within
// `seconds`.
bool agent_answers(const std::string &address, uint16_t port, const std::string &community, uint32_t seconds);

#endif
