#include "fabric_records.h"

#include <stdio.h>
#include <stdlib.h>

#include <nlohmann/json.hpp>

#include "etcd_json.h"
#include "vsan_values.h"

using nlohmann::json;

fabric_keys fabric_keys_of(const std::string &name) {
  const std::string prefix = "/switch/" + name + "/";
  const std::string shared = prefix + "kdx/" + kFcTimerApplication + "/";
  return {prefix, prefix + "id",   prefix + "switches/", prefix + "members/",
          shared, shared + "lock", shared + "values",    shared + "commits/"};
}

std::string fabric_commit_key(const fabric_keys &keys, uint64_t number) {
  char digits[21];
  snprintf(digits, sizeof digits, "%010llu", static_cast<unsigned long long>(number));
  return keys.commits + digits;
}

std::string fabric_session_text(uint64_t session) {
  char digits[17];
  snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(session));
  return digits;
}

namespace {

std::string text_of(const json &object) {
  return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

json object_of(const std::string &text) {
  return json::parse(text, nullptr, false);
}

uint64_t session_of(const json &object) {
  return strtoull(json_text(object, "session").c_str(), nullptr, 16);
}

json rows_of(const std::vector<distribution_value> &values) {
  json rows = json::array();
  for (const distribution_value &value : values) {
    rows.push_back({value.vsan, value.key, value.value});
  }
  return rows;
}

// Returns false when a row is none of a timer.
bool take_rows(const json &rows, std::vector<distribution_value> &values) {
  for (const json &row : rows) {
    if (!row.is_array() || row.size() != 3 || !row[0].is_number_unsigned() || !row[1].is_number_unsigned() ||
        !row[2].is_number_unsigned()) {
      return false;
    }
    const auto vsan = row[0].get<uint64_t>();
    const auto key = row[1].get<uint64_t>();
    const auto value = row[2].get<uint64_t>();
    if (vsan > kVsanLast || key > UINT32_MAX || !is_timer(static_cast<uint32_t>(key))) {
      return false;
    }
    const timer_range &range = range_of_timer(static_cast<uint32_t>(key));
    if (value < range.low || value > range.high) {
      return false;
    }
    values.push_back({static_cast<uint32_t>(vsan), static_cast<uint32_t>(key), static_cast<uint32_t>(value)});
  }
  return rows.is_array();
}

json head_of(const fabric_commit &commit) {
  return {{"commit", commit.number},
          {"wwn", commit.wwn},
          {"switch", commit.switch_name},
          {"user", commit.user},
          {"session", fabric_session_text(commit.session)},
          {"at", commit.at}};
}

}  // namespace

std::string fabric_lock_text(const fabric_lock &lock) {
  return text_of({{"wwn", lock.wwn},
                  {"switch", lock.switch_name},
                  {"user", lock.user},
                  {"session", fabric_session_text(lock.session)}});
}

fabric_lock fabric_lock_of(const std::string &text) {
  const json object = object_of(text);
  fabric_lock lock;
  lock.wwn = json_text(object, "wwn");
  lock.switch_name = json_text(object, "switch");
  lock.user = json_text(object, "user");
  lock.session = session_of(object);
  return lock;
}

std::string fabric_commit_text(const fabric_commit &commit) {
  json object = head_of(commit);
  object["timers"] = rows_of(commit.timers);
  return text_of(object);
}

std::string fabric_commit_summary(const fabric_commit &commit, const std::vector<distribution_value> &changed) {
  json object = head_of(commit);
  object["changed"] = rows_of(changed);
  return text_of(object);
}

bool fabric_commit_of(const std::string &text, fabric_commit &commit) {
  const json object = object_of(text);
  commit.number = static_cast<uint64_t>(json_number(object, "commit"));
  commit.wwn = json_text(object, "wwn");
  commit.switch_name = json_text(object, "switch");
  commit.user = json_text(object, "user");
  commit.session = session_of(object);
  commit.at = json_number(object, "at");
  commit.timers.clear();
  const json &rows = json_at(object, object.contains("timers") ? "timers" : "changed");
  return object.is_object() && commit.number > 0 && take_rows(rows, commit.timers);
}

std::string fabric_switch_text(const fabric_switch &member) {
  return text_of({{"name", member.name},
                  {"wwn", member.wwn},
                  {"version", member.version},
                  {"pid", member.pid},
                  {"store", member.store},
                  {"revision", member.revision},
                  {"commit", member.commit},
                  {"applied_at", member.applied_at}});
}

fabric_switch fabric_switch_of(const std::string &text) {
  const json object = object_of(text);
  fabric_switch member;
  member.name = json_text(object, "name");
  member.wwn = json_text(object, "wwn");
  member.version = json_text(object, "version");
  member.pid = json_number(object, "pid");
  member.store = static_cast<uint64_t>(json_number(object, "store"));
  member.revision = static_cast<uint64_t>(json_number(object, "revision"));
  member.commit = static_cast<uint64_t>(json_number(object, "commit"));
  member.applied_at = json_number(object, "applied_at");
  return member;
}
