// What an operator is told of a manager station's requests: why a SET failed, whose requests the history has.
#include <nlohmann/json.hpp>

#include "mib_file.h"
#include "mib_names.h"
#include "set_lab.h"

namespace {

using namespace set_lab;
using nlohmann::json;

class Why : public SetTest {
 protected:
  json errors() { return json::parse(lab::ctl(l, {"show", "errors", "--json"}).output, nullptr, false)["errors"]; }
  // The newest error, without what differs from run to run.
  json newest() {
    json all = errors();
    EXPECT_FALSE(all.empty());
    json error = all.empty() ? json::object() : all[0];
    error.erase("time");
    error.erase("pdu");
    error.erase("user");
    return error;
  }
  std::string history(std::vector<std::string> options) {
    options.insert(options.begin(), "history");
    return lab::ctl(l, options).output;
  }
};

json why(const char *object, const char *instance, const char *value, const char *phase, const char *error,
         const char *status, const char *text) {
  return {{"object", object}, {"instance", instance}, {"value", value}, {"phase", phase},
          {"error", error},   {"status", status},     {"text", text}};
}

TEST_F(Why, AManagersRefusalIsToldWithObjectValuePhaseAndStatus) {
  EXPECT_SET(set({integer(if_vsan(16777216), 77)}), kInconsistentName, 1);
  EXPECT_EQ(newest(), why("vsanIfVsan", "16777216", "77", "ACTION", "inconsistentName", "0x40190001", "no such VSAN"));
}

TEST_F(Why, AValueThatTheModuleRefusesAtOnceIsToldToo) {
  EXPECT_SET(set({admin_state(20, 7)}), kWrongValue, 1);
  EXPECT_EQ(newest(), why("vsanAdminState", "20", "7", "RESERVE1", "wrongValue", "",
                          "the value is none that the MIB allows; the manager was not asked"));
  EXPECT_SET(set({name(20, "two words")}), kWrongValue, 1);
  const json error = newest();
  EXPECT_EQ(error["value"], "\"two words\"");
  EXPECT_EQ(error["text"], "a name may have no blank; the manager was not asked");
}

TEST_F(Why, ARowThatIsNotThereIsTold) {
  EXPECT_SET(set({admin_state(777, 1)}), kInconsistentName, 1);
  EXPECT_EQ(newest(), why("vsanAdminState", "777", "1", "RESERVE2", "inconsistentName", "",
                          "there is no such row, and this SET does not create it"));
}

TEST_F(Why, AZeroThatMeansNotWrittenIsToldByItsStatus) {
  EXPECT_SET(set({gauge(vsan_cell(kDropLatency, 20), 0)}), kGenErr, 1);
  EXPECT_EQ(newest(), why("vsanNetworkDropLatency", "20", "0", "RESERVE1", "genErr", "0x40190014",
                          "a drop latency of 0 cannot be set"));
}

TEST_F(Why, AnExchangeThatCameToNothingIsToldWithItsCause) {
  ASSERT_EQ(lab::ctl(l, {"fault", "drop", "--object", "vsanIfVsan", "--side", "writes"}).status, 0);
  set({integer(if_vsan(16777216), 20)});
  const json error = newest();
  EXPECT_EQ(error["object"], "vsanIfVsan");
  EXPECT_EQ(error["phase"], "ACTION");
  EXPECT_EQ(error["status"], "");
  EXPECT_NE(error["text"].get<std::string>().find("no answer from the manager"), std::string::npos) << error;
}

TEST_F(Why, AReadThatTheManagerDoesNotAnswerIsToldOnceAPdu) {
  ASSERT_EQ(lab::ctl(l, {"fault", "drop", "--object", "vsanName", "--spare-vsanctl"}).status, 0);
  get(vsan_cell(kName, 20));
  const json error = newest();
  EXPECT_EQ(error["object"], "vsanName");
  EXPECT_EQ(error["phase"], "read");
  EXPECT_EQ(errors().size(), 1U);
}

TEST_F(Why, EachObjectOfAPduThatFailsIsTold) {
  set({admin_state(20, 7), integer(vsan_cell(kInterop, 20), 99)});
  const json all = errors();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_NE(all[0]["object"], all[1]["object"]);
  EXPECT_EQ(all[0]["pdu"], all[1]["pdu"]);
}

TEST_F(Why, AValueThatHasControlCharactersIsShownEscaped) {
  set({name(20, "a\x1b[31m b")});
  EXPECT_EQ(newest()["value"], "\"a\\x1b[31m b\"");
}

TEST_F(Why, TheHistoryIsFilteredByUserVsanObjectTextAndLevel) {
  EXPECT_DONE(set({name(20, "renamed")}));
  get(vsan_cell(kMtu, 10));
  const std::string marks = history({"--json", "--text", "requests of user"});
  const size_t start = marks.rfind('\n', marks.rfind("writer")) + 1;
  const std::string user = json::parse(marks.substr(start, marks.find('\n', start) - start))["user"];
  EXPECT_NE(history({"--user", user}).find("renamed"), std::string::npos);
  EXPECT_EQ(history({"--user", "somebody"}), "");
  EXPECT_EQ(history({"--vsan", "10"}).find("renamed"), std::string::npos);
  EXPECT_NE(history({"--vsan", "20"}).find("renamed"), std::string::npos);
  EXPECT_EQ(history({"--vsan", "2"}), "");
  EXPECT_NE(history({"--object", "vsanName"}).find("set_vsanName"), std::string::npos);
  EXPECT_EQ(history({"--object", "vsanIfVsan"}), "");
  EXPECT_NE(history({"--level", "102"}).find("requests of user"), std::string::npos);
  EXPECT_EQ(history({"--level", "103"}), "");
}

TEST_F(Why, TheHistoryInWordsTellsWhatHappened) {
  EXPECT_DONE(set({name(20, "renamed")}));
  const std::string told = history({"--explain"});
  for (const char *words : {"reads VSAN 20 from the VSAN manager", "checks the value that is to be set to vsanName",
                            "sends VSAN 20 to the VSAN manager: name renamed", "VSAN 20 is set"}) {
    EXPECT_NE(told.find(words), std::string::npos) << words << " in " << told;
  }
  EXPECT_EQ(told.find("get_vsanEntry"), std::string::npos);
}

TEST_F(Why, ErrorsAndHistoryAreAsTheSchemaSays) {
  EXPECT_SET(set({integer(if_vsan(16777216), 77)}), kInconsistentName, 1);
  EXPECT_SET(set({admin_state(20, 7)}), kWrongValue, 1);
  ASSERT_EQ(errors().size(), 2U);
  const std::pair<const char *, std::vector<std::string>> commands[] = {
      {"show errors", {"--json", "show", "errors"}},
      {"history", {"--json", "history"}},
  };
  for (const auto &[shown, words] : commands) {
    const std::string file = l.dir + "/document.json";
    lab::write_file(file, lab::ctl(l, words).output);
    const lab::result matched = lab::run({"/usr/bin/python3", LAB_SOURCE_DIR "/tests/programs/matches_schema.py",
                                          LAB_SOURCE_DIR "/docs/vsanctl.schema.json", shown, file});
    EXPECT_EQ(matched.status, 0) << matched.output;
  }
}

// The names that vsanctl takes and shows are those of the MIB file.
TEST_F(Why, TheNamesThatAreShownAreThoseOfTheMibFile) {
  mib_file::load();
  for (const mib_name &each : kMibNames) {
    name_t below(each.numbers, each.numbers + each.length);
    const auto found = mib_file::find(std::string(each.name));
    ASSERT_TRUE(found.has_value()) << each.name;
    const name_t tail(found->oid.end() - static_cast<ptrdiff_t>(each.length), found->oid.end());
    EXPECT_EQ(tail, below) << each.name;
  }
  EXPECT_EQ(std::size(kMibNames), 29U);  // the 28 objects, and the one of traps
}

}  // namespace
