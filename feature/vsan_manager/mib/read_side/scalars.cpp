// GET of the ten scalars: one exchange each, nothing kept.
#include "module_frame/exchange.h"
#include "module_frame/trace.h"
#include "objects/object_magic.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

// Last: it uses the agent's types without including them.
#include <net-snmp/agent/util_funcs/header_generic.h>

using namespace vsan_mib;

namespace {

// What a scalar's request carries besides its opcode.
enum class payload { none, timer, latency };

struct scalar {
  int magic;
  int opcode;
  int size;  // of the request, or of the expected answer when there is no request
  payload kind;
  uint32_t type;  // of the timer or latency
  WriteMethod *write_method;
  const char *trace;
};

constexpr scalar kScalars[] = {
    {kVsanNumber, kOpVsanNumber, 4, payload::none, 0, nullptr, "%s : Sending GET request to VSAN mgr for VSANNUMBER\n"},
    {kVsanTableLastChange, kOpTableLastChange, 8, payload::none, 0, nullptr,
     "%s : Sending GET request to VSAN mgr for VSANTABLELASTCHANGE\n"},
    {kVsanIfNumber, kOpInterfaceNumber, 4, payload::none, 0, nullptr,
     "%s : Sending GET request to VSAN mgr for VSANIFNUMBER \n"},
    {kFcTimerRatov, kOpFcTimer, 15, payload::timer, 8, set_fcTimerRatov,
     "%s : Sending GET request to VSAN mgr for  FCTIMERRATOV with fctimer_type=%d\n"},
    {kFcTimerEdtov, kOpFcTimer, 15, payload::timer, 7, set_fcTimerEdtov,
     "%s : Sending GET request to VSAN mgr for FCTIMEREDTOV with fctimer_type =%d\n"},
    {kFcTimerFstov, kOpFcTimer, 15, payload::timer, 10, nullptr,
     "%s : Sending GET request to VSAN mgr for FCTIMERFSTOV with fctimer_type = %d\n"},
    {kFcTimerDstov, kOpFcTimer, 15, payload::timer, 9, set_fcTimerDstov,
     "%s : Sending GET request to VSAN mgr for FCTIMERDSTOV fctimertype = %d\n"},
    {kFcNetworkLatency, kOpLatency, 12, payload::latency, 18, set_fcNetworkLatency,
     "%s : Sending GET request to VSAN mgr for FCNETWORKLATENCY with latencytype=%d\n"},
    {kFcSwitchLatency, kOpLatency, 12, payload::latency, 17, set_fcSwitchLatency,
     "%s : Sending GET request to VSAN mgr for FCSWITCHLATENCY with latencytype = %d\n"},
    {kFcInorderDelivery, kOpInorderDelivery, 4, payload::none, 0, set_fcInorderDelivery,
     "%s : Sending GET request to VSAN mgr for FCINORDERDELIVERY\n"},
};

void *exchange_scalar(const scalar &row) {
  if (row.kind == payload::none) {
    return get_using_cmi(row.opcode, nullptr, row.size);
  }
  if (row.kind == payload::latency) {
    vsanLatency request = {};
    request.latency_type = to_wire(row.type);
    return get_using_cmi(row.opcode, &request, row.size);
  }
  // The flag byte stays 0: the timer of the whole switch.
  vsanFcTimerEntry request = {};
  request.timer_type = to_wire(row.type);
  return get_using_cmi(row.opcode, &request, row.size);
}

}  // namespace

u_char *get_vsan_mib(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                     WriteMethod **write_method) {
  if (header_generic(vp, name, length, exact, var_len, write_method) == MATCH_FAILED) {
    return nullptr;
  }
  *var_len = 4;

  for (const scalar &row : kScalars) {
    if (row.magic != vp->magic) {
      continue;
    }
    TRACE(row.trace, "get_vsan_mib", static_cast<int>(row.type));
    // Stored before the exchange, so that a SET reaches its setter even while the manager does not answer.
    if (row.write_method != nullptr) {
      *write_method = row.write_method;
    }
    return static_cast<u_char *>(exchange_scalar(row));
  }
  snmp_set_detail("");
  return nullptr;
}
