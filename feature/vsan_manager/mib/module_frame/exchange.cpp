#include "module_frame/exchange.h"

#include <arpa/inet.h>
#include <errno.h>
#include <string.h>
#include <sys/time.h>

#include "module_frame/trace.h"
#include "platform/agent.h"
#include "platform/cmi.h"
#include "platform/kdx.h"
#include "platform/syserr.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"

namespace vsan_mib {

answer ask(int opcode, int msg_type, void *request, uint32_t size, uint32_t needed, const exchange_party &party) {
  void *response = nullptr;
  uint32_t answered = size;
  const int status = cmi_req_resp(opcode, msg_type, request, &response, &answered, party.user, party.session,
                                  party.service, mts_response_q, kTimeout);
  answer result{status, response_ptr(response), answered};
  // A size word left as it went in says nothing about the answer.
  if (result.complete() && answered != size && answered < needed) {
    result.status = -1;
    errno = EPROTO;
  }
  return result;
}

int tell(int opcode, int msg_type, void *request, uint32_t size, int timeout) {
  const char *user = get_snmp_username(0);
  const char *session = get_snmp_sessionid(0);
  return cmi_req_resp(opcode, msg_type, request, nullptr, &size, user, session, kServiceVsanManager, mts_response_q,
                      timeout);
}

const char *failure_text(int status) {
  return status == -1 ? strerror(errno) : syserr_format(status);
}

uint32_t word_at(const void *payload, size_t offset) {
  uint32_t word;
  memcpy(&word, static_cast<const char *>(payload) + offset, sizeof word);
  return ntohl(word);
}

uint32_t to_wire(uint32_t host) {
  return htonl(host);
}

int refused_write(int status) {
  log_set_error(status, 200);
  return to_snmp_error_code(status, kMsgSet);
}

namespace {

// Read by nobody but a debugger: the status of the last scalar exchange.
int last_scalar_status;

uint32_t count_result;
uint32_t value_result;

// Which word of an answer a scalar is, and how its arrival is traced.
struct scalar_answer {
  int opcode;
  uint32_t offset;
  uint32_t *result;
  const char *trace;
};

constexpr scalar_answer kScalarAnswers[] = {
    {kOpVsanNumber, 0, &count_result, "%s : Recevied GET response  for VSANNUMBER/VSANIFNUMBER = %d\n"},
    {kOpInterfaceNumber, 0, &count_result, "%s : Recevied GET response  for VSANNUMBER/VSANIFNUMBER = %d\n"},
    {kOpFcTimer, 4, &value_result, "%s : Recevied GET response  for FCTIMER stuff = %d\n"},
    {kOpLatency, 4, &value_result, "%s : Recevied GET response  for FCLATENCY stuff = %d\n"},
    {kOpInorderDelivery, 0, &value_result, "%s : Recevied GET response  for INORDERDELIVERY stuff = %d\n"},
};

const scalar_answer *find_scalar_answer(int opcode) {
  for (const scalar_answer &row : kScalarAnswers) {
    if (row.opcode == opcode) {
      return &row;
    }
  }
  return nullptr;
}

// The agent's uptime at a time since the epoch, in hundredths of a second; negative before the agent's start. In 64
// bits, because a `long` of 32 wraps after 249 days.
int64_t uptime_at(uint32_t seconds, uint32_t microseconds) {
  const auto *start = static_cast<const struct timeval *>(netsnmp_get_agent_starttime());
  const int64_t started_at = static_cast<uint32_t>(start->tv_sec);
  const int64_t since_start = (int64_t{seconds} - started_at) * 1'000'000 + int64_t{microseconds} - start->tv_usec;
  return since_start < 0 ? -1 : since_start / 10'000;
}

// The time of the last change, seconds and microseconds, as agent uptime: 0 for one before the agent's start.
void *table_last_change(const void *payload) {
  const uint32_t seconds = word_at(payload, 0);
  const uint32_t microseconds = word_at(payload, 4);
  const int64_t ticks = uptime_at(seconds, microseconds);
  value_result = ticks < 0 ? 0 : static_cast<uint32_t>(ticks);  // TimeTicks count modulo 2^32
  TRACE("%s : Recevied GET response  for VSANTABLELASTCHANGE (tvsec = %d, tvusec = %d) = %d\n", "get_using_cmi",
        static_cast<int>(seconds), static_cast<int>(microseconds), static_cast<int>(value_result));
  return &value_result;
}

// A pending timer value is read while distribution is on and the running values are not what is shown.
int scalar_message_type(int opcode) {
  int enabled = 0;
  int mode = 0;
  is_kdx_enabled("fctimer", &enabled);
  get_kdx_show_run_mode("fctimer", &mode);
  if (opcode != kOpFcTimer || enabled == 0 || mode != 0) {
    return kMsgGet;
  }
  TRACE("%s msg_type = KDX_GET_REQ \n", "get_using_cmi");
  return kMsgKdxGet;
}

}  // namespace
}  // namespace vsan_mib

using namespace vsan_mib;

void *get_using_cmi(int opcode, void *request, int size) {
  const scalar_answer *scalar = find_scalar_answer(opcode);
  const uint32_t needed = opcode == kOpTableLastChange ? 8 : scalar != nullptr ? scalar->offset + 4 : 0;

  const int msg_type = scalar_message_type(opcode);
  const answer got = ask(opcode, msg_type, request, static_cast<uint32_t>(size), needed);
  last_scalar_status = got.status;
  if (!got.complete()) {
    return nullptr;
  }

  if (opcode == kOpTableLastChange) {
    return table_last_change(got.payload.get());
  }
  if (scalar == nullptr) {
    return nullptr;
  }
  *scalar->result = word_at(got.payload.get(), scalar->offset);
  TRACE(scalar->trace, "get_using_cmi", static_cast<int>(*scalar->result));
  return scalar->result;
}

int to_snmp_error_code(int vsan_mgr_status, int request_type) {
  TRACE("%s(%d) \n", __func__, __LINE__);
  if (vsan_mgr_status == kStatusNoVsan || vsan_mgr_status == kStatusVsanConflict) {
    TRACE("%s(%d) ***Inconsistant Name! \n", __func__, __LINE__);
    return request_type == kMsgSet ? SNMP_ERR_INCONSISTENTNAME : SNMP_ERR_NOSUCHNAME;
  }
  return vsan_mgr_status == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}
