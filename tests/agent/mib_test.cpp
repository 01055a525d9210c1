// The MIB file and the agent, both ways: what the agent answers and sends is named by the file, and what the file
// promises the agent keeps.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "lab.h"
#include "mib_file.h"
#include "snmp_client.h"

namespace {

using namespace mib;

const std::vector<std::string> kByVsan = {"vsanIndex"}, kByInterface = {"ifIndex"}, kByBoth = {"vsanIndex", "ifIndex"};

struct named {
  name_t oid;
  const char *name;
  std::vector<std::string> indexes;  // none: a scalar
};

// Every object that a manager can read, by the name that people know it by.
const std::vector<named> kNames = {
    {root({1, 1, 1}), "vsanNumber", {}},
    {root({1, 1, 2}), "vsanTableLastChange", {}},
    {root({1, 1, 3, 1, 2}), "vsanName", kByVsan},
    {root({1, 1, 3, 1, 3}), "vsanMediaType", kByVsan},
    {root({1, 1, 3, 1, 4}), "vsanAdminState", kByVsan},
    {root({1, 1, 3, 1, 5}), "vsanMtu", kByVsan},
    {root({1, 1, 3, 1, 6}), "vsanLoadBalancingType", kByVsan},
    {root({1, 1, 3, 1, 8}), "vsanOperState", kByVsan},
    {root({1, 1, 3, 1, 9}), "vsanRowStatus", kByVsan},
    {root({1, 1, 3, 1, 10}), "vsanInterOperType", kByVsan},
    {root({1, 1, 3, 1, 11}), "vsanInorderDelivery", kByVsan},
    {root({1, 1, 3, 1, 12}), "vsanNetworkDropLatency", kByVsan},
    {root({1, 2, 4}), "vsanIfNumber", {}},
    {root({1, 2, 5, 1, 1}), "vsanIfVsan", kByInterface},
    {root({1, 2, 5, 1, 2}), "vsanIfDenyList", kByInterface},
    {root({1, 2, 8, 1, 1}), "vsanMembershipSummaryInterface", kByBoth},
    {root({1, 4, 1}), "fcTimerRatov", {}},
    {root({1, 4, 2}), "fcTimerEdtov", {}},
    {root({1, 4, 3}), "fcTimerFstov", {}},
    {root({1, 4, 4}), "fcTimerDstov", {}},
    {root({1, 4, 5}), "fcNetworkLatency", {}},
    {root({1, 4, 6}), "fcSwitchLatency", {}},
    {root({1, 4, 7}), "fcInorderDelivery", {}},
    {root({1, 4, 8, 1, 1}), "vsanFcTimerForceFlag", kByVsan},
    {root({1, 4, 8, 1, 2}), "vsanFcTimerRatov", kByVsan},
    {root({1, 4, 8, 1, 3}), "vsanFcTimerEdtov", kByVsan},
    {root({1, 4, 8, 1, 4}), "vsanFcTimerDstov", kByVsan},
    {root({1, 4, 8, 1, 5}), "vsanFcTimerFstov", kByVsan},
};

lab::result smilint(const std::string &file) {
  return lab::run({"env", "SMIPATH=" + mib_file::directories(), "smilint", "-l", "6", file});
}

bool in_ranges(const mib_file::object &o, long value) {
  return o.ranges.empty() ||
         std::ranges::any_of(o.ranges, [&](const auto &r) { return r.first <= value && value <= r.second; });
}

bool allows(const mib_file::object &o, const varbind &v) {
  if (v.type == 4) {
    return o.is_bits ? v.octets.size() == 1 : in_ranges(o, static_cast<long>(v.octets.size()));
  }
  if (!o.enumeration.empty()) {
    return std::ranges::binary_search(o.enumeration, v.integer);
  }
  return in_ranges(o, v.integer);
}

class Mib : public ::testing::Test {
 protected:
  void SetUp() override {
    lab::start(l, {.traps = true});
    mib_file::load();
    snmp::client c(l, snmp::community("public"));
    walked = snmp::walk(c, root());
  }
  std::vector<varbind> instances(const mib_file::object &o) const {
    std::vector<varbind> out;
    for (const varbind &v : walked) {
      const bool under = v.name.size() > o.oid.size() && std::equal(o.oid.begin(), o.oid.end(), v.name.begin());
      if (under) {
        out.push_back(v);
      }
    }
    return out;
  }
  lab::lab l;
  std::vector<varbind> walked;
};

TEST(MibFile, SmilintHasNothingToSay) {
  const lab::result r = smilint(LAB_SOURCE_DIR "/mibs/VSAN-MIB.txt");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.output, "");
}

TEST(MibFile, SmilintSpeaksUpWhenAnObjectIsInNoGroup) {
  std::string text = lab::read_file(LAB_SOURCE_DIR "/mibs/VSAN-MIB.txt");
  const std::string member = "vsanNotifiedVsan, vsanSwitchWwn }\n    STATUS";
  ASSERT_NE(text.find(member), std::string::npos);
  text.replace(text.find(member), member.size(), "vsanNotifiedVsan }\n    STATUS");
  char file[] = "/tmp/mib-test.XXXXXX";
  close(mkstemp(file));
  lab::write_file(file, text);
  EXPECT_NE(smilint(file).output, "");
  unlink(file);
}

TEST_F(Mib, EveryOidOfTheWalkHasItsNameTypeAndIndex) {
  ASSERT_EQ(walked.size(), 98u);
  for (const varbind &v : walked) {
    const auto o = mib_file::find(v.name);
    ASSERT_TRUE(o) << text(v.name);
    const auto expected = std::ranges::find(kNames, o->oid, &named::oid);
    ASSERT_NE(expected, kNames.end()) << text(v.name) << " is taken for " << o->name;
    EXPECT_EQ(o->name, expected->name);
    EXPECT_EQ(o->asn_type, v.type) << o->name;
    EXPECT_EQ(o->indexes, expected->indexes) << o->name;
    EXPECT_TRUE(o->readable) << o->name;
    EXPECT_TRUE(allows(*o, v)) << ::testing::PrintToString(v);
  }
}

TEST_F(Mib, EveryIndexOfTheWalkIsOneThatTheFileAllows) {
  for (const varbind &v : walked) {
    const auto o = mib_file::find(v.name);
    ASSERT_TRUE(o);
    const name_t index(v.name.begin() + static_cast<long>(o->oid.size()), v.name.end());
    if (!o->is_column) {
      EXPECT_EQ(index, name_t{0}) << o->name;
      continue;
    }
    ASSERT_EQ(index.size(), o->indexes.size()) << o->name;
    for (size_t i = 0; i < index.size(); ++i) {
      const auto of = mib_file::find(o->indexes[i]);
      ASSERT_TRUE(of) << o->indexes[i];
      EXPECT_EQ(of->asn_type, 2) << of->name;
      EXPECT_TRUE(in_ranges(*of, static_cast<long>(index[i]))) << o->name << text(index);
    }
  }
}

TEST_F(Mib, EveryReadableObjectOfTheFileIsAnsweredAndNoOthersAreThere) {
  std::vector<std::string> readable, expected;
  for (const mib_file::object &o : mib_file::all()) {
    if (!o.readable) {
      continue;
    }
    readable.push_back(o.name);
    EXPECT_FALSE(instances(o).empty()) << o.name << " is promised and not answered";
  }
  for (const named &n : kNames) {
    expected.emplace_back(n.name);
  }
  std::ranges::sort(readable);
  std::ranges::sort(expected);
  EXPECT_EQ(readable, expected);
}

TEST_F(Mib, WhatTravelsInNotificationsOnlyIsNotAnswered) {
  snmp::client c(l, snmp::community("public"));
  size_t count = 0;
  for (const mib_file::object &o : mib_file::all()) {
    if (!o.for_notify_only) {
      continue;
    }
    ++count;
    name_t instance = o.oid;
    instance.push_back(0);
    EXPECT_EQ(snmp::get(c, {instance}).varbinds.at(0).type, snmp::kNoSuchObject) << o.name;
  }
  EXPECT_EQ(count, 2u);
}

// The last VSAN of the lab is suspended: its timers need no force.
varbind instance_to_write(const std::vector<varbind> &instances) {
  return instances.back();
}

TEST_F(Mib, ASetOfTheValueReadIsTakenWhereTheFileSaysSoAndNotWritableElsewhere) {
  constexpr int kNotWritable = 17;
  snmp::client c(l, snmp::community("private"));
  for (const mib_file::object &o : mib_file::all()) {
    if (!o.readable) {
      continue;
    }
    const varbind v = instance_to_write(instances(o));
    EXPECT_EQ(snmp::set(c, {v}).status, o.writable ? 0 : kNotWritable) << o.name;
  }
}

TEST_F(Mib, ASetAcceptsBothEndsOfARangeAndNothingBeyondThem) {
  snmp::client c(l, snmp::community("private"));
  size_t count = 0;
  for (const mib_file::object &o : mib_file::all()) {
    // A VSAN that is not there is refused whatever its number.
    if (!o.writable || o.asn_type == 4 || o.ranges.empty() || o.name == "vsanIfVsan") {
      continue;
    }
    ++count;
    ASSERT_EQ(o.ranges.size(), 1u) << o.name;
    varbind v = instance_to_write(instances(o));
    const auto set = [&](long value) {
      v.integer = value;
      return snmp::set(c, {v}).status;
    };
    EXPECT_EQ(set(o.ranges[0].first), 0) << o.name;
    EXPECT_EQ(set(o.ranges[0].second), 0) << o.name;
    EXPECT_NE(set(o.ranges[0].second + 1), 0) << o.name;
    if (o.ranges[0].first > 0) {
      EXPECT_NE(set(o.ranges[0].first - 1), 0) << o.name;
    }
  }
  EXPECT_EQ(count, 9u);
}

TEST_F(Mib, ASetAcceptsEveryValueOfAnEnumerationAndNoOther) {
  // The compliance statement narrows these two.
  const std::map<std::string, std::vector<long>> narrowed = {{"vsanAdminState", {1, 2}}, {"vsanRowStatus", {1}}};
  snmp::client c(l, snmp::community("private"));
  size_t count = 0;
  for (const mib_file::object &o : mib_file::all()) {
    if (!o.writable || o.enumeration.empty() || o.is_bits) {
      continue;
    }
    ++count;
    const auto narrow = narrowed.find(o.name);
    const std::vector<long> &accepted = narrow == narrowed.end() ? o.enumeration : narrow->second;
    varbind v = instance_to_write(instances(o));
    for (long value = -1; value < 6; ++value) {  // 6 would delete the VSAN
      v.integer = value;
      const bool taken = snmp::set(c, {v}).status == 0;
      EXPECT_EQ(taken, std::ranges::find(accepted, value) != accepted.end()) << o.name << " " << value;
    }
  }
  EXPECT_EQ(count, 6u);
}

TEST_F(Mib, ANameOfTheLongestLengthIsTakenAndOneOctetMoreIsNot) {
  snmp::client c(l, snmp::community("private"));
  const auto name = mib_file::find("vsanName");
  ASSERT_TRUE(name);
  ASSERT_EQ(name->ranges.size(), 1u);
  const size_t longest = static_cast<size_t>(name->ranges[0].second);
  EXPECT_EQ(snmp::set(c, {octets(vsan_cell(2, 10), std::string(longest, 'x'))}).status, 0);
  EXPECT_NE(snmp::set(c, {octets(vsan_cell(2, 10), std::string(longest + 1, 'x'))}).status, 0);
}

TEST_F(Mib, TheBitsOfTheForceFlagForceTheTimersThatTheyAreNamedAfter) {
  snmp::client c(l, snmp::community("private"));
  const auto flag = mib_file::find("vsanFcTimerForceFlag");
  ASSERT_TRUE(flag);
  EXPECT_EQ(flag->enumeration, (std::vector<long>{0, 1, 2}));
  const std::vector<varbind> timers = {gauge(root({1, 4, 8, 1, 2, 10}), 8000), gauge(root({1, 4, 8, 1, 3, 10}), 3000),
                                       gauge(root({1, 4, 8, 1, 4, 10}), 6000)};
  for (long bit : flag->enumeration) {  // ratov, edtov, dstov: the order of the columns
    const std::string octet(1, static_cast<char>(0x80 >> bit));
    ASSERT_EQ(snmp::set(c, {octets(root({1, 4, 8, 1, 1, 10}), octet)}).status, 0);
    for (size_t t = 0; t < timers.size(); ++t) {
      EXPECT_EQ(snmp::set(c, {timers[t]}).status == 0, t == static_cast<size_t>(bit))
          << "bit " << bit << " timer " << t;
    }
  }
}

// The line of snmptrapd's log that has this trap, as numbers: "OID = TYPE: VALUE" apart by tabs.
std::vector<std::string> fields_of_trap(const lab::lab &l, const name_t &trap) {
  std::string log;
  const std::string marker = ".1.3.6.1.6.3.1.1.4.1.0 = OID: " + text(trap) + "\t";
  lab::wait_until([&] { return (log = lab::read_file(l.dir + "/traps.log")).find(marker) != std::string::npos; });
  const size_t at = log.find(marker);
  std::vector<std::string> out;
  if (at == std::string::npos) {
    return out;
  }
  const std::string line = log.substr(at + marker.size(), log.find('\n', at) - at - marker.size());
  for (size_t from = 0; from <= line.size();) {
    const size_t to = std::min(line.find('\t', from), line.size());
    out.push_back(line.substr(from, to - from));
    from = to + 1;
  }
  return out;
}

name_t parse_oid(const std::string &text) {
  name_t out;
  for (size_t at = 0; at < text.size() && text[at] == '.';) {
    size_t used = 0;
    out.push_back(std::stoul(text.substr(at + 1), &used));
    at += 1 + used;
  }
  return out;
}

TEST_F(Mib, EveryVarbindOfBothTrapsIsTheObjectThatTheFileListsThere) {
  ASSERT_EQ(lab::ctl(l, {"interface", "move", "fc1/1", "20"}).status, 0);
  const std::map<int, std::string> printed = {{2, "INTEGER: "}, {4, "Hex-STRING: "}};
  const std::map<std::string, name_t> index = {
      {"vsanNotifiedVsan", {0}}, {"vsanSwitchWwn", {0}}, {"ifIndex", {16777216}}};
  for (const char *name : {"vsanStatusChange", "vsanPortMembershipChange"}) {
    const auto trap = mib_file::find(name);
    ASSERT_TRUE(trap) << name;
    ASSERT_EQ(trap->varbinds.size(), 3u);
    const auto fields = fields_of_trap(l, trap->oid);
    ASSERT_EQ(fields.size(), 3u) << name << ": " << lab::read_file(l.dir + "/traps.log");
    for (size_t i = 0; i < 3; ++i) {
      const size_t equals = fields[i].find(" = ");
      const name_t oid = parse_oid(fields[i].substr(0, equals));
      const auto o = mib_file::find(oid);
      ASSERT_TRUE(o) << fields[i];
      EXPECT_EQ(o->name, trap->varbinds[i]) << fields[i];
      EXPECT_EQ(fields[i].substr(equals + 3).find(printed.at(o->asn_type)), 0u) << fields[i];
      const name_t rest(oid.begin() + static_cast<long>(o->oid.size()), oid.end());
      const auto fixed = index.find(o->name);
      EXPECT_EQ(rest, fixed != index.end() ? fixed->second : name_t{5}) << fields[i];
    }
  }
}

// What a person at a shell sees.
TEST_F(Mib, SnmptranslateGoesFromEveryOidToItsNameAndBack) {
  std::vector<std::string> command = {"env", "MIBDIRS=" + mib_file::directories(), "MIBS=VSAN-MIB", "snmptranslate",
                                      "-Os"};
  std::vector<std::string> back = {"env", "MIBDIRS=" + mib_file::directories(), "MIBS=VSAN-MIB", "snmptranslate",
                                   "-On"};
  std::string names, numbers;
  for (const varbind &v : walked) {
    const auto o = mib_file::find(v.name);
    ASSERT_TRUE(o);
    const name_t rest(v.name.begin() + static_cast<long>(o->oid.size()), v.name.end());
    command.push_back(text(v.name));
    back.push_back("VSAN-MIB::" + o->name + text(rest));
    names += o->name + text(rest) + "\n\n";
    numbers += text(v.name) + "\n\n";
  }
  EXPECT_EQ(lab::run(command).output + "\n", names);
  EXPECT_EQ(lab::run(back).output + "\n", numbers);
}

}  // namespace
