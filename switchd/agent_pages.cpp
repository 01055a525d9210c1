#include "agent_pages.h"

#include <nlohmann/json.hpp>

#include "plain_text.h"
#include "requests.h"
#include "statuses.h"

namespace {

using nlohmann::json;

constexpr size_t kAgentsMax = 16;  // what is shown of them has to fit into one answer

// Takes the text under `key`. Returns false when there is none that can be shown.
bool take_text(const json &said, const char *key, std::string &text) {
  if (!said.is_object() || !said.value(key, json()).is_string()) {
    return false;
  }
  text = said[key].get<std::string>();
  return text.size() <= kAgentPageTextMax && is_plain_text(text);
}

}  // namespace

int agent_pages_keep(agent_pages &pages, uint64_t connection, pid_t pid, const json &said) {
  agent_page page{.pid = pid};
  if (!take_text(said, "page", page.page) || !take_text(said, "why", page.why)) {
    return kStatusMalformed;
  }
  if (!pages.contains(connection) && pages.size() >= kAgentsMax) {
    return kStatusBusy;
  }
  pages[connection] = std::move(page);
  return 0;
}

json agent_pages_shown(const agent_pages &pages) {
  json shown = json::array();
  for (const auto &[connection, page] : pages) {
    shown.push_back({{"pid", page.pid}, {"page", page.page}, {"why", page.why}});
  }
  return shown;
}
