// Interfaces and active memberships.
#include "port_manager.h"

#include "port_records.h"
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

}  // namespace
