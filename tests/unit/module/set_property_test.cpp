// Random SET PDUs over random tables, against a model of what each may come to.
#include <stdlib.h>
#include <string.h>

#include <array>
#include <random>

#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;

// The OID's column, and what its setter accepts.
struct column_rule {
  oid column;
  u_char type;
  long low;
  long high;
  uint32_t vsanEntry::*field;
};

const column_rule kColumns[] = {
    {kAdminState, ASN_INTEGER, 1, 2, &vsanEntry::vsanAdminState},
    {kLoadBalancing, ASN_INTEGER, 1, 2, &vsanEntry::vsanLoadBalancingType},
    {kInterop, ASN_INTEGER, 0, 4, &vsanEntry::vsanInteropMode},
    {kInorder, ASN_INTEGER, 1, 2, &vsanEntry::vsanInorderDelivery},
    {kDropLatency, ASN_GAUGE, 1, 60000, &vsanEntry::vsanNetworkDropLatency},
};

const oid kVsans[] = {1, 2, 9, 10};

constexpr int kPdus = 1000;

std::mt19937 chance;

// One of them.
template <typename Choices>
auto one_of(const Choices &choices) {
  return std::data(choices)[chance() % std::size(choices)];
}

// The seed that SET_SEED names, to repeat a run, or a new one.
unsigned seed_of_this_run() {
  const char *named = getenv("SET_SEED");
  return named != nullptr ? static_cast<unsigned>(strtoul(named, nullptr, 10)) : std::random_device()();
}

bool same_tables(const std::map<uint32_t, vsanEntry> &a, const std::map<uint32_t, vsanEntry> &b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](const auto &x, const auto &y) {
           return x.first == y.first && memcmp(&x.second, &y.second, sizeof(vsanEntry)) == 0;
         });
}

varbind random_varbind() {
  const oid vsan = one_of(kVsans);
  const auto kind = chance() % 8;
  if (kind == 0) {
    return integer(vsan_cell(kRowStatus, vsan), one_of(std::array{1L, 4L, 4L, 6L, 5L}));
  }
  if (kind <= 2) {
    return octets(vsan_cell(kName, vsan), one_of(std::array{"a", "", "b b", "longer-name"}));
  }
  const column_rule &rule = kColumns[chance() % std::size(kColumns)];
  const long lowest = rule.low == 0 ? 1 : rule.low;
  // One in seventeen is not accepted.
  const auto which = chance() % 17;
  const long value = which == 0 ? rule.high + 1 : which <= 8 ? lowest : rule.high;
  return {vsan_cell(rule.column, vsan), rule.type, value, {}};
}

std::vector<varbind> random_pdu() {
  std::vector<varbind> pdu;
  for (auto left = 1 + chance() % 4; left > 0; --left) {
    pdu.push_back(random_varbind());
  }
  return pdu;
}

// What the model says of a PDU: whether RESERVE1 and RESERVE2 let it pass.
struct verdict {
  bool passes = true;
  std::map<uint32_t, bool> created;
};

bool value_passes(const varbind &v) {
  const oid column = v.name[13];
  if (column == kName) {
    return std::find(v.octets.begin(), v.octets.end(), ' ') == v.octets.end();
  }
  if (column == kRowStatus) {
    return v.integer == 1 || v.integer == 4 || v.integer == 6;
  }
  for (const column_rule &rule : kColumns) {
    if (rule.column == column) {
      return v.integer >= rule.low && v.integer <= rule.high;
    }
  }
  return false;
}

// One row status a VSAN and PDU at most; a column needs a VSAN that is there or being created.
verdict judge(const std::vector<varbind> &pdu, const std::map<uint32_t, vsanEntry> &before) {
  verdict result;
  std::map<uint32_t, int> statuses;
  for (const varbind &v : pdu) {
    const auto vsan = static_cast<uint32_t>(v.name.back());
    const bool present = before.count(vsan) != 0;
    if (!value_passes(v)) {
      result.passes = false;
    }
    if (v.name[13] != kRowStatus) {
      continue;
    }
    if (v.integer == 4 && present) {
      result.passes = false;
    }
    if (v.integer == 4 && !present) {
      result.created[vsan] = true;
    }
    // A second listing of the row in one PDU is refused.
    if ((present || v.integer == 4) && ++statuses[vsan] > 1) {
      result.passes = false;
    }
  }
  for (const varbind &v : pdu) {
    const auto vsan = static_cast<uint32_t>(v.name.back());
    if (v.name[13] != kRowStatus && before.count(vsan) == 0 && !result.created[vsan]) {
      result.passes = false;
    }
  }
  return result;
}

// The last write of each column is in the table, unless the PDU destroys the VSAN or re-applies its row, which may come
// after it: a PDU is served column by column.
void expect_written(const std::vector<varbind> &pdu) {
  std::map<uint32_t, bool> settled_otherwise;
  for (const varbind &v : pdu) {
    if (v.name[13] == kRowStatus && v.integer != 4) {
      settled_otherwise[static_cast<uint32_t>(v.name.back())] = true;
    }
  }
  for (auto v = pdu.begin(); v != pdu.end(); ++v) {
    const auto vsan = static_cast<uint32_t>(v->name.back());
    const bool later = std::any_of(v + 1, pdu.end(), [&](const varbind &other) { return other.name == v->name; });
    if (settled_otherwise[vsan] || later) {
      continue;
    }
    const auto row = fake::the().vsans.find(vsan);
    ASSERT_NE(row, fake::the().vsans.end());
    if (v->name[13] == kName) {
      EXPECT_EQ(std::string(row->second.vsanName), v->octets);
    }
    for (const column_rule &rule : kColumns) {
      if (rule.column == v->name[13]) {
        const auto written = static_cast<uint32_t>(v->integer);
        EXPECT_EQ(row->second.*rule.field, rule.column == kInterop && written == 0 ? 100 : written);
      }
    }
  }
}

void expect_nothing_written(const std::map<uint32_t, vsanEntry> &before) {
  EXPECT_TRUE(same_tables(fake::the().vsans, before));
  for (const fake::exchange &e : fake::the().exchanges) {
    EXPECT_LT(e.msg_type, 3);
  }
}

// Returns whether the PDU was accepted.
bool try_pdu() {
  fake::the().vsans.clear();
  for (const oid vsan : kVsans) {
    if (chance() % 2 == 0) {
      fake::add_vsan(static_cast<uint32_t>(vsan));
    }
  }
  const auto pdu = random_pdu();
  const auto before = fake::the().vsans;
  fake::the().exchanges.clear();
  const mini::set_result result = mini::set_pdu(pdu);

  // What a refused PDU leaves listed stays for the next PDUs to meet.
  EXPECT_EQ(fake::listed(vsanEntry_list), 0u);
  if (!judge(pdu, before).passes) {
    EXPECT_NE(result.status, 0);
    expect_nothing_written(before);
  }
  if (result.status != 0) {
    return false;
  }
  for (const varbind &v : pdu) {
    EXPECT_EQ(fake::in_list(vsanEntry_undo_list, static_cast<uint32_t>(v.name.back())), nullptr);
  }
  expect_written(pdu);
  return true;
}

class SetProperty : public ModuleTest {};

TEST_F(SetProperty, ARefusedPduChangesNothingAnAcceptedOneDoesWhatItSaysAndNoneMeetsTheOneBefore) {
  fake::the().history_on = false;
  const unsigned seed = seed_of_this_run();
  SCOPED_TRACE("SET_SEED=" + std::to_string(seed) + " repeats this run");
  chance.seed(seed);
  int accepted = 0;
  for (int pdu = 0; pdu < kPdus && !HasFailure(); ++pdu) {
    SCOPED_TRACE("PDU " + std::to_string(pdu));
    accepted += try_pdu() ? 1 : 0;
  }
  EXPECT_GT(accepted, kPdus / 10) << "they hardly say anything of accepted ones";
}

}  // namespace
