// Agents that do not share this switch's page, as they say themselves (kOpAgentPage).
#ifndef SWITCHD_AGENT_PAGES_H
#define SWITCHD_AGENT_PAGES_H

#include <stdint.h>
#include <sys/types.h>

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

struct agent_page {
  std::string page = {};  // where it keeps events and errors; empty: nowhere
  std::string why = {};
  int64_t told = 0;  // monotonic seconds
};

// By client process. Who is gone, or says nothing for kAgentPageKept seconds, is forgotten.
using agent_pages = std::map<pid_t, agent_page>;

// Keeps what the process says. Returns 0, or a status: kStatusMalformed for an object that is none of ours,
// kStatusBusy when too many say so.
int agent_pages_keep(agent_pages &pages, pid_t client, const nlohmann::json &said);

// An array of {"pid", "page", "why"}.
nlohmann::json agent_pages_shown(agent_pages &pages);

#endif
