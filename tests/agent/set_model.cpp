#include "set_model.h"

#include <algorithm>
#include <sstream>

#include "fabric_lab.h"
#include "vsan_values.h"

namespace set_model {
namespace {

using namespace fabric_lab;
using namespace set_lab;

constexpr unsigned long kDefaultVsan = 1;
constexpr size_t kRootLength = 9;

struct place {
  enum { cell_of_vsan, interface_vsan, timer_of_vsan, scalar, other } kind;
  unsigned long column;  // of a scalar: its number
  unsigned long index;
};

place place_of(const name_t &name) {
  const std::vector<unsigned long> rest(name.begin() + kRootLength, name.end());
  if (rest.size() == 6 && rest[0] == 1 && rest[1] == 1) {
    return {place::cell_of_vsan, rest[4], rest[5]};
  }
  if (rest.size() == 6 && rest[0] == 1 && rest[1] == 2) {
    return {place::interface_vsan, rest[4], rest[5]};
  }
  if (rest.size() == 6 && rest[0] == 1 && rest[1] == 4) {
    return {place::timer_of_vsan, rest[4], rest[5]};
  }
  if (rest.size() == 4 && rest[0] == 1 && rest[1] == 4) {
    return {place::scalar, rest[2], 0};
  }
  return {place::other, 0, 0};
}

struct range {
  unsigned long column;
  long low, high;
};

bool is_in(const std::vector<range> &ranges, unsigned long column, long value) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [&](const range &r) { return r.column == column && value >= r.low && value <= r.high; });
}

const std::vector<range> kCellRanges = {
    {kAdminState, 1, 2}, {kLoadBalancing, 1, 2}, {kInterop, 0, 4}, {kInorder, 1, 2}, {kDropLatency, 1, 60000}};
const std::vector<range> kTimerRanges = {{kRatov, 5000, 10000}, {kEdtov, 1000, 4000}, {kDstov, 5000, 10000}};
const std::vector<range> kScalarRanges = {
    {kSwitchLatency, 0, 60000}, {kNetworkLatency, 0, 60000}, {kSwitchInorder, 1, 2}};

unsigned long key_of_timer(unsigned long column) {
  return column == kRatov ? 8 : column == kEdtov ? 7 : 9;
}
unsigned char force_bit(unsigned long column) {
  return column == kRatov ? 0x80 : column == kEdtov ? 0x40 : 0x20;
}

// A row on its way to the manager. In-order delivery and drop latency of 0 say "as it is".
struct sent_row {
  vsan row;
  long status;    // 1 active, 4 being created
  bool was_read;  // and not made from defaults
};

// One PDU being served.
struct serving {
  world &w;
  std::map<unsigned long, sent_row> pending = {};
  std::map<unsigned long, vsan> saved = {};
  // The module's row of the last lookup: a second lookup of the same VSAN is answered from it.
  unsigned long cached = 0;
  vsan cached_row = {};
};

std::optional<vsan> fetch(serving &s, unsigned long id) {
  if (s.cached == id) {
    return s.cached_row;
  }
  const auto found = s.w.vsans.find(id);
  s.cached = found == s.w.vsans.end() ? 0 : id;
  if (s.cached == 0) {
    return {};
  }
  s.cached_row = found->second;
  return found->second;
}

// What the managers do.

void take_home(world &w, unsigned long id, deleted &record) {
  for (auto &[index, each] : w.interfaces) {
    if (each.vsan != id) {
      continue;
    }
    record.interfaces[index] = each.is_static;
    each.vsan = kDefaultVsan;
    each.is_static = false;
  }
  for (auto timer = w.timers.lower_bound({id, 0}); timer != w.timers.end() && timer->first.first == id;) {
    record.timers.insert(*timer);
    timer = w.timers.erase(timer);
  }
  record.kept_out = w.kept_out.erase(id) > 0;
}

bool delete_vsan(world &w, unsigned long id) {
  if (w.vsans.count(id) == 0 || id == kDefaultVsan) {
    return false;
  }
  deleted record = {w.vsans[id], {}, {}, false};
  w.vsans.erase(id);
  take_home(w, id, record);
  w.taken[id] = record;
  return true;
}

void give_back(world &w, unsigned long id, const deleted &record) {
  for (const auto &[index, was_static] : record.interfaces) {
    interface &each = w.interfaces[index];
    if (each.vsan == kDefaultVsan && !each.is_static) {
      each = {id, each.up, was_static};
    }
  }
  w.timers.insert(record.timers.begin(), record.timers.end());
  if (record.kept_out) {
    w.kept_out.insert(id);
  }
}

vsan completed(const sent_row &sent, const vsan &unwritten) {
  vsan row = sent.row;
  for (const unsigned long column : {kInorder, kDropLatency}) {
    if (row.values[column] == 0) {
      row.values[column] = unwritten.values.at(column);
    }
  }
  return row;
}

bool put_vsan(world &w, unsigned long id, const sent_row &sent) {
  const vsan defaults = {"", {{kInorder, 2}, {kDropLatency, 2000}}};
  const auto present = w.vsans.find(id);
  const auto record = w.taken.find(id);
  if (present == w.vsans.end() && sent.status != kActive) {
    return false;
  }
  const bool taken = std::any_of(w.vsans.begin(), w.vsans.end(), [&](const auto &each) {
    return each.first != id && !sent.row.name.empty() && each.second.name == sent.row.name;
  });
  if (taken) {
    return false;
  }
  if (present != w.vsans.end()) {
    present->second = completed(sent, present->second);
    return true;
  }
  const bool is_given_back = record != w.taken.end() && sent.was_read;
  w.vsans[id] = completed(sent, is_given_back ? record->second.row : defaults);
  if (is_given_back) {
    give_back(w, id, record->second);
  }
  w.taken.erase(id);
  return true;
}

bool is_up(const world &w, unsigned long id) {
  return w.vsans.at(id).values.at(kAdminState) == 1 &&
         std::any_of(w.interfaces.begin(), w.interfaces.end(),
                     [&](const auto &each) { return each.second.vsan == id && each.second.up; });
}

bool set_timer(world &w, unsigned long column, unsigned long id, long value) {
  if (w.vsans.count(id) == 0) {
    return false;
  }
  if (is_up(w, id) && (w.forced[id] & force_bit(column)) == 0) {
    return false;
  }
  w.timers[{id, key_of_timer(column)}] = value;
  return true;
}

bool move_interface(world &w, unsigned long index, unsigned long id) {
  if (w.interfaces.count(index) == 0 || w.vsans.count(id) == 0) {
    return false;
  }
  w.interfaces[index].vsan = id;
  w.interfaces[index].is_static = true;
  return true;
}

// What the module does, phase by phase.

bool check_row_status(serving &s, unsigned long id, long value, bool present) {
  if (id < 1 || id > 4095 || (value != kActive && value != kCreateAndGo && value != kDestroy)) {
    return false;
  }
  if (value == kCreateAndGo) {
    if (present) {
      return false;
    }
    char name[16];
    snprintf(name, sizeof name, "VSAN%.4lu", id);
    s.pending[id] = {{name, {{kAdminState, 1}, {kLoadBalancing, 2}, {kInterop, 100}, {kInorder, 0}, {kDropLatency, 0}}},
                     kCreateAndGo,
                     false};
  } else if (present) {
    s.saved[id] = s.cached_row;
  }
  return true;
}

bool reserve1(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  switch (at.kind) {
    case place::cell_of_vsan: {
      const bool present = fetch(s, at.index).has_value();
      if (at.column == kRowStatus) {
        return check_row_status(s, at.index, v.integer, present);
      }
      if (at.column != kName) {
        return is_in(kCellRanges, at.column, v.integer);
      }
      return v.octets.size() <= 32 && v.octets.find(' ') == std::string::npos;
    }
    case place::interface_vsan:
      return v.integer >= 1 && v.integer <= 4095;
    case place::timer_of_vsan:
      return at.index >= 1 && at.index <= 4095 &&
             (at.column == kForceFlag ? v.octets.size() <= 1 : is_in(kTimerRanges, at.column, v.integer));
    case place::scalar:
      return is_in(kScalarRanges, at.column, v.integer);
    default:
      return false;
  }
}

bool reserve2(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  if (at.kind != place::cell_of_vsan || at.column == kRowStatus) {
    return true;
  }
  if (s.pending.count(at.index) == 0) {
    const std::optional<vsan> current = fetch(s, at.index);
    if (!current) {
      return false;
    }
    s.pending[at.index] = {*current, kActive, true};
    s.pending[at.index].row.values[kInorder] = 0;
    s.pending[at.index].row.values[kDropLatency] = 0;
    s.saved[at.index] = *current;
  }
  vsan &row = s.pending[at.index].row;
  if (at.column == kName) {
    row.name = v.octets;
  } else {
    row.values[at.column] = at.column == kInterop && v.integer == 0 ? 100 : v.integer;
  }
  return true;
}

bool act_on_column(serving &s, unsigned long id) {
  const auto found = s.pending.find(id);
  if (found == s.pending.end()) {
    return true;
  }
  if (found->second.status == kCreateAndGo && id != 9) {
    return true;
  }
  const sent_row row = found->second;
  s.pending.erase(found);
  return put_vsan(s.w, id, row);
}

bool act_on_row_status(serving &s, unsigned long id, long value) {
  const std::optional<vsan> current = fetch(s, id);
  if (value == kCreateAndGo) {
    const auto found = s.pending.find(id);
    if (current || found == s.pending.end()) {
      return false;
    }
    found->second.status = kActive;
    return put_vsan(s.w, id, found->second);
  }
  if (!current) {
    return value == kDestroy;
  }
  return value == kDestroy ? delete_vsan(s.w, id) : put_vsan(s.w, id, {*current, kActive, true});
}

bool act(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  switch (at.kind) {
    case place::cell_of_vsan:
      return at.column == kRowStatus ? act_on_row_status(s, at.index, v.integer) : act_on_column(s, at.index);
    case place::interface_vsan:
      return move_interface(s.w, at.index, static_cast<unsigned long>(v.integer));
    case place::timer_of_vsan:
      if (at.column != kForceFlag) {
        return set_timer(s.w, at.column, at.index, v.integer);
      }
      s.w.forced[at.index] = static_cast<unsigned char>(v.octets.empty() ? 0 : v.octets[0] & 0xe0);
      return true;
    default:
      s.w.scalars[at.column] = v.integer;
      return true;
  }
}

void undo(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  if (at.kind != place::cell_of_vsan || at.column != kRowStatus) {
    return;
  }
  if (v.integer == kCreateAndGo) {
    delete_vsan(s.w, at.index);
  } else if (s.saved.count(at.index) != 0) {
    put_vsan(s.w, at.index, {s.saved[at.index], kActive, true});
  }
}

// The agent serves a PDU object by object, in the order in which they first come.
std::vector<varbind> in_served_order(const std::vector<varbind> &pdu) {
  std::vector<name_t> objects;
  for (const varbind &v : pdu) {
    const name_t object(v.name.begin(), v.name.end() - 1);
    if (std::find(objects.begin(), objects.end(), object) == objects.end()) {
      objects.push_back(object);
    }
  }
  std::vector<varbind> out;
  for (const name_t &object : objects) {
    for (const varbind &v : pdu) {
      if (name_t(v.name.begin(), v.name.end() - 1) == object) {
        out.push_back(v);
      }
    }
  }
  return out;
}

}  // namespace

bool serve(world &w, const std::vector<varbind> &pdu) {
  serving s = {w};
  const std::vector<varbind> order = in_served_order(pdu);
  bool passed = true;
  for (const varbind &v : order) {
    passed &= reserve1(s, v);
  }
  if (!passed) {
    return false;
  }
  for (const varbind &v : order) {
    passed &= reserve2(s, v);
  }
  if (!passed) {
    return false;
  }
  for (const varbind &v : order) {
    passed &= act(s, v);
  }
  if (passed) {
    return true;
  }
  for (const varbind &v : order) {
    undo(s, v);
  }
  return false;
}

std::string text_of(const world &w) {
  std::ostringstream out;
  for (const auto &[id, v] : w.vsans) {
    out << "vsan " << id << "|" << v.name;
    for (const unsigned long column : {kAdminState, kLoadBalancing, kInterop, kInorder, kDropLatency}) {
      out << "|" << v.values.at(column);
    }
    out << "\n";
  }
  for (const auto &[index, i] : w.interfaces) {
    out << "interface " << index << "|" << i.vsan << "|" << i.up << "|" << i.is_static << "\n";
  }
  for (const auto &[key, value] : w.timers) {
    out << "timer " << key.first << "|" << key.second << "|" << value << "\n";
  }
  for (const unsigned long id : w.kept_out) {
    out << "kept out " << id << "\n";
  }
  for (const auto &[number, value] : w.scalars) {
    out << "scalar " << number << "|" << value << "\n";
  }
  return out.str();
}

}  // namespace set_model
