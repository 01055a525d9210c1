// The switch-wide timers, latencies and in-order delivery: one row of the tables below each, one sender for all.
// Nothing is kept between phases and nothing is undone.
#include "module_frame/exchange.h"
#include "module_frame/standard_error.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "platform/sysmgr.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

// The timers tell a refusal in the trace, the others on standard error.
void tell_trace(const char *setter, const char *text) {
  TRACE(text, setter);
}
void tell_standard_error(const char * /*setter*/, const char *text) {
  complain(text);
}

int send_timer(uint32_t type, uint32_t value) {
  vsanFcTimerEntry payload = {};
  payload.timer_type = type;
  payload.timer_value = value;
  vsanNewFcTimer_ntoh(&payload);
  return set_Scalar(kOpFcTimer, sizeof payload, &payload);
}

int send_latency(uint32_t type, uint32_t value) {
  vsanLatency payload = {to_wire(type), to_wire(value), 0};
  return set_Scalar(kOpLatency, sizeof payload, &payload);
}

int send_value(uint32_t /*type*/, uint32_t value) {
  uint32_t payload = to_wire(value);
  return set_Scalar(kOpInorderDelivery, sizeof payload, &payload);
}

struct global_setter {
  const char *name;
  u_char type;
  uint32_t low;
  uint32_t high;
  int (*send)(uint32_t type, uint32_t value);
  uint32_t sent_type;
  const char *wrong_type;
  const char *bad_length;
  void (*tell)(const char *setter, const char *text);
};

constexpr global_setter kDstov = {"set_fcTimerDstov",
                                  ASN_UNSIGNED,
                                  5000,
                                  10000,
                                  send_timer,
                                  9,
                                  "%s : write to fcTimerDstov not ASN_UNSIGNED \n",
                                  "%s : write to fcTimerDstov - bad length \n",
                                  tell_trace};
constexpr global_setter kEdtov = {"set_fcTimerEdtov",
                                  ASN_UNSIGNED,
                                  1000,
                                  4000,
                                  send_timer,
                                  7,
                                  "%s : write to fcTimerEdtov not ASN_UNSIGNED\n",
                                  "%s : write to fcTimerEdtov - bad length \n",
                                  tell_trace};
// The blank after the newline is kept: logs are searched for it.
constexpr global_setter kRatov = {"set_fcTimerRatov",
                                  ASN_UNSIGNED,
                                  5000,
                                  10000,
                                  send_timer,
                                  8,
                                  "%s : write to fcTimerRatov not ASN_UNSIGNED\n",
                                  "%s : write to fcTimerRatov - bad length\n ",
                                  tell_trace};
constexpr global_setter kSwitchLatency = {"set_fcSwitchLatency",
                                          ASN_UNSIGNED,
                                          0,
                                          60000,
                                          send_latency,
                                          17,
                                          "write to fcSwitchLatency not ASN_UNSIGNED\n",
                                          "write to fcSwitchLatency: bad length\n",
                                          tell_standard_error};
constexpr global_setter kNetworkLatency = {"set_fcNetworkLatency",
                                           ASN_UNSIGNED,
                                           0,
                                           60000,
                                           send_latency,
                                           18,
                                           "write to fcNetworkLatency not ASN_UNSIGNED\n",
                                           "write to fcNetworkLatency: bad length\n",
                                           tell_standard_error};
constexpr global_setter kInorderDelivery = {"set_fcInorderDelivery",
                                            ASN_INTEGER,
                                            1,
                                            2,
                                            send_value,
                                            0,
                                            "write to fcInorderDelivery not ASN_INTEGER\n",
                                            "write to fcInorderDelivery: bad length\n",
                                            tell_standard_error};

int check(const global_setter &setter, u_char type, size_t length, const u_char *value) {
  if (type != setter.type) {
    setter.tell(setter.name, setter.wrong_type);
    return SNMP_ERR_WRONGTYPE;
  }
  if (!is_integer_length(length)) {
    setter.tell(setter.name, setter.bad_length);
    return SNMP_ERR_WRONGLENGTH;
  }
  return in_range(read_set_integer(value, length), setter.low, setter.high) ? SNMP_ERR_NOERROR : SNMP_ERR_WRONGVALUE;
}

}  // namespace

int set_Scalar(uint32_t opcode, uint32_t size, void *payload) {
  sysmgr_heartbeat(1);
  const int status = tell(static_cast<int>(opcode), kMsgSet, payload, size, kBlockingTimeout);
  sysmgr_heartbeat(0);
  return status == 0 ? SNMP_ERR_NOERROR : refused_write(status);
}

#define GLOBAL_SETTER(function, setter)                                                                           \
  int function(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char *, oid *, size_t) {   \
    if (action == RESERVE1) return check(setter, var_val_type, var_val_len, var_val);                             \
    if (action == ACTION) return (setter).send((setter).sent_type, read_set_integer(var_val, var_val_len).value); \
    return SNMP_ERR_NOERROR;                                                                                      \
  }

GLOBAL_SETTER(set_fcTimerDstov, kDstov)
GLOBAL_SETTER(set_fcTimerEdtov, kEdtov)
GLOBAL_SETTER(set_fcTimerRatov, kRatov)
GLOBAL_SETTER(set_fcSwitchLatency, kSwitchLatency)
GLOBAL_SETTER(set_fcNetworkLatency, kNetworkLatency)
GLOBAL_SETTER(set_fcInorderDelivery, kInorderDelivery)
