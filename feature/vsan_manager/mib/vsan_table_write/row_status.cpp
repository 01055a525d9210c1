// The row status column: creates, re-applies and deletes VSANs.
//
//                     VSAN is absent                                 VSAN is there
//
//   createAndGo  RESERVE1  default row pending                       inconsistentValue
//                ACTION    SET of the pending row, status active
//                UNDO      DELETE of the VSAN, row dropped           (a saved row is dropped, nothing sent)
//
//   active       RESERVE1  passes                                    old row saved
//                ACTION    inconsistentValue                         SET of the current row, which is saved if the
//                                                                    look-up before RESERVE1 broke
//                UNDO      nothing                                   SET of the saved row
//
//   destroy      RESERVE1  passes                                    old row saved
//                ACTION    nothing to delete: no error               DELETE of the row, saved likewise
//                UNDO      nothing                                   SET of the saved row
//
//   COMMIT and FREE drop whatever of the VSAN is still listed. All other values are refused in RESERVE1.
#include <errno.h>
#include <string.h>

#include "module_frame/failures.h"
#include "module_frame/oid_index.h"
#include "module_frame/restriction.h"
#include "module_frame/row_message.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/vsan_columns.h"
#include "platform/syserr.h"
#include "read_side/answer_row.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_table_write/row_lists.h"
#include "vsan_table_write/written_row.h"
#include "vsan_values.h"

using namespace vsan_mib;

namespace {

constexpr const char *kSelf = "set_vsanRowStatus";

uint32_t requested_status(const written &w) {
  return read_set_integer(w.value, w.length).value;
}

// Only VSANs of their set may be created, re-applied or deleted by restricted users.
int check_row_right(const vsan_column &column, uint32_t vsan, const written &w) {
  return check_right(w, vsan, kStatusRowDenied, column.denied, kSelf);
}

// Keeps the row for UNDO.
int save_row(const vsanEntry &row) {
  row_ptr saved = new_row();
  if (saved == nullptr) {
    return SNMP_ERR_GENERR;
  }
  *saved = row;
  if (!list_saved(std::move(saved), lister::row_status)) {
    TRACE("%s(%d) undo_list %d \n", kSelf, __LINE__, static_cast<int>(row.vsanIndex));
    return SNMP_ERR_GENERR;
  }
  TRACE("%s(%d) indexobj_Add to undo_list \n", kSelf, __LINE__);
  return SNMP_ERR_NOERROR;
}

int list_new_row(const vsan_column &column, const written &w) {
  TRACE("%s(%d) RS_CREATEANDGO! \n", kSelf, __LINE__);
  row_ptr row = new_row();
  if (row == nullptr) {
    return SNMP_ERR_GENERR;
  }
  TRACE("%s(%d)set_vsanRowStatus  RS_CREATEANDGO! \n", kSelf, __LINE__);
  if (!parse_key(w.name, w.name_len, row.get())) {
    TRACE("%s(%d) *** InconsistantName! ***\n", kSelf, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  TRACE("%s(%d) Validate Vsan_id\n", kSelf, __LINE__);
  const int status = check_row_right(column, row->vsanIndex, w);
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  vsanEntry_defaults(row.get());
  row->vsanRowStatus = RS_CREATEANDGO;
  TRACE("%s(%d) : Row Status = %d\n", kSelf, __LINE__, static_cast<int>(row->vsanRowStatus));
  TRACE("%s(%d) : Adding entry vsanIndex = %d, to vsanEntry_list (row_status = %d)\n", kSelf, __LINE__,
        static_cast<int>(row->vsanIndex), static_cast<int>(row->vsanRowStatus));
  return list_pending(std::move(row), lister::row_status) ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}

int check_named_row(const vsan_column &column, uint32_t requested, const written &w) {
  vsanEntry key = key_of(w.name, w.name_len);
  if (requested == RS_DESTROY) {
    if (!parse_key(w.name, w.name_len, &key)) {
      TRACE("%s(%d) *** InconsistantName! ***\n", kSelf, __LINE__);
      return SNMP_ERR_INCONSISTENTNAME;
    }
    TRACE("%s(%d) : set Rowstatus Validate Vsan_id \n", kSelf, __LINE__);
  }
  return check_row_right(column, key.vsanIndex, w);
}

// The VSAN is checked between the value's form and the value.
int check_request(const vsan_column &column, const written &w) {
  const int status = check_form(column.value, w);
  if (status == SNMP_ERR_WRONGTYPE) {
    TRACE("%s(%d) RESERVE1 !ASN_INTEGER \n", kSelf, __LINE__);
  }
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  const uint32_t vsan = last_sub_id(w.name, w.name_len);
  if (vsan < kVsanFirst || vsan > kVsanReserved) {
    return SNMP_ERR_WRONGVALUE;
  }
  TRACE("%s(%d) set_vsanrowstatus long_ret:%d \n", kSelf, __LINE__, static_cast<int>(vsan));
  TRACE("%s(%d) long_ret:%d \n", kSelf, __LINE__, static_cast<int>(requested_status(w)));
  return check_content(column.value, w);
}

int reserve1(const vsan_column &column, const written &w) {
  TRACE("%s(%d) In RESERVE1 \n", kSelf, __LINE__);
  int status = check_request(column, w);
  if (status != SNMP_ERR_NOERROR) {
    return status;
  }
  const uint32_t requested = requested_status(w);
  if (requested == RS_CREATEANDGO) {
    if (w.current == nullptr) {
      return list_new_row(column, w);
    }
    TRACE("%s(%d) ***InconsistantName! ***\n", kSelf, __LINE__);
    return SNMP_ERR_INCONSISTENTVALUE;
  }
  if (w.current != nullptr) {
    status = save_row(*vsan_answer_row);  // that the find function has just looked up
    if (status != SNMP_ERR_NOERROR) {
      return status;
    }
  }
  return check_named_row(column, requested, w);
}

// Kept: the answer word that the find function returned reads as active from here on.
int reserve2(u_char *current) {
  if (current != nullptr) {
    *current = RS_ACTIVE;
  }
  TRACE("%s(%d) RESERVE2 \n", kSelf, __LINE__);
  return SNMP_ERR_NOERROR;
}

const char *operation_name(int msg_type) {
  return msg_type == kMsgDelete ? "DELETE" : "SET";
}

int apply(int msg_type, const vsanEntry &row) {
  const char *operation = operation_name(msg_type);
  TRACE(
      "Sending %s req to vsan for vsan = %d name %s mediatype %d mtu %d inorderdeliver %d interopermode %d loadbtype "
      "%d state %d  nwlatency %d\n",
      operation, static_cast<int>(row.vsanIndex), row.vsanName, static_cast<int>(row.vsanMediaType),
      static_cast<int>(row.vsanMtu), static_cast<int>(row.vsanInorderDelivery), static_cast<int>(row.vsanInteropMode),
      static_cast<int>(row.vsanLoadBalancingType), static_cast<int>(row.vsanAdminState),
      static_cast<int>(row.vsanNetworkDropLatency));
  const int status = send_row(msg_type, row);
  if (status != 0) {
    TRACE_AT(kTraceError, "%s failed : %s\n", operation, failure_text(status));
    return answer_to_write(status);
  }
  TRACE("%s : %s(%d) %s for vsanIndex %d succeeded\n", kSelf, kSelf, __LINE__, operation,
        static_cast<int>(row.vsanIndex));
  return SNMP_ERR_NOERROR;
}

// Sends the row that RESERVE1 listed, with every column value that this PDU has stored since. It stays listed.
int create_row(const vsanEntry &key) {
  TRACE("%s(%d): Fetching  entry for vsanEntry_list with vsanIndex = %d\n", kSelf, __LINE__,
        static_cast<int>(key.vsanIndex));
  vsanEntry *pending = find_pending(key);
  if (pending == nullptr) {
    TRACE("%s(%d) ***Return Inconsistantname! ***\n", kSelf, __LINE__);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  TRACE("%s(%d): Fetched  entry from vsanEntry_list for SET with vsanIndex = %d\n", kSelf, __LINE__,
        static_cast<int>(key.vsanIndex));
  TRACE("%s(%d): SET REQ create a new entry! \n", kSelf, __LINE__);
  pending->vsanRowStatus = RS_ACTIVE;
  return apply(kMsgSet, *pending);
}

// A creation that sent nothing: UNDO, which deletes what was created, finds a saved row and only drops that. The VSAN
// may be there although RESERVE1 did not see it.
void keep_undo_from_deleting(const vsanEntry &key) {
  row_ptr unsent = take_pending(key);
  if (unsent != nullptr) {
    list_saved(std::move(unsent), lister::row_status);
  }
}

int act_on_absent(int status, uint32_t requested, const vsanEntry &key) {
  if (status != kStatusNoVsan) {
    if (requested == RS_CREATEANDGO) {
      keep_undo_from_deleting(key);
    }
    return to_snmp_error_code(status, kMsgSet);
  }
  TRACE("%s(%d) ret_code:%s \n", kSelf, __LINE__, syserr2str(status));
  switch (requested) {
    case RS_ACTIVE:
    case RS_NOTINSERVICE:
      TRACE("%s(%d) SNMP_ERR_INCONSISTENTVALUE \n", kSelf, __LINE__);
      return SNMP_ERR_INCONSISTENTVALUE;
    case RS_DESTROY:
      return SNMP_ERR_NOERROR;
    case RS_CREATEANDGO:
      return create_row(key);
    default:
      return SNMP_ERR_GENERR;
  }
}

// RESERVE1 did not save the row when its look-up broke, which makes the VSAN look absent; UNDO needs it all the same. A
// VSAN that this PDU made has a pending row, and nothing that it should be again.
int apply_saved(int msg_type, const vsanEntry &row) {
  const bool was_seen = find_saved(row) != nullptr || find_pending(row) != nullptr;
  if (!was_seen && save_row(row) != SNMP_ERR_NOERROR) {
    return SNMP_ERR_GENERR;
  }
  return apply(msg_type, row);
}

int act_on_present(uint32_t requested, const vsanEntry &row) {
  TRACE("%s(%d) ret_code:%s \n", kSelf, __LINE__, syserr2str(0));
  switch (requested) {
    case RS_CREATEANDGO:
    case RS_CREATEANDWAIT:
      TRACE("%s(%d) Long_ret:%d ***SNMP_ERROR INCONSISTANTVALUE*** \n", kSelf, __LINE__, static_cast<int>(requested));
      keep_undo_from_deleting(row);
      return SNMP_ERR_INCONSISTENTVALUE;
    case RS_ACTIVE:
      TRACE("%s(%d) make SET_REQ \n", kSelf, __LINE__);
      return apply_saved(kMsgSet, row);
    case RS_DESTROY:
      TRACE("%s(%d) make DELTE_REQ \n", kSelf, __LINE__);
      return apply_saved(kMsgDelete, row);
    default:
      return SNMP_ERR_GENERR;
  }
}

int act(uint32_t requested, const oid *name, size_t name_len) {
  TRACE("%s(%d) ACTION calling header_vsanEntry\n", kSelf, __LINE__);
  const vsanEntry key = key_of(name, name_len);
  vsanEntry current;
  const int status = fetch_current_row(name, name_len, key, &current);
  return status != 0 ? act_on_absent(status, requested, key) : act_on_present(requested, current);
}

// A refusal is only traced: there is nobody left to tell.
void send_back(int msg_type, const vsanEntry &row) {
  TRACE(
      "%s(%d) Sending %s req to vsan for vsan = %d name %s mediatype %d mtu %d inorderdeliver %d interopermode %d "
      "loadbtype %d state %d\n",
      kSelf, __LINE__, operation_name(msg_type), static_cast<int>(row.vsanIndex), row.vsanName,
      static_cast<int>(row.vsanMediaType), static_cast<int>(row.vsanMtu), static_cast<int>(row.vsanInorderDelivery),
      static_cast<int>(row.vsanInteropMode), static_cast<int>(row.vsanLoadBalancingType),
      static_cast<int>(row.vsanAdminState));
  const int status = send_row(msg_type, row);
  if (status != 0) {
    TRACE("%s(%d) ret_code:%s \n", kSelf, __LINE__, status == -1 ? strerror(errno) : syserr2str(status));
  }
}

int undo(uint32_t requested, oid *name, size_t name_len) {
  vsanEntry key;
  parse_key(name, name_len, &key);
  const bool was_saved = find_saved(key) != nullptr;
  TRACE("%s(%d) UNDO Back out any Changes! \n", kSelf, __LINE__);

  if (requested != RS_CREATEANDGO) {
    TRACE("%s(%d) SET with old Values! Removing from undo_list!\n", kSelf, __LINE__);
    const row_ptr saved = take_saved(key);
    if (saved != nullptr) {
      send_back(kMsgSet, *saved);
    }
    return SNMP_ERR_NOERROR;
  }
  if (was_saved) {
    TRACE("%s(%d) User got an error of RS_CREATEANDGO vsan:%d remove undo_list\n", kSelf, __LINE__,
          static_cast<int>(key.vsanIndex));
    take_saved(key);
    return SNMP_ERR_NOERROR;
  }
  TRACE("%s(%d) User create a new row in ACTION now DELETE it \n", kSelf, __LINE__);
  send_back(kMsgDelete, key);
  TRACE("%s(%d) indexobj_remove from vsanEntry_list  \n", kSelf, __LINE__);
  take_pending(key);
  return SNMP_ERR_NOERROR;
}

int set_row_status(const vsan_column &column, int action, const written &w) {
  TRACE("%s(%d) \n", kSelf, __LINE__);
  if (action == RESERVE1 || action == RESERVE2) {
    forget_finished_pdu(w.name, w.name_len);
  }
  switch (action) {
    case RESERVE1:
      return reserve1(column, w);
    case RESERVE2:
      return reserve2(w.current);
    case ACTION:
      return act(requested_status(w), w.name, w.name_len);
    case COMMIT:
      TRACE("%s(%d) in COMMIT \n", kSelf, __LINE__);
      return handle_free_vsanEntryList(w.name, w.name_len);
    case FREE:
      TRACE("%s(%d) FREE \n", kSelf, __LINE__);
      return handle_free_vsanEntryList(w.name, w.name_len);
    case UNDO:
      return undo(requested_status(w), w.name, w.name_len);
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

WRITE_METHOD(set_vsanRowStatus, set_row_status, *find_vsan_column(kVsanRowStatus))
