// GET of the ten scalars: one exchange each, nothing kept.
#include "big_endian.h"
#include "module_frame/exchange.h"
#include "module_frame/trace.h"
#include "objects/scalar_objects.h"
#include "read_side/distribution_mode.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_records.h"

// Last: it uses the agent's types without including them.
#include <net-snmp/agent/util_funcs/header_generic.h>

using namespace vsan_mib;

namespace {

uint32_t count_result;
uint32_t value_result;

// The agent's uptime at a time since the epoch, in hundredths of a second; not above 0 before the agent's start. In
// 64 bits, because a `long` of 32 wraps after 249 days.
int64_t uptime_at(uint32_t seconds, uint32_t microseconds) {
  const auto *start = static_cast<const struct timeval *>(netsnmp_get_agent_starttime());
  const int64_t started_at = static_cast<uint32_t>(start->tv_sec);
  const int64_t since_start = (int64_t{seconds} - started_at) * 1'000'000 + int64_t{microseconds} - start->tv_usec;
  return since_start / 10'000;
}

// The time of the last change as agent uptime: 0 for one before the agent's start.
void *last_change(const uint8_t *payload) {
  const uint32_t seconds = get_be32(payload);
  const uint32_t microseconds = get_be32(payload + sizeof(uint32_t));
  const int64_t ticks = uptime_at(seconds, microseconds);
  value_result = ticks < 0 ? 0 : static_cast<uint32_t>(ticks);  // TimeTicks count modulo 2^32
  TRACE("%s : Recevied GET response  for VSANTABLELASTCHANGE (tvsec = %d, tvusec = %d) = %d\n", "get_using_cmi",
        static_cast<int>(seconds), static_cast<int>(microseconds), static_cast<int>(value_result));
  return &value_result;
}

// A pending timer value is read while distribution is on and the running values are not what is shown.
int message_type(int opcode) {
  const distribution_mode mode = ask_distribution();
  if (opcode != kOpFcTimer || !shows_pending(mode)) {
    return kMsgGet;
  }
  TRACE("%s msg_type = KDX_GET_REQ \n", "get_using_cmi");
  return kMsgKdxGet;
}

void *read_scalar(const scalar_object &scalar) {
  const scalar_exchange &exchange = scalar.exchange;
  const int size = static_cast<int>(exchange.size);
  if (exchange.request == scalar_request::timer) {
    // The flag byte stays 0: the timer of the whole switch.
    vsanFcTimerEntry request = {};
    request.timer_type = scalar.key;
    record_swap(&request);
    return get_using_cmi(exchange.opcode, &request, size);
  }
  if (exchange.request == scalar_request::latency) {
    vsanLatency request = {};
    request.latency_type = scalar.key;
    record_swap(&request);
    return get_using_cmi(exchange.opcode, &request, size);
  }
  return get_using_cmi(exchange.opcode, nullptr, size);
}

}  // namespace

void *get_using_cmi(int opcode, void *request, int size) {
  const scalar_exchange *exchange = find_scalar_exchange(opcode);
  const uint32_t needed = exchange == nullptr ? 0 : exchange->last_word + uint32_t{sizeof(uint32_t)};

  const int msg_type = message_type(opcode);
  const answer got = ask(opcode, msg_type, request, static_cast<uint32_t>(size), needed);
  if (!got.complete() || exchange == nullptr) {
    return nullptr;
  }
  const uint8_t *payload = static_cast<const uint8_t *>(got.payload.get());
  if (exchange->answer == scalar_answer::last_change) {
    return last_change(payload);
  }
  uint32_t &result = exchange->answer == scalar_answer::count ? count_result : value_result;
  result = get_be32(payload + exchange->last_word);
  TRACE_ROW(exchange->answered, "get_using_cmi", static_cast<int>(result));
  return &result;
}

u_char *get_vsan_mib(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                     WriteMethod **write_method) {
  if (header_generic(vp, name, length, exact, var_len, write_method) == MATCH_FAILED) {
    return nullptr;
  }
  *var_len = sizeof(uint32_t);
  const scalar_object *scalar = find_scalar(vp->magic);
  if (scalar == nullptr) {
    snmp_set_detail("");
    return nullptr;
  }
  TRACE_ROW(scalar->asking, "get_vsan_mib", static_cast<int>(scalar->key));
  // Stored before the exchange, so that a SET reaches its setter even while the manager does not answer.
  if (scalar->write_method != nullptr) {
    *write_method = scalar->write_method;
  }
  return static_cast<u_char *>(read_scalar(*scalar));
}
