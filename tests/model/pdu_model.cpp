#include "pdu_model.h"

#include <algorithm>
#include <ostream>

namespace model {
namespace {

using namespace mib;

enum error {
  kNoError = 0,
  kGenErr = 5,
  kWrongType = 7,
  kWrongLength = 8,
  kWrongValue = 10,
  kInconsistentValue = 12,
  kNotWritable = 17,
  kInconsistentName = 18
};
constexpr int kInteger = 2, kOctets = 4, kGauge = 0x42;
constexpr unsigned long kIndexMax = 4095;
constexpr unsigned long kVsanThatIsNotHeldBack = 9;  // kept: columns of VSAN 9 are sent ahead of its creation

// One PDU being served.
struct serving {
  agent_model &a;
  const role &who;
  // The module's row of the PDU's last lookup: a second lookup of the same VSAN is answered from it.
  unsigned long cached = 0;
  vsan_row cached_row = {};
};

struct place {
  enum { vsan_cell, interface_cell, timer_cell, scalar, other } kind;
  unsigned long column;  // of a scalar: its number
  unsigned long index;
};

place place_of(const name_t &name) {
  const auto at = [&](const name_t &prefix, size_t more) {
    return is_under(name, prefix) && name.size() == prefix.size() + more;
  };
  if (at(vsan_table(), 3)) {
    return {place::vsan_cell, name[name.size() - 2], name.back()};
  }
  if (at(if_table(), 3)) {
    return {place::interface_cell, name[name.size() - 2], name.back()};
  }
  if (at(timer_table(), 3)) {
    return {place::timer_cell, name[name.size() - 2], name.back()};
  }
  if (at(root({1, 4}), 2)) {
    return {place::scalar, name[name.size() - 2], 0};
  }
  return {place::other, 0, 0};
}

struct rule {
  unsigned long column;
  int type;
  long low, high;
};
constexpr rule kCellRules[] = {{kAdminState, kInteger, 1, 2},
                               {kLoadBalancing, kInteger, 1, 2},
                               {kInterop, kInteger, 0, 4},
                               {kInorder, kInteger, 1, 2},
                               {kDropLatency, kGauge, 0, 60000}};
constexpr rule kTimerRules[] = {
    {kRatov, kGauge, 5000, 10000}, {kEdtov, kGauge, 1000, 4000}, {kDstov, kGauge, 5000, 10000}};
constexpr rule kScalarRules[] = {{kSwitchRatov, kGauge, 5000, 10000}, {kSwitchEdtov, kGauge, 1000, 4000},
                                 {kSwitchDstov, kGauge, 5000, 10000}, {kNetworkLatency, kGauge, 0, 60000},
                                 {kSwitchLatency, kGauge, 0, 60000},  {kSwitchInorder, kInteger, 1, 2}};

// Type and range of a number; a column without a rule is not written.
template <size_t Size>
int check_number(const rule (&rules)[Size], unsigned long column, const varbind &v) {
  for (const rule &each : rules) {
    if (each.column == column) {
      if (v.type != each.type) {
        return kWrongType;
      }
      return v.integer < each.low || v.integer > each.high ? kWrongValue : kNoError;
    }
  }
  return kNotWritable;
}

bool is_read_only(const place &at) {
  switch (at.kind) {
    case place::vsan_cell:
      return at.column == kMediaType || at.column == kMtu;
    case place::interface_cell:
      return at.column != kIfVsan;
    case place::timer_cell:
      return at.column == kFstov;
    case place::scalar:
      return at.column == kSwitchFstov;
    default:
      return true;
  }
}

int error_of(int status) {
  return status == kDone ? kNoError : status == kNoSuchVsan || status == kNotAllowed ? kInconsistentName : kGenErr;
}

const vsan_row *fetch(serving &s, unsigned long id) {
  if (s.cached != 0 && s.cached == id) {
    return &s.cached_row;
  }
  const auto found = s.a.switch_side.vsans.find(id);
  s.cached = found == s.a.switch_side.vsans.end() ? 0 : id;
  if (s.cached == 0) {
    return nullptr;
  }
  s.cached_row = found->second;
  return &s.cached_row;
}

// Columns that are unwritten so far say "as it is".
sent_row fresh_pending(const vsan_row &current) {
  sent_row out = {current, 1, true};
  out.row.inorder = 0;
  out.row.latency = 0;
  return out;
}

sent_row row_in_creation(unsigned long id) {
  char name[16];
  snprintf(name, sizeof name, "VSAN%.4lu", id);
  sent_row out = {{}, 4, false};
  out.row.name = name;
  out.row.inorder = 0;
  out.row.latency = 0;
  return out;
}

void drop_both(agent_model &a, unsigned long id) {
  a.pending.erase(id);
  a.saved.erase(id);
}

// What columns of a finished PDU left of the VSAN.
void forget_finished(agent_model &a, unsigned long id) {
  if (a.over.erase(id) == 0) {
    return;
  }
  for (auto *list : {&a.pending, &a.saved}) {
    const auto found = list->find(id);
    if (found != list->end() && found->second.by_column) {
      list->erase(found);
    }
  }
}

// RESERVE1.

int reserve_row_status(serving &s, const place &at, const varbind &v) {
  const vsan_row *row = fetch(s, at.index);
  forget_finished(s.a, at.index);
  if (v.type != kInteger) {
    return kWrongType;
  }
  if (at.index < 1 || at.index > kIndexMax ||
      (v.integer != kActive && v.integer != kCreateAndGo && v.integer != kDestroy)) {
    return kWrongValue;
  }
  const bool allowed = may_use_vsan(s.who, at.index);
  if (row != nullptr && allowed) {
    if (v.integer == kCreateAndGo) {
      return kInconsistentValue;
    }
    // A list takes one row a VSAN.
    return s.a.saved.insert({at.index, {{*row, 1, true}, false}}).second ? kNoError : kGenErr;
  }
  if (!allowed) {
    return kGenErr;
  }
  if (v.integer == kCreateAndGo) {
    return s.a.pending.insert({at.index, {row_in_creation(at.index), false}}).second ? kNoError : kGenErr;
  }
  return kNoError;
}

int check_cell(const place &at, const varbind &v) {
  if (at.column != kName) {
    const int error = check_number(kCellRules, at.column, v);
    // 0 says "as it is" in a row that is sent.
    return error == kNoError && at.column == kDropLatency && v.integer == 0 ? kGenErr : error;
  }
  if (v.type != kOctets) {
    return kWrongType;
  }
  if (v.octets.size() > 32) {
    return kWrongLength;
  }
  return v.octets.find(' ') == std::string::npos ? kNoError : kWrongValue;
}

int reserve_cell(serving &s, const place &at, const varbind &v) {
  if (at.column == kRowStatus) {
    return reserve_row_status(s, at, v);
  }
  fetch(s, at.index);
  if (at.column == kOperState) {
    return kNotWritable;  // said to be writable, but nothing writes it
  }
  forget_finished(s.a, at.index);
  const int error = check_cell(at, v);
  return error == kNoError && !may_use_vsan(s.who, at.index) ? kGenErr : error;
}

int reserve_timer(const serving &s, const place &at, const varbind &v) {
  int error = kNoError;
  if (at.column == kForceFlag) {
    error = v.type != kOctets ? kWrongType : v.octets.size() > 1 ? kWrongLength : kNoError;
  } else {
    error = check_number(kTimerRules, at.column, v);
  }
  if (error != kNoError) {
    return error;
  }
  if (at.index < 1 || at.index > kIndexMax) {
    return kInconsistentName;
  }
  return may_use_vsan(s.who, at.index) ? kNoError : kGenErr;
}

bool may_move(const serving &s, unsigned long index, unsigned long to) {
  if (s.who.interfaces) {
    return s.who.interfaces->count(index) != 0 && may_use_vsan(s.who, to);
  }
  if (!s.who.vsans) {
    return true;
  }
  return may_use_vsan(s.who, s.a.switch_side.interfaces.at(index).vsan) && may_use_vsan(s.who, to);
}

int reserve_move(const serving &s, const place &at, const varbind &v) {
  if (v.type != kInteger) {
    return kWrongType;
  }
  if (v.integer < 1 || v.integer > static_cast<long>(kIndexMax)) {
    return kWrongValue;
  }
  return may_move(s, at.index, static_cast<unsigned long>(v.integer)) ? kNoError : kGenErr;
}

// What the agent and its extension refuse before the module is asked.
int refused_in_front(const serving &s, const place &at) {
  if (is_read_only(at)) {
    return kNotWritable;
  }
  const bool is_switch_wide =
      at.kind == place::scalar || (at.kind == place::interface_cell && !s.who.interfaces.has_value());
  if (s.who.closed || (is_switch_wide && s.who.switch_wide != role::access::write)) {
    return kGenErr;
  }
  // Its write method comes with its row.
  if (at.kind == place::interface_cell && s.a.switch_side.interfaces.count(at.index) == 0) {
    return kNotWritable;
  }
  return kNoError;
}

int reserve1(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  if (const int error = refused_in_front(s, at)) {
    return error;
  }
  switch (at.kind) {
    case place::vsan_cell:
      return reserve_cell(s, at, v);
    case place::interface_cell:
      return reserve_move(s, at, v);
    case place::timer_cell:
      return reserve_timer(s, at, v);
    default:
      return check_number(kScalarRules, at.column, v);
  }
}

// RESERVE2.

void store(vsan_row &row, unsigned long column, const varbind &v) {
  switch (column) {
    case kName:
      row.name = v.octets;
      return;
    case kAdminState:
      row.admin = v.integer;
      return;
    case kLoadBalancing:
      row.balancing = v.integer;
      return;
    case kInterop:
      row.interop = v.integer == 0 ? 100 : v.integer;
      return;
    case kInorder:
      row.inorder = v.integer;
      return;
    default:
      row.latency = v.integer;
  }
}

int reserve2(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  if (at.kind != place::vsan_cell || at.column == kRowStatus) {
    return kNoError;
  }
  forget_finished(s.a, at.index);
  if (s.a.pending.count(at.index) == 0) {
    const vsan_row *current = fetch(s, at.index);
    if (current == nullptr) {
      return error_of(kNoSuchVsan);
    }
    s.a.pending[at.index] = {fresh_pending(*current), true};
    s.a.saved.insert({at.index, {{*current, 1, true}, true}});
  }
  store(s.a.pending[at.index].row.row, at.column, v);
  return kNoError;
}

// ACTION.

int act_on_column(serving &s, unsigned long id) {
  const auto found = s.a.pending.find(id);
  if (found == s.a.pending.end()) {
    return kNoError;
  }
  const sent_row sent = found->second.row;
  if (sent.row_status == kCreateAndGo && id != kVsanThatIsNotHeldBack) {
    return kNoError;
  }
  s.a.pending.erase(found);
  return error_of(put_vsan(s.a.switch_side, id, sent));
}

int act_on_row_status(serving &s, unsigned long id, long value) {
  const vsan_row *current = fetch(s, id);
  if (current == nullptr) {
    if (value != kCreateAndGo) {
      return value == kDestroy ? kNoError : kInconsistentValue;
    }
    const auto found = s.a.pending.find(id);
    if (found == s.a.pending.end()) {
      return kInconsistentName;
    }
    found->second.row.row_status = kActive;
    return error_of(put_vsan(s.a.switch_side, id, found->second.row));
  }
  if (value == kCreateAndGo) {
    return kInconsistentValue;
  }
  return error_of(value == kDestroy ? delete_vsan(s.a.switch_side, id)
                                    : put_vsan(s.a.switch_side, id, {*current, kActive, true}));
}

struct timer_kind {
  unsigned long column, scalar, key;
  unsigned char force;
};
constexpr timer_kind kTimers[] = {{kRatov, kSwitchRatov, kRatovKey, 0x80},
                                  {kEdtov, kSwitchEdtov, kEdtovKey, 0x40},
                                  {kDstov, kSwitchDstov, kDstovKey, 0x20}};

int act_on_timer(serving &s, const place &at, const varbind &v) {
  unsigned char &flags = s.a.forced[at.index];
  if (at.column == kForceFlag) {
    flags = static_cast<unsigned char>(v.octets.empty() ? 0 : v.octets[0] & 0xe0);
    return kNoError;
  }
  const timer_kind *kind = std::find_if(std::begin(kTimers), std::end(kTimers),
                                        [&](const timer_kind &each) { return each.column == at.column; });
  return error_of(set_timer(s.a.switch_side, kind->key, at.index, v.integer, (flags & kind->force) != 0));
}

int act_on_scalar(serving &s, unsigned long number, long value) {
  for (const timer_kind &each : kTimers) {
    if (each.scalar == number) {
      return error_of(set_switch_timer(s.a.switch_side, each.key, value));
    }
  }
  if (number == kSwitchInorder) {
    return error_of(set_inorder(s.a.switch_side, value));
  }
  const latency which = number == kSwitchLatency ? latency::of_switch : latency::of_network;
  return error_of(set_latency(s.a.switch_side, which, value));
}

int act(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  switch (at.kind) {
    case place::vsan_cell:
      return at.column == kRowStatus ? act_on_row_status(s, at.index, v.integer) : act_on_column(s, at.index);
    case place::interface_cell:
      return error_of(move_interface(s.a.switch_side, at.index, static_cast<unsigned long>(v.integer)));
    case place::timer_cell:
      return act_on_timer(s, at, v);
    default:
      return act_on_scalar(s, at.column, v.integer);
  }
}

// COMMIT and FREE; UNDO. Nothing of them is told to the client.

int finish(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  // The module is not called for what was refused in front of it, nor for what nothing writes.
  if (at.kind == place::vsan_cell && at.column != kOperState && refused_in_front(s, at) == kNoError) {
    drop_both(s.a, at.index);
  }
  return kNoError;
}

int undo(serving &s, const varbind &v) {
  const place at = place_of(v.name);
  if (at.kind != place::vsan_cell) {
    return kNoError;
  }
  if (at.column != kRowStatus) {
    s.a.over.insert(at.index);
    return kNoError;
  }
  const auto found = s.a.saved.find(at.index);
  if (v.integer == kCreateAndGo) {
    if (found == s.a.saved.end()) {
      delete_vsan(s.a.switch_side, at.index);
      s.a.pending.erase(at.index);
    } else {
      s.a.saved.erase(found);
    }
  } else if (found != s.a.saved.end()) {
    put_vsan(s.a.switch_side, at.index, found->second.row);
    s.a.saved.erase(found);
  }
  return kNoError;
}

struct numbered {
  const varbind *value;
  long index;
};

name_t object_of(const varbind &v) {
  return name_t(v.name.begin(), v.name.end() - 1);
}

// The agent serves a PDU object by object, in the order in which they first come.
std::vector<numbered> in_served_order(const std::vector<varbind> &pdu) {
  std::vector<numbered> out;
  std::vector<name_t> served;
  for (const varbind &first : pdu) {
    const name_t object = object_of(first);
    if (std::find(served.begin(), served.end(), object) != served.end()) {
      continue;
    }
    served.push_back(object);
    for (size_t i = 0; i < pdu.size(); ++i) {
      if (object_of(pdu[i]) == object) {
        out.push_back({&pdu[i], static_cast<long>(i + 1)});
      }
    }
  }
  return out;
}

// A phase runs to its end whatever fails in it; the client is told of the first varbind that did.
outcome run_phase(serving &s, const std::vector<numbered> &order, int (*phase)(serving &, const varbind &)) {
  outcome worst = {};
  name_t given_up;  // the agent goes no further in an object that gave it no write method
  for (const auto &[value, index] : order) {
    const name_t object = object_of(*value);
    if (object == given_up) {
      continue;
    }
    const int error = phase(s, *value);
    if (error == kNotWritable) {
      given_up = object;
    }
    if (error != kNoError && (worst.status == kNoError || index < worst.index)) {
      worst = {error, index};
    }
  }
  return worst;
}

}  // namespace

void PrintTo(const outcome &o, std::ostream *out) {
  *out << "status " << o.status << " at varbind " << o.index;
}

bool may_use_vsan(const role &who, unsigned long vsan) {
  if (who.closed) {
    return false;
  }
  if (who.vsans) {
    return who.vsans->count(vsan) != 0;
  }
  return !who.interfaces || (vsan >= 1 && vsan <= kIndexMax);
}

bool may_see_interface(const role &who, unsigned long index) {
  return who.interfaces ? who.interfaces->count(index) != 0 : may_read_switch_wide(who);
}

bool may_read_switch_wide(const role &who) {
  return !who.closed && who.switch_wide != role::access::none;
}

outcome serve(agent_model &a, const role &who, const std::vector<varbind> &pdu) {
  serving s = {a, who};
  const std::vector<numbered> order = in_served_order(pdu);
  for (const auto phase : {reserve1, reserve2}) {
    const outcome refused = run_phase(s, order, phase);
    if (refused.status != kNoError) {
      run_phase(s, order, finish);
      return refused;
    }
  }
  const outcome refused = run_phase(s, order, act);
  run_phase(s, order, refused.status == kNoError ? finish : undo);
  return refused;
}

std::string lists_of(const agent_model &a) {
  std::string out = "pending";
  for (const auto &[id, row] : a.pending) {
    out += " " + std::to_string(id);
  }
  out += " saved";
  for (const auto &[id, row] : a.saved) {
    out += " " + std::to_string(id);
  }
  return out;
}

}  // namespace model
