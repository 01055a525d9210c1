#include "module_frame/exchange.h"

#include <errno.h>

#include "platform/agent.h"
#include "platform/cmi.h"
#include "platform/mts.h"
#include "requests.h"

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

}  // namespace vsan_mib
