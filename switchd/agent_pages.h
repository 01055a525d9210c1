// Agents that do not share this switch's page, as they say themselves (kOpAgentPage).
#ifndef SWITCHD_AGENT_PAGES_H
#define SWITCHD_AGENT_PAGES_H

#include <stdint.h>
#include <sys/types.h>

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

struct agent_page {
  pid_t pid = 0;          // who connected; 0: a process of a namespace that is not seen from here
  std::string page = {};  // where it keeps events and errors; empty: nowhere
  std::string why = {};
};

// By connection, whose owner takes the entry out when it ends.
using agent_pages = std::map<uint64_t, agent_page>;

// Keeps what the connection says. Returns 0, or a status: kStatusMalformed for an object that is none of ours,
// kStatusBusy when too many say so.
int agent_pages_keep(agent_pages &pages, uint64_t connection, pid_t pid, const nlohmann::json &said);

// An array of {"pid", "page", "why"}, by age of the connections.
nlohmann::json agent_pages_shown(const agent_pages &pages);

#endif
