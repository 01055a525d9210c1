// Which write method a table column hands to the agent.
#include "module_frame/trace.h"
#include "objects/object_magic.h"
#include "vsan_mib.h"

using namespace vsan_mib;

namespace {

struct column_writer {
  int magic;
  WriteMethod *write_method;
  const char *trace;  // null: none
};

constexpr column_writer kVsanColumns[] = {
    {kVsanName, set_vsanName, "%s(%d) set-method VSANNAME \n"},
    // vsanName's text: kept, logs are searched for it.
    {kVsanMediaType, set_vsanMediaType, "%s(%d) set-method VSANNAME \n"},
    {kVsanAdminState, set_vsanAdminState, "%s(%d) set-method VSANADMINSTATE \n"},
    {kVsanMtu, set_vsanMtu, "%s(%d) set-method VSANMTU \n"},
    {kVsanLoadBalancingType, set_vsanLoadBalancingType, "%s(%d) set-method VSANLOADBALANCINGTYPE \n"},
    {kVsanRowStatus, set_vsanRowStatus, "%s(%d) set-method VSANROWSTATUS \n"},
    {kVsanInterOperType, set_vsanInterOperType, "%s(%d) set-method VSANITEROPERYPE \n"},
    {kVsanInorderDelivery, set_vsanInorderDelivery, "%s(%d) set-method VSANINORDERDELIVERY \n"},
    {kVsanNetworkDropLatency, set_vsanNetworkDropLatency, "%s(%d) set-method VSANNETWORKDROPLATENCY \n"},
};

constexpr column_writer kInterfaceColumns[] = {
    {kVsanIfVsan, set_vsanIfVsan, nullptr},
    {kVsanIfDenyList, nullptr, nullptr},
};

constexpr column_writer kFcTimerColumns[] = {
    {kVsanFcTimerForceFlag, set_vsanFcTimerForceFlag, nullptr},
    {kVsanFcTimerRatov, set_vsanFcTimerRatov, nullptr},
    {kVsanFcTimerEdtov, set_vsanFcTimerEdtov, nullptr},
    {kVsanFcTimerDstov, set_vsanFcTimerDstov, nullptr},
};

template <size_t N>
void hand_out(const column_writer (&columns)[N], int magic, const char *caller, WriteMethod **write_method) {
  for (const column_writer &column : columns) {
    if (column.magic != magic) {
      continue;
    }
    if (column.trace != nullptr) {
      TRACE(column.trace, caller, __LINE__);
    }
    *write_method = column.write_method;
    return;
  }
}

}  // namespace

void set_table_set_methods(int magic, WriteMethod **write_method) {
  hand_out(kVsanColumns, magic, __func__, write_method);
}

void set_if_table_set_methods(int magic, WriteMethod **write_method) {
  hand_out(kInterfaceColumns, magic, __func__, write_method);
}

void set_fctimer_table_set_methods(int magic, WriteMethod **write_method) {
  hand_out(kFcTimerColumns, magic, __func__, write_method);
}
