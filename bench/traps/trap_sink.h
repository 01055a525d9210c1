// The receiving end of the traps: a socket of its own on loopback.
#ifndef BENCH_TRAPS_TRAP_SINK_H
#define BENCH_TRAPS_TRAP_SINK_H

#include <stdint.h>

#include <string>

namespace bench {

// A trap of an interface that came into a VSAN.
struct membership_trap {
  uint32_t interface = 0;
  uint32_t vsan = 0;
  bool operator==(const membership_trap &) const = default;
};

// A socket that is bound to a port of loopback, or -1 with `errno`.
int open_sink(uint16_t port);

enum class received { trap, nothing, garbage };

// Receives one trap, waiting for it `wait_ms`. With `garbage`, `problem` says what came instead of a membership trap.
received receive_trap(int sink, int wait_ms, membership_trap &trap, std::string &problem);

}  // namespace bench

#endif
