#include "module_frame/failures.h"

#include <errno.h>
#include <string.h>

#include "module_frame/trace.h"
#include "platform/agent.h"
#include "platform/syserr.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"

namespace vsan_mib {

const char *failure_text(int status) {
  return status == -1 ? strerror(errno) : syserr_format(status);
}

int answer_to_write(int status) {
  if (status == 0) {
    return SNMP_ERR_NOERROR;
  }
  log_set_error(status, kRefusedByManager);
  return to_snmp_error_code(status, kMsgSet);
}

}  // namespace vsan_mib

int to_snmp_error_code(int vsan_mgr_status, int request_type) {
  TRACE("%s(%d) \n", __func__, __LINE__);
  if (vsan_mgr_status == kStatusNoVsan || vsan_mgr_status == kStatusVsanConflict) {
    TRACE("%s(%d) ***Inconsistant Name! \n", __func__, __LINE__);
    return request_type == kMsgSet ? SNMP_ERR_INCONSISTENTNAME : SNMP_ERR_NOSUCHNAME;
  }
  return vsan_mgr_status == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}
