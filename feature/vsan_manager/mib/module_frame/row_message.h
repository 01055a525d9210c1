// VSAN rows on their way to and from the VSAN manager.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_ROW_MESSAGE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_ROW_MESSAGE_H

#include "module_frame/exchange.h"
#include "vsan_records.h"

namespace vsan_mib {

// Asks for the row of `vsan` (kMsgGet) or the row after it (kMsgGetNext).
answer ask_for_row(int msg_type, uint32_t vsan);

// Turns the row of a complete answer into host order, once, and returns it: it lies in the answer's own payload. A name
// that fills its field without a NUL is cut by one octet.
vsanEntry *take_row(const answer &got);

// Sends the row as kMsgSet or kMsgDelete in the name of the PDU's user. The row stays as it is. Returns the status.
int send_row(int msg_type, const vsanEntry &row);

}  // namespace vsan_mib

#endif
