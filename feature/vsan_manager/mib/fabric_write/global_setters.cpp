// The switch-wide timers, latencies and in-order delivery: one sender for all. Nothing is kept between phases and
// nothing is undone.
#include "big_endian.h"
#include "module_frame/exchange.h"
#include "module_frame/failures.h"
#include "module_frame/written_value.h"
#include "objects/scalar_objects.h"
#include "platform/sysmgr.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

template <typename Record>
int send_record(int opcode, Record record) {
  record_swap(&record);
  return set_Scalar(static_cast<uint32_t>(opcode), sizeof record, &record);
}

int send_scalar(const scalar_object &scalar, uint32_t value) {
  const int opcode = scalar.exchange.opcode;
  if (scalar.exchange.request == scalar_request::timer) {
    vsanFcTimerEntry timer = {};
    timer.timer_type = scalar.key;
    timer.timer_value = value;
    return send_record(opcode, timer);
  }
  if (scalar.exchange.request == scalar_request::latency) {
    return send_record(opcode, vsanLatency{scalar.key, value, 0});
  }
  alignas(uint32_t) uint8_t word[sizeof value];
  put_be32(word, value);
  return set_Scalar(static_cast<uint32_t>(opcode), sizeof word, word);
}

int set_global(const scalar_object &scalar, int action, const written &w) {
  switch (action) {
    case RESERVE1:
      return check_value(scalar.value, w);
    case ACTION:
      return send_scalar(scalar, read_set_integer(w.value, w.length).value);
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

int set_Scalar(uint32_t opcode, uint32_t size, void *payload) {
  sysmgr_heartbeat(1);
  const int status = tell(static_cast<int>(opcode), kMsgSet, payload, size, kBlockingTimeout);
  sysmgr_heartbeat(0);
  return answer_to_write(status);
}

WRITE_METHOD(set_fcTimerDstov, set_global, *find_scalar(kFcTimerDstov))
WRITE_METHOD(set_fcTimerEdtov, set_global, *find_scalar(kFcTimerEdtov))
WRITE_METHOD(set_fcTimerRatov, set_global, *find_scalar(kFcTimerRatov))
WRITE_METHOD(set_fcSwitchLatency, set_global, *find_scalar(kFcSwitchLatency))
WRITE_METHOD(set_fcNetworkLatency, set_global, *find_scalar(kFcNetworkLatency))
WRITE_METHOD(set_fcInorderDelivery, set_global, *find_scalar(kFcInorderDelivery))
