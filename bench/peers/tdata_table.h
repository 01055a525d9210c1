// The VSAN table as net-snmp's own helper for tables in memory (tdata) serves it.
#ifndef BENCH_PEERS_TDATA_TABLE_H
#define BENCH_PEERS_TDATA_TABLE_H

#include <stdint.h>

namespace bench {

// Registers the table with VSANs 1 to `vsans` in the agent of this process. Called once. Returns whether it is served.
bool register_tdata_table(uint32_t vsans);

}  // namespace bench

#endif
