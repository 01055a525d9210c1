// The per-VSAN timers and their force flag. A timer is one row of kTimers; its ACTION sends one request, and nothing is
// undone.
#include "fabric_write/force_flags.h"
#include "module_frame/exchange.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "platform/sysmgr.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

enum { kForceRatov = 0x80, kForceEdtov = 0x40, kForceDstov = 0x20 };

// The statuses and the input are read by nobody but a debugger. The force flags stay as they were written until they
// are written again, across PDUs: managers set them once and then change timers.
struct FcTimerSetState {
  uint8_t flag_input;
  int last_status;
  int ratov_status;
  uint8_t force_flags[4096];
};

FcTimerSetState state;

// Takes the VSAN from the OID, which must be a row's, and clears the rest of the record. Sends nothing.
int resolve(const written &w, vsanFcTimerEntry *record) {
  row_oid own(w.name, w.name_len);
  return get_vsanFcTimerEntry_instance(own.name, kColumnOidLen, own.name, &own.length, 1, record);
}

int check_right(const char *setter, uint32_t vsan, const written &w) {
  if (!write_is_denied(vsan, w.name, w.name_len)) {
    return SNMP_ERR_NOERROR;
  }
  TRACE_AT(kTraceError, "%s : vsan restricted user -- not allowed in this vsan\n", setter);
  return report_denial(kStatusVsanDenied);
}

// The first octet of the value, also of an empty one: the agent's buffer has it.
uint8_t first_octet(const written &w) {
  return w.value == nullptr ? 0 : *w.value;
}

int check_force_flag(const written &w) {
  const char *self = "set_vsanFcTimerForceFlag";
  if (w.type != ASN_OCTET_STR) {
    TRACE("%s : write to vsanFcTimerForceFlag not ASN_OCTET_STR \n", self);
    return SNMP_ERR_WRONGTYPE;
  }
  if (w.length > 1) {
    TRACE("%s : write to vsanFcTimerForceFlag - bad length \n", self);
    return SNMP_ERR_WRONGLENGTH;
  }
  state.flag_input = first_octet(w);
  TRACE("%s : ACTION flag i/p %x ", self, state.flag_input);
  vsanFcTimerEntry record;
  state.last_status = resolve(w, &record);
  if (state.last_status != 0) {
    return SNMP_ERR_INCONSISTENTNAME;
  }
  return check_right(self, record.vsan_id, w);
}

struct force_bit {
  uint8_t bit;
  const char *trace;
};

constexpr force_bit kForceBits[] = {
    {kForceRatov, "%s : SET R_A_TOV flag :  %x"},
    {kForceEdtov, "%s : SET E_D_TOV flag :  %x"},
    {kForceDstov, "%s : SET D_S_TOV flag :  %x"},
};

int store_force_flag(const written &w) {
  const char *self = "set_vsanFcTimerForceFlag";
  vsanFcTimerEntry record;
  state.last_status = resolve(w, &record);
  if (state.last_status != 0) {
    return to_snmp_error_code(state.last_status, kMsgSet);
  }

  state.flag_input = first_octet(w);
  uint8_t &flags = state.force_flags[record.vsan_id];
  flags = 0;
  TRACE("%s : i/p :  %x ", self, state.flag_input);
  for (const force_bit &force : kForceBits) {
    if ((state.flag_input & force.bit) == 0) {
      continue;
    }
    flags = static_cast<uint8_t>(flags | force.bit);
    TRACE(force.trace, self, flags);
  }
  const uint32_t vsan = record.vsan_id;
  TRACE("%s : ACTION vsan_id = %d , flag set :  %x ", self, static_cast<int>(vsan), flags);
  return SNMP_ERR_NOERROR;
}

struct timer_setter {
  const char *name;
  uint32_t type;
  uint8_t force;
  uint32_t low;
  uint32_t high;
  const char *entered;          // every phase; null: `phase` instead
  const char *phase[UNDO + 1];  // null: none
  const char *wrong_type;
  const char *bad_length;
  const char *wrong_value;
  const char *all_flags;  // before the force line; null: none
  const char *forced;
  const char *not_forced;
  const char *failed;  // null: none
  int *status;         // where the last status is kept; null: nowhere
};

constexpr timer_setter kDstov = {"set_vsanFcTimerDstov",
                                 9,
                                 kForceDstov,
                                 5000,
                                 10000,
                                 "%s : setting the values",
                                 {},
                                 "%s : write to vsanFcTimerDstov not ASN_UNSIGNED\n",
                                 "%s : write to vsanFcTimerDstov - bad length \n",
                                 "%s : write to vsanFcTimerDstov - wrong value \n",
                                 nullptr,
                                 "%s : ACTION vsanid = %d  ForceFlag - True ",
                                 "%s : ACTION vsanid = %d  ForceFlag  - false ",
                                 nullptr,
                                 nullptr};

constexpr timer_setter kEdtov = {"set_vsanFcTimerEdtov",
                                 7,
                                 kForceEdtov,
                                 1000,
                                 4000,
                                 "%s : setting the values",
                                 {},
                                 " %s : write to vsanFcTimerEdtov not ASN_UNSIGNED\n",
                                 " %s : write to vsanFcTimerEdtov bad length \n",
                                 " %s : write to vsanFcTimerEdtov wrong value \n",
                                 nullptr,
                                 "%s : ACTION vsanid = %d  ForceFlag SET - True",
                                 "%s : ACTION vsanid = %d  ForceFlag SET - false",
                                 nullptr,
                                 nullptr};

constexpr timer_setter kRatov = {"set_vsanFcTimerRatov",
                                 8,
                                 kForceRatov,
                                 5000,
                                 10000,
                                 nullptr,
                                 {"%s : setting the values RESERVE1 ", "%s : setting the values RESERVE2 ",
                                  "%s : setting the values ACTION", nullptr, "%s : setting the values FREE ", nullptr},
                                 "%s : write to vsanFcTimerRatov not ASN_UNSIGNED \n",
                                 "%s : write to vsanFcTimerRatov bad length\n",
                                 "%s : wrong value \n",
                                 "%s : ACTION vsanid = %d force_flag_set = %x ",
                                 "%s : ACTION vsanid = %d  ForceFlag SET - true ",
                                 "%s : ACTION vsanid = %d  ForceFlag SET - false ",
                                 "%s : ACTION set REq failed , %s  ",
                                 &state.ratov_status};

int keep_status(const timer_setter &setter, int status) {
  if (setter.status != nullptr) {
    *setter.status = status;
  }
  return status;
}

int refuse(const timer_setter &setter, const char *format, int status) {
  TRACE(format, setter.name);
  return status;
}

int check_timer(const timer_setter &setter, const written &w) {
  if (w.type != ASN_UNSIGNED) {
    return refuse(setter, setter.wrong_type, SNMP_ERR_WRONGTYPE);
  }
  if (!is_integer_length(w.length)) {
    return refuse(setter, setter.bad_length, SNMP_ERR_WRONGLENGTH);
  }
  if (!in_range(read_set_integer(w.value, w.length), setter.low, setter.high)) {
    return refuse(setter, setter.wrong_value, SNMP_ERR_WRONGVALUE);
  }
  vsanFcTimerEntry record;
  if (keep_status(setter, resolve(w, &record)) != 0) {
    return SNMP_ERR_INCONSISTENTNAME;
  }
  return check_right(setter.name, record.vsan_id, w);
}

uint8_t force_of(const timer_setter &setter, uint32_t vsan) {
  const uint8_t flags = state.force_flags[vsan];
  const bool forced = (flags & setter.force) != 0;
  if (setter.all_flags != nullptr) {
    TRACE(setter.all_flags, setter.name, static_cast<int>(vsan), flags);
  }
  TRACE(forced ? setter.forced : setter.not_forced, setter.name, static_cast<int>(vsan));
  return forced ? 1 : 0;
}

int send_timer(const timer_setter &setter, const written &w) {
  vsanFcTimerEntry record;
  int status = keep_status(setter, resolve(w, &record));
  if (status != 0) {
    return to_snmp_error_code(status, kMsgSet);
  }
  record.force = force_of(setter, record.vsan_id);
  record.timer_type = setter.type;
  record.timer_value = read_set_integer(w.value, w.length).value;
  vsanNewFcTimer_ntoh(&record);

  sysmgr_heartbeat(1);
  status = keep_status(setter, tell(kOpFcTimer, kMsgSet, &record, sizeof record, kBlockingTimeout));
  if (status != 0 && setter.failed != nullptr) {
    TRACE(setter.failed, setter.name, failure_text(status));
  }
  sysmgr_heartbeat(0);
  return status == 0 ? SNMP_ERR_NOERROR : refused_write(status);
}

int set_timer(const timer_setter &setter, int action, const written &w) {
  if (setter.entered != nullptr) {
    TRACE(setter.entered, setter.name);
  }
  if (action < RESERVE1 || action > UNDO) {
    return SNMP_ERR_NOERROR;
  }
  if (setter.phase[action] != nullptr) {
    TRACE(setter.phase[action], setter.name);
  }
  if (action == RESERVE1) {
    return check_timer(setter, w);
  }
  if (action == ACTION) {
    return send_timer(setter, w);
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

namespace vsan_mib {

uint8_t force_flags_of(uint32_t vsan) {
  return vsan < sizeof state.force_flags ? state.force_flags[vsan] : uint8_t{0};
}

}  // namespace vsan_mib

int set_vsanFcTimerForceFlag(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char * /*statP*/,
                             oid *name, size_t name_len) {
  const written w = {var_val, var_val_type, var_val_len, name, name_len};
  if (action == RESERVE1) {
    return check_force_flag(w);
  }
  if (action == ACTION) {
    return store_force_flag(w);
  }
  return SNMP_ERR_NOERROR;
}

#define TIMER_SETTER(function, setter)                                                                              \
  int function(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char * /*statP*/, oid *name, \
               size_t name_len) {                                                                                   \
    return set_timer(setter, action, {var_val, var_val_type, var_val_len, name, name_len});                         \
  }

TIMER_SETTER(set_vsanFcTimerRatov, kRatov)
TIMER_SETTER(set_vsanFcTimerEdtov, kEdtov)
TIMER_SETTER(set_vsanFcTimerDstov, kDstov)

uint32_t set_mib_vsanFcTimerForceFlag(uint32_t flags, uint32_t timer_type, int force) {
  if (force == 0) {
    return flags;
  }
  for (const timer_setter *setter : {&kRatov, &kEdtov, &kDstov}) {
    if (setter->type == timer_type) {
      return flags | setter->force;
    }
  }
  return flags;
}
