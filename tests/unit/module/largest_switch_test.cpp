// The walk of a switch with as many VSANs and interfaces as there can be, against what the faked managers hold.
#include "module_test.h"
#include "vsan_records.h"

namespace {

using namespace mib;

void make_largest_world() {
  for (uint32_t vsan = 1; vsan <= 4093; ++vsan) {
    fake::add_vsan(vsan);
  }
  for (uint32_t i = 0; i < 512; ++i) {
    fake::add_interface(0x1000000 + i * 0x1000, 1 + i * 7);
  }
  // Two of them are active in a second VSAN, too.
  fake::the().members.insert({9, 0x1000000});
  fake::the().members.insert({9, 0x1001000});
  fake::the().latencies = {{17, 500}, {18, 2000}};
  fake::the().inorder = 2;
}

varbind cell_of(oid column, uint32_t vsan, const vsanEntry &row) {
  const name_t name = vsan_cell(column, vsan);
  switch (column) {
    case kName:
      return octets(name, row.vsanName);
    case kMediaType:
      return integer(name, row.vsanMediaType);
    case kAdminState:
      return integer(name, row.vsanAdminState);
    case kMtu:
      return gauge(name, row.vsanMtu);
    case kLoadBalancing:
      return integer(name, row.vsanLoadBalancingType);
    case kOperState:
      return integer(name, row.vsanOperState);
    case kRowStatus:
      return integer(name, kActive);
    case kInterop:
      return integer(name, row.vsanInteropMode == 100 ? 0 : row.vsanInteropMode);
    case kInorder:
      return integer(name, row.vsanInorderDelivery);
    default:
      return gauge(name, row.vsanNetworkDropLatency);
  }
}

void add_vsans(std::vector<varbind> *walk) {
  walk->push_back(integer(vsan_number(), 4093));
  walk->push_back({last_change(), ASN_TIMETICKS, 0, {}});
  for (oid column : kVsanColumns) {
    for (const auto &[vsan, row] : fake::the().vsans) {
      walk->push_back(cell_of(column, vsan, row));
    }
  }
}

void add_interfaces(std::vector<varbind> *walk) {
  walk->push_back(integer(if_number(), 512));
  for (const auto &[interface, row] : fake::the().interfaces) {
    walk->push_back(integer(if_vsan(interface), row.vsanIfVsan));
  }
  for (const auto &[interface, row] : fake::the().interfaces) {
    walk->push_back(integer(deny_list(interface), static_cast<int32_t>(row.vsanIfDenyList)));
  }
  for (const auto &[vsan, interface] : fake::the().members) {
    walk->push_back(integer(summary(vsan, interface), interface));
  }
}

void add_fabric_parameters(std::vector<varbind> *walk) {
  walk->push_back(gauge(switch_wide(kSwitchRatov), 8000));
  walk->push_back(gauge(switch_wide(kSwitchEdtov), 7000));
  walk->push_back(gauge(switch_wide(kSwitchFstov), 10000));
  walk->push_back(gauge(switch_wide(kSwitchDstov), 9000));
  walk->push_back(gauge(switch_wide(kNetworkLatency), 2000));
  walk->push_back(gauge(switch_wide(kSwitchLatency), 500));
  walk->push_back(integer(switch_wide(kSwitchInorder), 2));
  for (const auto &[vsan, row] : fake::the().vsans) {
    walk->push_back(octets(timer_cell(kForceFlag, vsan), std::string(1, '\0')));
  }
  // The faked manager answers with the switch's value and the VSAN's number.
  const std::pair<oid, unsigned long> timers[] = {{kRatov, 8000}, {kEdtov, 7000}, {kDstov, 9000}, {kFstov, 10000}};
  for (const auto &[column, base] : timers) {
    for (const auto &[vsan, row] : fake::the().vsans) {
      walk->push_back(gauge(timer_cell(column, vsan), base + vsan));
    }
  }
}

class LargestSwitch : public ModuleTest {};

TEST_F(LargestSwitch, IsWalkedToItsEnd) {
  fake::the().history_on = false;
  make_largest_world();
  std::vector<varbind> walk;
  add_vsans(&walk);
  add_interfaces(&walk);
  add_fabric_parameters(&walk);
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

}  // namespace
