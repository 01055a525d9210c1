// The errors of users: kept for `vsanctl show errors`, and written to the agent's log.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "log_limit.h"
#include "monotonic_clock.h"
#include "platform/agent.h"
#include "platform/syserr.h"
#include "refused_requests.h"
#include "served_pdu.h"
#include "switchplatform/shared_page.h"

namespace {

log_limit limit;

// Any user can be refused without end: the log takes so many lines, `vsanctl show errors` every error.
void log_error(const platform_error &error) {
  uint32_t left_out = 0;
  if (!log_limit_take(&limit, monotonic_seconds(), &left_out)) {
    return;
  }
  if (left_out > 0) {
    snmp_log(LOG_WARNING, "switch_agent: %u errors of users were left out of this log\n",
             static_cast<unsigned>(left_out));
  }
  snmp_log(LOG_WARNING, "switch_agent: user \"%s\", PDU %u: %s (detail %d)\n", error.user,
           static_cast<unsigned>(error.pdu), error.text, static_cast<int>(error.detail));
}

void keep_error(uint32_t code, int detail, const char *text) {
  platform_error error = {};
  error.pdu = static_cast<uint32_t>(served_pdu_number());
  error.code = code;
  error.detail = detail;
  snprintf(error.user, sizeof error.user, "%s", get_snmp_username(0));
  snprintf(error.text, sizeof error.text, "%s", text);
  if (platform_errors_write(&error) != 0) {
    snmp_log(LOG_DEBUG, "switch_agent: the next error is in this log only\n");
  }
  refused_requests_note(error);
  log_error(error);
}

}  // namespace

void log_snmp_error(snmp_error_record_t *record) {
  char text[sizeof record->text];
  snprintf(text, sizeof text, "%.*s", static_cast<int>(sizeof text - 1), record->text);
  keep_error(record->code, 0, text);
}

// -1 is no status but a failed exchange, of which errno holds the cause.
void log_set_error(int code, int detail) {
  if (code == -1) {
    char text[128];
    snprintf(text, sizeof text, "no answer from the manager: %s", strerror(errno));
    keep_error(static_cast<uint32_t>(code), detail, text);
    return;
  }
  keep_error(static_cast<uint32_t>(code), detail, syserr_format(code));
}
