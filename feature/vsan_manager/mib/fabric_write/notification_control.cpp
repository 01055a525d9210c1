// The switch that turns the notifications on.
#include "big_endian.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "platform/cmi.h"
#include "platform/mts.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_values.h"

using namespace vsan_mib;

namespace {

constexpr value_rule kControl = {
    .setter = "write_vsanNotificationCntl",
    .low = kNotificationsOn,
    .high = kNotificationsOff,
    .wrong_type = {.standard_error = "write to vsanNotificationCntl not ASN_INTEGER\n"},
    .bad_length = {.standard_error = "write to vsanNotificationCntl: bad length\n"},
};

int set_control(const value_rule &rule, int action, const written &w) {
  switch (action) {
    case RESERVE1:
      return check_value(rule, w);
    case ACTION:
      // On, whichever of the two values was written: kept, managers rely on it.
      return vsan_trap_vsan_set(kNotificationsOn) == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

WRITE_METHOD(write_vsanNotificationCntl, set_control, kControl)

int vsan_trap_vsan_set(uint32_t value) {
  alignas(uint32_t) uint8_t payload[sizeof value];
  put_be32(payload, value);
  uint32_t size = sizeof payload;
  const int status = cmi_req_resp(kOpNotificationControl, kMsgSet, payload, nullptr, &size, nullptr, nullptr,
                                  kServiceVsanManager, mts_response_q, 0);
  if (status == 0) {
    return 0;
  }
  TRACE("****Ret_Value:%d [%d(%s)]\n", status, __LINE__, __func__);
  return -1;
}
