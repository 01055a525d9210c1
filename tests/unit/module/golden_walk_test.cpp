// One ordered array of OID, type and value, checked through every way to ask for it.
#include <string.h>

#include <algorithm>

#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;

constexpr uint32_t kInterfaces[] = {0x1000000, 0x1001000};

void make_small_world() {
  for (uint32_t vsan : {1, 9, 4093}) fake::add_vsan(vsan);
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
  for (uint32_t interface : kInterfaces) fake::add_interface(interface, 9);
  fake::the().latencies = {{17, 500}, {18, 2000}};
  fake::the().inorder = 2;
}

// Column by column, rows in ascending order: what a walk must give.
std::vector<varbind> golden() {
  const auto R = [](std::initializer_list<oid> suffix) { return root(suffix); };
  std::vector<varbind> out;
  out.push_back(integer(R({1, 1, 1, 0}), static_cast<long>(fake::the().vsans.size())));
  out.push_back({R({1, 1, 2, 0}), ASN_TIMETICKS, 0, {}});
  const auto column = [&](oid id, const auto &cell) {
    for (const auto &[vsan, row] : fake::the().vsans) out.push_back(cell(vsan_cell(id, vsan), row));
  };
  const auto number = [&](oid id, uint32_t vsanEntry::*field) {
    column(id, [&](const name_t &n, const vsanEntry &row) { return integer(n, static_cast<long>(row.*field)); });
  };
  const auto unsigned_number = [&](oid id, uint32_t vsanEntry::*field) {
    column(id, [&](const name_t &n, const vsanEntry &row) { return gauge(n, row.*field); });
  };
  column(2, [](const name_t &n, const vsanEntry &row) { return octets(n, row.vsanName); });
  number(3, &vsanEntry::vsanMediaType);
  number(4, &vsanEntry::vsanAdminState);
  unsigned_number(5, &vsanEntry::vsanMtu);
  number(6, &vsanEntry::vsanLoadBalancingType);
  number(8, &vsanEntry::vsanOperState);
  column(9, [](const name_t &n, const vsanEntry &) { return integer(n, 1); });
  column(10, [](const name_t &n, const vsanEntry &row) {
    return integer(n, row.vsanInteropMode == 100 ? 0 : static_cast<long>(row.vsanInteropMode));
  });
  number(11, &vsanEntry::vsanInorderDelivery);
  unsigned_number(12, &vsanEntry::vsanNetworkDropLatency);
  out.push_back(integer(R({1, 2, 4, 0}), static_cast<long>(fake::the().interfaces.size())));
  for (const auto &[i, row] : fake::the().interfaces) out.push_back(integer(R({1, 2, 5, 1, 1, i}), row.vsanIfVsan));
  for (const auto &[i, row] : fake::the().interfaces) {
    out.push_back(integer(R({1, 2, 5, 1, 2, i}), static_cast<int32_t>(row.vsanIfDenyList)));
  }
  for (const auto &[vsan, i] : fake::the().members) out.push_back(integer(R({1, 2, 8, 1, 1, vsan, i}), i));
  out.push_back(gauge(R({1, 4, 1, 0}), 8000));
  out.push_back(gauge(R({1, 4, 2, 0}), 7000));
  out.push_back(gauge(R({1, 4, 3, 0}), 10000));
  out.push_back(gauge(R({1, 4, 4, 0}), 9000));
  out.push_back(gauge(R({1, 4, 5, 0}), 2000));
  out.push_back(gauge(R({1, 4, 6, 0}), 500));
  out.push_back(integer(R({1, 4, 7, 0}), 2));
  column(0, [&](const name_t &n, const vsanEntry &) {
    return octets(R({1, 4, 8, 1, 1, n.back()}), std::string(1, '\0'));
  });
  const std::pair<oid, unsigned long> timers[] = {{2, 8000}, {3, 7000}, {4, 9000}, {5, 10000}};
  for (const auto &[id, base] : timers) {
    for (const auto &[vsan, row] : fake::the().vsans) out.push_back(gauge(R({1, 4, 8, 1, id, vsan}), base + vsan));
  }
  return out;
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
  const std::vector<varbind> walk = golden();
  EXPECT_TRUE(
      std::is_sorted(walk.begin(), walk.end(), [](const auto &a, const auto &b) { return before(a.name, b.name); }));
  size_t objects = 0;
  for (const struct variable7 &row : vsan_mib_variables) {
    name_t prefix = root();
    prefix.insert(prefix.end(), row.name, row.name + row.namelen);
    objects += std::any_of(walk.begin(), walk.end(), [&](const varbind &v) {
      return v.name.size() > prefix.size() && std::equal(prefix.begin(), prefix.end(), v.name.begin());
    });
  }
  EXPECT_EQ(objects, size_t{kVsanMibObjects});
}

TEST_F(GoldenWalk, GetOfEach) {
  for (const varbind &v : golden()) EXPECT_EQ(mini::get(v.name), v);
}

TEST_F(GoldenWalk, GetNextFromEachGivesTheNext) {
  const std::vector<varbind> walk = golden();
  EXPECT_EQ(mini::getnext(root()), walk[0]);
  for (size_t i = 0; i + 1 < walk.size(); ++i) EXPECT_EQ(mini::getnext(walk[i].name), walk[i + 1]);
  EXPECT_EQ(mini::getnext(walk.back().name), std::nullopt);
}

TEST_F(GoldenWalk, GetNextARowAPdu) {
  const oid columns[] = {2, 3, 4, 5, 6, 8, 9, 10, 11, 12};
  std::vector<name_t> at;
  for (oid id : columns) at.push_back(root({1, 1, 3, 1, id}));
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
  const std::vector<varbind> walk = golden();
  EXPECT_TRUE(std::equal(seen.begin(), seen.end(), walk.begin() + 2));
}

TEST_F(GoldenWalk, GetBulkOfOneColumnRunsOnIntoTheNext) {
  const std::vector<varbind> walk = golden();
  const auto rows = mini::getbulk_pdu({root()}, static_cast<int>(walk.size()) + 1);
  for (size_t i = 0; i < walk.size(); ++i) EXPECT_EQ(rows[i][0], walk[i]);
  EXPECT_EQ(rows.back()[0], std::nullopt);
}

TEST_F(GoldenWalk, GetBulkARowWide) {
  const auto rows = mini::getbulk_pdu({root({1, 1, 3, 1, 2}), root({1, 1, 3, 1, 9})}, 3);
  const uint32_t vsans[] = {1, 9, 4093};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(rows[i][0]->name, vsan_cell(2, vsans[i]));
    EXPECT_EQ(rows[i][1], integer(vsan_cell(9, vsans[i]), 1));
  }
  EXPECT_EQ(fake::the().sent(149).size(), 3u);
}

TEST_F(GoldenWalk, OfTheLargestSwitch) {
  for (uint32_t vsan = 1; vsan <= 4093; ++vsan) fake::add_vsan(vsan);
  for (uint32_t i = 0; i < 512; ++i) fake::add_interface(0x1000000 + i * 0x1000, 1 + i * 7);
  const std::vector<varbind> walk = golden();
  name_t at = root();
  for (size_t i = 0; i < walk.size(); ++i) {
    const auto answer = mini::getnext(at);
    ASSERT_EQ(answer, walk[i]) << i;
    at = answer->name;
    fake::the().exchanges.clear();
    fake::the().calls.clear();
  }
  EXPECT_EQ(mini::getnext(at), std::nullopt);
}

TEST_F(GoldenWalk, OfARestrictedUserIsTheAllowedVsansOfEveryVsanTable) {
  fake::the().restricted = true;
  fake::the().allowed = {9};
  std::vector<varbind> expected;
  for (const varbind &v : golden()) {
    const bool vsan_table = before(vsan_cell(0, 0), v.name) && before(v.name, root({1, 2}));
    const bool timers = before(root({1, 4, 8}), v.name);
    if ((vsan_table || timers) && v.name.back() != 9) continue;
    expected.push_back(v);
  }
  name_t at = root();
  for (const varbind &v : expected) {
    const auto answer = mini::getnext(at);
    ASSERT_EQ(answer, v);
    at = v.name;
  }
  EXPECT_EQ(mini::getnext(at), std::nullopt);
}

}  // namespace
