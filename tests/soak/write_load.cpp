// Load that writes: two of these, each with rows, an interface and switch-wide values of its own, and reads them back.
#include <stdio.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>

#include "lab.h"
#include "load.h"
#include "set_lab.h"

namespace load {

namespace {

using namespace set_lab;

constexpr unsigned long kFirstVsan = 200, kVsansApart = 10, kVsans = 6;
constexpr unsigned long kFirstInterface = 16777216, kInterfacesApart = 4096;
// Where interfaces are moved to, in turn, so that a move is always a change and the last eight differ.
constexpr unsigned long kMoveTargets[] = {5, 10, 20, 30, 40, 50, 60, 70};
constexpr unsigned long kTimerVsan = 81;  // and the one behind it: no interfaces, so that no force is needed
constexpr double kSetTimeout = 30;        // seconds: that a PDU takes one time-out only is judged, not enforced

// What one writer believes of one VSAN of its own: whether it is there.
struct writer {
  std::mt19937 random;
  unsigned number;
  unsigned long count = 0;  // of the SETs so far; every value is made of it
  unsigned long moves = 0;
  std::map<unsigned long, bool> rows{};
};

// One PDU, what it would make true, and what kind it is of.
struct change {
  std::vector<varbind> varbinds;
  std::map<std::string, std::string> effects;
  const char *scope = "row";
};

unsigned long draw(writer &w, unsigned long low, unsigned long high) {
  return std::uniform_int_distribution<unsigned long>(low, high)(w.random);
}
std::string key(const char *what, unsigned long instance) {
  return std::string(what) + "." + std::to_string(instance);
}
unsigned long own_vsan(writer &w) {
  return kFirstVsan + w.number * kVsansApart + draw(w, 0, kVsans - 1);
}
unsigned long own_interface(const writer &w) {
  return kFirstInterface + w.number * kInterfacesApart;
}
std::string fresh_name(const writer &w) {
  return "w" + std::to_string(w.number) + "-" + std::to_string(w.count);
}

void add_name(change &c, unsigned long vsan, const std::string &value) {
  c.varbinds.push_back(name(vsan, value));
  c.effects[key("name", vsan)] = value;
}
void add_latency(change &c, unsigned long vsan, unsigned long value) {
  c.varbinds.push_back(gauge(vsan_cell(kDropLatency, vsan), value));
  c.effects[key("latency", vsan)] = std::to_string(value);
}

change creation(writer &w, unsigned long vsan) {
  change c;
  add_name(c, vsan, fresh_name(w));
  add_latency(c, vsan, 1 + w.count % 60000);
  c.varbinds.push_back(row_status(vsan, kCreateAndGo));
  return c;
}
change destruction(unsigned long vsan) {
  return {{row_status(vsan, kDestroy)}, {{key("name", vsan), "-"}, {key("latency", vsan), "-"}}};
}

change one_row(writer &w, unsigned long vsan) {
  if (!w.rows[vsan]) {
    return creation(w, vsan);
  }
  change c;
  switch (draw(w, 0, 3)) {
    case 0:
      return destruction(vsan);
    case 1:
      add_name(c, vsan, fresh_name(w));
      return c;
    default:
      add_name(c, vsan, fresh_name(w));
      add_latency(c, vsan, 1 + w.count % 60000);
      return c;
  }
}

// All rows that are there, in one PDU.
change several_rows(writer &w) {
  change c = {{}, {}, "rows"};
  for (const auto &[vsan, is_there] : w.rows) {
    if (is_there) {
      add_name(c, vsan, fresh_name(w) + "-" + std::to_string(vsan));
    }
  }
  return c;
}

// Refused in a check, or by the manager, together with a row that is sound.
change refused(writer &w, unsigned long vsan) {
  change c = {{}, {}, "rows"};
  add_latency(c, kFirstVsan + w.number * kVsansApart, 1 + w.count % 60000);
  switch (draw(w, 0, 2)) {
    case 0:
      add_name(c, vsan, std::string(33, 'x'));
      return c;
    case 1:
      add_latency(c, vsan, 60001);
      return c;
    default:
      c.varbinds.push_back(row_status(vsan, kNotInService));
      return c;
  }
}

change interface_move(writer &w) {
  const unsigned long target = kMoveTargets[w.moves++ % std::size(kMoveTargets)];
  return {{integer(if_vsan(own_interface(w)), static_cast<long>(target))},
          {{key("interface", own_interface(w)), std::to_string(target)}}};
}

change wide_value(writer &w) {
  if (draw(w, 0, 1) == 0) {
    const unsigned long value = 6000 + w.count % 3000, vsan = kTimerVsan + w.number;
    return {{gauge(timer_cell(kRatov, vsan), value)}, {{key("timer", vsan), std::to_string(value)}}, "wide"};
  }
  const unsigned long object = w.number == 0 ? kSwitchLatency : kNetworkLatency, value = 1 + w.count % 60000;
  return {{gauge(switch_wide(object), value)}, {{key("scalar", object), std::to_string(value)}}, "wide"};
}

change next_change(writer &w) {
  ++w.count;
  const unsigned long vsan = own_vsan(w), kind = draw(w, 0, 19);
  const bool any_row = std::ranges::any_of(w.rows, [](const auto &row) { return row.second; });
  if (kind >= 11 && kind <= 12 && any_row) {
    return several_rows(w);
  }
  if (kind >= 13 && kind <= 14) {
    return refused(w, vsan);
  }
  if (kind >= 15 && kind <= 17) {
    return interface_move(w);
  }
  return kind >= 18 ? wide_value(w) : one_row(w, vsan);
}

void print_line(const char *what, const outcome &done, const char *scope,
                const std::map<std::string, std::string> &values) {
  printf("%s %ld %ld %s%s", what, static_cast<long>(done.start), static_cast<long>(done.latency), done.result.c_str(),
         scope);
  for (const auto &[each, value] : values) {
    printf(" %s=%s", each.c_str(), value.c_str());
  }
  printf("\n");
}

// What the writer may have changed, by the names of what it changes.
std::map<std::string, name_t> own_objects(const writer &w) {
  std::map<std::string, name_t> out;
  for (unsigned long i = 0; i < kVsans; ++i) {
    const unsigned long vsan = kFirstVsan + w.number * kVsansApart + i;
    out[key("name", vsan)] = vsan_cell(kName, vsan);
    out[key("latency", vsan)] = vsan_cell(kDropLatency, vsan);
  }
  out[key("interface", own_interface(w))] = if_vsan(own_interface(w));
  out[key("timer", kTimerVsan + w.number)] = timer_cell(kRatov, kTimerVsan + w.number);
  const unsigned long object = w.number == 0 ? kSwitchLatency : kNetworkLatency;
  out[key("scalar", object)] = switch_wide(object);
  return out;
}

std::string plain(const varbind &v) {
  if (v.type >= snmp::kNoSuchObject) {
    return "-";
  }
  return v.type == 4 ? v.octets : std::to_string(v.integer);
}

void read_back(writer &w, snmp::client &c) {
  const auto objects = own_objects(w);
  std::vector<name_t> names;
  for (const auto &each : objects) {
    names.push_back(each.second);
  }
  outcome done = timed([&] { return snmp::get(c, names); });
  std::map<std::string, std::string> values;
  if (done.answer.sent_back && done.answer.varbinds.size() == names.size()) {
    done.result = std::to_string(done.answer.status);
    size_t at = 0;
    for (const auto &each : objects) {
      values[each.first] = plain(done.answer.varbinds[at++]);
    }
    for (auto &[vsan, is_there] : w.rows) {
      is_there = values[key("name", vsan)] != "-";
    }
  }
  print_line("read", done, "", values);
}

void change_once(writer &w, snmp::client &c) {
  const change next = next_change(w);
  const outcome done = timed([&] { return snmp::set(c, next.varbinds); });
  print_line("set", done, (std::string(" ") + next.scope).c_str(), next.effects);
  if (!done.answer.sent_back || done.answer.status != kNoError) {
    return;
  }
  for (auto &[vsan, is_there] : w.rows) {
    const auto named = next.effects.find(key("name", vsan));
    is_there = named == next.effects.end() ? is_there : named->second != "-";
  }
}

}  // namespace

int write(const setting &how, orders &from) {
  lab::lab there;
  there.snmp_port = how.port;
  snmp::client c(there, snmp::community("private"), kSetTimeout);
  c.gives_up = [&] { return from.away || from.over; };
  writer w = {std::mt19937(how.seed), how.number};
  for (unsigned long i = 0; i < kVsans; ++i) {
    w.rows[kFirstVsan + w.number * kVsansApart + i] = false;
  }
  unsigned checked = 0;
  pace turns = {how.interval};
  while (!from.over) {
    wait_for_turn(turns);
    if (from.away) {
      continue;
    }
    const unsigned wanted = from.checks;
    if (wanted != checked || draw(w, 0, 7) == 0) {
      read_back(w, c);
      checked = wanted;
    } else {
      change_once(w, c);
    }
  }
  return 0;
}

}  // namespace load
