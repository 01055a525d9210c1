// Values at the edges of their types, objects that take none, users with few rights, and clients of other makes,
// through a real snmpd.
#include <arpa/inet.h>

#include <nlohmann/json.hpp>

#include "set_lab.h"

namespace {

using namespace set_lab;

constexpr int kInteger = 2, kOctetString = 4, kNull = 5, kObjectId = 6, kIpAddress = 0x40, kCounter = 0x41,
              kGauge = 0x42, kTimeTicks = 0x43;

// An object that can be written: its type and the values that it takes.
struct writable {
  const char *name;
  name_t oid;
  int type;
  unsigned long low;
  unsigned long high;
};

std::vector<writable> writable_numbers() {
  return {{"vsanAdminState", vsan_cell(kAdminState, 10), kInteger, 1, 2},
          {"vsanLoadBalancingType", vsan_cell(kLoadBalancing, 10), kInteger, 1, 2},
          {"vsanInterOperType", vsan_cell(kInterop, 10), kInteger, 0, 4},
          {"vsanInorderDelivery", vsan_cell(kInorder, 10), kInteger, 1, 2},
          {"vsanNetworkDropLatency", vsan_cell(kDropLatency, 10), kGauge, 1, 60000},
          {"vsanIfVsan", if_vsan(16781312), kInteger, 1, 4095},
          {"fcTimerRatov", switch_wide(kSwitchRatov), kGauge, 5000, 10000},
          {"fcTimerEdtov", switch_wide(kSwitchEdtov), kGauge, 1000, 4000},
          {"fcTimerDstov", switch_wide(kSwitchDstov), kGauge, 5000, 10000},
          {"fcNetworkLatency", switch_wide(kNetworkLatency), kGauge, 0, 60000},
          {"fcSwitchLatency", switch_wide(kSwitchLatency), kGauge, 0, 60000},
          {"fcInorderDelivery", switch_wide(kSwitchInorder), kInteger, 1, 2},
          {"vsanFcTimerRatov", timer_cell(kRatov, 4093), kGauge, 5000, 10000},
          {"vsanFcTimerEdtov", timer_cell(kEdtov, 4093), kGauge, 1000, 4000},
          {"vsanFcTimerDstov", timer_cell(kDstov, 4093), kGauge, 5000, 10000}};
}

varbind number(const writable &w, long value) {
  return {w.oid, w.type, value, {}};
}

class WriteValue : public SetTest {};

TEST_F(WriteValue, NumbersOutOfRangeAreWrongValueAndChangeNothing) {
  const std::string before = lab::settled_dump(l);
  for (const writable &w : writable_numbers()) {
    SCOPED_TRACE(w.name);
    std::vector<long> refused = {static_cast<long>(w.high) + 1, 0x7fffffff};
    if (w.low > 1) {
      refused.insert(refused.end(), {0, static_cast<long>(w.low) - 1});
    }
    if (w.low == 1 && w.type == kInteger) {
      refused.push_back(0);
    }
    // Numbers that would pass if only some of their octets were read.
    refused.push_back(static_cast<long>(w.high) + 0x10000);
    refused.push_back(static_cast<long>(w.high) + 0x1000000);
    if (w.type == kInteger) {
      refused.insert(refused.end(), {-1, -0x7fffffff - 1, -256});
    }
    if (w.type == kGauge) {
      refused.insert(refused.end(), {static_cast<long>(0x80000000UL), static_cast<long>(UINT32_MAX)});
    }
    for (const long value : refused) {
      EXPECT_SET(set({number(w, value)}), kWrongValue, 1) << value;
    }
  }
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(WriteValue, TheLowestAndHighestNumberAreTakenAndReadBack) {
  for (const writable &w : writable_numbers()) {
    SCOPED_TRACE(w.name);
    const bool is_interface = w.oid == if_vsan(16781312);
    for (const unsigned long value : {w.low, is_interface ? 4093 : w.high}) {
      EXPECT_DONE(set({number(w, static_cast<long>(value))}));
      EXPECT_EQ(get(w.oid), number(w, static_cast<long>(value)));
    }
  }
}

TEST_F(WriteValue, ADropLatencyOfZeroIsGenErrAndSaysWhy) {
  EXPECT_SET(set({gauge(vsan_cell(kDropLatency, 10), 0)}), kGenErr, 1);
  EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("a drop latency of 0 cannot be set"), std::string::npos);
}

TEST_F(WriteValue, AnInterfaceMayNameVsan4095WhichTheManagerDoesNotHave) {
  EXPECT_SET(set({integer(if_vsan(16781312), 4095)}), kInconsistentName, 1);
}

TEST_F(WriteValue, OctetStringsOfEveryLengthAreWrongTypeForANumber) {
  const std::string before = lab::settled_dump(l);
  for (const writable &w : writable_numbers()) {
    for (const size_t length : {0ul, 1ul, 3ul, 4ul, 5ul, 8ul, 9ul, 400ul}) {
      EXPECT_SET(set({octets(w.oid, std::string(length, '\1'))}), kWrongType, 1) << w.name << " " << length;
    }
  }
  for (const size_t length : {0ul, 4ul, 8ul}) {
    EXPECT_SET(set({octets(vsan_cell(kRowStatus, 30), std::string(length, '\4'))}), kWrongType, 1);
  }
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(WriteValue, EveryOtherTypeIsWrongType) {
  const std::string before = lab::settled_dump(l);
  std::vector<writable> objects = writable_numbers();
  objects.push_back({"vsanName", vsan_cell(kName, 10), kOctetString, 0, 0});
  objects.push_back({"vsanRowStatus", vsan_cell(kRowStatus, 30), kInteger, 0, 0});
  objects.push_back({"vsanFcTimerForceFlag", timer_cell(kForceFlag, 10), kOctetString, 0, 0});
  for (const writable &w : objects) {
    const varbind values[] = {{w.oid, kInteger, 2, {}},
                              {w.oid, kGauge, 5000, {}},
                              {w.oid, kTimeTicks, 5000, {}},
                              {w.oid, kCounter, 5000, {}},
                              {w.oid, kOctetString, 0, "abcd"},
                              {w.oid, kIpAddress, 0, std::string("\0\0\0\1", 4)},
                              {w.oid, kNull, 0, {}}};
    for (const varbind &v : values) {
      if (v.type == w.type) {
        continue;
      }
      EXPECT_SET(set({v}), kWrongType, 1) << w.name << " type " << v.type;
    }
    const unsigned long ids[] = {1, 3, 6};
    const std::string object_id(reinterpret_cast<const char *>(ids), sizeof ids);
    EXPECT_SET(set({{w.oid, kObjectId, 0, object_id}}), kWrongType, 1) << w.name;
  }
  EXPECT_EQ(lab::settled_dump(l), before);
}

// Names.

TEST_F(WriteValue, NamesOfUpTo32OctetsAreKeptOctetByOctetAcrossARestart) {
  const std::pair<unsigned long, std::string> names[] = {{1, ""},
                                                         {5, ""},
                                                         {10, std::string(32, 'n')},
                                                         {20, "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
                                                         {4093, "quote'\"`$;%|\\"}};
  for (const auto &[vsan, text] : names) {
    EXPECT_DONE(set({name(vsan, text)}));
  }
  for (const auto &[vsan, text] : names) {
    EXPECT_EQ(get(vsan_cell(kName, vsan)).octets, text);
  }
  lab::stop(l.switchd, SIGKILL);
  lab::start_switchd(l);
  for (const auto &[vsan, text] : names) {
    EXPECT_EQ(get(vsan_cell(kName, vsan)).octets, text);
  }
}

TEST_F(WriteValue, ANameOf33OctetsIsWrongLengthOneWithASpaceAnywhereIsWrongValue) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(10, std::string(33, 'n'))}), kWrongLength, 1);
  EXPECT_SET(set({name(10, std::string(1000, 'n'))}), kWrongLength, 1);
  for (const char *spaced : {" ", " a", "a ", "a b", "                                "}) {
    EXPECT_SET(set({name(10, spaced)}), kWrongValue, 1) << spaced;
  }
  EXPECT_SET(set({name(10, std::string("a\0b c", 5))}), kWrongValue, 1) << "a space behind a NUL counts too";
  EXPECT_EQ(lab::settled_dump(l), before);
}

// Access.

TEST_F(WriteValue, ReadOnlyColumnsAndTheOperationalStateAreNotWritable) {
  const std::string before = lab::settled_dump(l);
  const varbind refused[] = {
      integer(vsan_number(), 6),
      {last_change(), kTimeTicks, 1, {}},
      integer(vsan_cell(kMediaType, 10), 1),
      gauge(vsan_cell(kMtu, 10), 2112),
      integer(vsan_cell(kOperState, 10), 1),
      integer(if_number(), 5),
      integer(deny_list(16781312), 0),
      integer(summary(10, 16781312), 16781312),
      gauge(switch_wide(kSwitchFstov), 5000),
      gauge(timer_cell(kFstov, 4093), 5000),
  };
  for (const varbind &v : refused) {
    EXPECT_SET(set({v}), kNotWritable, 1) << text(v.name);
    EXPECT_SET(set({name(5, "x"), v}), kNotWritable, 2) << text(v.name);
  }
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(WriteValue, AReadOnlyCommunityWritesNothing) {
  const std::string before = lab::settled_dump(l);
  snmp::client reader(l, snmp::community("public"), 30);
  EXPECT_SET(snmp::set(reader, {name(10, "x")}), 6 /* noAccess */, 1);
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(WriteValue, VersionOneClientsGetTheErrorsOfTheirVersion) {
  snmp::client v1(l, snmp::community("private", 1), 30);
  EXPECT_SET(snmp::set(v1, {name(5, "x"), admin_state(10, 3)}), kBadValue, 2);
  EXPECT_SET(snmp::set(v1, {name(10, std::string(33, 'x'))}), kBadValue, 1);
  EXPECT_SET(snmp::set(v1, {integer(vsan_cell(kName, 10), 1)}), kBadValue, 1);
  EXPECT_SET(snmp::set(v1, {row_status(10, kCreateAndGo)}), kBadValue, 1);
  EXPECT_SET(snmp::set(v1, {name(20, "ten")}), kNoSuchName, 1);
  EXPECT_SET(snmp::set(v1, {admin_state(77, 1)}), kNoSuchName, 1);
  EXPECT_SET(snmp::set(v1, {integer(vsan_cell(kOperState, 10), 1)}), kNoSuchName, 1);
  EXPECT_SET(snmp::set(v1, {gauge(vsan_cell(kDropLatency, 10), 0)}), kGenErr, 1);
  EXPECT_DONE(snmp::set(v1, {name(10, "x")}));
}

// Users whose role holds VSANs 10 and 20.

TEST_F(WriteValue, ARestrictedUserIsRefusedEverySetterOutsideItsVsansAndErrorsSayWhy) {
  const std::string before = lab::settled_dump(l);
  for (const snmp::identity &who : {snmp::user("tenant"), snmp::community("limited")}) {
    snmp::client tenant(l, who, 30);
    const varbind columns[] = {name(5, "x"),
                               admin_state(5, 1),
                               integer(vsan_cell(kLoadBalancing, 5), 1),
                               integer(vsan_cell(kInterop, 5), 1),
                               integer(vsan_cell(kInorder, 5), 1),
                               gauge(vsan_cell(kDropLatency, 5), 1)};
    for (const varbind &v : columns) {
      EXPECT_SET(snmp::set(tenant, {v}), kGenErr, 1) << text(v.name);
      EXPECT_SET(snmp::set(tenant, {name(10, "mine"), v}), kGenErr, 2) << text(v.name);
      const std::string errors = lab::ctl(l, {"show", "errors"}).output;
      EXPECT_NE(errors.find("the user may not touch this VSAN"), std::string::npos) << errors;
      EXPECT_NE(errors.find("0x4049002C"), std::string::npos) << errors;
    }
    for (const unsigned long vsan : {5ul, 30ul}) {
      for (const long requested : {kActive, kCreateAndGo, kDestroy}) {
        EXPECT_SET(snmp::set(tenant, {row_status(vsan, requested)}), kGenErr, 1) << vsan << " " << requested;
      }
    }
    EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("a restricted user may not create or delete this VSAN"),
              std::string::npos);
  }
  EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("tenant"), std::string::npos);
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(WriteValue, ARestrictedUserMayUseEverySetterInsideItsVsans) {
  snmp::client tenant(l, snmp::user("tenant"), 30);
  EXPECT_DONE(snmp::set(tenant, {name(10, "mine"), admin_state(10, 2), integer(vsan_cell(kLoadBalancing, 10), 1),
                                 integer(vsan_cell(kInterop, 10), 1), integer(vsan_cell(kInorder, 10), 1),
                                 gauge(vsan_cell(kDropLatency, 10), 1)}));
  EXPECT_EQ(vsan_line(l, 10), "vsan 10|mine|1|2|2112|1|1|1|1");
  EXPECT_DONE(snmp::set(tenant, {row_status(10, kActive)}));
  EXPECT_DONE(snmp::set(tenant, {row_status(10, kDestroy)}));
  EXPECT_EQ(vsan_line(l, 10), "");
  EXPECT_DONE(snmp::set(tenant, {name(10, "again"), row_status(10, kCreateAndGo)}));
  EXPECT_EQ(vsan_line(l, 10), "vsan 10|again|1|1|2112|2|100|2|2000");
}

TEST_F(WriteValue, AUserWithAnEmptySetIsRefusedEverything) {
  lab::lab closed;
  lab::start(closed, {.agent_lines = "vsanRole closeds 10,2x\n"});
  const std::string before = lab::settled_dump(closed);
  snmp::client c(closed, snmp::user("closed"), 30);
  for (const unsigned long vsan : {1ul, 5ul, 10ul, 20ul, 30ul, 4093ul}) {
    EXPECT_SET(snmp::set(c, {name(vsan, "x")}), kGenErr, 1) << vsan;
    EXPECT_SET(snmp::set(c, {row_status(vsan, kCreateAndGo)}), kGenErr, 1) << vsan;
    EXPECT_SET(snmp::set(c, {row_status(vsan, kDestroy)}), kGenErr, 1) << vsan;
  }
  EXPECT_EQ(lab::settled_dump(closed), before);
}

// Other clients.

TEST_F(WriteValue, TheSnmpsetToolCreatesRenamesSuspendsAndDeletes) {
  const std::string cell = "1.3.6.1.4.1.32473.9.282.1.1.3.1.";
  const auto tool = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"snmpset", "-v2c", "-c", "private", "-On", "-t", "10", "-r", "0", lab::agent_address(l)});
    return lab::run(arguments);
  };
  const lab::result created = tool({cell + "2.30", "s", "tool", cell + "9.30", "i", "4"});
  EXPECT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(created.output, "." + cell + "2.30 = STRING: \"tool\"\n." + cell + "9.30 = INTEGER: 4\n");
  EXPECT_EQ(tool({cell + "2.30", "s", "renamed"}).status, 0);
  EXPECT_EQ(tool({cell + "4.30", "i", "2", cell + "12.30", "u", "777"}).status, 0);
  EXPECT_EQ(vsan_line(l, 30), "vsan 30|renamed|1|2|2112|2|100|2|777");
  const lab::result refused = tool({cell + "2.30", "s", "ten"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.output.find("inconsistentName"), std::string::npos) << refused.output;
  EXPECT_EQ(tool({cell + "9.30", "i", "6"}).status, 0);
  EXPECT_EQ(vsan_line(l, 30), "");
}

// One SET by pysnmp: {"error", "index", "values"}.
nlohmann::json python_set(const lab::lab &l, const std::vector<std::string> &who,
                          const std::vector<std::string> &varbinds) {
  std::vector<std::string> command = {"/usr/bin/python3", LAB_SOURCE_DIR "/tests/agent/python/set_client.py",
                                      std::to_string(l.snmp_port)};
  command.insert(command.end(), who.begin(), who.end());
  command.insert(command.end(), varbinds.begin(), varbinds.end());
  const lab::result r = lab::run(command);
  const nlohmann::json answer = nlohmann::json::parse(r.output, nullptr, false);
  EXPECT_FALSE(answer.is_discarded()) << r.output;
  return answer.is_discarded() ? nlohmann::json::object() : answer;
}

TEST_F(WriteValue, AClientInPythonCreatesRenamesSuspendsAndDeletes) {
  const std::string cell = "1.3.6.1.4.1.32473.9.282.1.1.3.1.";
  for (const std::vector<std::string> &who :
       {std::vector<std::string>{"--community", "private"}, std::vector<std::string>{"--user", "operator"}}) {
    nlohmann::json answer = python_set(l, who, {cell + "2.30=s:snake", cell + "9.30=i:4"});
    EXPECT_EQ(answer["error"], "noError") << answer;
    EXPECT_EQ(answer["values"], (nlohmann::json{"snake", "4"}));
    EXPECT_EQ(vsan_line(l, 30), "vsan 30|snake|1|1|2112|2|100|2|2000");
    answer = python_set(l, who, {cell + "2.30=s:adder", cell + "4.30=i:2", cell + "12.30=u:4321"});
    EXPECT_EQ(answer["error"], "noError") << answer;
    EXPECT_EQ(vsan_line(l, 30), "vsan 30|adder|1|2|2112|2|100|2|4321");
    answer = python_set(l, who, {cell + "4.30=i:1", cell + "2.30=s:ten"});
    EXPECT_EQ(answer["error"], "inconsistentName") << answer;
    EXPECT_EQ(answer["index"], 1) << "the first column of the row sends it, the name with it";
    answer = python_set(l, who, {cell + "8.30=i:1"});
    EXPECT_EQ(answer["error"], "notWritable") << answer;
    answer = python_set(l, who, {cell + "9.30=i:6"});
    EXPECT_EQ(answer["error"], "noError") << answer;
    EXPECT_EQ(vsan_line(l, 30), "");
  }
}

}  // namespace
