// Membership summary: pairs of VSAN and interface, from the port manager.
#include <errno.h>
#include <string.h>

#include "table_reads.h"

namespace {

using namespace mib;
using namespace table_reads;

class SummaryRead : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().members = {{1, 100}, {1, 200}, {5, 300}, {10, 400}};
  }
};

TEST_F(SummaryRead, GetNextOnTheBareColumnAsksForThePairAfterZero) {
  EXPECT_EQ(mini::getnext(summary_column()), integer(summary(1, 100), 100));
  EXPECT_EQ(fake::the().calls.back(), "pm 2 0.0 operator session-1 5");
}

TEST_F(SummaryRead, GetNextWithOnlyAVsanAsksForThePairAfterItAndZero) {
  EXPECT_EQ(mini::getnext(root({1, 2, 8, 1, 1, 5}))->name, summary(5, 300));
  EXPECT_EQ(fake::the().calls.back(), "pm 2 5.0 operator session-1 5");
}

TEST_F(SummaryRead, GetWithASingleIndexAsksForThePairZero) {
  EXPECT_FALSE(mini::get(root({1, 2, 8, 1, 1, 5})).has_value());
  EXPECT_EQ(fake::the().calls.back(), "pm 1 0.0 operator session-1 5");
}

TEST_F(SummaryRead, TheValueIsTheRowsOwnSecondIndex) {
  for (const auto &[vsan, interface] : fake::the().members) {
    EXPECT_EQ(mini::get(summary(vsan, interface)), integer(summary(vsan, interface), interface));
  }
}

TEST_F(SummaryRead, NoRangeIsCheckedAndAnAbsentPairAnswersNothing) {
  EXPECT_FALSE(mini::get(summary(4294967295, 4294967295)).has_value());
  EXPECT_EQ(fake::the().calls.back(), "pm 1 4294967295.4294967295 operator session-1 5");
  EXPECT_TRUE(fake::the().traced(
      "header_vsanMembershipSummaryEntry(#) : GET req FAILED for vsanIndex = -1: ifIndex = -1 : fmt-40490002\n"));
}

TEST_F(SummaryRead, AFailedCallTracesErrnosText) {
  fake::the().fail_at = 1;
  EXPECT_FALSE(mini::get(summary(1, 100)).has_value());
  EXPECT_TRUE(fake::the().traced(
      std::string("header_vsanMembershipSummaryEntry(#) : GET req FAILED for vsanIndex = 1: ifIndex = 100 : ") +
      strerror(ETIMEDOUT) + "\n"));
}

TEST_F(SummaryRead, TracesOfAReadInTheirOrder) {
  mini::getnext(summary(1, 100));
  ASSERT_EQ(fake::the().history.size(), 2u);
  EXPECT_EQ(fake::the().history[0].second,
            "header_vsanMembershipSummaryEntry : Sending GETNEXT req for vsanIndex = 1 and ifIndex = 100 \n");
  EXPECT_EQ(
      fake::the().history[1].second,
      "header_vsanMembershipSummaryEntry : Recd resp for GETNEXT req for vsanIndex=1, ifIndex = 200, is_static 1 \n");
}

TEST_F(SummaryRead, ARestrictedWalkSkipsWholeVsansAndResumesAtTheFirstInterfaceOfTheNextAllowedOne) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_EQ(mini::getnext(summary_column())->name, summary(10, 400));
  std::vector<std::string> asked;
  for (const std::string &call : fake::the().calls) {
    if (call.rfind("pm ", 0) == 0) {
      asked.push_back(call);
    }
  }
  EXPECT_EQ(asked, (std::vector<std::string>{"pm 2 0.0 operator session-1 5", "pm 2 10.0 operator session-1 5"}));
  EXPECT_FALSE(under(mini::getnext(summary(10, 400)), summary_table()));
}

TEST_F(SummaryRead, ARestrictedGetOfAPairInAnAllowedVsanAnswersNothingUnlessVsan0IsAllowed) {
  fake::the().restricted = true;
  fake::the().allowed = {10};
  EXPECT_FALSE(mini::get(summary(10, 400)).has_value());
  EXPECT_EQ(fake::the().calls.back(), "snmp_is_vsan_allowed_in_list 0");
  fake::the().allowed = {0};
  EXPECT_TRUE(mini::get(summary(10, 400)).has_value()) << "VSAN 0 is what is tested";
}

}  // namespace
