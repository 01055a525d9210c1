#include "served_exchanges.h"

#include <errno.h>
#include <stddef.h>
#include <string.h>

#include "big_endian.h"
#include "platform/syserr.h"
#include "repairs.h"
#include "requests.h"
#include "served_pdu_scope.h"
#include "statuses.h"
#include "vsan_records.h"

namespace {

constexpr timeval kTurnAfter = {0, 100'000};

unsigned int turn_alarm;

// What a repair is about, for people.
void name_subject(const platform_repair_outcome &outcome, char *text, size_t room) {
  constexpr size_t kVsanAt = offsetof(vsanRowMessage, row) + offsetof(vsanEntry, vsanIndex);
  if (outcome.opcode == kOpVsanRow && outcome.size >= kVsanAt + 4) {
    snprintf(text, room, "VSAN %u", static_cast<unsigned>(get_be32(outcome.payload + kVsanAt)));
  } else {
    snprintf(text, room, "what opcode %d changed", outcome.opcode);
  }
}

// A VSAN that is not there any more need not be deleted.
bool is_done(const platform_repair_outcome &outcome) {
  return outcome.status == 0 || (outcome.msg_type == kMsgDelete && outcome.status == kStatusNoVsan);
}

void tell_outcome(const platform_repair_outcome *outcome) {
  char subject[64];
  name_subject(*outcome, subject, sizeof subject);
  if (outcome->why == ETIMEDOUT && outcome->sent != 0) {
    snmp_log(LOG_ERR,
             "switch_agent: %s may not be put back after a refused SET: the switch has it and does not answer\n",
             subject);
  } else if (!is_done(*outcome)) {
    snmp_log(LOG_ERR, "switch_agent: %s could not be put back after a refused SET: %s\n", subject,
             outcome->status == -1 ? strerror(outcome->why) : syserr_format(outcome->status));
  } else if (outcome->late != 0) {
    snmp_log(LOG_INFO, "switch_agent: %s was put back after a refused SET\n", subject);
  }
}

void turn_repairs();

void on_turn(unsigned int, void *) {
  turn_alarm = 0;
  turn_repairs();
}

void turn_repairs() {
  if (platform_repairs_turn(tell_outcome) > 0 && turn_alarm == 0) {
    turn_alarm = snmp_alarm_register_hr(kTurnAfter, 0, on_turn, nullptr);
  }
}

}  // namespace

int served_exchanges_begin(const netsnmp_agent_request_info *info) {
  const bool known = info->asp != nullptr && info->asp->pdu != nullptr;
  if (info->mode == MODE_SET_UNDO) {
    platform_repairs_begin();
  }
  return platform_exchanges_of_pdu(known ? static_cast<int>(info->asp->pdu->transid) : 0);
}

void served_exchanges_end(const netsnmp_agent_request_info *info, int outer) {
  platform_exchanges_of_pdu(outer);
  if (info->mode == MODE_SET_UNDO) {
    platform_repairs_end();
    turn_repairs();
  }
}

void served_exchanges_stop() {
  platform_repairs_abandon(tell_outcome);
  if (turn_alarm != 0) {
    snmp_alarm_unregister(turn_alarm);
  }
  turn_alarm = 0;
}
