// Interfaces and active memberships.
#include "port_manager.h"

#include <algorithm>

#include "big_endian.h"
#include "notification_payloads.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"
#include "vsan_records.h"

namespace {

struct PortManager : switch_under_test {
  message_reply membership(int msg_type, uint32_t vsan, uint32_t interface) {
    return ask_of(port_manager_handle, kOpActiveMembership, msg_type, words({vsan, interface, 0}));
  }
  int admin(uint32_t index, uint32_t up) {
    bytes payload = words({index, up});
    payload.resize(sizeof(switch_interface));
    return ask_of(port_manager_handle, kOpInterface, kMsgSet, payload).status;
  }
  int make(uint32_t index, const std::string &name, uint32_t vsan, uint32_t up = 1) {
    interface_definition row = {index, vsan, up, {}};
    std::copy_n(name.begin(), std::min(name.size(), sizeof row.name), row.name);
    return ask_of(port_manager_handle, kOpInterfaceRow, kMsgSet, record_bytes(row)).status;
  }
  int remove(uint32_t index) {
    return ask_of(port_manager_handle, kOpInterfaceRow, kMsgDelete, record_bytes(interface_definition{index, 0, 0, {}}))
        .status;
  }
  int rename(uint32_t index, const std::string &name) {
    switch_interface wanted = {index, 9, {}};
    std::copy_n(name.begin(), std::min(name.size(), sizeof wanted.name), wanted.name);
    return ask_of(port_manager_handle, kOpInterfaceName, kMsgSet, record_bytes(wanted)).status;
  }
  std::vector<int> raised() {
    std::vector<int> ids;
    for (const notification_record &each : managers.state.notifications) {
      ids.push_back(each.id);
    }
    return ids;
  }
  std::vector<std::pair<uint32_t, uint32_t>> all_memberships() {
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    std::pair<uint32_t, uint32_t> at{0, 0};
    message_reply reply;
    while (pairs.size() < 100 && (reply = membership(kMsgGetNext, at.first, at.second)).status == 0) {
      at = {word_at(reply, 0), word_at(reply, 4)};
      pairs.push_back(at);
    }
    EXPECT_EQ(reply.status, kStatusEndOfMemberships);
    return pairs;
  }
};

using pair_list = std::vector<std::pair<uint32_t, uint32_t>>;

TEST_F(PortManager, ActiveMembershipsAreInterfacesThatAreUpInActiveVsans) {
  EXPECT_EQ(all_memberships(), (pair_list{{10, 101}, {10, 102}}));  // 104 is up in a suspended VSAN
}

TEST_F(PortManager, MembershipsAreOrderedByVsanThenInterface) {
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(104, 1)).status, 0);
  ASSERT_EQ(ask(kOpInterfaceVsan, kMsgSet, interface_payload(101, 30)).status, 0);
  EXPECT_EQ(all_memberships(), (pair_list{{1, 104}, {10, 102}, {30, 101}}));
}

TEST_F(PortManager, MembershipsFollowAdminStatesOfInterfacesAndVsans) {
  ASSERT_EQ(admin(101, 0), 0);
  EXPECT_EQ(all_memberships(), (pair_list{{10, 102}}));
  vsanEntry row = row_of(20);
  row.vsanAdminState = 1;
  ASSERT_EQ(set_row(row), 0);
  EXPECT_EQ(all_memberships(), (pair_list{{10, 102}, {20, 104}}));
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_EQ(all_memberships(), (pair_list{{1, 102}, {20, 104}}));
}

TEST_F(PortManager, GetAnswersThePairAndWhetherItIsStatic) {
  EXPECT_EQ(membership(kMsgGet, 10, 101).payload, (bytes{0, 0, 0, 10, 0, 0, 0, 101, 1, 0, 0, 0}));
  ASSERT_EQ(delete_row(10), 0);
  EXPECT_EQ(membership(kMsgGet, 1, 101).payload, (bytes{0, 0, 0, 1, 0, 0, 0, 101, 0, 0, 0, 0}));
}

TEST_F(PortManager, GetOfAPairThatIsNotActiveHasAStatusOfItsOwn) {
  EXPECT_EQ(membership(kMsgGet, 10, 103).status, kStatusNoMembership);  // down
  EXPECT_EQ(membership(kMsgGet, 20, 104).status, kStatusNoMembership);  // suspended
  EXPECT_EQ(membership(kMsgGet, 30, 101).status, kStatusNoMembership);  // another VSAN's
  EXPECT_EQ(membership(kMsgGet, 0, 0).status, kStatusNoMembership);
  EXPECT_EQ(membership(kMsgGetNext, UINT32_MAX, UINT32_MAX).status, kStatusEndOfMemberships);
}

TEST_F(PortManager, AnInterfaceTakenDownTakesItsVsanDown) {
  ASSERT_EQ(admin(101, 0), 0);
  EXPECT_EQ(row_of(10).vsanOperState, 1U);
  ASSERT_EQ(admin(102, 0), 0);
  EXPECT_EQ(row_of(10).vsanOperState, 2U);
  ASSERT_EQ(admin(103, 1), 0);
  EXPECT_EQ(row_of(10).vsanOperState, 1U);
}

TEST_F(PortManager, AnAbsentInterfaceOrABadStateIsRefused) {
  EXPECT_REFUSED(admin(999, 1), kStatusNoEntry);
  EXPECT_REFUSED(admin(101, 2), kStatusAdminStateRange);
  EXPECT_REFUSED(ask_of(port_manager_handle, kOpInterface, kMsgSet, words({101, 0})).status, kStatusWrongSize);
}

TEST_F(PortManager, InterfacesAreReadInOrderWithTheirNames) {
  bytes at(sizeof(switch_interface));
  std::vector<std::string> names;
  message_reply reply;
  while (names.size() < 10 && (reply = ask_of(port_manager_handle, kOpInterface, kMsgGetNext, at)).status == 0) {
    at = reply.payload;
    names.emplace_back(reinterpret_cast<const char *>(at.data()) + offsetof(switch_interface, name));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"fc1/1", "fc1/2", "fc1/3", "fc1/4", "fc1/5"}));
  EXPECT_EQ(reply.status, kStatusNoEntry);
}

TEST_F(PortManager, AnInterfaceIsMadeInItsVsanAndSurvivesARestart) {
  ASSERT_EQ(make(7, "fc2/1", 30), 0);
  EXPECT_EQ(all_memberships(), (pair_list{{10, 101}, {10, 102}, {30, 7}}));
  EXPECT_EQ(row_of(30).vsanOperState, 1U);
  EXPECT_EQ(raised(), (std::vector<int>{kNotifyVsanChange}));  // VSAN 30 came up
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(managers.state == before);
  EXPECT_EQ(managers.state.interfaces.at(7), (interface_record{7, "fc2/1", 30, true, true}));
}

TEST_F(PortManager, AnInterfaceThatGoesTakesItsMembershipAlong) {
  ASSERT_EQ(remove(101), 0);
  EXPECT_EQ(all_memberships(), (pair_list{{10, 102}}));
  EXPECT_TRUE(raised().empty());  // VSAN 10 is up through 102
  ASSERT_EQ(remove(102), 0);
  EXPECT_TRUE(all_memberships().empty());
  EXPECT_EQ(row_of(10).vsanOperState, 2U);
  EXPECT_EQ(raised(), (std::vector<int>{kNotifyVsanChange}));
  const switch_state before = managers.state;
  close();
  open();
  EXPECT_TRUE(managers.state == before);
  EXPECT_EQ(managers.state.interfaces.size(), 3U);
}

TEST_F(PortManager, AVsanThatComesBackDoesNotTakeAnotherInterfaceOfTheSameIndex) {
  const bytes read = ask(kOpVsanRow, kMsgGet, row_payload(10)).payload;
  ASSERT_EQ(delete_row(10), 0);
  ASSERT_EQ(remove(101), 0);
  ASSERT_EQ(make(101, "new", 1), 0);
  ASSERT_EQ(ask(kOpVsanRow, kMsgSet, read).status, 0);
  EXPECT_EQ(managers.state.interfaces.at(101).vsan, 1U);
  EXPECT_EQ(managers.state.interfaces.at(102).vsan, 10U);
}

TEST_F(PortManager, AnInterfaceIsRenamedAndNothingElse) {
  const interface_record before = managers.state.interfaces.at(101);
  ASSERT_EQ(rename(101, "uplink \xC3\xA9"), 0);
  interface_record expected = before;
  expected.name = "uplink \xC3\xA9";
  EXPECT_EQ(managers.state.interfaces.at(101), expected);
  EXPECT_EQ(rename(101, "uplink \xC3\xA9"), 0);  // as it is
  EXPECT_TRUE(raised().empty());
}

TEST_F(PortManager, AnInterfaceThatCannotBeIsRefused) {
  EXPECT_REFUSED(make(101, "fc9/1", 10), kStatusInterfaceExists);
  EXPECT_REFUSED(make(7, "fc1/1", 10), kStatusInterfaceExists);
  EXPECT_REFUSED(make(0, "fc9/1", 10), kStatusInterfaceIndex);
  EXPECT_REFUSED(make(UINT32_MAX, "fc9/1", 10), kStatusInterfaceIndex);
  EXPECT_REFUSED(make(7, "fc9/1", 11), kStatusNoVsan);
  EXPECT_REFUSED(make(7, "fc9/1", 10, 2), kStatusAdminStateRange);
  EXPECT_REFUSED(remove(7), kStatusNoEntry);
  EXPECT_REFUSED(rename(7, "fc9/1"), kStatusNoEntry);
  EXPECT_REFUSED(rename(101, "fc1/2"), kStatusInterfaceExists);
  for (const std::string &name : {std::string(), std::string(32, 'n'), std::string("fc\x1B"), std::string("fc\xFF")}) {
    EXPECT_REFUSED(make(7, name, 10), kStatusInterfaceName);
    EXPECT_REFUSED(rename(101, name), kStatusInterfaceName);
  }
  EXPECT_EQ(make(7, std::string(31, 'n'), 10), 0);
}

TEST_F(PortManager, ASwitchHasAsManyInterfacesAsItsLimitAllows) {
  switch_change change = change_begin(managers.state);
  for (uint32_t index = 1000; managers.state.interfaces.size() + change.interfaces.size() < kInterfacesMax; ++index) {
    change.interfaces.push_back({index, "p" + std::to_string(index), 1, false, true});
  }
  ASSERT_EQ(managers_commit(managers, change), 0);
  EXPECT_REFUSED(make(7, "fc9/1", 10), kStatusInterfacesFull);
  ASSERT_EQ(remove(105), 0);
  EXPECT_EQ(make(7, "fc9/1", 10), 0);
}

}  // namespace
