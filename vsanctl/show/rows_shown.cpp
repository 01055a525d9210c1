// The switch's tables: VSANs, interfaces, memberships, timers, distribution.
#include <errno.h>
#include <string.h>

#include <map>

#include "ask/no_switch.h"
#include "ask/question.h"
#include "ask/rows.h"
#include "distribution_records.h"
#include "platform/port_manager.h"
#include "record_words.h"
#include "requests.h"
#include "show/shows.h"
#include "statuses.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

cell word_cell(uint32_t value, const value_words &words) {
  if (value == 1 || value == 2) {
    return text_cell(value == 1 ? words.of_1 : words.of_2);
  }
  return text_cell(std::to_string(value));
}

// 0 stands for the whole switch.
cell scope_cell(uint32_t vsan) {
  return number_cell(vsan, vsan == 0 ? "switch" : "");
}

// As it is set: 0 is the default mode.
cell interop_cell(uint32_t mode) {
  return mode == kVsanInteropDefault ? number_cell(0, "default") : number_cell(mode);
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

}  // namespace

void show_vsan(const writer &to, const show_options &options) {
  write_table(
      to, "vsans",
      {"vsan", "name", "admin", "oper", "media", "mtu", "load_balancing", "interop", "inorder", "drop_latency"});
  for (const vsanEntry &row : chosen_vsans(options.vsan)) {
    write_row(to, {number_cell(row.vsanIndex), text_cell(vsan_name(row)), word_cell(row.vsanAdminState, kAdminWords),
                   word_cell(row.vsanOperState, kOperWords), word_cell(row.vsanMediaType, kMediaWords),
                   number_cell(row.vsanMtu), word_cell(row.vsanLoadBalancingType, kLoadBalancingWords),
                   interop_cell(row.vsanInteropMode), word_cell(row.vsanInorderDelivery, kSwitchWords),
                   number_cell(row.vsanNetworkDropLatency)});
  }
}

void show_interface(const writer &to, const show_options &) {
  write_table(to, "interfaces", {"index", "name", "state", "vsan"});
  for (const shown_interface &row : read_interfaces()) {
    write_row(to,
              {number_cell(row.index), text_cell(row.name), text_cell(row.up ? "up" : "down"), number_cell(row.vsan)});
  }
}

void show_membership(const writer &to, const show_options &) {
  std::map<uint32_t, std::string> names;
  for (const shown_interface &row : read_interfaces()) {
    names[row.index] = row.name;
  }
  write_table(to, "memberships", {"vsan", "interface", "name", "static"});
  uint32_t vsan = 0;
  uint32_t interface = 0;
  uint8_t is_static = 0;
  int status = 0;
  while ((status = pm_cmi_get_active_vsan_port_membership(mts_response_q, kMsgGetNext, &vsan, &interface, &is_static,
                                                          nullptr, nullptr, 0)) == 0) {
    write_row(to, {number_cell(vsan), number_cell(interface), text_cell(names[interface]), flag_cell(is_static != 0)});
  }
  if (status == -1) {
    fail_no_switch(errno);
  }
  if (status != kStatusEndOfMemberships) {
    fail_refused("the memberships", status);
  }
}

namespace {

// The timers of a VSAN, or of the whole switch.
void timer_row(const writer &to, uint32_t vsan, bool pending) {
  std::vector<cell> row{scope_cell(vsan)};
  for (uint32_t i = 0; i < kTimerKinds; ++i) {
    uint32_t value = 0;
    const int status = read_timer(vsan, kTimerFirst + i, pending ? kMsgKdxGet : kMsgGet, value);
    if (status == kStatusNotInDistribution) {
      return;  // it has no pending view
    }
    if (status != 0) {
      fail_refused("timers of VSAN " + std::to_string(vsan), status);
    }
    row.push_back(number_cell(value));
  }
  write_row(to, row);
}

}  // namespace

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

namespace {

void write_pending(const writer &to) {
  write_table(to, "pending", {"vsan", "timer", "value"});
  walk("pending timers",
       {kServiceDistribution, kOpPendingTimer, kMsgGetNext, record_bytes(pending_timer{}), sizeof(pending_timer)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         const auto timer = record_read<pending_timer>(answer.data());
         const uint32_t key = timer.key;
         write_row(to, {scope_cell(timer.vsan), text_cell(is_timer(key) ? range_of_timer(key).word : "?"),
                        number_cell(timer.value)});
         next = answer;
       });
}

void write_kept_out(const writer &to) {
  write_table(to, "kept_out", {"vsan"});
  walk("VSANs kept out",
       {kServiceDistribution, kOpKeptOut, kMsgGetNext, record_bytes(kept_out_vsan{}), sizeof(kept_out_vsan)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         write_row(to, {number_cell(record_read<kept_out_vsan>(answer.data()).vsan)});
         next = answer;
       });
}

}  // namespace

void show_kdx(const writer &to, const show_options &) {
  const auto bytes =
      ask_or_fail("distribution", {kServiceDistribution, kOpDistribution, kMsgGet, {}, sizeof(distribution_status)});
  const auto state = record_read<distribution_status>(bytes.data());
  const auto lock_bytes =
      ask_or_fail("distribution", {kServiceDistribution, kOpDistributionLock, kMsgGet, {}, sizeof(distribution_lock)});
  const auto lock = record_read<distribution_lock>(lock_bytes.data());
  write_field(to, "enabled", flag_cell(state.enabled != 0));
  write_field(to, "show_running", flag_cell(state.show_running != 0));
  write_field(to, "session", flag_cell(state.open != 0));
  write_field(to, "owner", text_cell({state.owner, strnlen(state.owner, sizeof state.owner)}));
  write_field(to, "lost", flag_cell(lock.lost != 0));
  write_field(to, "remote_lock", flag_cell(state.remote_lock != 0));
  write_field(to, "holder", text_cell({lock.holder, strnlen(lock.holder, sizeof lock.holder)}));
  write_pending(to);
  write_kept_out(to);
}
