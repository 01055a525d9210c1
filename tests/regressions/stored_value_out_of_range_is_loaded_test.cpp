// A value that no switch can have is loaded from the store: one payload too large stops all notifications for good.
#include "switch_under_test.h"

namespace {

struct bad_row {
  const char *sql;
  const char *named;
};

class StoredValues : public switch_under_test, public testing::WithParamInterface<bad_row> {};

TEST_P(StoredValues, OutOfRangeAreRefusedNamingTheRow) {
  ASSERT_EQ(set_row(new_row(50, "raises-one")), 0);
  close();
  edit_store(GetParam().sql);
  std::string error;
  switch_state state;
  store *opened = store_open(store_path(), error);
  ASSERT_NE(opened, nullptr) << error;
  EXPECT_EQ(store_load(opened, state, error), -1);
  store_close(opened);
  EXPECT_EQ(error.find(store_path() + ": "), 0U) << error;
  EXPECT_NE(error.find(GetParam().named), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StoredValues,
    testing::Values(
        bad_row{"UPDATE notification SET payload = zeroblob(10240)", "notification 1: a payload of 10240 bytes"},
        bad_row{"UPDATE notification SET payload = x''", "notification 1: a payload of 0 bytes"},
        bad_row{"UPDATE notification SET id = 144", "notification 1: there is no kind 144"},
        bad_row{"UPDATE notification SET number = 2", "notification 2: numbers go from 1"},
        bad_row{"UPDATE notification SET number = 0", "notification 0: numbers go from 1"},
        bad_row{"UPDATE notification SET number = -5", "notification -5: numbers go from 1"},
        bad_row{"UPDATE setting SET value = 3 WHERE name = 'inorder'", "setting inorder: '3'"},
        bad_row{"UPDATE setting SET value = 0 WHERE name = 'inorder'", "setting inorder: '0'"},
        bad_row{"UPDATE setting SET value = 60001 WHERE name = 'switch_latency'", "setting switch_latency: '60001'"},
        bad_row{"UPDATE setting SET value = -1 WHERE name = 'network_latency'", "setting network_latency: '-1'"},
        bad_row{"UPDATE setting SET value = 7 WHERE name = 'notifications'", "setting notifications: '7'"},
        bad_row{"UPDATE setting SET value = 0 WHERE name = 'store_id'", "setting store_id: '0'"},
        bad_row{"UPDATE setting SET value = 1000000 WHERE name = 'changed_microseconds'", "setting changed_micro"},
        bad_row{"UPDATE setting SET value = 2 WHERE name = 'kdx_session_open'", "setting kdx_session_open: '2'"},
        bad_row{"UPDATE setting SET value = 'many' WHERE name = 'dropped_notifications'", "setting dropped_notif"},
        bad_row{"WITH RECURSIVE n(i) AS (SELECT 1000 UNION ALL SELECT i + 1 FROM n WHERE i < 5095) "
                "INSERT INTO interface SELECT i, 'fc' || i, 1, 0, 0 FROM n",
                "4101 interfaces; a switch has 4096 at most"},
        bad_row{"INSERT INTO kept_out VALUES (77)", "kept out of distribution is VSAN 77"},
        bad_row{"INSERT INTO timer VALUES (77, 8, 9000)", "timer 8 is of VSAN 77"},
        bad_row{"INSERT INTO pending_timer VALUES (77, 8, 9000)", "pending timer 8 is of VSAN 77"},
        bad_row{"UPDATE vsan SET name = 'alpha' WHERE id = 20", "\"alpha\" is that of VSAN"},
        bad_row{"UPDATE interface SET up = 2 WHERE ifindex = 104", "interface 104: up and is_static"},
        bad_row{"DELETE FROM vsan", "the default VSAN is missing"}));

}  // namespace
