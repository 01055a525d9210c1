// How long processes ran on a CPU.
#ifndef BENCH_COMMON_CPU_TIME_H
#define BENCH_COMMON_CPU_TIME_H

#include <stdint.h>
#include <sys/types.h>

#include <vector>

namespace bench {

// Nanoseconds that all threads of these processes ran so far, from /proc. A process that is gone counts 0.
uint64_t cpu_time(const std::vector<pid_t> &processes);

}  // namespace bench

#endif
