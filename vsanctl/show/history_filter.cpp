#include "show/history_filter.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>
#include <regex>

namespace {

std::string lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char each) { return static_cast<char>(tolower(each)); });
  return text;
}

// The user whom a mark names.
std::string marked_user(const platform_event &event) {
  const char *start = strchr(event.text, '"');
  const char *end = start == nullptr ? nullptr : strrchr(event.text, '"');
  return end == nullptr || end == start ? "" : std::string(start + 1, end);
}

bool is_mark(const platform_event &event) {
  return event.module_id == kUserMarkModule && event.level == kUserMarkLevel;
}

// Whether the text names the VSAN: its number right behind "vsan", "vsanIndex", "vsan_id", or "Index" alone.
bool names_vsan(const std::string &text, uint32_t vsan) {
  static std::map<uint32_t, std::regex> expressions;
  const auto [found, is_new] = expressions.try_emplace(vsan);
  if (is_new) {
    found->second.assign("(vsan(index|_?id)?|(^|[^a-z])index)[^0-9a-z]{0,4}" + std::to_string(vsan) + "(?![0-9])",
                         std::regex::icase);
  }
  return std::regex_search(text, found->second);
}

}  // namespace

bool history_shows(const history_filter &filter, history_users &users, const platform_event &event,
                   const std::string &shown) {
  if (is_mark(event)) {
    users.of_process[event.pid] = marked_user(event);
  }
  const std::string text = event.text;
  return (filter.user.empty() || users.of_process[event.pid] == filter.user) &&
         (filter.levels.empty() || std::ranges::find(filter.levels, event.level) != filter.levels.end()) &&
         (filter.text.empty() || shown.find(filter.text) != std::string::npos) &&
         (filter.object.empty() || lower(text).find(lower(filter.object)) != std::string::npos) &&
         (filter.vsan == 0 || names_vsan(text, filter.vsan));
}

std::set<std::string> users_in_history() {
  std::set<std::string> users;
  platform_event_reader reader = {};
  platform_event event = {};
  if (platform_events_open(&reader, UINT32_MAX) != 0) {
    return users;
  }
  while (platform_events_next(&reader, &event) == 1) {
    if (is_mark(event)) {
      users.insert(marked_user(event));
    }
  }
  return users;
}
