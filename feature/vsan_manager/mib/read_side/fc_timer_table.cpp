// GET and GETNEXT of the per-VSAN timers: find the VSAN, ask for one timer of it, running or pending.
#include <string.h>

#include "fabric_write/force_flags.h"
#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/row_message.h"
#include "module_frame/trace.h"
#include "objects/fc_timer_columns.h"
#include "read_side/answer_row.h"
#include "read_side/distribution_mode.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_values.h"

using namespace vsan_mib;

namespace {

// The timer record that the last read filled, and the force flag's answer behind it.
struct {
  vsanFcTimerEntry record;
  u_char force_flag;
} timer_answer;

// The timer that a column asks for, by its attribute key; the force flag asks for none.
uint32_t timer_type_of(int magic) {
  const fc_timer_column *column = find_fc_timer_column(magic);
  return column == nullptr ? 0 : column->timer;
}

bool is_vsan(uint32_t vsan) {
  return vsan >= kVsanFirst && vsan <= kVsanReserved;
}

// Asks the manager for the VSAN after `start`.
int next_vsan(uint32_t start, vsanFcTimerEntry *record) {
  const char *self = "get_vsanFcTimerEntry_instance";
  TRACE("%s : Sending GETNEXT request to VSAN mgr with payload (size = %d) vsanIndex = %d\n", self,
        static_cast<int>(sizeof(vsanRowMessage)), static_cast<int>(start));
  const answer got = ask_for_row(kMsgGetNext, start);
  if (!got.complete()) {
    TRACE_AT(kTraceError, "%s : GETNEXT Request failed for vsanIndex = %d with error : %s\n", self,
             static_cast<int>(start), failure_text(got.status));
    return got.payload == nullptr ? static_cast<int>(kStatusNoEntry) : got.status;
  }
  const vsanEntry &row = *take_row(got);
  TRACE("%s : Received  GETNEXT Response from VSAN mgr with payload (size = %d) vsanIndex = %d ", self,
        static_cast<int>(got.size), static_cast<int>(row.vsanIndex));
  if (!is_vsan(row.vsanIndex)) {
    return kStatusNoEntry;
  }
  record->vsan_id = row.vsanIndex;
  TRACE("%s : Exit with success ", self);
  return 0;
}

// Running values are read with GET, an open session's pending ones with KDX_GET_REQ.
int timer_message_type(const distribution_mode &mode, int get_for_set) {
  if (mode.enabled == 0) {
    return kMsgGet;
  }
  if (get_for_set != 0) {
    TRACE("%s get_for_set msg_type = KDX_GET_REQ \n", "header_vsanFcTimerEntry");
    return kMsgKdxGet;
  }
  if (!shows_pending(mode)) {
    return kMsgGet;
  }
  TRACE("%s msg_type = KDX_GET_REQ \n", "header_vsanFcTimerEntry");
  return kMsgKdxGet;
}

answer ask_for_timer(int msg_type, const vsanFcTimerEntry &record) {
  vsanFcTimerEntry wire = record;
  record_swap(&wire);
  return ask(kOpFcTimer, msg_type, &wire, sizeof wire, sizeof wire);
}

// The same, and for a write once more for the running value while another switch holds the lock.
answer ask_past_lock(int msg_type, const vsanFcTimerEntry &record, int get_for_set) {
  answer got = ask_for_timer(msg_type, record);
  if (get_for_set == 0 || msg_type != kMsgKdxGet || got.status != kStatusRemoteLock) {
    return got;
  }
  TRACE("%s Re-sending with GET_REQ \n", "header_vsanFcTimerEntry");
  return ask_for_timer(kMsgGet, record);
}

// What a look at a timer brought, also where its status is 0.
enum class outcome {
  nothing,
  value,
  skip,  // distribution holds no value for this VSAN: the lookup moves on to the next one
};

// Asks for the value of `record`, which names a timer and a VSAN. Returns the status.
int read_value(int msg_type, int get_for_set, vsanFcTimerEntry *record, outcome *brought) {
  const char *self = "header_vsanFcTimerEntry";
  const char *operation = msg_type == kMsgGet ? "GET" : "KDX_GET_REQ";
  const uint32_t vsan = record->vsan_id;
  TRACE("%s : Sending  %s request to VSAN mgr vsan_id = %d) timer_type = %d\n", self, operation, static_cast<int>(vsan),
        static_cast<int>(record->timer_type));
  const answer got = ask_past_lock(msg_type, *record, get_for_set);
  if (msg_type == kMsgKdxGet && got.status == kStatusNotInDistribution) {
    TRACE("%s : attr not found for vsan-id : %d ", self, static_cast<int>(vsan));
    *brought = outcome::skip;
    return 0;
  }
  if (!got.complete()) {
    TRACE("%s : %s request failedfor vsan_id = %d with error : %s\n", self, operation, static_cast<int>(vsan),
          failure_text(got.status));
    return got.status;
  }
  *record = record_read<vsanFcTimerEntry>(static_cast<const uint8_t *>(got.payload.get()));
  TRACE("%s : Received  %s response from VSAN mgr  vsanIndex = %d Timer_type  = %d, timer_value =%d \n", self,
        msg_type == kMsgGet ? "GET" : "GETNEXT", static_cast<int>(record->vsan_id),
        static_cast<int>(record->timer_type), static_cast<int>(record->timer_value));
  *brought = outcome::value;
  return 0;
}

// One look at one VSAN's timer. Returns the status; `*brought` stays where nothing came. A success without a value
// leaves the OID as it was.
int read_timer(struct variable *vp, oid *name, size_t *length, int exact, vsanFcTimerEntry *record, int get_for_set,
               outcome *brought) {
  const char *self = "header_vsanFcTimerEntry";
  const distribution_mode mode = ask_distribution();
  TRACE("%s : calling timer_instance() ", self);
  int status = get_vsanFcTimerEntry_instance(vp->name, vp->namelen, name, length, exact, record);
  TRACE("%s : done calling timer_instance() ", self);
  if (status != 0) {
    TRACE("%s : return after timer_instance()", self);
    return status;
  }
  record->timer_type = timer_type_of(vp->magic);
  status = read_value(timer_message_type(mode, get_for_set), get_for_set, record, brought);
  if (*brought == outcome::value) {
    write_row_oid(vp->name, vp->namelen, record->vsan_id, name, length);
  }
  return status;
}

bool find_timer(struct variable *vp, oid *name, size_t *length, int exact) {
  const allowed_vsans allowed = allowed_for_user(name, *length, SNMP_MSG_GET);
  vsanFcTimerEntry *record = &timer_answer.record;
  if (!allowed.restricted) {
    TRACE("%s : before calling header_timer_ entry ", "get_vsanFcTimerEntry");
    if (header_vsanFcTimerEntry(vp, name, length, exact, record, 0) != 0) {
      return false;
    }
    TRACE("%s : getting the values", "get_vsanFcTimerEntry");
    return true;
  }
  if (exact != 0) {
    return header_vsanFcTimerEntry(vp, name, length, exact, record, 0) == 0 &&
           vsan_in_set(record->vsan_id, allowed.set) != 0;
  }
  const auto fetch = [&](uint32_t &vsan) {
    if (header_vsanFcTimerEntry(vp, name, length, 0, record, 0) != 0) {
      return false;
    }
    vsan = record->vsan_id;
    return true;
  };
  const auto resume = [&](int present, uint32_t vsan) {
    if (present == 0) {
      return;
    }
    name[vp->namelen] = vsan - 1;
    *length = vp->namelen + 1u;
  };
  return walk_to_allowed(allowed.set, fetch, resume);
}

}  // namespace

int get_vsanFcTimerEntry_instance(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact,
                                  vsanFcTimerEntry *record) {
  *record = {};
  record->flag = 1;
  TRACE("%s : Entered ", __func__);
  TRACE("%s : *length = %d , vp_namelen = %d ", __func__, static_cast<int>(*length), static_cast<int>(vp_namelen));

  if (exact != 0) {
    if (*length != vp_namelen + 1 || !is_vsan(sub_id(name, vp_namelen))) {
      return kStatusNoEntry;
    }
    record->vsan_id = sub_id(name, vp_namelen);
    TRACE("%s : Exit with success ", __func__);
    return 0;
  }
  uint32_t start = 0;
  if (*length >= vp_namelen && in_column(vp_name, vp_namelen, name)) {
    TRACE("%s : oid comapre matched ", __func__);
    if (*length > vp_namelen) {
      start = sub_id(name, vp_namelen);
    }
    // A signed test: an index of 2^31 and more is left to the manager, which knows no VSAN after it.
    if (static_cast<int32_t>(start) > static_cast<int32_t>(kVsanReserved)) {
      TRACE("%s : reached max count", __func__);
      return kStatusNoEntry;
    }
  }
  return next_vsan(start, record);
}

int header_vsanFcTimerEntry(struct variable *vp, oid *name, size_t *length, int exact, vsanFcTimerEntry *record,
                            int get_for_set) {
  uint32_t previous = 0;
  for (;;) {
    outcome brought = outcome::nothing;
    const int status = read_timer(vp, name, length, exact, record, get_for_set, &brought);
    if (brought != outcome::skip) {
      return status;
    }
    // The lookup moves on to the next VSAN, also when this was a GET. VSANs that do not rise end it.
    const uint32_t vsan = record->vsan_id;
    if (vsan <= previous) {
      return kStatusNoEntry;
    }
    previous = vsan;
    write_row_oid(vp->name, vp->namelen, vsan, name, length);
    exact = 0;
  }
}

u_char *get_vsanFcTimerEntry(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                             WriteMethod **write_method) {
  set_fctimer_table_set_methods(vp->magic, write_method);
  if (!find_timer(vp, name, length, exact)) {
    return nullptr;
  }

  if (vp->magic == kVsanFcTimerForceFlag) {
    timer_answer.force_flag = force_flags_of(timer_answer.record.vsan_id);
    *var_len = 1;
    return &timer_answer.force_flag;
  }
  if (timer_type_of(vp->magic) == 0) {
    snmp_set_detail("BAD THING HAPPENED");
    return nullptr;
  }
  answer_word = timer_answer.record.timer_value;
  *var_len = 4;
  return reinterpret_cast<u_char *>(&answer_word);
}
