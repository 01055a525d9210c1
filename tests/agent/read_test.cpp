// Reads through a real snmpd: the golden walk by every way of asking, who sees what, restarts under a walk, repeated
// request ids.
#include <gtest/gtest.h>

#include <signal.h>
#include <algorithm>
#include <chrono>
#include <fstream>

#include "lab.h"
#include "snmp_client.h"

namespace {

using namespace mib;

constexpr unsigned long kVsans[] = {1, 5, 10, 20, 4093};
constexpr unsigned long kIfs[] = {16777216, 16781312, 16785408, 16789504, 16793600};

struct column {
  unsigned long id;
  bool unsigned_value;
  long values[5];
};

constexpr column kColumns[] = {
    {kMediaType, false, {1, 1, 1, 1, 1}},
    {kAdminState, false, {1, 1, 1, 1, 2}},
    {kMtu, true, {2112, 2048, 2112, 2112, 2112}},
    {kLoadBalancing, false, {2, 1, 2, 2, 2}},
    {kOperState, false, {2, 1, 1, 2, 2}},
    {kRowStatus, false, {1, 1, 1, 1, 1}},
    {kInterop, false, {0, 3, 0, 0, 0}},
    {kInorder, false, {2, 1, 2, 2, 2}},
    {kDropLatency, true, {2000, 3000, 2000, 2000, 2000}},
};

void add_vsans(std::vector<varbind> *out) {
  out->push_back(integer(vsan_number(), 5));
  out->push_back({last_change(), 0x43, 0, {}});
  const char *names[] = {"default", "five", "ten", "twenty", "last"};
  for (size_t i = 0; i < 5; ++i) {
    out->push_back(octets(vsan_cell(kName, kVsans[i]), names[i]));
  }
  for (const column &c : kColumns) {
    for (size_t i = 0; i < 5; ++i) {
      const auto name = vsan_cell(c.id, kVsans[i]);
      out->push_back(c.unsigned_value ? gauge(name, static_cast<unsigned long>(c.values[i]))
                                      : integer(name, c.values[i]));
    }
  }
}

void add_interfaces(std::vector<varbind> *out) {
  out->push_back(integer(if_number(), 5));
  const long vsan_of[] = {5, 10, 10, 20, 4093};
  for (size_t i = 0; i < 5; ++i) {
    out->push_back(integer(if_vsan(kIfs[i]), vsan_of[i]));
  }
  for (size_t i = 0; i < 5; ++i) {
    out->push_back(integer(deny_list(kIfs[i]), 0));
  }
  for (size_t i = 0; i < 3; ++i) {
    out->push_back(integer(summary(static_cast<unsigned long>(vsan_of[i]), kIfs[i]), static_cast<long>(kIfs[i])));
  }
}

void add_fabric_parameters(std::vector<varbind> *out) {
  const unsigned long scalars[] = {10000, 2000, 5000, 5000, 2000, 500};
  for (unsigned long i = 0; i < 6; ++i) {
    out->push_back(gauge(switch_wide(i + 1), scalars[i]));
  }
  out->push_back(integer(switch_wide(kSwitchInorder), 2));
  for (unsigned long vsan : kVsans) {
    out->push_back(octets(timer_cell(kForceFlag, vsan), std::string(1, '\0')));
  }
  const unsigned long timers[4][5] = {{10000, 9000, 10000, 10000, 10000},
                                      {2000, 2500, 2000, 2000, 2000},
                                      {5000, 5000, 5000, 5000, 5000},
                                      {5000, 5000, 5000, 5000, 5000}};
  for (unsigned long t = 0; t < 4; ++t) {
    for (size_t i = 0; i < 5; ++i) {
      out->push_back(gauge(timer_cell(kRatov + t, kVsans[i]), timers[t][i]));
    }
  }
}

// What a walk of the lab's small switch gives: one ordered array.
std::vector<varbind> golden() {
  std::vector<varbind> out;
  add_vsans(&out);
  add_interfaces(&out);
  add_fabric_parameters(&out);
  return out;
}

class Read : public ::testing::Test {
 protected:
  void SetUp() override { lab::start(l); }
  lab::lab l;
};

TEST_F(Read, GoldenWalkByGetOfEach) {
  snmp::client c(l, snmp::community("public"));
  for (const varbind &v : golden()) {
    EXPECT_EQ(snmp::get(c, {v.name}).varbinds.at(0), v);
  }
}

TEST_F(Read, GoldenWalkByGetNext) {
  snmp::client c(l, snmp::community("public"));
  EXPECT_EQ(snmp::walk(c, root()), golden());
}

TEST_F(Read, GoldenWalkByGetNextOverV1AndV3) {
  snmp::client v1(l, snmp::community("public", 1)), v3(l, snmp::user("operator"));
  EXPECT_EQ(snmp::walk(v1, root()), golden());
  EXPECT_EQ(snmp::walk(v3, root()), golden());
}

TEST_F(Read, GoldenWalkByGetBulkOfEverySize) {
  snmp::client c(l, snmp::community("public"));
  for (int repetitions : {1, 2, 7, 50, 200}) {
    EXPECT_EQ(snmp::bulkwalk(c, root(), repetitions), golden()) << repetitions;
  }
}

// Clients that no one here wrote. Each prints a line a value, all but one with its type.
std::string as_printed(const std::vector<varbind> &walk, bool with_types = true) {
  std::string text;
  for (const varbind &v : walk) {
    for (const unsigned long number : v.name) {
      text += "." + std::to_string(number);
    }
    const char *type = v.type == 0x04   ? " OCTETS "
                       : v.type == 0x42 ? " Gauge32 "
                       : v.type == 0x43 ? " TimeTicks "
                                        : " INTEGER ";
    text += with_types ? type : " ";
    if (v.type != 0x04) {
      text += std::to_string(v.integer);
    }
    for (const char octet : v.octets) {
      char hex[3];
      snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(octet));
      text += hex;
    }
    text += "\n";
  }
  return text;
}

struct foreign_client {
  const char *interpreter;
  const char *script;
  bool tells_types = true;
};
constexpr foreign_client kForeignClients[] = {
    {"/bin/sh", "shell/walk.sh"}, {"/usr/bin/python3", "python/walk.py"},          {"node", "npm/walk.js"},
    {"perl", "perl/walk.pl"},     {"/usr/bin/python3", "exporter/walk.py", false},
};

TEST_F(Read, GoldenWalkByNetSnmpsToolsPysnmpNodePerlAndThePrometheusExporter) {
  const std::string port = std::to_string(l.snmp_port);
  std::string oid;
  for (const unsigned long number : root()) {
    oid += "." + std::to_string(number);
  }
  for (const foreign_client &each : kForeignClients) {
    const std::string script = std::string(LAB_SOURCE_DIR "/tests/agent/") + each.script;
    EXPECT_EQ(lab::run({each.interpreter, script, port, "public", oid}).output, as_printed(golden(), each.tells_types))
        << each.script;
  }
}

TEST_F(Read, GoldenWalkByGetNextARowAPduCostsOneMessageARow) {
  snmp::client c(l, snmp::community("public"));
  std::vector<name_t> at;
  for (unsigned long id : kVsanColumns) {
    at.push_back(vsan_column(id));
  }
  std::vector<varbind> seen;
  const auto messages = [&] {
    const std::string history = lab::ctl(l, {"history"}).output;
    size_t count = 0;
    for (size_t p = 0;
         (p = history.find("Sending GETNEXT request to VSAN mgr with payload (size = 2632)", p)) != std::string::npos;
         ++p) {
      ++count;
    }
    return count;
  };
  const size_t before = messages();
  for (int row = 0; row < 5; ++row) {
    const auto answer = snmp::getnext(c, at);
    for (size_t i = 0; i < at.size(); ++i) {
      seen.push_back(answer.varbinds.at(i));
      at[i] = answer.varbinds[i].name;
    }
  }
  EXPECT_EQ(messages() - before, 5u);
  std::sort(seen.begin(), seen.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
  const auto all = golden();
  EXPECT_TRUE(std::equal(seen.begin(), seen.end(), all.begin() + 2));
}

TEST_F(Read, GetBulkARowWideGoesRowByRow) {
  snmp::client c(l, snmp::community("public"));
  const auto answer = snmp::getbulk(c, {vsan_column(kName), vsan_column(kRowStatus)}, 5);
  ASSERT_EQ(answer.varbinds.size(), 10u);
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(answer.varbinds[2 * i].name, vsan_cell(kName, kVsans[i]));
    EXPECT_EQ(answer.varbinds[2 * i + 1], integer(vsan_cell(kRowStatus, kVsans[i]), kActive));
  }
}

// What a user restricted to VSANs 10 and 20 sees of the golden walk: the VSANs' own tables and the memberships of
// those, all interfaces.
std::vector<varbind> golden_of_tenant() {
  std::vector<varbind> out;
  for (const varbind &v : golden()) {
    const bool is_row = is_under(v.name, vsan_table()) || is_under(v.name, timer_table());
    const bool is_summary = is_under(v.name, summary_table());
    const unsigned long vsan = is_summary ? v.name[14] : v.name.back();
    if ((is_row || is_summary) && vsan != 10 && vsan != 20) {
      continue;
    }
    out.push_back(v);
  }
  return out;
}

TEST_F(Read, UsersWithoutAVsanRoleLineSeeEverythingThoseWithOneTheirVsans) {
  const std::pair<snmp::identity, bool> who[] = {{snmp::community("public"), false},
                                                 {snmp::community("private"), false},
                                                 {snmp::user("operator"), false},
                                                 {snmp::community("limited"), true},
                                                 {snmp::user("tenant"), true}};
  for (const auto &[identity, restricted] : who) {
    snmp::client c(l, identity);
    EXPECT_EQ(snmp::walk(c, root()), restricted ? golden_of_tenant() : golden()) << identity.name;
    EXPECT_EQ(snmp::bulkwalk(c, root()), restricted ? golden_of_tenant() : golden()) << identity.name;
  }
}

TEST_F(Read, ARestrictedUsersGetOfAHiddenVsanIsNoSuchInstance) {
  snmp::client c(l, snmp::user("tenant"));
  EXPECT_EQ(snmp::get(c, {vsan_cell(kName, 5)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {timer_cell(kRatov, 5)}).varbinds.at(0).type, snmp::kNoSuchInstance);
  EXPECT_EQ(snmp::get(c, {vsan_cell(kName, 10)}).varbinds.at(0), octets(vsan_cell(kName, 10), "ten"));
  EXPECT_EQ(snmp::get(c, {summary(10, 16781312)}).varbinds.at(0).type, snmp::kNoSuchInstance)
      << "restricted users walk this table, they do not GET from it";
}

TEST(ReadRoles, AMalformedVsanRoleLineClosesItsGroupAndNamesTheLine) {
  lab::lab l;
  lab::start(l, {.agent_lines = "vsanRole closeds 10,2x\n"});
  snmp::client c(l, snmp::user("closed"));
  EXPECT_TRUE(snmp::walk(c, vsan_table()).empty());
  EXPECT_TRUE(snmp::walk(c, timer_table()).empty());
  const std::string log = lab::read_file(l.dir + "/agent.log") + lab::read_file(l.snmpd.log);
  EXPECT_NE(log.find("snmpd.conf: line "), std::string::npos) << log;
  EXPECT_NE(log.find("vsanRole closeds"), std::string::npos) << log;
}

// Restarts.

double seconds_of(const std::function<void()> &step) {
  const auto start = std::chrono::steady_clock::now();
  step();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A walk that goes on from where it is when the manager is away: every value must be one of the golden walk's.
void expect_known(const std::vector<varbind> &seen) {
  const auto all = golden();
  for (const varbind &v : seen) {
    if (v.name == last_change()) {
      continue;
    }
    EXPECT_NE(std::find(all.begin(), all.end(), v), all.end()) << text(v.name);
  }
}

TEST_F(Read, SwitchdKilledUnderAWalkGivesNoWrongValueAndAnswersAtOnceWhenItIsBack) {
  snmp::client c(l, snmp::community("public"), 10);
  EXPECT_EQ(snmp::walk(c, root()), golden());
  lab::stop(l.switchd, SIGKILL);
  std::vector<varbind> seen;
  EXPECT_LT(seconds_of([&] { seen = snmp::walk(c, root()); }), 5) << "no manager is told at once";
  expect_known(seen);
  lab::start_switchd(l);
  const auto after = snmp::walk(c, root());
  EXPECT_EQ(after.size(), golden().size());
  expect_known(after);
}

TEST_F(Read, SwitchdStoppedCostsOneTimeoutAPduAndAnswersAtOnceWhenItGoesOn) {
  snmp::client c(l, snmp::community("public"), 20);
  lab::signal(l.switchd, SIGSTOP);
  std::vector<name_t> names;
  for (unsigned long id : {2, 3, 4, 5, 6, 8}) {
    for (unsigned long vsan : kVsans) {
      names.push_back(vsan_cell(id, vsan));
    }
  }
  snmp::answer answer;
  const double took = seconds_of([&] { answer = snmp::get(c, names); });
  EXPECT_GT(took, 3.0);
  EXPECT_LT(took, 9.0) << "one time-out of 4 s, not thirty";
  for (const varbind &v : answer.varbinds) {
    EXPECT_EQ(v.type, snmp::kNoSuchInstance) << text(v.name);
  }
  lab::signal(l.switchd, SIGCONT);
  EXPECT_TRUE(lab::wait_until([&] { return snmp::get(c, {vsan_cell(kName, 5)}).varbinds.at(0).type == 4; }, 3));
  EXPECT_EQ(snmp::walk(c, root()), golden()) << "late answers are nobody's";
}

TEST_F(Read, SwitchdRestartedAtEveryStepOfAWalkGivesNoWrongValue) {
  snmp::client c(l, snmp::community("public"), 10);
  name_t at = root();
  for (int step = 0; step < 12; ++step) {
    const auto answer = snmp::getbulk(c, {at}, 9);
    ASSERT_TRUE(answer.sent_back);
    std::vector<varbind> seen;
    for (const varbind &v : answer.varbinds) {
      if (v.type < snmp::kNoSuchObject && v.name < root({2})) {
        seen.push_back(v);
      }
    }
    expect_known(seen);
    if (seen.empty()) {
      break;
    }
    at = seen.back().name;
    lab::stop(l.switchd, step % 2 == 0 ? SIGKILL : SIGTERM);
    lab::start_switchd(l);
  }
  EXPECT_LT(timer_column(kFstov), at) << "the walk came to its end";
}

TEST_F(Read, ARepeatedRequestIdNeverGetsARowCachedForAnotherPdu) {
  snmp::client a(l, snmp::community("public")), b(l, snmp::community("private"));
  for (int i = 0; i < 20; ++i) {
    a.next_request_id = b.next_request_id = 4711;
    const std::string name = "name" + std::to_string(i);
    EXPECT_EQ(snmp::get(a, {vsan_cell(kName, 10)}).status, 0);
    ASSERT_EQ(lab::ctl(l, {"vsan", "set", "10", "--name", name}).status, 0);
    EXPECT_EQ(snmp::get(b, {vsan_cell(kName, 10)}).varbinds.at(0).octets, name);
    EXPECT_EQ(snmp::get(a, {vsan_cell(kName, 10)}).varbinds.at(0).octets, name);
  }
}

// Answers that are short, empty, oversized.
TEST_F(Read, ShortAnswersGiveNoValueThroughTheAgent) {
  snmp::client c(l, snmp::community("public"));
  for (const char *size : {"0", "1", "3", "520", "2627"}) {
    ASSERT_EQ(lab::ctl(l, {"fault", "short-answer", "--service", "vsan-manager", size}).status, 0)
        << lab::ctl(l, {"fault", "short-answer", "--help"}).output;
    for (const varbind &v :
         snmp::get(c, {vsan_cell(kName, 10), vsan_cell(kMediaType, 10), timer_cell(kRatov, 10)}).varbinds) {
      const bool timer_fits = v.name.size() == 15 && v.name[10] == 4 && std::stoul(size) >= 15;
      if (!timer_fits) {
        EXPECT_EQ(v.type, snmp::kNoSuchInstance) << size << " " << text(v.name);
      }
    }
    ASSERT_EQ(lab::ctl(l, {"fault", "clear"}).status, 0);
  }
  EXPECT_EQ(snmp::walk(c, root()), golden());
}

// The large switch: 4,093 VSANs and 512 interfaces.

class ReadLarge : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string file = "/tmp/large-topology-" + std::to_string(getpid()) + ".toml";
    const auto generated = lab::run({"python3", LAB_SOURCE_DIR "/packaging/topologies/generate-topology.py"});
    ASSERT_EQ(generated.status, 0) << generated.output;
    lab::write_file(file, generated.output);
    lab::start(l, {.topology_file = file});
    unlink(file.c_str());
    snmp::client c(l, snmp::community("public"), 10);
    whole = snmp::bulkwalk(c, root(), 60);
  }
  lab::lab l;
  std::vector<varbind> whole;  // by GETBULK of one column
};

TEST_F(ReadLarge, EveryColumnIsCompleteAndTheWalkAscends) {
  EXPECT_TRUE(std::is_sorted(whole.begin(), whole.end(), [](const auto &x, const auto &y) { return x.name < y.name; }));
  const auto count = [&](const name_t &prefix) {
    return std::count_if(whole.begin(), whole.end(), [&](const varbind &v) {
      return v.name.size() > prefix.size() && std::equal(prefix.begin(), prefix.end(), v.name.begin());
    });
  };
  EXPECT_EQ(whole.at(0), integer(vsan_number(), 4093));
  for (unsigned long id : kVsanColumns) {
    EXPECT_EQ(count(vsan_column(id)), 4093) << id;
  }
  for (unsigned long id : {1, 2}) {
    EXPECT_EQ(count(if_column(id)), 512) << id;
  }
  EXPECT_GT(count(summary_table()), 0);
  for (unsigned long id : kTimerColumns) {
    EXPECT_EQ(count(timer_column(id)), 4093) << id;
  }
}

TEST_F(ReadLarge, GetNextOneByOneGivesTheSameWalk) {
  snmp::client c(l, snmp::community("public"), 10);
  EXPECT_TRUE(snmp::walk(c, root()) == whole);
}

TEST_F(ReadLarge, GetOfEachGivesTheSameValues) {
  snmp::client c(l, snmp::community("public"), 10);
  for (size_t i = 0; i < whole.size(); i += 25) {
    std::vector<name_t> names;
    for (size_t j = i; j < std::min(i + 25, whole.size()); ++j) {
      names.push_back(whole[j].name);
    }
    const auto answer = snmp::get(c, names);
    ASSERT_EQ(answer.varbinds.size(), names.size());
    ASSERT_TRUE(std::equal(answer.varbinds.begin(), answer.varbinds.end(), whole.begin() + static_cast<long>(i))) << i;
  }
}

// Rows as wide as their table: by GETNEXT, and by GETBULK of several rows.
TEST_F(ReadLarge, GetNextAndGetBulkARowWideGiveTheSameCells) {
  snmp::client c(l, snmp::community("public"), 10);
  for (int repetitions : {0, 4}) {
    std::vector<name_t> at;
    for (unsigned long id : kVsanColumns) {
      at.push_back(vsan_column(id));
    }
    for (unsigned long id : kTimerColumns) {
      at.push_back(timer_column(id));
    }
    const auto columns = at;
    std::vector<varbind> seen;
    for (size_t row = 0; row < 4093; row += repetitions == 0 ? 1 : static_cast<size_t>(repetitions)) {
      const auto answer = repetitions == 0 ? snmp::getnext(c, at) : snmp::getbulk(c, at, repetitions);
      ASSERT_GE(answer.varbinds.size(), at.size());
      for (size_t i = 0; i < answer.varbinds.size(); ++i) {
        const varbind &v = answer.varbinds[i];
        const name_t &column = columns[i % columns.size()];
        at[i % columns.size()] = v.name;
        const bool inside = v.name.size() > column.size() && std::equal(column.begin(), column.end(), v.name.begin());
        if (inside) {
          seen.push_back(v);
        }
      }
    }
    std::sort(seen.begin(), seen.end(), [](const auto &x, const auto &y) { return x.name < y.name; });
    std::vector<varbind> expected;
    for (const varbind &v : whole) {
      if (is_under(v.name, vsan_table()) || is_under(v.name, timer_table())) {
        expected.push_back(v);
      }
    }
    EXPECT_TRUE(seen == expected) << repetitions << ": " << seen.size() << " cells of " << expected.size();
  }
}

}  // namespace
