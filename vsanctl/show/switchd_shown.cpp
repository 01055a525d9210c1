// What switchd says of itself and of the whole switch.
#include <errno.h>
#include <time.h>

#include <nlohmann/json.hpp>

#include "ask/control.h"
#include "ask/page_choice.h"
#include "ask/question.h"
#include "big_endian.h"
#include "output/time_text.h"
#include "record_words.h"
#include "requests.h"
#include "show/shows.h"
#include "switchplatform/shared_page.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

using nlohmann::json;

cell cell_of(const json &value) {
  if (value.is_boolean()) {
    return flag_cell(value.get<bool>());
  }
  return value.is_number_integer() ? number_cell(value.get<uint64_t>()) : text_cell(value.get<std::string>());
}

// The object's values as fields; an array of objects in it is a table.
void write_object(const writer &to, const std::string &prefix, const json &object) {
  for (const auto &[key, value] : object.items()) {
    if (value.is_object()) {
      write_object(to, key + "_", value);
    } else if (!value.is_array()) {
      write_field(to, (prefix + key).c_str(), cell_of(value));
    }
  }
}

void write_array(const writer &to, const char *name, const json &rows, const std::vector<const char *> &columns) {
  write_table(to, name, columns);
  for (const json &row : rows) {
    std::vector<cell> cells;
    cells.reserve(columns.size());
    for (const char *column : columns) {
      cells.push_back(cell_of(row.at(column)));
    }
    write_row(to, cells);
  }
}

}  // namespace

void show_status(const writer &to, const show_options &) {
  json status = ask_control("status", kOpStatus, kMsgGet);
  status["table_changed"] = time_text(status.at("table_changed").get<uint32_t>());
  write_object(to, "", status);
  write_array(to, "services", status.at("services"),
              {"service", "requests", "refused", "bad_frames", "connections", "peers_refused", "faults"});
  write_array(to, "agents_without_page", status.value("agents_without_page", json::array()), {"pid", "page", "why"});
}

void show_notifications(const writer &to, const show_options &) {
  const json queue = ask_control("notifications", kOpNotificationQueue, kMsgGet);
  write_object(to, "", queue);
  write_array(to, "oldest", queue.at("oldest"), {"number", "id", "meaning", "payload"});
}

namespace {

uint32_t read_latency(uint32_t type) {
  const auto answer = ask_or_fail("latency", {kServiceVsanManager, kOpLatency, kMsgGet,
                                              record_bytes(vsanLatency{type, 0, 0}), sizeof(vsanLatency)});
  return record_read<vsanLatency>(answer.data()).value;
}

bool read_inorder() {
  const auto answer = ask_or_fail("in-order delivery", {kServiceVsanManager, kOpInorderDelivery, kMsgGet, {}, 4});
  return get_be32(answer.data()) == kInorderOn;
}

}  // namespace

void show_switch(const writer &to, const show_options &) {
  const json status = ask_control("status", kOpStatus, kMsgGet);
  write_field(to, "name", cell_of(status.at("name")));
  write_field(to, "wwn", cell_of(status.at("wwn")));
  write_field(to, "inorder", text_cell(read_inorder() ? "on" : "off"));
  write_field(to, "switch_latency", number_cell(read_latency(kAttrSwitchLatency)));
  write_field(to, "network_latency", number_cell(read_latency(kAttrNetworkLatency)));
  write_field(to, "notifications", text_cell(status.at("notifications").at("enabled").get<bool>() ? "on" : "off"));
  write_field(to, "vsans", cell_of(status.at("vsans")));
  write_field(to, "interfaces", cell_of(status.at("interfaces")));
  write_field(to, "table_changed", text_cell(time_text(status.at("table_changed").get<uint32_t>())));
}

void show_levels(const writer &to, const show_options &) {
  write_table(to, "levels", {"level", "recorded", "printed"});
  for (int level = 0; level <= kLevelMax; ++level) {
    const int recorded = platform_level_get(kLevelRecorded, level);
    const int printed = platform_level_get(kLevelPrinted, level);
    if (recorded < 0 || printed < 0) {
      fail_no_page(errno);
    }
    if (recorded + printed > 0) {
      write_row(to, {number_cell(static_cast<uint64_t>(level)), flag_cell(recorded != 0), flag_cell(printed != 0)});
    }
  }
}
