#include <stdio.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "child_process.h"
#include "fleet_commands.h"
#include "service_files.h"
#include "supervisor.h"
#include "wwn_text.h"

namespace {

struct switch_state {
  service_state switchd;
  service_state agent;
};

// "3 d 04:05:06", as long as it is needed.
std::string duration_text(uint32_t seconds) {
  char text[48];
  snprintf(text, sizeof text, "%02u:%02u:%02u", seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
  return (seconds >= 86400 ? std::to_string(seconds / 86400) + " d " : "") + text;
}

std::string since_text(const service_state &state) {
  return state.word == "up" || state.word == "starting" ? duration_text(state.seconds) : "-";
}

nlohmann::ordered_json json_of(const service_state &state) {
  return {{"state", state.word}, {"seconds", state.seconds}, {"restarts", state.restarts}};
}

std::string json_text(const fleet_description &fleet, const std::vector<switch_state> &states) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (size_t i = 0; i < states.size(); ++i) {
    const fleet_switch &each = fleet.switches[i];
    list.push_back({{"switch", each.name},
                    {"group", each.group},
                    {"wwn", wwn_text(each.wwn)},
                    {"host", each.host},
                    {"address", each.address},
                    {"port", each.port},
                    {"run_dir", switch_folder(fleet, each) + "/run"},
                    {"switchd", json_of(states[i].switchd)},
                    {"agent", json_of(states[i].agent)}});
  }
  return nlohmann::ordered_json{{"fleet", fleet.name}, {"switches", list}}.dump(2) + "\n";
}

using text_row = std::vector<std::string>;

std::string table_text(const std::vector<text_row> &rows) {
  std::vector<size_t> widths(rows[0].size());
  for (const text_row &row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  std::string text;
  for (const text_row &row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      text += row[i] + (i + 1 < row.size() ? std::string(widths[i] - row[i].size() + 2, ' ') : "\n");
    }
  }
  return text;
}

std::string shown_table(const fleet_description &fleet, const std::vector<switch_state> &states) {
  std::vector<text_row> rows = {{"SWITCH", "ADDRESS", "SWITCHD", "SINCE", "RESTARTS", "AGENT", "SINCE", "RESTARTS"}};
  for (size_t i = 0; i < states.size(); ++i) {
    const fleet_switch &each = fleet.switches[i];
    const auto &[switchd, agent] = states[i];
    rows.push_back({each.name, each.address + ":" + std::to_string(each.port), switchd.word, since_text(switchd),
                    std::to_string(switchd.restarts), agent.word, since_text(agent), std::to_string(agent.restarts)});
  }
  return table_text(rows);
}

}  // namespace

int show_fleet(const fleet_description &fleet, bool as_json) {
  const supervisor_calls &supervisor = supervisor_of(fleet);
  std::vector<switch_state> states(fleet.switches.size());
  for_each_at_once(states.size(), starts_at_once(fleet), [&](size_t i) {
    states[i] = {supervisor.state(fleet, fleet.switches[i], kSwitchService),
                 supervisor.state(fleet, fleet.switches[i], kAgentService)};
  });
  const auto up = [](const switch_state &each) { return each.switchd.word == "up" && each.agent.word == "up"; };
  const auto ups = std::ranges::count_if(states, up);
  fputs((as_json ? json_text(fleet, states) : shown_table(fleet, states)).c_str(), stdout);
  if (!as_json) {
    printf("%zu of %zu up\n", static_cast<size_t>(ups), states.size());
  }
  return static_cast<size_t>(ups) == states.size() ? kFleetOk : kFleetSome;
}
