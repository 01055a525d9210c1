// What a DELETE takes from a VSAN, kept for a while: a client that undoes its DELETE sends the row only, and gets the
// rest back with it.
#ifndef FEATURE_MANAGERS_ROWS_DROPPED_VSANS_H
#define FEATURE_MANAGERS_ROWS_DROPPED_VSANS_H

#include "rows/row_merge.h"

// Milliseconds. An UNDO follows its DELETE within the time-outs of one SNMP request, but may wait in a socket for as
// long as this process is stopped; what comes much later is a new VSAN of the same number.
inline constexpr int64_t kDroppedKept = 300'000;

struct dropped_vsan {
  std::string writer;  // who deleted it
  int64_t at = 0;      // when; monotonic milliseconds
  vsan_record vsan;
  row_writers writers;
  std::map<uint32_t, bool> interfaces;  // which were in it, and whether statically
  timer_map timers;
  timer_map pending;
  uint64_t session = 0;  // the distribution session that the pending timers are of, as switch_managers counts them
  bool kept_out = false;
};
using dropped_vsans = std::map<uint32_t, dropped_vsan>;

// What a DELETE of the VSAN, which is there, is about to take.
dropped_vsan take_down(const switch_state &state, uint32_t id);

// Keeps what was taken. An interface is given back to the VSAN that it left last.
void keep_dropped(dropped_vsans &dropped, dropped_vsan taken);

// What is kept of the VSAN, or null. What is too old is forgotten first.
dropped_vsan *find_dropped(dropped_vsans &dropped, uint32_t id);

// Adds to a change that makes the VSAN again what was taken with it, as far as it is still free: interfaces that are
// where the DELETE left them, and pending timers while the session `session` is open.
void plan_give_back(const switch_state &state, const dropped_vsan &taken, uint64_t session, switch_change &change);

#endif
