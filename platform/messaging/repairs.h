// Repairs: writes that put back what a refused PDU has changed. The switch must get them although it is hung, or away
// for a moment, and nobody may wait for that.
//
// 1. Between platform_repairs_begin and platform_repairs_end every write through cmi_req_resp is a repair.
// 2. A repair is waited for like any other request, unless the PDU has had its time-out or the receiver is suspect.
//    Then it is sent on the open connection, in order, without waiting; what cannot be sent is kept and sent before
//    anything else once the receiver shows life. cmi_req_resp answers the status, or -1 with `errno` while there is
//    none yet.
// 3. A repair whose connection ended before its answer came is sent again: putting a row back twice does no harm.
// 4. After half a minute a repair is given up: by then others may have built on what it would undo. One that was sent
//    may be made all the same, when the switch goes on.
#ifndef PLATFORM_MESSAGING_REPAIRS_H
#define PLATFORM_MESSAGING_REPAIRS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void platform_repairs_begin(void);
void platform_repairs_end(void);

// How one repair ended.
typedef struct {
  int opcode;
  int msg_type;
  const uint8_t *payload;  // as it was sent, `size` bytes; valid while the report is made
  uint32_t size;
  int status;  // 0, the receiver's status, or -1: given up, for `why` (an errno)
  int why;
  int late;  // 1 when cmi_req_resp had returned before
  int sent;  // 1 when it was sent on the connection that is open
} platform_repair_outcome;

typedef void (*platform_repair_report)(const platform_repair_outcome *outcome);

// Moves repairs on without waiting: connects, sends, reads answers, gives up. Reports each that ended since the last
// turn. Returns how many are still under way.
int platform_repairs_turn(platform_repair_report report);

// Gives up all of them, after a last turn.
void platform_repairs_abandon(platform_repair_report report);

#ifdef __cplusplus
}
#endif

#endif
