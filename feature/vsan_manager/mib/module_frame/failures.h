// What becomes of a status that is not 0: a text for the trace, an error for the agent.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_FAILURES_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_FAILURES_H

namespace vsan_mib {

// The text of a failed exchange's status, right after it: -1 means that `errno` holds the cause.
const char *failure_text(int status);

// The SET status that answers a write which the manager answered with `status`: noError for 0; any other is recorded
// and mapped by to_snmp_error_code.
int answer_to_write(int status);

}  // namespace vsan_mib

#endif
