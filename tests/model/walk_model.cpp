#include "walk_model.h"

#include <algorithm>

namespace model {
namespace {

using namespace mib;

using walked = std::vector<varbind>;

long shown(const vsan_row &row, unsigned long column, bool operational) {
  switch (column) {
    case kMediaType:
      return row.media;
    case kAdminState:
      return row.admin;
    case kMtu:
      return row.mtu;
    case kLoadBalancing:
      return row.balancing;
    case kOperState:
      return operational ? 1 : 2;
    case kRowStatus:
      return 1;
    case kInterop:
      return row.interop == 100 ? 0 : row.interop;
    case kInorder:
      return row.inorder;
    default:
      return row.latency;
  }
}

void add_vsans(const agent_model &a, const role &who, walked &out) {
  for (const unsigned long column : kVsanColumns) {
    for (const auto &[id, row] : a.switch_side.vsans) {
      const name_t cell = vsan_cell(column, id);
      if (!may_use_vsan(who, id)) {
        continue;
      }
      if (column == kName) {
        out.push_back(octets(cell, row.name));
        continue;
      }
      const long value = shown(row, column, is_operational(a.switch_side, id));
      out.push_back(column == kDropLatency || column == kMtu ? gauge(cell, static_cast<unsigned long>(value))
                                                             : integer(cell, value));
    }
  }
}

// The column of VSANs ends at the first row that the user may not see; the deny lists are ruled by no list.
void add_interfaces(const agent_model &a, const role &who, walked &out) {
  for (const auto &[index, each] : a.switch_side.interfaces) {
    if (!may_see_interface(who, index)) {
      break;
    }
    out.push_back(integer(if_vsan(index), static_cast<long>(each.vsan)));
  }
  for (const auto &[index, each] : a.switch_side.interfaces) {
    if (may_read_switch_wide(who)) {
      out.push_back(integer(deny_list(index), 0));
    }
  }
}

void add_memberships(const agent_model &a, const role &who, walked &out) {
  for (const auto &[id, row] : a.switch_side.vsans) {
    for (const auto &[index, each] : a.switch_side.interfaces) {
      if (each.vsan == id && each.up && row.admin == 1 && may_use_vsan(who, id)) {
        out.push_back(integer(summary(id, index), static_cast<long>(index)));
      }
    }
  }
}

void add_scalars(const agent_model &a, const role &who, walked &out) {
  if (!may_read_switch_wide(who)) {
    return;
  }
  const switch_model &s = a.switch_side;
  const auto number = [](long value) { return static_cast<unsigned long>(value); };
  out.push_back(integer(vsan_number(), static_cast<long>(s.vsans.size())));
  out.push_back(integer(if_number(), static_cast<long>(s.interfaces.size())));
  out.push_back(gauge(switch_wide(kSwitchRatov), number(s.timers.at({0, kRatovKey}))));
  out.push_back(gauge(switch_wide(kSwitchEdtov), number(s.timers.at({0, kEdtovKey}))));
  out.push_back(gauge(switch_wide(kSwitchFstov), number(s.timers.at({0, kFstovKey}))));
  out.push_back(gauge(switch_wide(kSwitchDstov), number(s.timers.at({0, kDstovKey}))));
  out.push_back(gauge(switch_wide(kNetworkLatency), number(s.network_latency)));
  out.push_back(gauge(switch_wide(kSwitchLatency), number(s.switch_latency)));
  out.push_back(integer(switch_wide(kSwitchInorder), s.inorder));
}

void add_timers(const agent_model &a, const role &who, walked &out) {
  struct column {
    unsigned long number, key;
  };
  constexpr column kColumns[] = {{kRatov, kRatovKey}, {kEdtov, kEdtovKey}, {kDstov, kDstovKey}, {kFstov, kFstovKey}};
  for (const auto &[id, row] : a.switch_side.vsans) {
    if (!may_use_vsan(who, id)) {
      continue;
    }
    const auto flags = a.forced.find(id);
    out.push_back(octets(timer_cell(kForceFlag, id),
                         std::string(1, flags == a.forced.end() ? '\0' : static_cast<char>(flags->second))));
    for (const column &each : kColumns) {
      out.push_back(
          gauge(timer_cell(each.number, id), static_cast<unsigned long>(timer_of(a.switch_side, each.key, id))));
    }
  }
}

}  // namespace

std::vector<varbind> walk_of(const agent_model &a, const role &who) {
  walked out;
  add_vsans(a, who, out);
  add_interfaces(a, who, out);
  add_memberships(a, who, out);
  add_scalars(a, who, out);
  add_timers(a, who, out);
  std::sort(out.begin(), out.end(), [](const varbind &x, const varbind &y) { return before(x.name, y.name); });
  return out;
}

}  // namespace model
