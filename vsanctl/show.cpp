// vsanctl show …
#include <string.h>
#include <time.h>

#include <map>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "distribution_records.h"
#include "platform/port_manager.h"
#include "question.h"
#include "record_words.h"
#include "requests.h"
#include "rows.h"
#include "statuses.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"
#include "writer.h"

namespace {

using nlohmann::json;

// What a `show` was asked for.
struct show_options {
  uint32_t vsan = 0;  // 0: all
  bool pending = false;
};

std::string word(uint32_t value, const value_words &words) {
  if (value == 1 || value == 2) {
    return value == 1 ? words.of_1 : words.of_2;
  }
  return std::to_string(value);
}

uint64_t number(uint32_t value) {
  return value;
}

std::vector<vsanEntry> chosen_vsans(uint32_t id) {
  if (id == 0) {
    return read_vsans();
  }
  vsanEntry row = {};
  const int status = read_vsan(id, row);
  if (status != 0) {
    fail_refused("VSAN " + std::to_string(id), status);
  }
  return {row};
}

void show_vsan(const writer &to, const show_options &options) {
  write_table(
      to, "vsans",
      {"vsan", "name", "admin", "oper", "media", "mtu", "load_balancing", "interop", "inorder", "drop_latency"});
  for (const vsanEntry &row : chosen_vsans(options.vsan)) {
    write_row(
        to, {number(row.vsanIndex), vsan_name(row), word(row.vsanAdminState, kAdminWords),
             word(row.vsanOperState, kOperWords), word(row.vsanMediaType, kMediaWords), number(row.vsanMtu),
             word(row.vsanLoadBalancingType, kLoadBalancingWords),
             row.vsanInteropMode == kVsanInteropDefault ? std::string("default") : std::to_string(row.vsanInteropMode),
             word(row.vsanInorderDelivery, kSwitchWords), number(row.vsanNetworkDropLatency)});
  }
}

void show_interface(const writer &to, const show_options &) {
  write_table(to, "interfaces", {"index", "name", "state", "vsan"});
  for (const interface_row &row : read_interfaces()) {
    write_row(to, {number(row.index), row.name, std::string(row.up ? "up" : "down"), number(row.vsan)});
  }
}

void show_membership(const writer &to, const show_options &) {
  std::map<uint32_t, std::string> names;
  for (const interface_row &row : read_interfaces()) {
    names[row.index] = row.name;
  }
  write_table(to, "memberships", {"vsan", "interface", "name", "static"});
  uint32_t vsan = 0;
  uint32_t interface = 0;
  uint8_t is_static = 0;
  int status = 0;
  while ((status = pm_cmi_get_active_vsan_port_membership(mts_response_q, kMsgGetNext, &vsan, &interface, &is_static,
                                                          nullptr, nullptr, 0)) == 0) {
    write_row(to, {number(vsan), number(interface), names[interface], is_static != 0});
  }
  if (status == -1) {
    fail(kExitNoSwitch, std::string("no answer from switchd in ") + platform_run_dir() + ": " + strerror(errno));
  }
  if (status != kStatusEndOfMemberships) {
    fail_refused("the memberships", status);
  }
}

// The timers of a VSAN, or of the whole switch.
void timer_row(const writer &to, uint32_t vsan, bool pending) {
  std::vector<cell> row{vsan == 0 ? cell(std::string("switch")) : cell(number(vsan))};
  for (uint32_t i = 0; i < kTimerKinds; ++i) {
    uint32_t value = 0;
    const int status = read_timer(vsan, kTimerFirst + i, pending ? kMsgKdxGet : kMsgGet, value);
    if (status == kStatusNotInDistribution) {
      return;  // it has no pending view
    }
    if (status != 0) {
      fail_refused("timers of VSAN " + std::to_string(vsan), status);
    }
    row.emplace_back(number(value));
  }
  write_row(to, row);
}

void show_timers(const writer &to, const show_options &options) {
  std::vector<const char *> columns{"vsan"};
  for (const timer_range &timer : kTimerRanges) {
    columns.push_back(timer.word);
  }
  write_table(to, options.pending ? "pending_timers" : "timers", columns);
  if (options.vsan == 0) {
    timer_row(to, 0, options.pending);
  }
  for (const vsanEntry &row : chosen_vsans(options.vsan)) {
    timer_row(to, row.vsanIndex, options.pending);
  }
}

void show_kdx(const writer &to, const show_options &) {
  const auto bytes =
      ask_or_fail("distribution", {kServiceDistribution, kOpDistribution, kMsgGet, {}, sizeof(distribution_status)});
  const auto state = record_read<distribution_status>(bytes.data());
  write_field(to, "enabled", state.enabled != 0);
  write_field(to, "show_running", state.show_running != 0);
  write_field(to, "session", state.open != 0);
  write_field(to, "owner", std::string(state.owner, strnlen(state.owner, sizeof state.owner)));
  write_field(to, "remote_lock", state.remote_lock != 0);
  write_table(to, "pending", {"vsan", "timer", "value"});
  walk("pending timers",
       {kServiceDistribution, kOpPendingTimer, kMsgGetNext, record_bytes(pending_timer{}), sizeof(pending_timer)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         const auto timer = record_read<pending_timer>(answer.data());
         const uint32_t key = timer.key;
         write_row(to, {timer.vsan == 0 ? cell(std::string("switch")) : cell(number(timer.vsan)),
                        std::string(is_timer(key) ? range_of_timer(key).word : "?"), number(timer.value)});
         next = answer;
       });
  write_table(to, "kept_out", {"vsan"});
  walk("VSANs kept out",
       {kServiceDistribution, kOpKeptOut, kMsgGetNext, record_bytes(kept_out_vsan{}), sizeof(kept_out_vsan)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         write_row(to, {number(record_read<kept_out_vsan>(answer.data()).vsan)});
         next = answer;
       });
}

void show_errors(const writer &to, const show_options &) {
  std::vector<platform_error> errors(kErrorsKept);
  const int count = platform_errors_read(errors.data(), kErrorsKept);
  if (count < 0) {
    fail(kExitNoSwitch, std::string("no shared page in ") + platform_run_dir() + ": " + strerror(errno));
  }
  errors.resize(static_cast<size_t>(count));
  write_table(to, "errors", {"time", "user", "pdu", "status", "text"});
  for (const platform_error &error : errors) {
    const time_t seconds = error.seconds;
    tm broken = {};
    char when[32];
    char status[16];
    strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &broken));
    snprintf(status, sizeof status, "0x%08X", error.code);
    write_row(to, {std::string(when), std::string(error.user), number(error.pdu), std::string(status),
                   std::string(error.text)});
  }
}

cell cell_of(const json &value) {
  if (value.is_boolean()) {
    return value.get<bool>();
  }
  return value.is_number_unsigned() || value.is_number_integer() ? cell(value.get<uint64_t>())
                                                                 : cell(value.get<std::string>());
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

json control_answer(const char *what, int opcode) {
  const auto answer = ask_or_fail(what, {kServiceControl, opcode, kMsgGet, {}, kAnyAnswer});
  return json::parse(answer.begin(), answer.end());
}

void show_status(const writer &to, const show_options &) {
  const json status = control_answer("status", kOpStatus);
  write_object(to, "", status);
  write_array(to, "services", status.at("services"),
              {"service", "requests", "refused", "malformed", "connections", "peers_refused", "faults"});
}

void show_notifications(const writer &to, const show_options &) {
  const json queue = control_answer("notifications", kOpNotificationQueue);
  write_object(to, "", queue);
  write_array(to, "oldest", queue.at("oldest"), {"number", "id", "payload"});
}

struct show_row {
  const char *name;
  const char *about;
  void (*show)(const writer &to, const show_options &options);
  bool takes_vsan;
};
constexpr show_row kShows[] = {
    {"vsan", "the VSANs, or one", show_vsan, true},
    {"interface", "interfaces and the VSANs they are in", show_interface, false},
    {"membership", "active memberships: interfaces that are up, in active VSANs", show_membership, false},
    {"timers", "the timers in force, in milliseconds", show_timers, true},
    {"kdx", "distribution of the timers: session, pending values, VSANs kept out", show_kdx, false},
    {"errors", "the last errors of SNMP users", show_errors, false},
    {"notifications", "the notification queue and its counters", show_notifications, false},
    {"status", "switchd and its services", show_status, false},
};

}  // namespace

void add_show_commands(CLI::App &app, const common_options &common) {
  CLI::App *show = app.add_subcommand("show", "show something")->require_subcommand(1);
  static show_options options;
  for (const show_row &row : kShows) {
    CLI::App *command = show->add_subcommand(row.name, row.about);
    if (row.takes_vsan) {
      command->add_option("vsan", options.vsan, "only this VSAN")->check(CLI::PositiveNumber);
    }
    if (row.show == show_timers) {
      command->add_flag("--pending", options.pending, "as a commit of the distribution session would leave them");
    }
    command->callback([&row, &common] {
      const writer to = writer_open(common.json);
      row.show(to, options);
      writer_close(to);
    });
  }
}
