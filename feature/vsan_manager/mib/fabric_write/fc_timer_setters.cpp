// The per-VSAN timers and their force flag. A timer's ACTION sends one request; nothing is undone.
#include "fabric_write/force_flags.h"
#include "module_frame/exchange.h"
#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/fc_timer_columns.h"
#include "platform/sysmgr.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

// Takes the VSAN from the OID, which must be a row's, and clears the rest of the record. Sends nothing.
int resolve(const written &w, vsanFcTimerEntry *record) {
  row_oid own(w.name, w.name_len);
  return get_vsanFcTimerEntry_instance(own.name, kColumnOidLen, own.name, &own.length, 1, record);
}

// Whether there can be such a row, and the user may write it.
int check_row(const fc_timer_column &column, const written &w) {
  vsanFcTimerEntry record;
  if (resolve(w, &record) != 0) {
    return SNMP_ERR_INCONSISTENTNAME;
  }
  return check_right(w, record.vsan_id, kStatusVsanDenied, kWriteDenied, column.value.setter);
}

// The first octet of the value, also of an empty one: the agent's buffer has it.
uint8_t first_octet(const written &w) {
  return w.value == nullptr ? 0 : *w.value;
}

int check_force_flag(const fc_timer_column &column, const written &w) {
  const int status = check_value(column.value, w);
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  TRACE("%s : ACTION flag i/p %x ", column.value.setter, first_octet(w));
  return check_row(column, w);
}

int store_force_flag(const fc_timer_column &column, const written &w) {
  const char *self = column.value.setter;
  vsanFcTimerEntry record;
  const int status = resolve(w, &record);
  if (status != 0) {
    return to_snmp_error_code(status, kMsgSet);
  }
  const uint8_t input = first_octet(w);
  TRACE("%s : i/p :  %x ", self, input);
  uint8_t flags = 0;
  for (const fc_timer_column &timer : fc_timer_columns()) {
    if ((input & timer.force) != 0) {
      flags = static_cast<uint8_t>(flags | timer.force);
      TRACE_ROW(timer.force_set, self, flags);
    }
  }
  const uint32_t vsan = record.vsan_id;
  keep_force_flags(vsan, flags);
  TRACE("%s : ACTION vsan_id = %d , flag set :  %x ", self, static_cast<int>(vsan), flags);
  return SNMP_ERR_NOERROR;
}

int set_force_flag(const fc_timer_column &column, int action, const written &w) {
  switch (action) {
    case RESERVE1:
      return check_force_flag(column, w);
    case ACTION:
      return store_force_flag(column, w);
    default:
      return SNMP_ERR_NOERROR;
  }
}

int check_timer(const fc_timer_column &column, const written &w) {
  const int status = check_value(column.value, w);
  return status == SNMP_ERR_NOERROR ? check_row(column, w) : status;
}

uint8_t force_of(const fc_timer_column &column, uint32_t vsan) {
  const uint8_t flags = force_flags_of(vsan);
  const bool forced = (flags & column.force) != 0;
  if (column.force_read.format != nullptr) {
    TRACE_ROW(column.force_read, column.value.setter, static_cast<int>(vsan), flags);
  }
  TRACE_ROW(forced ? column.forced : column.not_forced, column.value.setter, static_cast<int>(vsan));
  return forced ? 1 : 0;
}

int send_timer(const fc_timer_column &column, const written &w) {
  vsanFcTimerEntry record;
  int status = resolve(w, &record);
  if (status != 0) {
    return to_snmp_error_code(status, kMsgSet);
  }
  record.force = force_of(column, record.vsan_id);
  record.timer_type = column.timer;
  record.timer_value = read_set_integer(w.value, w.length).value;
  record_swap(&record);

  sysmgr_heartbeat(1);
  status = tell(kOpFcTimer, kMsgSet, &record, sizeof record, kBlockingTimeout);
  if (status != 0 && column.failed.format != nullptr) {
    TRACE_ROW(column.failed, column.value.setter, failure_text(status));
  }
  sysmgr_heartbeat(0);
  return answer_to_write(status);
}

void trace(const fc_timer_column &column, const row_format<const char *> &text) {
  if (text.format != nullptr) {
    TRACE_ROW(text, column.value.setter);
  }
}

int set_timer(const fc_timer_column &column, int action, const written &w) {
  trace(column, column.entered);
  trace(column, text_of(column.phases, action));
  switch (action) {
    case RESERVE1:
      return check_timer(column, w);
    case ACTION:
      return send_timer(column, w);
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

WRITE_METHOD(set_vsanFcTimerForceFlag, set_force_flag, *find_fc_timer_column(kVsanFcTimerForceFlag))
WRITE_METHOD(set_vsanFcTimerRatov, set_timer, *find_fc_timer_column(kVsanFcTimerRatov))
WRITE_METHOD(set_vsanFcTimerEdtov, set_timer, *find_fc_timer_column(kVsanFcTimerEdtov))
WRITE_METHOD(set_vsanFcTimerDstov, set_timer, *find_fc_timer_column(kVsanFcTimerDstov))

uint32_t set_mib_vsanFcTimerForceFlag(uint32_t flags, uint32_t timer_type, int force) {
  if (force == 0) {
    return flags;
  }
  for (const fc_timer_column &column : fc_timer_columns()) {
    if (column.timer == timer_type) {
      return flags | column.force;
    }
  }
  return flags;
}
