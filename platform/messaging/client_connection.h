// The client's connections: one for each receiver, made on first use and again after it broke.
#ifndef PLATFORM_MESSAGING_CLIENT_CONNECTION_H
#define PLATFORM_MESSAGING_CLIENT_CONNECTION_H

#include <stdint.h>

struct receiver_connection {
  int fd = -1;
  int64_t suspect_until = 0;  // monotonic milliseconds; 0: not suspect
};

// Milliseconds on the monotonic clock.
int64_t monotonic_ms();

// The connection to `service`; null when there is no such receiver. It need not be open.
receiver_connection *receiver_of(int service);

// Makes the connection ready for one request: drops late answers, notices that it broke, connects where need be.
// Returns 0, or -1 with `errno`: ETIMEDOUT at once while the receiver is suspect, or when it took no connection until
// `deadline`; ECONNREFUSED or ENOENT when no one serves it.
int receiver_ready(receiver_connection &to, int service, int64_t deadline);

// Waits until the connection has one of poll's `events` or broke. Returns 0, or -1 with `errno` ETIMEDOUT at
// `deadline`, the receiver then being suspect.
int receiver_wait(receiver_connection &to, short events, int64_t deadline);

// Closes the connection and keeps `errno`; the next request connects again.
void receiver_close(receiver_connection &to);

// Closes all of them and forgets who is suspect.
void receivers_reset();

#endif
