// The rows of the PDU being served: a pending row and a saved row a VSAN, each in its list, and who listed them.
//
// After UNDO no phase comes that could drop the rows, and an agent that ends ACTION at its first failure leaves
// pending ones that were never sent. The next RESERVE1 or RESERVE2 of the VSAN drops them first, so that no later PDU
// meets them.
#ifndef FEATURE_VSAN_MANAGER_MIB_VSAN_TABLE_WRITE_ROW_LISTS_H
#define FEATURE_VSAN_MANAGER_MIB_VSAN_TABLE_WRITE_ROW_LISTS_H

#include <memory>

#include "module_frame/exchange.h"
#include "vsan_mib.h"
#include "vsan_records.h"

namespace vsan_mib {

using row_ptr = std::unique_ptr<vsanEntry, free_buffer>;

// A zeroed row, or null when there is no memory.
row_ptr new_row();

// Lists the row, which then belongs to its list. Returns false, the row being freed, when it could not be listed.
enum class lister { row_status, column };
bool list_pending(row_ptr row, lister by);
bool list_saved(row_ptr row, lister by);

// The listed row of the key's VSAN, or null; and the same taken off its list.
vsanEntry *find_pending(const vsanEntry &key);
vsanEntry *find_saved(const vsanEntry &key);
row_ptr take_pending(const vsanEntry &key);
row_ptr take_saved(const vsanEntry &key);

// UNDO of a column: notes that the VSAN's PDU is over. Nothing is sent; rows are dropped only of a number above 4095,
// which has no note.
void note_pdu_over(const oid *name, size_t name_len);

// Before a phase that begins work on the VSAN: drops what columns of a finished PDU left listed. What row status
// listed stays.
void forget_finished_pdu(const oid *name, size_t name_len);

// At unloading: drops what columns left listed, of every VSAN.
void drop_all_rows_of_columns();

}  // namespace vsan_mib

#endif
