// GET and GETNEXT of the VSAN table: OID to VSAN, VSAN to row through the one-row cache, row to column.
#include <string.h>

#include <utility>

#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/row_message.h"
#include "module_frame/trace.h"
#include "objects/vsan_columns.h"
#include "platform/agent.h"
#include "read_side/answer_row.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"

using namespace vsan_mib;

namespace {

enum { kNoIndex = -1 };

// The row that answered the last request. Its key is the index asked for, so that every column of a GETNEXT over one
// row is a hit, and the PDU's number, so that it never answers another PDU.
struct {
  int32_t last_index = kNoIndex;  // kNoIndex: empty
  int last_exact = 0;
  int request_id = 0;
  response_ptr payload;  // that the row lies in
  const vsanEntry *row = &kNoRow;
} cache;

bool is_cached(uint32_t index, int exact) {
  return cache.last_index != kNoIndex && get_pdu_reqid() == cache.request_id && exact == cache.last_exact &&
         static_cast<int32_t>(index) == cache.last_index;
}

const char *operation_name(int msg_type) {
  return msg_type == kMsgGet ? "GET " : "GETNEXT";
}

void trace_received(const answer &got, int msg_type, const vsanEntry &row) {
  TRACE(
      "%s(%d) : Received  %s response from VSAN mgr with payload (size = %d) Index = %d MediaType = %d, State=%d, "
      "Mtu=%d, IODelivery = %d, vsanInteropMode=%d, LoadBalancingType=%d, rowStatus=%d, OperationalState =%d, Name=%s "
      "nwlatency %d\n",
      "header_vsanEntry", __LINE__, operation_name(msg_type), static_cast<int>(got.size),
      static_cast<int>(row.vsanIndex), static_cast<int>(row.vsanMediaType), static_cast<int>(row.vsanAdminState),
      static_cast<int>(row.vsanMtu), static_cast<int>(row.vsanInorderDelivery), static_cast<int>(row.vsanInteropMode),
      static_cast<int>(row.vsanLoadBalancingType), static_cast<int>(row.vsanRowStatus),
      static_cast<int>(row.vsanOperState), row.vsanName, static_cast<int>(row.vsanNetworkDropLatency));
}

// Asks the manager for the row of the VSAN `asked`, or the one after it, and caches it. Returns the status; with 0,
// `*found` tells whether a row came.
int fetch_row(int exact, uint32_t asked, bool *found) {
  const int msg_type = exact != 0 ? kMsgGet : kMsgGetNext;
  cache.request_id = get_pdu_reqid();
  cache.last_exact = exact;

  TRACE("%s(%d) : Sending %s request to VSAN mgr with payload (size = %d) vsanIndex = %d\n", "header_vsanEntry",
        __LINE__, operation_name(msg_type), static_cast<int>(sizeof(vsanRowMessage)), static_cast<int>(asked));
  answer got = ask_for_row(msg_type, asked);
  *found = got.complete();
  if (!got.complete()) {
    TRACE_AT(kTraceError, "%s(%d) : %s request FAILED for vsanIndex = %d with error : %s\n", "header_vsanEntry",
             __LINE__, operation_name(msg_type), static_cast<int>(asked), failure_text(got.status));
    cache.last_index = kNoIndex;
    return got.status;
  }
  cache.last_index = static_cast<int32_t>(asked);
  cache.row = take_row(got);
  trace_received(got, msg_type, *cache.row);
  cache.payload = std::move(got.payload);
  return 0;
}

// The row that was found last, where the cache does not hold it as it was answered.
vsanEntry own_row;

// The cache may get another row, or the answer is to differ from it.
void keep_answer_row() {
  if (vsan_answer_row == cache.row) {
    own_row = *cache.row;
    vsan_answer_row = &own_row;
  }
}

u_char *field_of(const vsanEntry *row, size_t field) {
  return reinterpret_cast<u_char *>(const_cast<vsanEntry *>(row)) + field;
}

u_char *answer_with(uint32_t word) {
  answer_word = word;
  return reinterpret_cast<u_char *>(&answer_word);
}

u_char *interop_answer() {
  if (vsan_answer_row->vsanInteropMode == kVsanInteropDefault) {
    keep_answer_row();
    own_row.vsanInteropMode = 0;
  }
  return field_of(vsan_answer_row, offsetof(vsanEntry, vsanInteropMode));
}

u_char *column_answer(int magic, size_t *var_len) {
  TRACE("%s(%d) Request type:%d \n", "get_vsanEntry", __LINE__, magic);
  const vsan_column *column = find_vsan_column(magic);
  if (column == nullptr) {
    *var_len = sizeof(uint32_t);
    snmp_set_detail("BAD THING HAPPENED");
    return nullptr;
  }
  u_char *field = field_of(vsan_answer_row, column->field);
  *var_len = column->read == column_read::name ? strlen(vsan_answer_row->vsanName) : sizeof(uint32_t);
  if (column->answered.format != nullptr) {
    int word;
    memcpy(&word, field, sizeof word);
    TRACE_ROW(column->answered, "get_vsanEntry", __LINE__, static_cast<int>(*var_len), word);
  }
  switch (column->read) {
    case column_read::active:
      return answer_with(RS_ACTIVE);
    case column_read::interop:
      return interop_answer();
    default:
      return field;
  }
}

int look_up(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, uint32_t *asked, bool *found);

// Makes the row that the OID asks for the answer row. One that did not come is zeros with the index asked for.
bool find_row(struct variable *vp, oid *name, size_t *length, int exact) {
  uint32_t asked = 0;
  bool found = false;
  const int status = look_up(vp->name, vp->namelen, name, length, exact, &asked, &found);
  if (found) {
    vsan_answer_row = cache.row;
  } else {
    own_row = {};
    own_row.vsanIndex = asked;
    vsan_answer_row = &own_row;
  }
  return status == 0;
}

bool find_row_restricted_get(struct variable *vp, oid *name, size_t *length, int exact, const vsan_set_t &set) {
  if (!find_row(vp, name, length, exact)) {
    return false;
  }
  const int allowed = vsan_in_set(vsan_answer_row->vsanIndex, set);
  TRACE("%s(%d) vsanIndex:%d , allowed:%d \n", "get_vsanEntry", __LINE__, static_cast<int>(vsan_answer_row->vsanIndex),
        allowed);
  return allowed != 0;
}

bool find_row_restricted_next(struct variable *vp, oid *name, size_t *length, const vsan_set_t &set) {
  const auto fetch = [&](uint32_t &vsan) {
    if (!find_row(vp, name, length, 0)) {
      return false;
    }
    vsan = vsan_answer_row->vsanIndex;
    TRACE("%s(%d) vsanIndex:%d \n", "get_vsanEntry", __LINE__, static_cast<int>(vsan));
    return true;
  };
  // The walk goes on from just before the next allowed VSAN, so that it lands there or on the first row after it.
  const auto resume = [&](int present, uint32_t vsan) {
    TRACE("%s(%d) vsan_present:%d \n", "get_vsanEntry", __LINE__, present);
    if (present == 0) {
      return;
    }
    name[vp->namelen] = vsan - 1;
    *length = vp->namelen + 1u;
  };
  return walk_to_allowed(set, fetch, resume);
}

bool find_visible_row(struct variable *vp, oid *name, size_t *length, int exact) {
  const allowed_vsans allowed = allowed_for_user(name, *length, SNMP_MSG_GET);
  if (allowed.restricted) {
    return exact != 0 ? find_row_restricted_get(vp, name, length, exact, allowed.set)
                      : find_row_restricted_next(vp, name, length, allowed.set);
  }
  const bool found = find_row(vp, name, length, exact);
  TRACE("%s(%d) vsanIndex:%d \n", "get_vsanEntry", __LINE__, static_cast<int>(vsan_answer_row->vsanIndex));
  return found;
}

// Takes the index asked for from the OID; 0 where it has none.
int read_index(oid *vp_name, size_t vp_namelen, const oid *name, size_t length, int exact, uint32_t *asked) {
  enum { kLastIndex = 4096 };
  const char *self = "get_vsanEntry_instance";

  if (length <= vp_namelen) {
    return 0;
  }
  if (exact != 0) {
    if (length != vp_namelen + 1) {
      return 0;
    }
    *asked = sub_id(name, vp_namelen);
    TRACE("%s(%d) * entry->vsanIndex:%d *\n", self, __LINE__, static_cast<int>(*asked));
    return 0;
  }
  if (in_column(vp_name, vp_namelen, name)) {
    *asked = sub_id(name, vp_namelen);
  }
  if (*asked > kLastIndex) {
    TRACE("%s(%d)*** vsanIndex:%d *** \n", self, __LINE__, static_cast<int>(*asked));
    return kStatusNoEntry;
  }
  return 0;
}

// Has the cache hold the row that the OID asks for and rewrites the OID to it. Returns the status; a success without a
// row (`*found` false) leaves the OID as it was. `*asked` is the index asked for, 0 before.
int look_up(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, uint32_t *asked, bool *found) {
  const char *self = "header_vsanEntry";
  if (read_index(vp_name, vp_namelen, name, *length, exact, asked) != 0) {
    TRACE("%s(%d) *** get_entry instance NO_ENTRY! ***\n", self, __LINE__);
    return kStatusNoEntry;
  }
  if (is_cached(*asked, exact)) {
    *found = true;
    TRACE(
        "%s : %s(%d) found the entry for vsan %d in the cache (last_index %d last_exact %d cache_index %d returning "
        "from cache\n",
        self, self, __LINE__, static_cast<int>(*asked), cache.last_index, cache.last_exact,
        static_cast<int>(cache.row->vsanIndex));
  } else if (const int status = fetch_row(exact, *asked, found); status != 0 || !*found) {
    return status;
  }
  write_row_oid(vp_name, vp_namelen, cache.row->vsanIndex, name, length);
  return 0;
}

}  // namespace

int get_vsanEntry_instance(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanEntry *record) {
  *record = {};
  return read_index(vp_name, vp_namelen, name, *length, exact, &record->vsanIndex);
}

int header_vsanEntry(oid *vp_name, size_t vp_namelen, oid *name, size_t *length, int exact, vsanEntry *record) {
  keep_answer_row();
  *record = {};
  bool found = false;
  const int status = look_up(vp_name, vp_namelen, name, length, exact, &record->vsanIndex, &found);
  if (found) {
    *record = *cache.row;
  }
  return status;
}

u_char *get_vsanEntry(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                      WriteMethod **write_method) {
  TRACE("%s(%d) Magic:%d  \n", __func__, __LINE__, vp->magic);
  set_table_set_methods(vp->magic, write_method);
  if (!find_visible_row(vp, name, length, exact)) {
    return nullptr;
  }
  return column_answer(vp->magic, var_len);
}
