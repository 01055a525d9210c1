// Writes of the VSAN table through a real snmpd: what is created, changed and deleted, how many messages it takes,
// what a refused PDU leaves behind.
#include <nlohmann/json.hpp>

#include "set_lab.h"

namespace {

using namespace set_lab;

class Write : public SetTest {};

// Create.

TEST_F(Write, CreateAndGoAloneSendsOneRowWithTheDefaults) {
  const std::string before = lab::store_rows(l);
  EXPECT_DONE(set({row_status(30, kCreateAndGo)}));
  EXPECT_EQ(sent(), (rows{"SET 30 VSAN0030"}));
  EXPECT_EQ(vsan_line(l, 30), "vsan 30|VSAN0030|1|1|2112|2|100|2|2000");
  EXPECT_EQ(without_vsan(lab::store_rows(l), 30), before);
  EXPECT_EQ(get(vsan_number()), integer(vsan_number(), 6));
  EXPECT_EQ(get(vsan_cell(kRowStatus, 30)), integer(vsan_cell(kRowStatus, 30), kActive));
  EXPECT_EQ(get(vsan_cell(kName, 30)), octets(vsan_cell(kName, 30), "VSAN0030"));
}

TEST_F(Write, ANameBeforeCreateAndGoTravelsInTheOneRowThatIsSent) {
  EXPECT_DONE(set({name(30, "backup"), row_status(30, kCreateAndGo)}));
  EXPECT_EQ(sent(), (rows{"SET 30 backup"}));
  EXPECT_EQ(vsan_line(l, 30), "vsan 30|backup|1|1|2112|2|100|2|2000");
}

TEST_F(Write, ANameAfterCreateAndGoSendsTheSameRowTwice) {
  EXPECT_DONE(set({row_status(30, kCreateAndGo), name(30, "backup")}));
  EXPECT_EQ(sent(), (rows{"SET 30 backup", "SET 30 backup"}));
  EXPECT_EQ(vsan_line(l, 30), "vsan 30|backup|1|1|2112|2|100|2|2000");
}

TEST_F(Write, EveryColumnBeforeCreateAndGoTravelsInTheOneRow) {
  EXPECT_DONE(set({name(30, "all"), admin_state(30, 2), integer(vsan_cell(kLoadBalancing, 30), 1),
                   integer(vsan_cell(kInterop, 30), 4), integer(vsan_cell(kInorder, 30), 1),
                   gauge(vsan_cell(kDropLatency, 30), 60000), row_status(30, kCreateAndGo)}));
  EXPECT_EQ(sent(), (rows{"SET 30 all"}));
  EXPECT_EQ(vsan_line(l, 30), "vsan 30|all|1|2|2112|1|4|1|60000");
}

// The agent serves a PDU column by column, so that it is the first varbind of each column that counts.
TEST_F(Write, TwoNewVsansAreSentOnceEachWhenTheNamesColumnComesFirstAndTwiceWhenItComesLast) {
  EXPECT_DONE(set({name(30, "a"), row_status(30, kCreateAndGo), name(31, "b"), row_status(31, kCreateAndGo)}));
  EXPECT_EQ(sent(), (rows{"SET 30 a", "SET 31 b"}));
  EXPECT_DONE(set({row_status(32, kCreateAndGo), name(32, "c"), row_status(33, kCreateAndGo), name(33, "d")}));
  EXPECT_EQ(sent(), (rows{"SET 32 c", "SET 33 d", "SET 32 c", "SET 33 d"}));
}

TEST_F(Write, CreateAndGoOfAVsanThatIsThereIsInconsistentValueAndSendsNothing) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(10, "other"), row_status(10, kCreateAndGo)}), kInconsistentValue, 2);
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(Write, VsanNineIsSentByItsColumnAtOnceSoThatItIsCreatedWithItsColumnsAfterTheRowStatusOnly) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(9, "nine"), row_status(9, kCreateAndGo)}), kInconsistentName, 1);
  EXPECT_EQ(lab::settled_dump(l), before);
  sent();
  EXPECT_DONE(set({row_status(9, kCreateAndGo), name(9, "nine")}));
  EXPECT_EQ(sent(), (rows{"SET 9 nine", "SET 9 nine"}));
  EXPECT_DONE(set({name(9, "ninth"), admin_state(9, 2)}));
  EXPECT_EQ(sent(), (rows{"SET 9 ninth"}));
  EXPECT_EQ(vsan_line(l, 9), "vsan 9|ninth|1|2|2112|2|100|2|2000");
}

TEST_F(Write, RowStatusOfVsanZeroAnd4096IsWrongValueAnd4095ReachesTheManagerWhichReservesIt) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({row_status(0, kCreateAndGo)}), kWrongValue, 1);
  EXPECT_SET(set({row_status(4096, kCreateAndGo)}), kWrongValue, 1);
  EXPECT_SET(set({row_status(0, kCreateAndWait)}), kWrongValue, 1);
  EXPECT_EQ(sent(), rows{});
  EXPECT_SET(set({row_status(4095, kCreateAndGo)}), kGenErr, 1);
  EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("VSAN 4095 is reserved"), std::string::npos);
  EXPECT_EQ(lab::settled_dump(l), before);
}

// Change.

TEST_F(Write, TwoColumnsOfOneRowSendOneRowThatLeavesTheOtherColumnsAsTheyWere) {
  EXPECT_DONE(set({name(5, "cinq"), integer(vsan_cell(kLoadBalancing, 5), 2)}));
  EXPECT_EQ(sent(), (rows{"SET 5 cinq"}));
  EXPECT_EQ(vsan_line(l, 5), "vsan 5|cinq|1|1|2048|2|3|1|3000");
  EXPECT_NE(lab::ctl(l, {"history"}).output.find("No need to send the SET request again for vsanIndex = 5"),
            std::string::npos);
}

TEST_F(Write, SixColumnsOfThreeVsansSendThreeRows) {
  std::vector<varbind> pdu;
  for (unsigned long vsan : {5ul, 10ul, 20ul}) {
    pdu.push_back(name(vsan, "n" + std::to_string(vsan)));
    pdu.push_back(admin_state(vsan, 2));
    pdu.push_back(integer(vsan_cell(kLoadBalancing, vsan), 1));
    pdu.push_back(integer(vsan_cell(kInterop, vsan), 0));
    pdu.push_back(integer(vsan_cell(kInorder, vsan), 1));
    pdu.push_back(gauge(vsan_cell(kDropLatency, vsan), vsan));
  }
  const snmp::answer answer = set(pdu);
  EXPECT_EQ(answer.status, kNoError);
  EXPECT_EQ(answer.varbinds, pdu);
  EXPECT_EQ(sent(), (rows{"SET 5 n5", "SET 10 n10", "SET 20 n20"}));
  EXPECT_EQ(vsan_line(l, 5), "vsan 5|n5|1|2|2048|1|100|1|5");
  EXPECT_EQ(vsan_line(l, 10), "vsan 10|n10|1|2|2112|1|100|1|10");
  EXPECT_EQ(vsan_line(l, 20), "vsan 20|n20|1|2|2112|1|100|1|20");
  for (const varbind &v : pdu) {
    EXPECT_EQ(get(v.name), v);
  }
}

TEST_F(Write, TheSameColumnTwiceInOnePduTakesTheLastValueInOneRow) {
  EXPECT_DONE(set({name(10, "first"), name(10, "second")}));
  EXPECT_EQ(sent(), (rows{"SET 10 second"}));
  EXPECT_EQ(get(vsan_cell(kName, 10)).octets, "second");
}

TEST_F(Write, SuspendTakesAnOperationalVsanDownAndActivateBringsItUpAgain) {
  EXPECT_EQ(get(vsan_cell(kOperState, 10)).integer, 1);
  EXPECT_DONE(set({admin_state(10, 2)}));
  EXPECT_EQ(get(vsan_cell(kOperState, 10)).integer, 2);
  EXPECT_EQ(get(vsan_cell(kRowStatus, 10)).integer, kActive);
  EXPECT_DONE(set({admin_state(10, 1)}));
  EXPECT_EQ(get(vsan_cell(kOperState, 10)).integer, 1);
}

TEST_F(Write, ActiveOnAVsanThatIsThereSendsItsRowAndChangesNothing) {
  const std::string before = lab::settled_dump(l);
  EXPECT_DONE(set({row_status(5, kActive)}));
  EXPECT_EQ(sent(), (rows{"SET 5 five"}));
  EXPECT_EQ(lab::settled_dump(l), before);
}

// Delete.

TEST_F(Write, DestroySendsOneDeleteAndTheInterfacesGoHomeToVsanOne) {
  EXPECT_DONE(set({row_status(10, kDestroy)}));
  EXPECT_EQ(sent(), (rows{"DELETE 10 ten"}));
  EXPECT_EQ(vsan_line(l, 10), "");
  EXPECT_EQ(get(vsan_cell(kName, 10)).type, snmp::kNoSuchInstance);
  for (unsigned long interface : {16781312ul, 16785408ul}) {
    EXPECT_EQ(get(if_vsan(interface)).integer, 1);
  }
  EXPECT_EQ(get(vsan_cell(kOperState, 1)).integer, 1) << "VSAN 1 has active members now";
}

TEST_F(Write, DestroyOfAnAbsentVsanSucceedsAndSendsNothing) {
  const std::string before = lab::settled_dump(l);
  EXPECT_DONE(set({row_status(77, kDestroy)}));
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(Write, DestroyOfTheDefaultVsanIsInconsistentNameAndChangesNothing) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({row_status(1, kDestroy)}), kInconsistentName, 1);
  EXPECT_EQ(lab::settled_dump(l), before);
}

// The whole table of row status: each request, for a VSAN that is absent and one that is there.
struct row_status_case {
  long requested;
  bool present;
  int status;
  const char *sent = nullptr;   // null: nothing
  const char *after = nullptr;  // the VSAN's line in the store; null: absent
};

void PrintTo(const row_status_case &c, std::ostream *out) {
  *out << "row status " << c.requested << (c.present ? " of a VSAN that is there" : " of an absent VSAN");
}

class RowStatus : public SetTest, public ::testing::WithParamInterface<row_status_case> {};

constexpr const char *kTwenty = "vsan 20|twenty|1|1|2112|2|100|2|2000";

TEST_P(RowStatus, GivesTheTablesStatusMessagesAndRow) {
  const row_status_case &c = GetParam();
  const unsigned long vsan = c.present ? 20 : 30;
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({row_status(vsan, c.requested)}), c.status, c.status == kNoError ? 0 : 1);
  EXPECT_EQ(sent(), c.sent == nullptr ? rows{} : rows{c.sent});
  EXPECT_EQ(vsan_line(l, vsan), c.after == nullptr ? "" : c.after);
  const bool changes = c.present != (c.after != nullptr);
  if (!changes) {
    EXPECT_EQ(lab::settled_dump(l), before);
  }
  // Nothing stays listed: the next PDU starts afresh.
  EXPECT_DONE(set({name(5, "next")}));
  EXPECT_EQ(sent(), (rows{"SET 5 next"}));
}

INSTANTIATE_TEST_SUITE_P(
    RequestsByPresence, RowStatus,
    ::testing::Values(
        row_status_case{kActive, false, kInconsistentValue},
        row_status_case{kActive, true, kNoError, "SET 20 twenty", kTwenty},
        row_status_case{kNotInService, false, kWrongValue},
        row_status_case{kNotInService, true, kWrongValue, nullptr, kTwenty},
        row_status_case{kNotReady, false, kWrongValue}, row_status_case{kNotReady, true, kWrongValue, nullptr, kTwenty},
        row_status_case{kCreateAndGo, false, kNoError, "SET 30 VSAN0030", "vsan 30|VSAN0030|1|1|2112|2|100|2|2000"},
        row_status_case{kCreateAndGo, true, kInconsistentValue, nullptr, kTwenty},
        row_status_case{kCreateAndWait, false, kWrongValue},
        row_status_case{kCreateAndWait, true, kWrongValue, nullptr, kTwenty},
        row_status_case{kDestroy, false, kNoError}, row_status_case{kDestroy, true, kNoError, "DELETE 20 twenty"},
        row_status_case{0, false, kWrongValue}, row_status_case{0, true, kWrongValue, nullptr, kTwenty},
        row_status_case{7, false, kWrongValue}, row_status_case{7, true, kWrongValue, nullptr, kTwenty},
        row_status_case{-1, false, kWrongValue}, row_status_case{-1, true, kWrongValue, nullptr, kTwenty}));

// Messages as the manager counts them.

unsigned long requests_of_vsan_manager(const lab::lab &l) {
  const nlohmann::json status = nlohmann::json::parse(lab::ctl(l, {"--json", "show", "status"}).output);
  for (const nlohmann::json &service : status.at("services")) {
    if (service.at("service") == "vsan-manager") {
      return service.at("requests");
    }
  }
  return 0;
}

TEST_F(Write, APduCostsOneLookUpAVsanAndOneRowAVsan) {
  struct cost {
    const char *what;
    std::vector<varbind> pdu;
    unsigned long messages;
  };
  const cost costs[] = {
      {"one column", {name(10, "a")}, 2},
      {"three columns of one row", {name(10, "b"), admin_state(10, 2), integer(vsan_cell(kInterop, 10), 1)}, 2},
      {"two rows, each looked up anew once the other was", {name(5, "c"), name(10, "d")}, 6},
      {"an absent row is looked up for the check and again to create it", {row_status(30, kCreateAndGo)}, 3},
      {"the name of a new row is looked up too", {name(31, "e"), row_status(31, kCreateAndGo)}, 4},
      {"a row that is there is looked up once", {row_status(30, kDestroy)}, 2},
      {"nothing to delete", {row_status(77, kDestroy)}, 2},
      {"refused by its value, after the look-up", {admin_state(10, 3)}, 1},
  };
  // A fault that strikes nothing: while there is one, every read is a message.
  ASSERT_EQ(lab::ctl(l, {"fault", "delay", "0", "--opcode", "9999"}).status, 0);
  for (const cost &each : costs) {
    const unsigned long before = requests_of_vsan_manager(l);
    set(each.pdu);
    EXPECT_EQ(requests_of_vsan_manager(l) - before, each.messages) << each.what;
  }
}

// A PDU of which the last varbind fails.

TEST_F(Write, ALastVarbindThatFailsItsCheckSendsNothingAndLeavesTheStoreAsItWas) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(5, "x"), admin_state(10, 2), row_status(30, kCreateAndGo), admin_state(20, 3)}), kWrongValue, 4);
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
  EXPECT_DONE(set({name(5, "x"), admin_state(10, 2), row_status(30, kCreateAndGo), admin_state(20, 1)}));
  EXPECT_EQ(sent(), (rows{"SET 5 x", "SET 10 ten", "SET 20 twenty", "SET 30 VSAN0030"}));
}

TEST_F(Write, ALastVarbindOfAnAbsentVsanIsInconsistentNameSendsNothingAndLeavesTheStoreAsItWas) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(5, "x"), row_status(30, kCreateAndGo), admin_state(10, 2), admin_state(77, 2)}),
             kInconsistentName, 4);
  EXPECT_EQ(sent(), rows{});
  EXPECT_EQ(lab::settled_dump(l), before);
  EXPECT_DONE(set({name(5, "x"), admin_state(10, 2)}));
  EXPECT_EQ(sent(), (rows{"SET 5 x", "SET 10 ten"}));
}

// Columns are not rolled back: what was sent before the refusal stays.
TEST_F(Write, ALastVarbindThatTheManagerRefusesLeavesTheColumnsSentBeforeItInForce) {
  const std::string before = lab::store_rows(l);
  EXPECT_SET(set({admin_state(10, 2), name(5, "x"), name(20, "default")}), kInconsistentName, 3);
  EXPECT_EQ(sent(), (rows{"SET 10 ten", "SET 5 x", "SET 20 default"}));
  EXPECT_EQ(vsan_line(l, 10), "vsan 10|ten|1|2|2112|2|100|2|2000");
  EXPECT_EQ(vsan_line(l, 5), "vsan 5|x|1|1|2048|1|3|1|3000");
  EXPECT_EQ(vsan_line(l, 20), kTwenty);
  EXPECT_EQ(without_vsan(without_vsan(lab::store_rows(l), 10), 5), without_vsan(without_vsan(before, 10), 5));
  EXPECT_NE(lab::ctl(l, {"show", "errors"}).output.find("its name is in use"), std::string::npos);
}

TEST_F(Write, TheRestOfThePduIsStillSentAfterAVarbindThatTheManagerRefuses) {
  EXPECT_SET(set({name(20, "default"), name(5, "x"), admin_state(10, 2)}), kInconsistentName, 1);
  EXPECT_EQ(sent(), (rows{"SET 20 default", "SET 5 x", "SET 10 ten"}));
  EXPECT_EQ(vsan_line(l, 5), "vsan 5|x|1|1|2048|1|3|1|3000");
  EXPECT_EQ(vsan_line(l, 20), kTwenty);
}

// Row status takes its own work back.
TEST_F(Write, AVsanCreatedBeforeTheRefusalIsDeletedAgain) {
  const std::string before = lab::store_rows(l);
  EXPECT_SET(set({row_status(30, kCreateAndGo), name(20, "default")}), kInconsistentName, 2);
  EXPECT_EQ(sent(), (rows{"SET 30 VSAN0030", "SET 20 default", "DELETE 30 "}));
  EXPECT_EQ(lab::store_rows(l), before);
}

TEST_F(Write, AVsanDeletedBeforeTheRefusalComesBackWithItsOldRow) {
  const std::string before = lab::store_rows(l);
  EXPECT_SET(set({row_status(1, kActive), row_status(4093, kDestroy), name(20, "default")}), kInconsistentName, 3);
  EXPECT_EQ(sent(), (rows{"SET 1 default", "DELETE 4093 last", "SET 20 default", "SET 1 default", "SET 4093 last"}));
  EXPECT_EQ(vsan_line(l, 4093), "vsan 4093|last|1|2|2112|2|100|2|2000");
  EXPECT_EQ(get(if_vsan(16793600)).integer, 4093) << "its interface comes back with it";
  EXPECT_EQ(lab::store_rows(l), before);
}

TEST_F(Write, ANewVsanOfADuplicateNameIsNotCreated) {
  const std::string before = lab::settled_dump(l);
  EXPECT_SET(set({name(30, "ten"), row_status(30, kCreateAndGo)}), kInconsistentName, 2);
  EXPECT_EQ(sent(), (rows{"SET 30 ten", "DELETE 30 "}));
  EXPECT_EQ(lab::settled_dump(l), before);
}

TEST_F(Write, AcknowledgedWritesAreInTheStoreBeforeTheAnswerAndOutliveAKill) {
  EXPECT_DONE(set({name(5, "kept"), row_status(30, kCreateAndGo), row_status(20, kDestroy)}));
  lab::stop(l.switchd, SIGKILL);
  const std::string rows_after = lab::store_rows(l);
  EXPECT_NE(rows_after.find("vsan 5|kept|"), std::string::npos);
  EXPECT_NE(rows_after.find("vsan 30|VSAN0030|"), std::string::npos);
  EXPECT_EQ(rows_after.find("vsan 20|"), std::string::npos);
  lab::start_switchd(l);
  EXPECT_EQ(get(vsan_cell(kName, 5)).octets, "kept");
}

}  // namespace
