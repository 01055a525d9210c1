#include "roles_report.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "platform/syserr.h"
#include "roles.h"
#include "served_pdu.h"

namespace {

constexpr size_t kRangesShown = 20;

unsigned int alarm_number;

bool vacm_knows(const std::string &group) {
  vacm_scanGroupInit();
  for (const vacm_groupEntry *row = vacm_scanGroupNext(); row != nullptr; row = vacm_scanGroupNext()) {
    if (group == row->groupName) {
      return true;
    }
  }
  return false;
}

const char *right_text(switch_right right) {
  switch (right) {
    case switch_right::none:
      return "none";
    case switch_right::read:
      return "read";
    case switch_right::write:
      break;
  }
  return "write";
}

void report_role(const role &row) {
  if (!vacm_knows(row.group)) {
    snmp_log(LOG_WARNING, "switch_agent: role \"%s\": VACM knows no such group\n", row.group.c_str());
  }
  if (row.closed) {
    snmp_log(LOG_WARNING, "switch_agent: role \"%s\": closed, one of its lines is malformed\n", row.group.c_str());
    return;
  }
  const std::string vsans = row.has_vsans ? number_list_text(row.vsan_list, kRangesShown) : "all";
  const std::string interfaces = row.has_interfaces ? number_list_text(row.interface_list, kRangesShown) : "all";
  snmp_log(LOG_INFO, "switch_agent: role \"%s\": VSANs %s; interfaces %s; switch-wide %s\n", row.group.c_str(),
           vsans.c_str(), interfaces.c_str(), right_text(row.right));
}

void report(unsigned int, void *) {
  alarm_number = 0;
  if (roles_closed() == 0) {
    for (const role &row : roles_all()) {
      report_role(row);
    }
  } else if (served_pdu_objects() > 0) {
    snmp_log(LOG_ERR, "switch_agent: the objects are closed for everybody: %s\n", syserr2str(roles_closed()));
  }
}

}  // namespace

void roles_report_later() {
  if (alarm_number == 0) {
    alarm_number = snmp_alarm_register(0, 0, report, nullptr);
  }
}
