#include "model_lab.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "mib_objects.h"
#include "platform/cmi.h"
#include "platform/mts.h"
#include "requests.h"
#include "role_lab.h"
#include "switchplatform/run_dir.h"
#include "walk_model.h"

namespace model_lab {
namespace {

using namespace mib;
using clock = std::chrono::steady_clock;

constexpr unsigned long kFc1 = 16777216, kFc2 = 16781312, kFc3 = 16785408, kFc4 = 16789504, kFc5 = 16793600;

const name_t &lists_shown() {
  static const name_t name = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1, 0};
  return name;
}

// The switch of the lab.
model::switch_model small_switch() {
  model::switch_model s;
  s.vsans = {{1, {.name = "default"}},
             {5, {.name = "five", .mtu = 2048, .balancing = 1, .interop = 3, .inorder = 1, .latency = 3000}},
             {10, {.name = "ten"}},
             {20, {.name = "twenty"}},
             {4093, {.name = "last", .admin = 2}}};
  s.interfaces = {{kFc1, {5, true}}, {kFc2, {10, true}}, {kFc3, {10, true}}, {kFc4, {20, false}}, {kFc5, {4093, true}}};
  s.timers = {{{0, model::kEdtovKey}, 2000}, {{0, model::kRatovKey}, 10000}, {{0, model::kDstovKey}, 5000},
              {{0, model::kFstovKey}, 5000}, {{5, model::kEdtovKey}, 2500},  {{5, model::kRatovKey}, 9000}};
  s.kept_out = {10, 20};
  s.network_latency = 2000;
  s.switch_latency = 500;
  return s;
}

lab::options agent_of_all_users() {
  lab::options how;
  how.module = lab::library("libwatched_module.so");
  how.agent_lines = "dlmod list_watch " + how.module + "\n";
  for (size_t i = 1; i < users().size(); ++i) {
    how.agent_lines += role_lab::member_lines(users()[i].name, users()[i].name);
  }
  how.agent_lines +=
      "vsanRole vsans 5,9,10,30,4093\n"
      "vsanRoleInterfaces ports 16777216,16785408\n"
      "vsanRole both 10,20,31\nvsanRoleInterfaces both 16781312,16789504\n"
      "vsanRole readers_of_switch 1,5,10\nvsanRoleSwitch readers_of_switch read\n"
      "vsanRoleSwitch blind none\n"
      "vsanRole malformed 5,x\n";
  return how;
}

// In the order of the model's own text.
constexpr char kStoreRows[] =
    "SELECT 'vsan ' || id, name, media_type, mtu, admin_state, load_balancing, interop, inorder, drop_latency FROM vsan"
    " ORDER BY id;"
    "SELECT 'interface ' || ifindex, vsan, up, is_static FROM interface ORDER BY ifindex;"
    "SELECT 'timer ' || vsan, key, value FROM timer ORDER BY vsan, key;"
    "SELECT 'kept out ' || vsan FROM kept_out ORDER BY vsan;"
    "SELECT 'network_latency', value FROM setting WHERE name = 'network_latency';"
    "SELECT 'switch_latency', value FROM setting WHERE name = 'switch_latency';"
    "SELECT 'inorder', value FROM setting WHERE name = 'inorder';";

std::string text_of(const std::vector<varbind> &walked) {
  std::ostringstream out;
  for (const varbind &v : walked) {
    PrintTo(v, &out);
    out << "\n";
  }
  return out.str();
}

// The lines that only one of two texts has.
std::string difference(const char *what, const std::string &is, const std::string &expected) {
  if (is == expected) {
    return {};
  }
  const auto lines_of = [](const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(line);
    }
    return lines;
  };
  const std::vector<std::string> a = lines_of(is), b = lines_of(expected);
  std::string out = std::string(what) + ":\n";
  for (const std::string &line : a) {
    out += std::find(b.begin(), b.end(), line) == b.end() ? "  is       " + line + "\n" : "";
  }
  for (const std::string &line : b) {
    out += std::find(a.begin(), a.end(), line) == a.end() ? "  expected " + line + "\n" : "";
  }
  return out;
}

std::string text_of(const model::outcome &o) {
  return "status " + std::to_string(o.status) + " at varbind " + std::to_string(o.index);
}

struct shown {
  std::vector<varbind> values;
  varbind changed;  // the time of the last change
};

shown walk_as(snmp::client &c) {
  shown out;
  for (const varbind &v : snmp::bulkwalk(c, root(), 200)) {
    if (v.name == last_change()) {
      out.changed = v;
    } else {
      out.values.push_back(v);
    }
  }
  return out;
}

std::string lists_text(snmp::client &c) {
  const snmp::answer answer = snmp::get(c, {lists_shown()});
  return answer.sent_back ? answer.varbinds.at(0).octets : "no answer";
}

// Two changes with more than this between them have different times: one hundredth, and a tenth of that for clocks
// that are set.
constexpr std::chrono::microseconds kToldApart(11'000);

// It goes on when a VSAN changed, and only then.
std::string compare_last_change(pair &p, const varbind &now) {
  const bool changed = std::exchange(p.changed, false);
  const bool told_apart = changed && p.change_sent - p.seen_answered > kToldApart;
  const long before = p.changed_last.integer;
  p.changed_last = now;
  if (changed) {
    p.seen_answered = p.change_answered;
  }
  p.changes_told_apart += told_apart ? 1 : 0;
  return now.integer < before                  ? "the time of the last change went back\n"
         : now.integer > before && !changed    ? "the time of the last change went on without a change\n"
         : now.integer == before && told_apart ? "the time of the last change stood still at a change\n"
                                               : "";
}

bool tell_control(pair &, int type, const nlohmann::json &object) {
  const std::string text = object.is_null() ? "" : object.dump();
  std::vector<char> payload(text.begin(), text.end());
  auto size = static_cast<uint32_t>(payload.size());
  return cmi_req_resp(kOpFaults, type, payload.data(), nullptr, &size, "model", "", kServiceControl, mts_response_q,
                      10) == 0;
}

}  // namespace

const std::vector<user> &users() {
  using set = std::set<unsigned long>;
  using access = model::role::access;
  static const std::vector<user> all = {
      {"private", {}},
      {"vsans", {.vsans = set{5, 9, 10, 30, 4093}}},
      {"ports", {.interfaces = set{kFc1, kFc3}}},
      {"both", {.vsans = set{10, 20, 31}, .interfaces = set{kFc2, kFc4}}},
      {"readers_of_switch", {.vsans = set{1, 5, 10}, .switch_wide = access::read}},
      {"blind", {.switch_wide = access::none}},
      {"malformed", {.closed = true}},
  };
  return all;
}

void start(pair &p) {
  lab::start(p.l, agent_of_all_users());
  p.model.switch_side = small_switch();
  store_reader::start(p.store, p.l.dir + "/switch.db");
  if (platform_set_run_dir((p.l.dir + "/run").c_str()) != 0) {
    throw std::runtime_error("the switch of " + p.l.dir + " is out of reach");
  }
  for (const char *vsan : {"10", "20"}) {
    if (lab::ctl(p.l, {"kdx", "keep-out", vsan}).status != 0) {
      throw std::runtime_error("the switch keeps nothing out");
    }
  }
  for (const user &each : users()) {
    p.clients.push_back(std::make_unique<snmp::client>(p.l, snmp::community(each.name), 30));
  }
  p.changed_last = walk_as(*p.clients[0]).changed;
  p.seen_answered = clock::now();
}

bool refuse_write(pair &p, int opcode, unsigned nth, int status) {
  p.model.switch_side.fault = {opcode, nth, status};
  const auto fault = [&](const char *kind, unsigned count, int value) {
    return tell_control(p, kMsgSet,
                        {{"kind", kind},
                         {"service", "vsan-manager"},
                         {"opcode", opcode},
                         {"count", count},
                         {"side", "writes"},
                         {"value", value}});
  };
  return (nth == 1 || fault("delay", nth - 1, 0)) && fault("status", 1, status);
}

bool clear_refusals(pair &p) {
  p.model.switch_side.fault = {};
  return tell_control(p, kMsgDelete, nullptr);
}

std::string compare_set(pair &p, const user &who, const std::vector<varbind> &pdu, bool walks,
                        model::outcome &expected) {
  const auto of_user = static_cast<size_t>(&who - users().data());
  const unsigned long changes = p.model.switch_side.vsan_changes;
  expected = model::serve(p.model, who.role, pdu);
  const clock::time_point sent = clock::now();
  const snmp::answer answer = snmp::set(*p.clients[of_user], pdu);
  const clock::time_point answered = clock::now();
  if (!answer.sent_back) {
    return "no answer\n";
  }
  std::string out = difference("answer", text_of(model::outcome{answer.status, answer.index}), text_of(expected));
  out += difference("store", store_reader::rows(p.store, kStoreRows), model::text_of(p.model.switch_side));
  out += difference("lists", lists_text(*p.clients[0]), model::lists_of(p.model));
  if (p.model.switch_side.vsan_changes != changes) {
    p.changed = true;
    p.change_sent = sent;
    p.change_answered = answered;
  }
  if (!walks) {
    return out;
  }
  const shown now = walk_as(*p.clients[0]);
  out += difference("walk", text_of(now.values), text_of(model::walk_of(p.model, users()[0].role)));
  out += compare_last_change(p, now.changed);
  if (of_user != 0) {
    const shown of_him = walk_as(*p.clients[of_user]);
    out += difference("walk of the user", text_of(of_him.values), text_of(model::walk_of(p.model, who.role)));
  }
  return out;
}

}  // namespace model_lab
