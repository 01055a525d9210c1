// The fabric as this switch sees it.
#include <nlohmann/json.hpp>

#include "ask/control.h"
#include "output/time_text.h"
#include "requests.h"
#include "show/shows.h"
#include "vsan_values.h"

namespace {

using nlohmann::json;

cell text_at(const json &object, const char *key) {
  return text_cell(object.at(key).get<std::string>());
}

cell number_at(const json &object, const char *key) {
  return number_cell(object.at(key).get<uint64_t>());
}

// What a commit changed, such as "e_d_tov 2500, 20 r_a_tov 8000": a VSAN's number stands in front.
std::string changes_shown(const json &changed) {
  std::string text;
  for (const json &each : changed) {
    const auto vsan = each.at("vsan").get<uint32_t>();
    const auto key = each.at("timer").get<uint32_t>();
    text += text.empty() ? "" : ", ";
    text += vsan == 0 ? "" : std::to_string(vsan) + " ";
    text += std::string(is_timer(key) ? range_of_timer(key).word : "?") + " " +
            std::to_string(each.at("value").get<uint32_t>());
  }
  return text;
}

void write_switches(const writer &to, const json &switches) {
  write_table(to, "switches", {"name", "wwn", "alive", "version", "commit", "revision"});
  for (const json &each : switches) {
    write_row(to, {text_at(each, "name"), text_at(each, "wwn"), flag_cell(each.at("alive").get<bool>()),
                   text_at(each, "version"), number_at(each, "commit"), number_at(each, "revision")});
  }
}

void write_commits(const writer &to, const json &commits) {
  write_table(to, "commits", {"number", "revision", "switch", "user", "at", "changed"});
  for (const json &each : commits) {
    const auto seconds = static_cast<uint32_t>(each.at("at").get<int64_t>() / 1000);
    write_row(to, {number_at(each, "number"), number_at(each, "revision"), text_at(each, "switch"),
                   text_at(each, "user"), text_cell(time_text(seconds)), text_cell(changes_shown(each.at("changed")))});
  }
}

}  // namespace

void show_fabric(const writer &to, const show_options &) {
  const json fabric = ask_control("the fabric", kOpFabric, kMsgGet);
  for (const char *key : {"fabric", "state", "why", "endpoint"}) {
    write_field(to, key, text_at(fabric, key));
  }
  write_field(to, "revision", number_at(fabric, "revision"));
  write_field(to, "commit", number_at(fabric, "commit"));
  write_field(to, "holder", text_at(fabric, "holder"));
  write_field(to, "holder_user", text_at(fabric, "holder_user"));
  write_switches(to, fabric.at("switches"));
  write_commits(to, fabric.at("commits"));
}
