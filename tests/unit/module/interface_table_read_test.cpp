// Interface membership: what is asked, answered and shown to whom.
#include <arpa/inet.h>
#include <errno.h>
#include <string.h>

#include "table_reads.h"

namespace {

using namespace mib;
using namespace table_reads;

class InterfaceTableRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::add_interface(100, 5);
    fake::add_interface(200, 7);
    fake::add_interface(300, 5);
  }
  static uint32_t asked(size_t i) {
    return fake::the().sent(124)[i].request[3] + 256u * fake::the().sent(124)[i].request[2];
  }
};

TEST_F(InterfaceTableRead, RequestIsTheBareRecordAndItsAnswerTheRow) {
  EXPECT_EQ(mini::get(if_vsan(200)), integer(if_vsan(200), 7));
  ASSERT_EQ(fake::the().exchanges.size(), 1u);
  const fake::exchange &e = fake::the().exchanges[0];
  EXPECT_EQ(e.opcode, 124);
  EXPECT_EQ(e.msg_type, 1);
  EXPECT_EQ(e.size, 16u);
  EXPECT_EQ(fake::hex(e.request).substr(0, 8), "000000c8");
  EXPECT_FALSE(e.user.has_value());
  EXPECT_EQ(e.timeout, 4);
  EXPECT_TRUE(fake::the().traced(
      "header_vsanIfEntry : Sending  GET request to VSAN mgr with payload (size = 16) ifIndex = 200\n"));
  EXPECT_TRUE(
      fake::the().traced("header_vsanIfEntry(#) : Received  GET response from VSAN mgr with payload (size = "
                         "16) ifIndex = 200 vsanIfVsan = 7, vsanIfDenyList=1992, vsanIfRowStatus=2504\n"));
}

TEST_F(InterfaceTableRead, ThePreviousAnswersOtherWordsTravelInTheNextRequest) {
  mini::get(if_vsan(200));
  mini::get(if_vsan(100));
  EXPECT_EQ(fake::hex(fake::the().sent(124)[1].request), "0000006400000007000007c8000009c8");
}

TEST_F(InterfaceTableRead, GetNextOnTheBareColumnSendsIndex0) {
  EXPECT_EQ(mini::getnext(if_column(kIfVsan))->name, if_vsan(100));
  EXPECT_EQ(asked(0), 0u);
  EXPECT_EQ(fake::the().sent(124)[0].msg_type, 2);
}

TEST_F(InterfaceTableRead, GetWithAMissingOrExtraIndexSendsIndex0) {
  EXPECT_FALSE(mini::get(if_column(kIfVsan)).has_value());
  EXPECT_FALSE(mini::get(root({1, 2, 5, 1, 1, 100, 1})).has_value());
  EXPECT_EQ(asked(0), 0u);
  EXPECT_EQ(asked(1), 0u);
}

TEST_F(InterfaceTableRead, GetNextFromTheLastPossibleInterfaceSendsNothing) {
  vsanIfEntry row = {};
  name_t name = if_vsan(4294967295), column = if_column(kIfVsan);
  size_t length = name.size();
  EXPECT_EQ(header_vsanIfEntry(column.data(), 14, name.data(), &length, 0, &row), 0x40490002);
  EXPECT_TRUE(fake::the().exchanges.empty());
}

TEST_F(InterfaceTableRead, NothingIsCached) {
  mini::getnext_pdu({if_vsan(100), deny_list(100)});
  EXPECT_EQ(fake::the().sent(124).size(), 2u);
}

TEST_F(InterfaceTableRead, FailuresAnswerNothingAndTraceTheReason) {
  const std::pair<fake::reply, std::string> failures[] = {
      {{0x40490002, 0, {}, {}}, "fmt-40490002"},
      {{-1, ETIMEDOUT, {}, {}}, strerror(ETIMEDOUT)},
      {{0, 0, fake::bytes(15, 0), {}}, strerror(EPROTO)},
  };
  for (const auto &failure : failures) {
    const fake::reply &reply = failure.first;
    const std::string &reason = failure.second;
    fake::the().history.clear();
    fake::the().overrule = [&](const fake::exchange &) { return reply; };
    EXPECT_FALSE(mini::get(if_vsan(100)).has_value()) << reason;
    EXPECT_TRUE(fake::the().traced(
        "header_vsanIfEntry(#) : GET request failedfor ifIndex = 100 with error : " + reason + "\n"));
  }
}

TEST_F(InterfaceTableRead, SuccessWithoutAResponseLeavesTheOidAndTheRequest) {
  fake::the().overrule = [](const fake::exchange &) { return fake::reply{}; };
  vsanIfEntry row = {0, 11, 12, 13};
  name_t name = if_vsan(100), column = if_column(kIfVsan);
  const name_t before = name;
  size_t length = name.size();
  EXPECT_EQ(header_vsanIfEntry(column.data(), 14, name.data(), &length, 0, &row), 0);
  EXPECT_EQ(name, before);
  EXPECT_EQ(row.ifIndex, 100u);
  EXPECT_EQ(row.vsanIfVsan, 11u);
}

TEST_F(InterfaceTableRead, ARestrictedUserReadsAMembershipWhenTheRoleAllowsTheInterfaceWhateverTheVsan) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_TRUE(mini::get(if_vsan(200)).has_value());
  EXPECT_EQ(fake::the().calls[1], "snmp_get_allowed_vsans_subtree 160");
  EXPECT_EQ(fake::the().calls[2], "intf_chk_vsan_role_allowed 200 3");
}

TEST_F(InterfaceTableRead, AHiddenInterfaceAnswersNothingOnGetAndOnGetNextWithoutARetry) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 0x40540001;
  EXPECT_FALSE(mini::get(if_vsan(200)).has_value());
  fake::the().exchanges.clear();
  EXPECT_FALSE(under(mini::getnext(if_vsan(100)), if_column(kIfVsan)));
  EXPECT_EQ(asked(0), 100u);
  EXPECT_EQ(asked(1), 0u) << "the next request is the next column's first";
}

TEST_F(InterfaceTableRead, TheDenyListOfAHiddenInterfaceIsReadAllTheSame) {
  fake::the().restricted = true;
  fake::the().interface_refusal = 5;
  EXPECT_EQ(mini::get(deny_list(200))->integer, 0x700 + 200);
}

}  // namespace
