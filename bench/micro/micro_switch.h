// What the small measurements stand on: a run directory in memory with a shared page, and a manager in a process of its
// own that answers every request for a row.
#ifndef BENCH_MICRO_MICRO_SWITCH_H
#define BENCH_MICRO_MICRO_SWITCH_H

namespace bench {

// Makes the directory and the page, and starts the manager. Returns whether all are there; says on standard error what
// is not. Called once; all goes with this process.
bool start_micro_switch();
void stop_micro_switch();

// What the module is told of the PDU that it serves. The module keeps the last row for one PDU.
void set_pdu_number(int number);

}  // namespace bench

#endif
