// Every kind of role against every kind of object, by GET, SET and walk. The table that the test expects is the one
// that it prints when it fails.
#include <functional>

#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

const std::string kName32(32, 'n');
const std::string kName33(33, 'm');

// Who: a community of that name, in a group of that name unless there is another, and the group's lines.
struct subject {
  std::string name;
  std::string group;  // empty: the community's name; "-": none
  std::string lines;
  std::string expected;
};

// v: a value, w: written, -: hidden (noSuchInstance), x: refused (genErr), a digit: so many rows, ?: no answer, which
// is what the agent itself gives a user whom it knows in no group.
struct operation {
  const char *label;
  std::function<char(snmp::client &)> run;
};

char read_of(snmp::client &c, const name_t &name) {
  const snmp::answer answer = snmp::get(c, {name});
  if (!answer.sent_back) {
    return '?';
  }
  if (answer.status != 0) {
    return 'E';
  }
  return answer.varbinds.at(0).type == snmp::kNoSuchInstance ? '-' : 'v';
}

char write_of(snmp::client &c, const varbind &value) {
  const snmp::answer answer = snmp::set(c, {value});
  if (!answer.sent_back) {
    return '?';
  }
  if (answer.status == 0) {
    return 'w';
  }
  return answer.status == kGenErr ? 'x' : 'E';
}

char rows_of(snmp::client &c, const name_t &prefix) {
  const size_t by_next = snmp::walk(c, prefix).size();
  return snmp::bulkwalk(c, prefix).size() == by_next ? static_cast<char>('0' + by_next) : 'B';
}

operation get(const char *label, const name_t &name) {
  return {label, [=](snmp::client &c) { return read_of(c, name); }};
}
operation set(const char *label, const varbind &value) {
  return {label, [=](snmp::client &c) { return write_of(c, value); }};
}
operation walk(const char *label, const name_t &prefix) {
  return {label, [=](snmp::client &c) { return rows_of(c, prefix); }};
}

// Interface 1 is in VSAN 5, interface 2 in VSAN 10. VSANs 20 and 4093 are not operational: their timers can be set.
const std::vector<operation> kOperations = {
    get("scalar GET", vsan_number()),
    set("scalar SET", scalar_gauge(kSwitchLatency, 500)),
    get("VSAN 10 GET", vsan_cell(kName, 10)),
    get("VSAN 5 GET", vsan_cell(kName, 5)),
    set("VSAN 10 SET", name(10, "ten")),
    set("VSAN 5 SET", name(5, "five")),
    walk("VSAN rows", vsan_column(kName)),
    get("if 1 (in 5) GET", if_vsan(kFc1)),
    get("if 2 (in 10) GET", if_vsan(kFc2)),
    get("if 1 deny GET", deny_list(kFc1)),
    set("if 1 5->10", move(kFc1, 10)),
    set("if 2 10->20", move(kFc2, 20)),
    set("if 2 10->5", move(kFc2, 5)),
    walk("if rows", if_column(kIfVsan)),
    get("membership GET", summary(10, kFc2)),
    walk("membership rows", summary_table()),
    get("timer 20 GET", timer_cell(kRatov, 20)),
    get("timer 4093 GET", timer_cell(kRatov, 4093)),
    set("timer 20 SET", timer(kRatov, 20, 10000)),
    set("timer 4093 SET", timer(kRatov, 4093, 10000)),
};

const std::vector<subject> &subjects() {
  static const std::vector<subject> all = {
      {"no_lines", "", "", "vwvvww5vvvwww5v3vvww"},
      {"vsans", "", "vsanRole vsans 10,20\n", "vwv-wx2vvvxwx5-2v-wx"},
      {"interfaces", "", "vsanRoleInterfaces interfaces 16781312\n", "vwvvww5-vvxww0-3vvww"},
      {"both", "", "vsanRole both 10,20\nvsanRoleInterfaces both 16777216\n", "vwv-wx2v-vwxx1-2v-wx"},
      {"bad_vsans", "", "vsanRole bad_vsans 10,2x\n", "-x--xx0---xxx0-0--xx"},
      {"bad_interfaces", "", "vsanRoleInterfaces bad_interfaces one\n", "-x--xx0---xxx0-0--xx"},
      {"bad_switch", "", "vsanRoleSwitch bad_switch all\n", "-x--xx0---xxx0-0--xx"},
      {"good_and_bad", "", "vsanRole good_and_bad 10\nvsanRoleInterfaces good_and_bad -\n", "-x--xx0---xxx0-0--xx"},
      {"switch_none", "", "vsanRoleSwitch switch_none none\n", "-xvvww5---xxx0v3vvww"},
      {"switch_read", "", "vsanRoleSwitch switch_read read\n", "vxvvww5vvvxxx5v3vvww"},
      {"switch_write", "", "vsanRoleSwitch switch_write write\n", "vwvvww5vvvwww5v3vvww"},
      {"stricter", "", "vsanRoleSwitch stricter none\nvsanRoleSwitch stricter write\n", "-xvvww5---xxx0v3vvww"},
      {"vsans_none", "", "vsanRole vsans_none 10,20\nvsanRoleSwitch vsans_none none\n", "-xv-wx2---xxx0-2v-wx"},
      {"vsans_read", "", "vsanRole vsans_read 10,20\nvsanRoleSwitch vsans_read read\n", "vxv-wx2vvvxxx5-2v-wx"},
      {"all_three", "",
       "vsanRole all_three 10,20\nvsanRoleInterfaces all_three 16777216\nvsanRoleSwitch all_three none\n",
       "-xv-wx2v--wxx1-2v-wx"},
      {"name_of_32", kName32, "vsanRole " + kName32 + " 10,20\n", "vwv-wx2vvvxwx5-2v-wx"},
      {"name_of_33", kName33, "vsanRole " + kName33 + " 10,20\n", "-x--xx0---xxx0-0--xx"},
      {"no_group", "-", "", "??????0??????0?0????"},
  };
  return all;
}

lab::options matrix_options() {
  lab::options how;
  for (const subject &each : subjects()) {
    const std::string group = each.group.empty() ? each.name : each.group;
    how.agent_lines +=
        group == "-" ? "com2sec s_" + each.name + " default " + each.name + "\n" : member_lines(each.name, group);
    how.agent_lines += each.lines;
  }
  return how;
}

std::string outcome_of(const lab::lab &l, const subject &who) {
  snmp::client c(l, snmp::community(who.name), who.group == "-" ? 0.2 : 10),
      operators(l, snmp::community("private"), 10);
  std::string out;
  for (const operation &each : kOperations) {
    out += each.run(c);
    // Each is tried on the switch as it was.
    snmp::set(operators, {move(kFc1, 5), move(kFc2, 10)});
  }
  return out;
}

std::string legend() {
  std::string out;
  for (size_t i = 0; i < kOperations.size(); ++i) {
    out += std::to_string(i + 1) + " " + kOperations[i].label + "\n";
  }
  return out;
}

TEST(RoleMatrix, EveryRoleGetsOfEveryObjectWhatItsLinesSay) {
  lab::lab l;
  lab::start(l, matrix_options());
  const std::string before = lab::store_rows(l);
  std::string table, expected;
  for (const subject &each : subjects()) {
    table += outcome_of(l, each) + " " + each.name + "\n";
    expected += each.expected + " " + each.name + "\n";
  }
  EXPECT_EQ(table, expected) << legend();
  EXPECT_EQ(without(before, "timer "), without(lab::store_rows(l), "timer "));
}

}  // namespace
