// The topology of a switch with the bench's rows.
#ifndef BENCH_DRIVER_BENCH_TOPOLOGY_H
#define BENCH_DRIVER_BENCH_TOPOLOGY_H

#include <stdint.h>

namespace bench {

// Prints the TOML of VSANs 1 to `vsans`, an interface each, on standard output.
void print_topology(uint32_t vsans);

}  // namespace bench

#endif
