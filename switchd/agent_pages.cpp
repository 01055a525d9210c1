#include "agent_pages.h"

#include <errno.h>
#include <signal.h>

#include <nlohmann/json.hpp>

#include "monotonic_clock.h"
#include "plain_text.h"
#include "requests.h"
#include "statuses.h"

namespace {

using nlohmann::json;

constexpr size_t kAgentsMax = 16;

// A peer of another process namespace has number 0 here, and signals to that one say nothing.
bool is_gone(pid_t client) {
  return client > 0 && kill(client, 0) != 0 && errno == ESRCH;
}

void forget_gone(agent_pages &pages) {
  const int64_t now = monotonic_seconds();
  std::erase_if(pages,
                [now](const auto &each) { return now - each.second.told > kAgentPageKept || is_gone(each.first); });
}

// Takes the text under `key`. Returns false when there is none that can be shown.
bool take_text(const json &said, const char *key, std::string &text) {
  if (!said.is_object() || !said.value(key, json()).is_string()) {
    return false;
  }
  text = said[key].get<std::string>();
  return text.size() <= kAgentPageTextMax && is_plain_text(text);
}

}  // namespace

int agent_pages_keep(agent_pages &pages, pid_t client, const json &said) {
  agent_page page{.told = monotonic_seconds()};
  if (!take_text(said, "page", page.page) || !take_text(said, "why", page.why)) {
    return kStatusMalformed;
  }
  forget_gone(pages);
  if (!pages.contains(client) && pages.size() >= kAgentsMax) {
    return kStatusBusy;
  }
  pages[client] = std::move(page);
  return 0;
}

json agent_pages_shown(agent_pages &pages) {
  forget_gone(pages);
  json shown = json::array();
  for (const auto &[client, page] : pages) {
    shown.push_back({{"pid", client}, {"page", page.page}, {"why", page.why}});
  }
  return shown;
}
