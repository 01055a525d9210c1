#include "switch_model.h"

#include <algorithm>
#include <sstream>

namespace model {
namespace {

constexpr int kRowOpcode = 149, kInterfaceOpcode = 124, kTimerOpcode = 127, kLatencyOpcode = 136, kInorderOpcode = 140;

// The status that a fault has for this write; kDone when it is to be done.
int struck(switch_model &s, int opcode) {
  if (s.fault.opcode != opcode || s.fault.nth == 0 || --s.fault.nth != 0) {
    return kDone;
  }
  return s.fault.status;
}

void send_home(switch_model &s, unsigned long id, deleted_vsan &record) {
  for (auto &[index, each] : s.interfaces) {
    if (each.vsan == id) {
      // It is given back to the VSAN that it left last.
      for (auto &[other, earlier] : s.deleted) {
        earlier.interfaces.erase(index);
      }
      record.interfaces[index] = each.is_static;
      each.vsan = kDefaultVsan;
      each.is_static = false;
    }
  }
  const auto begin = s.timers.lower_bound({id, 0}), end = s.timers.lower_bound({id + 1, 0});
  record.timers.insert(begin, end);
  s.timers.erase(begin, end);
  record.kept_out = s.kept_out.erase(id) != 0;
}

void give_back(switch_model &s, unsigned long id, const deleted_vsan &record) {
  for (const auto &[index, was_static] : record.interfaces) {
    interface_row &each = s.interfaces.at(index);
    if (each.vsan == kDefaultVsan && !each.is_static) {
      each.vsan = id;
      each.is_static = was_static;
    }
  }
  s.timers.insert(record.timers.begin(), record.timers.end());
  if (record.kept_out) {
    s.kept_out.insert(id);
  }
}

vsan_row completed(vsan_row row, const vsan_row &unwritten) {
  row.inorder = row.inorder == 0 ? unwritten.inorder : row.inorder;
  row.latency = row.latency == 0 ? unwritten.latency : row.latency;
  return row;
}

bool is_taken(const switch_model &s, unsigned long id, const std::string &name) {
  return std::any_of(s.vsans.begin(), s.vsans.end(),
                     [&](const auto &each) { return each.first != id && !name.empty() && each.second.name == name; });
}

// Names are text: no control characters, and whole UTF-8. The generator writes no others than these two kinds.
bool is_text(const std::string &name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c < '\x7f'; });
}

}  // namespace

int put_vsan(switch_model &s, unsigned long id, const sent_row &sent) {
  if (const int status = struck(s, kRowOpcode)) {
    return status;
  }
  if (id < 1 || id > kLastVsan || !is_text(sent.row.name)) {
    return kRefused;
  }
  const auto present = s.vsans.find(id);
  if (present == s.vsans.end() && sent.row_status != 1) {
    return kNoSuchVsan;
  }
  if (is_taken(s, id, sent.row.name)) {
    return kNotAllowed;
  }
  if (present != s.vsans.end()) {
    const vsan_row before = std::exchange(present->second, completed(sent.row, present->second));
    s.vsan_changes += before == present->second ? 0 : 1;
    return kDone;
  }
  ++s.vsan_changes;
  const auto record = s.deleted.find(id);
  const bool is_given_back = record != s.deleted.end() && sent.was_read;
  s.vsans[id] = completed(sent.row, is_given_back ? record->second.row : vsan_row{});
  if (is_given_back) {
    give_back(s, id, record->second);
  }
  s.deleted.erase(id);
  return kDone;
}

int delete_vsan(switch_model &s, unsigned long id) {
  if (const int status = struck(s, kRowOpcode)) {
    return status;
  }
  if (s.vsans.count(id) == 0) {
    return kNoSuchVsan;
  }
  if (id == kDefaultVsan) {
    return kNotAllowed;
  }
  ++s.vsan_changes;
  deleted_vsan record = {s.vsans[id]};
  s.vsans.erase(id);
  send_home(s, id, record);
  s.deleted[id] = record;
  return kDone;
}

int set_timer(switch_model &s, unsigned long key, unsigned long id, long value, bool forced) {
  if (const int status = struck(s, kTimerOpcode)) {
    return status;
  }
  if (s.vsans.count(id) == 0) {
    return kNoSuchVsan;
  }
  if (is_operational(s, id) && !forced) {
    return kRefused;
  }
  s.timers[{id, key}] = value;
  return kDone;
}

int set_switch_timer(switch_model &s, unsigned long key, long value) {
  if (const int status = struck(s, kTimerOpcode)) {
    return status;
  }
  s.timers[{0, key}] = value;
  return kDone;
}

int set_latency(switch_model &s, latency which, long value) {
  if (const int status = struck(s, kLatencyOpcode)) {
    return status;
  }
  (which == latency::of_switch ? s.switch_latency : s.network_latency) = value;
  return kDone;
}

int set_inorder(switch_model &s, long value) {
  if (const int status = struck(s, kInorderOpcode)) {
    return status;
  }
  s.inorder = value;
  return kDone;
}

int move_interface(switch_model &s, unsigned long index, unsigned long id) {
  if (const int status = struck(s, kInterfaceOpcode)) {
    return status;
  }
  if (s.interfaces.count(index) == 0) {
    return kNoSuchInterface;
  }
  if (s.vsans.count(id) == 0) {
    return kNoSuchVsan;
  }
  interface_row &moved = s.interfaces[index];
  const unsigned long from = moved.vsan;
  const bool were_up[] = {is_operational(s, from), is_operational(s, id)};
  moved.vsan = id;
  moved.is_static = true;
  if (is_operational(s, from) != were_up[0] || is_operational(s, id) != were_up[1]) {
    ++s.vsan_changes;
  }
  return kDone;
}

bool is_operational(const switch_model &s, unsigned long id) {
  return s.vsans.at(id).admin == 1 && std::any_of(s.interfaces.begin(), s.interfaces.end(), [&](const auto &each) {
           return each.second.vsan == id && each.second.up;
         });
}

long timer_of(const switch_model &s, unsigned long key, unsigned long id) {
  const auto own = s.timers.find({id, key});
  return own != s.timers.end() ? own->second : s.timers.at({0, key});
}

std::string text_of(const switch_model &s) {
  std::ostringstream out;
  for (const auto &[id, v] : s.vsans) {
    out << "vsan " << id << "|" << v.name << "|" << v.media << "|" << v.mtu << "|" << v.admin << "|" << v.balancing
        << "|" << v.interop << "|" << v.inorder << "|" << v.latency << "\n";
  }
  for (const auto &[index, i] : s.interfaces) {
    out << "interface " << index << "|" << i.vsan << "|" << i.up << "|" << i.is_static << "\n";
  }
  for (const auto &[key, value] : s.timers) {
    out << "timer " << key.first << "|" << key.second << "|" << value << "\n";
  }
  for (const unsigned long id : s.kept_out) {
    out << "kept out " << id << "\n";
  }
  out << "network_latency|" << s.network_latency << "\nswitch_latency|" << s.switch_latency << "\ninorder|" << s.inorder
      << "\n";
  return out.str();
}

}  // namespace model
