// The table in the agent's own process: loaded with dlmod. BENCH_VSANS says how many rows.
#include <stdio.h>
#include <stdlib.h>

#include "bench_rows.h"
#include "tdata_table.h"

extern "C" __attribute__((visibility("default"))) void init_bench_tdata(void) {
  if (!bench::register_tdata_table(bench::rows_wanted(getenv("BENCH_VSANS")))) {
    fprintf(stderr, "bench_tdata: the table is not registered\n");
  }
}
