// Who may connect, and what each may then do: every version and level of security, for groups that ask for each level,
// with a role, without, with a malformed one, and for users in no group, on every table, by every kind of request.
#include <memory>

#include "role_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;
using namespace role_lab;

using level = snmp::identity::level;

// What a group's role gives its users of each table by GET, GETNEXT, GETBULK and SET. v: a value, -: none, w: written,
// x: genErr, r: notWritable.
struct kind_of_group {
  const char *name;
  const char *role;  // lines, with %s for the group
  const char *scalars, *vsans, *interfaces, *memberships, *timers;
};
constexpr kind_of_group kKinds[] = {
    {"open", "", "vvvw", "vvvw", "vvvw", "vvvr", "vvvw"},
    {"tenant", "vsanRole %s 10,20\n", "vvvw", "vvvw", "vvvw", "-vvr", "vvvw"},
    {"foreign", "vsanRole %s 5\n", "vvvw", "---x", "vvvx", "---r", "---x"},
    {"malformed", "vsanRole %s 10,2x\n", "---x", "---x", "---x", "---r", "---x"},
};

// A table as it is asked for: an instance, a place whose next instance is that one, the value that is there, which those
// set who may, and another, which those try to set who may not: the store tells when one gets through.
struct table {
  const char *kind_of_group::*allowed;
  name_t instance, ahead;
  varbind value, other;
};
const std::vector<table> &tables() {
  static const std::vector<table> all = {
      {&kind_of_group::scalars, switch_wide(kSwitchLatency), root({1, 4, 6}), scalar_gauge(kSwitchLatency, 500),
       scalar_gauge(kSwitchLatency, 600)},
      {&kind_of_group::vsans, vsan_cell(kName, 10), vsan_cell(kName, 9), name(10, "ten"), name(10, "taken")},
      {&kind_of_group::interfaces, if_vsan(kFc2), if_vsan(kFc1), move(kFc2, 10), move(kFc2, 5)},
      {&kind_of_group::memberships, summary(10, kFc2), summary(10, 0), integer(summary(10, kFc2), 1),
       integer(summary(10, kFc2), 2)},
      {&kind_of_group::timers, timer_cell(kRatov, 20), timer_cell(kRatov, 19), timer(kRatov, 20, 10000),
       timer(kRatov, 20, 9000)},
  };
  return all;
}

// How somebody comes: a version, and with version 3 a level.
struct way {
  const char *name;
  int version;
  level security;
};
constexpr way kWays[] = {{"v1", 1, level::noauth},
                         {"v2c", 2, level::noauth},
                         {"v3 noAuth", 3, level::noauth},
                         {"v3 auth", 3, level::auth},
                         {"v3 priv", 3, level::priv}};

struct demand {
  const char *name;
  level security;
};
constexpr demand kDemands[] = {{"noauth", level::noauth}, {"auth", level::auth}, {"priv", level::priv}};

std::string group_of(const kind_of_group &kind, const demand &asked) {
  return std::string(kind.name) + "_" + asked.name;
}

std::string with_group(const char *line, const std::string &group) {
  std::string out = line;
  const size_t at = out.find("%s");
  return at == std::string::npos ? out : out.replace(at, 2, group);
}

// A community and a user of one name for each group, and one of each that VACM puts into none.
lab::options agent_of_all() {
  lab::options how;
  const auto known = [&](const std::string &name) {
    how.agent_lines += "com2sec s_" + name + " default " + name + "\ncreateUser " + name + " SHA-256 " + name +
                       "-auth-key AES " + name + "-priv-key\n";
  };
  for (const kind_of_group &kind : kKinds) {
    for (const demand &asked : kDemands) {
      const std::string group = group_of(kind, asked);
      known(group);
      for (const std::string &model : {"v1 s_" + group, "v2c s_" + group, "usm " + group}) {
        how.agent_lines += "group " + group + " " + model + "\n";
      }
      how.agent_lines += "access " + group + " \"\" any " + asked.name + " exact all all all\n";
      how.agent_lines += with_group(kind.role, group);
    }
  }
  known("nobody");
  return how;
}

// a: authorizationError. An answer to version 1 has one word, noSuchName, for what is hidden and what is denied.
char letter_of(const snmp::answer &answer, const way &come, const name_t &expected) {
  if (!answer.sent_back) {
    return '?';
  }
  if (answer.status == 16 || (come.version == 1 && answer.status == kNoSuchName)) {
    return answer.status == 16 ? 'a' : '-';
  }
  if (answer.status != 0) {
    return 'E';
  }
  const varbind &got = answer.varbinds.at(0);
  return got.type < snmp::kNoSuchObject && got.name == expected ? 'v' : '-';
}

char letter_of_set(const snmp::answer &answer, const way &come) {
  if (!answer.sent_back) {
    return '?';
  }
  switch (answer.status) {
    case 0:
      return 'w';
    case kGenErr:
      return 'x';
    case kNotWritable:
      return 'r';
    case kNoSuchName:
      return come.version == 1 ? 'r' : 'E';
    case 16:
      return 'a';
    default:
      return 'E';
  }
}

std::string all_allowed(const kind_of_group &kind) {
  std::string out;
  for (const table &of : tables()) {
    out += " " + std::string(kind.*of.allowed);
  }
  return out;
}

std::string all_denied(const way &come) {
  std::string out;
  for (size_t i = 0; i < tables().size(); ++i) {
    out += come.version == 3 ? " aaaa" : " ????";
  }
  return out;
}

// Somebody who comes, and what is expected of every table. The agent tells users whom it does not let in, and is silent
// towards communities.
struct visit {
  std::string label, name;
  way come;
  std::string expected;
  bool is_silent;
};

std::vector<visit> visits() {
  std::vector<visit> out;
  const auto add = [&](const std::string &label, const std::string &name, const way &come, const std::string &allowed) {
    const bool is_let_in = !allowed.empty();
    out.push_back({label + " by " + come.name + ":", name, come, is_let_in ? allowed : all_denied(come),
                   !is_let_in && come.version != 3});
  };
  for (const kind_of_group &kind : kKinds) {
    for (const demand &asked : kDemands) {
      for (const way &come : kWays) {
        add(std::string(kind.name) + ", asks for " + asked.name + ",", group_of(kind, asked), come,
            come.security >= asked.security ? all_allowed(kind) : "");
      }
    }
  }
  for (const way &come : kWays) {
    add("nobody", "nobody", come, "");
  }
  return out;
}

std::unique_ptr<snmp::client> client_of(const lab::lab &l, const visit &by) {
  return std::make_unique<snmp::client>(
      l, by.come.version == 3 ? snmp::user(by.name, by.come.security) : snmp::community(by.name, by.come.version), 30);
}

std::string tried(snmp::client &c, const way &come, const table &of, bool may_write) {
  std::string out;
  out += letter_of(snmp::get(c, {of.instance}), come, of.instance);
  out += letter_of(snmp::getnext(c, {of.ahead}), come, of.instance);
  // Version 1 has no GETBULK.
  out += come.version == 1 ? out.back() : letter_of(snmp::getbulk(c, {of.ahead}, 1), come, of.instance);
  out += letter_of_set(snmp::set(c, {may_write ? of.value : of.other}), come);
  return out;
}

// Who is expected to write sets what is there; everybody else something else.
std::string all_tried(snmp::client &c, const visit &by) {
  std::string out;
  for (size_t i = 0; i < tables().size(); ++i) {
    out += " " + tried(c, by.come, tables()[i], by.expected.at(5 * i + 4) == 'w');
  }
  return out;
}

struct AccessMatrix : ::testing::Test {
  // A timer has its row in the store once it was set.
  void SetUp() override {
    lab::start(l, agent_of_all());
    snmp::client c(l, snmp::community("private"), 30);
    EXPECT_DONE(snmp::set(c, {timer(kRatov, 20, 10000)}));
    before = lab::store_rows(l);
    EXPECT_NE(before.find("timer 20|"), before.npos);
  }

  lab::lab l;
  std::string before;
};

TEST_F(AccessMatrix, RolesHoldWhateverVersionAndLevelSomebodyComesBy) {
  std::string is, expected;
  for (const visit &by : visits()) {
    if (by.is_silent) {
      continue;
    }
    is += by.label + all_tried(*client_of(l, by), by) + "\n";
    expected += by.label + by.expected + "\n";
    // After each of them: what one gets through, a later one might put back.
    ASSERT_EQ(before, lab::store_rows(l)) << by.label;
  }
  EXPECT_EQ(is, expected);
}

// All is sent, and answers are awaited once. The agent takes datagrams one after the other: when it answers the
// operator it is done with those before, and has room for more.
TEST_F(AccessMatrix, CommunitiesThatAreNotLetInGetNoAnswer) {
  std::vector<std::unique_ptr<snmp::client>> clients;
  std::vector<snmp::client *> silent;
  std::string is, expected;
  snmp::client operators(l, snmp::community("private"), 30);
  for (const visit &by : visits()) {
    if (!by.is_silent) {
      continue;
    }
    clients.push_back(client_of(l, by));
    silent.push_back(clients.back().get());
    silent.back()->waits = false;
    all_tried(*silent.back(), by);
    ASSERT_TRUE(snmp::get(operators, {vsan_number()}).sent_back);
    ASSERT_EQ(before, lab::store_rows(l)) << by.label;
    expected += by.label + " 0 answers\n";
  }
  snmp::listen(silent, 2);
  size_t at = 0;
  for (const visit &by : visits()) {
    if (by.is_silent) {
      is += by.label + " " + std::to_string(silent[at++]->unawaited) + " answers\n";
    }
  }
  EXPECT_GT(silent.size(), 0u);
  EXPECT_EQ(is, expected);
}

}  // namespace
