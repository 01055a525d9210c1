// The walk of a small switch as a table that can be laid beside mibs/VSAN-MIB.txt, checked through every way to ask.
#include <string.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>

#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;
using namespace std::string_view_literals;

// VSANs 1 and 4093 are as they are made, but that 4093 has no name. VSAN 9 differs from them in every column but the
// row status.
void make_small_world() {
  for (uint32_t vsan : {1, 9, 4093}) {
    fake::add_vsan(vsan);
  }
  vsanEntry &nine = fake::the().vsans[9];
  strcpy(nine.vsanName, "nine");
  nine.vsanMediaType = 2;
  nine.vsanAdminState = 2;
  nine.vsanMtu = 2048;
  nine.vsanLoadBalancingType = 1;
  nine.vsanOperState = 1;
  nine.vsanInteropMode = 4;
  nine.vsanInorderDelivery = 1;
  nine.vsanNetworkDropLatency = 4294967295u;
  strcpy(fake::the().vsans[4093].vsanName, "");
  for (uint32_t interface : {0x1000000, 0x1001000}) {
    fake::add_interface(interface, 9);
  }
  fake::the().latencies = {{17, 500}, {18, 2000}};
  fake::the().inorder = 2;
}

struct golden_row {
  const char *oid;       // under the module's root
  const char *instance;  // the object's name and the index
  int type;
  long number;
  std::string_view octets = {};  // of an OCTET STRING, whose number is 0
};

// What a walk gives, in its order.
constexpr golden_row kGolden[] = {
    {"1.1.1.0", "vsanNumber.0", ASN_INTEGER, 3},
    {"1.1.2.0", "vsanTableLastChange.0", ASN_TIMETICKS, 0},
    {"1.1.3.1.2.1", "vsanName.1", ASN_OCTET_STR, 0, "VSAN0001"sv},
    {"1.1.3.1.2.9", "vsanName.9", ASN_OCTET_STR, 0, "nine"sv},
    {"1.1.3.1.2.4093", "vsanName.4093", ASN_OCTET_STR, 0, ""sv},
    {"1.1.3.1.3.1", "vsanMediaType.1", ASN_INTEGER, 1},
    {"1.1.3.1.3.9", "vsanMediaType.9", ASN_INTEGER, 2},
    {"1.1.3.1.3.4093", "vsanMediaType.4093", ASN_INTEGER, 1},
    {"1.1.3.1.4.1", "vsanAdminState.1", ASN_INTEGER, 1},
    {"1.1.3.1.4.9", "vsanAdminState.9", ASN_INTEGER, 2},
    {"1.1.3.1.4.4093", "vsanAdminState.4093", ASN_INTEGER, 1},
    {"1.1.3.1.5.1", "vsanMtu.1", ASN_GAUGE, 2112},
    {"1.1.3.1.5.9", "vsanMtu.9", ASN_GAUGE, 2048},
    {"1.1.3.1.5.4093", "vsanMtu.4093", ASN_GAUGE, 2112},
    {"1.1.3.1.6.1", "vsanLoadBalancingType.1", ASN_INTEGER, 2},
    {"1.1.3.1.6.9", "vsanLoadBalancingType.9", ASN_INTEGER, 1},
    {"1.1.3.1.6.4093", "vsanLoadBalancingType.4093", ASN_INTEGER, 2},
    {"1.1.3.1.8.1", "vsanOperState.1", ASN_INTEGER, 2},
    {"1.1.3.1.8.9", "vsanOperState.9", ASN_INTEGER, 1},
    {"1.1.3.1.8.4093", "vsanOperState.4093", ASN_INTEGER, 2},
    {"1.1.3.1.9.1", "vsanRowStatus.1", ASN_INTEGER, 1},
    {"1.1.3.1.9.9", "vsanRowStatus.9", ASN_INTEGER, 1},
    {"1.1.3.1.9.4093", "vsanRowStatus.4093", ASN_INTEGER, 1},
    {"1.1.3.1.10.1", "vsanInterOperType.1", ASN_INTEGER, 0},
    {"1.1.3.1.10.9", "vsanInterOperType.9", ASN_INTEGER, 4},
    {"1.1.3.1.10.4093", "vsanInterOperType.4093", ASN_INTEGER, 0},
    {"1.1.3.1.11.1", "vsanInorderDelivery.1", ASN_INTEGER, 2},
    {"1.1.3.1.11.9", "vsanInorderDelivery.9", ASN_INTEGER, 1},
    {"1.1.3.1.11.4093", "vsanInorderDelivery.4093", ASN_INTEGER, 2},
    {"1.1.3.1.12.1", "vsanNetworkDropLatency.1", ASN_GAUGE, 2000},
    {"1.1.3.1.12.9", "vsanNetworkDropLatency.9", ASN_GAUGE, static_cast<long>(UINT32_MAX)},
    {"1.1.3.1.12.4093", "vsanNetworkDropLatency.4093", ASN_GAUGE, 2000},
    {"1.2.4.0", "vsanIfNumber.0", ASN_INTEGER, 2},
    {"1.2.5.1.1.16777216", "vsanIfVsan.16777216", ASN_INTEGER, 9},
    {"1.2.5.1.1.16781312", "vsanIfVsan.16781312", ASN_INTEGER, 9},
    {"1.2.5.1.2.16777216", "vsanIfDenyList.16777216", ASN_INTEGER, 16779008},
    {"1.2.5.1.2.16781312", "vsanIfDenyList.16781312", ASN_INTEGER, 16783104},
    {"1.2.8.1.1.9.16777216", "vsanMembershipSummaryInterface.9.16777216", ASN_INTEGER, 16777216},
    {"1.2.8.1.1.9.16781312", "vsanMembershipSummaryInterface.9.16781312", ASN_INTEGER, 16781312},
    {"1.4.1.0", "fcTimerRatov.0", ASN_GAUGE, 8000},
    {"1.4.2.0", "fcTimerEdtov.0", ASN_GAUGE, 7000},
    {"1.4.3.0", "fcTimerFstov.0", ASN_GAUGE, 10000},
    {"1.4.4.0", "fcTimerDstov.0", ASN_GAUGE, 9000},
    {"1.4.5.0", "fcNetworkLatency.0", ASN_GAUGE, 2000},
    {"1.4.6.0", "fcSwitchLatency.0", ASN_GAUGE, 500},
    {"1.4.7.0", "fcInorderDelivery.0", ASN_INTEGER, 2},
    {"1.4.8.1.1.1", "vsanFcTimerForceFlag.1", ASN_OCTET_STR, 0, "\0"sv},
    {"1.4.8.1.1.9", "vsanFcTimerForceFlag.9", ASN_OCTET_STR, 0, "\0"sv},
    {"1.4.8.1.1.4093", "vsanFcTimerForceFlag.4093", ASN_OCTET_STR, 0, "\0"sv},
    {"1.4.8.1.2.1", "vsanFcTimerRatov.1", ASN_GAUGE, 8001},
    {"1.4.8.1.2.9", "vsanFcTimerRatov.9", ASN_GAUGE, 8009},
    {"1.4.8.1.2.4093", "vsanFcTimerRatov.4093", ASN_GAUGE, 12093},
    {"1.4.8.1.3.1", "vsanFcTimerEdtov.1", ASN_GAUGE, 7001},
    {"1.4.8.1.3.9", "vsanFcTimerEdtov.9", ASN_GAUGE, 7009},
    {"1.4.8.1.3.4093", "vsanFcTimerEdtov.4093", ASN_GAUGE, 11093},
    {"1.4.8.1.4.1", "vsanFcTimerDstov.1", ASN_GAUGE, 9001},
    {"1.4.8.1.4.9", "vsanFcTimerDstov.9", ASN_GAUGE, 9009},
    {"1.4.8.1.4.4093", "vsanFcTimerDstov.4093", ASN_GAUGE, 13093},
    {"1.4.8.1.5.1", "vsanFcTimerFstov.1", ASN_GAUGE, 10001},
    {"1.4.8.1.5.9", "vsanFcTimerFstov.9", ASN_GAUGE, 10009},
    {"1.4.8.1.5.4093", "vsanFcTimerFstov.4093", ASN_GAUGE, 14093},
};

name_t name_of(const golden_row &row) {
  name_t name = root();
  std::istringstream ids(row.oid);
  for (std::string id; std::getline(ids, id, '.');) {
    name.push_back(std::stoul(id));
  }
  return name;
}

varbind varbind_of(const golden_row &row) {
  return {name_of(row), row.type, row.number, std::string(row.octets)};
}

class GoldenWalk : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().history_on = false;
    make_small_world();
  }
};

TEST_F(GoldenWalk, TheArrayIsStrictlyAscendingAndHoldsEveryObject) {
  for (size_t i = 0; i + 1 < std::size(kGolden); ++i) {
    EXPECT_TRUE(before(name_of(kGolden[i]), name_of(kGolden[i + 1]))) << kGolden[i].oid;
  }
  for (const struct variable7 &object : vsan_mib_variables) {
    name_t prefix = root();
    prefix.insert(prefix.end(), object.name, object.name + object.namelen);
    const auto is_row_of_it = [&](const golden_row &row) { return is_under(name_of(row), prefix); };
    EXPECT_TRUE(std::any_of(std::begin(kGolden), std::end(kGolden), is_row_of_it)) << text(prefix);
  }
}

// "::= { PARENT NUMBER }" of each name in the MIB file, up to the module's root.
std::string oid_in_file(const std::string &file, const std::string &name) {
  const size_t at = file.find("\n" + name + " ");
  if (at == std::string::npos || name == "vsanMIB") {
    return "";
  }
  std::istringstream definition(file.substr(file.find("::= {", at) + 5));
  std::string parent, number;
  definition >> parent >> number;
  const std::string above = oid_in_file(file, parent);
  return above.empty() ? number : above + "." + number;
}

TEST_F(GoldenWalk, EachInstanceIsNamedAsTheMibFileNamesIt) {
  std::stringstream file;
  file << std::ifstream(MIB_FILE).rdbuf();
  for (const golden_row &row : kGolden) {
    const std::string instance = row.instance;
    const size_t dot = instance.find('.');
    EXPECT_EQ(oid_in_file(file.str(), instance.substr(0, dot)) + instance.substr(dot), row.oid) << instance;
  }
}

TEST_F(GoldenWalk, GetOfEach) {
  for (const golden_row &row : kGolden) {
    EXPECT_EQ(mini::get(name_of(row)), varbind_of(row)) << row.instance;
  }
}

TEST_F(GoldenWalk, GetNextFromEachGivesTheNext) {
  name_t at = root();
  for (const golden_row &row : kGolden) {
    EXPECT_EQ(mini::getnext(at), varbind_of(row)) << row.instance;
    at = name_of(row);
  }
  EXPECT_EQ(mini::getnext(at), std::nullopt);
}

TEST_F(GoldenWalk, GetNextARowAPdu) {
  std::vector<name_t> at;
  for (oid column : kVsanColumns) {
    at.push_back(vsan_column(column));
  }
  std::vector<varbind> seen;
  for (size_t rows = 0; rows < fake::the().vsans.size(); ++rows) {
    const size_t before = fake::the().sent(149).size();
    const auto row = mini::getnext_pdu(at);
    EXPECT_EQ(fake::the().sent(149).size(), before + 1) << "a row costs one message";
    for (size_t c = 0; c < at.size(); ++c) {
      ASSERT_TRUE(row[c].has_value());
      seen.push_back(*row[c]);
      at[c] = row[c]->name;
    }
  }
  std::sort(seen.begin(), seen.end(), [](const auto &a, const auto &b) { return before(a.name, b.name); });
  std::vector<varbind> table;
  for (const golden_row &row : kGolden) {
    if (is_under(name_of(row), vsan_table())) {
      table.push_back(varbind_of(row));
    }
  }
  EXPECT_EQ(seen, table);
}

TEST_F(GoldenWalk, GetBulkOfOneColumnRunsOnIntoTheNext) {
  const auto rows = mini::getbulk_pdu({root()}, static_cast<int>(std::size(kGolden)) + 1);
  for (size_t i = 0; i < std::size(kGolden); ++i) {
    EXPECT_EQ(rows[i][0], varbind_of(kGolden[i])) << kGolden[i].instance;
  }
  EXPECT_EQ(rows.back()[0], std::nullopt);
}

TEST_F(GoldenWalk, GetBulkARowWide) {
  const auto rows = mini::getbulk_pdu({vsan_column(kName), vsan_column(kRowStatus)}, 3);
  const uint32_t vsans[] = {1, 9, 4093};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(rows[i][0]->name, vsan_cell(kName, vsans[i]));
    EXPECT_EQ(rows[i][1], integer(vsan_cell(kRowStatus, vsans[i]), kActive));
  }
  EXPECT_EQ(fake::the().sent(149).size(), 3u);
}

TEST_F(GoldenWalk, OfARestrictedUserIsTheAllowedVsansOfEveryVsanTable) {
  fake::the().restricted = true;
  fake::the().allowed = {9};
  name_t at = root();
  for (const golden_row &row : kGolden) {
    const name_t name = name_of(row);
    const bool is_of_a_vsan = is_under(name, vsan_table()) || is_under(name, timer_table());
    if (is_of_a_vsan && name.back() != 9) {
      continue;
    }
    ASSERT_EQ(mini::getnext(at), varbind_of(row)) << row.instance;
    at = name;
  }
  EXPECT_EQ(mini::getnext(at), std::nullopt);
}

}  // namespace
