// A store without some of its settings is loaded: switchd serves with a world wide name of 0 and a store number that
// no agent takes for a store's.
#include "distribution_records.h"
#include "distribution_service.h"
#include "requests.h"
#include "switch_under_test.h"

namespace {

struct MissingSettings : switch_under_test {
  void SetUp() override {
    switch_under_test::SetUp();
    close();
  }
  // The text of the refusal; empty when the store is loaded.
  std::string refusal() const {
    std::string error;
    switch_state state;
    store *opened = store_open(store_path(), error);
    const bool loaded = opened != nullptr && store_load(opened, state, error) == 0;
    store_close(opened);
    EXPECT_EQ(loaded, error.empty()) << error;
    return error;
  }
};

TEST_F(MissingSettings, EachOfThemIsNamed) {
  edit_store("CREATE TABLE kept AS SELECT * FROM setting");
  for (const char *name : {"wwn", "changed_seconds", "changed_microseconds", "inorder", "switch_latency",
                           "network_latency", "notifications", "store_id", "last_notification", "dropped_notifications",
                           "kdx_enabled", "kdx_show_running", "kdx_session_open", "switch_name", "kdx_session_owner"}) {
    edit_store(std::string("DELETE FROM setting WHERE name = '") + name + "'");
    EXPECT_EQ(refusal(), store_path() + ": the setting " + name + " is missing");
    edit_store("INSERT OR REPLACE INTO setting SELECT * FROM kept");
  }
  EXPECT_EQ(refusal(), "");
}

TEST_F(MissingSettings, AStoreWithoutVsansThatHasASettingIsNotANewOne) {
  for (const char *table : {"vsan", "interface", "timer", "notification", "setting"}) {
    edit_store(std::string("DELETE FROM ") + table +
               (std::string(table) == "setting" ? " WHERE name <> 'digest'" : ""));
  }
  EXPECT_EQ(refusal(), "");
  edit_store("INSERT INTO setting VALUES ('inorder', 2)");
  EXPECT_NE(refusal(), "");
}

TEST_F(MissingSettings, TextsAreBoundedAndPrintable) {
  edit_store("UPDATE setting SET value = printf('%.255c', 'n') WHERE name = 'switch_name'");
  edit_store("UPDATE setting SET value = printf('%.63c', 'o') WHERE name = 'kdx_session_owner'");
  EXPECT_EQ(refusal(), "");
  for (const auto &[value, name, named] :
       {std::tuple{"printf('%.256c', 'n')", "switch_name", "setting switch_name: 256 octets; at most 255"},
        std::tuple{"printf('%.64c', 'o')", "kdx_session_owner", "setting kdx_session_owner: 64 octets; at most 63"},
        std::tuple{"'a' || char(10) || 'b'", "switch_name", "setting switch_name: it has a control character"},
        std::tuple{"'a' || char(127)", "kdx_session_owner", "setting kdx_session_owner: it has a control character"}}) {
    edit_store(std::string("UPDATE setting SET value = ") + value + " WHERE name = '" + name + "'");
    EXPECT_EQ(refusal().find(store_path() + ": " + named), 0U) << refusal();
    edit_store(std::string("UPDATE setting SET value = 'sound' WHERE name = '") + name + "'");
  }
}

TEST_F(MissingSettings, NoUserMakesASessionWhoseOwnerIsNotLoadedAgain) {
  open();
  ASSERT_EQ(ask_of(distribution_handle, kOpDistribution, kMsgSet, words({kDistributionEnable, 1})).status, 0);
  const std::string user = "a\nb" + std::string(200, 'c');
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(8, 7000, 0, 0, 0), user).status, 0);
  ASSERT_EQ(ask(kOpFcTimer, kMsgSet, timer_payload(8, 8000, 0, 0, 0), user).status, 0);
  EXPECT_EQ(managers.state.settings.distribution.owner, "a?b" + std::string(60, 'c'));
  close();
  EXPECT_EQ(refusal(), "");
}

}  // namespace
