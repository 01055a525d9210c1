// The client's connections: one for each receiver, made on first use and again after it broke.
#ifndef PLATFORM_MESSAGING_CLIENT_CLIENT_CONNECTION_H
#define PLATFORM_MESSAGING_CLIENT_CLIENT_CONNECTION_H

#include <stdint.h>
#include <sys/types.h>

struct receiver_connection {
  int service;
  int fd = -1;
  pid_t peer = 0;  // the process at the other end of `fd`; 0 when it cannot be seen from here
  // A request timed out, of this receiver or of another one, and this one has shown no life since. An answer is life,
  // also a late one or a probe's, and so is the end of a connection; being connected is none, for the kernel does that
  // for a process that is stopped.
  bool suspect = false;
  int64_t probe_at = 0;   // monotonic milliseconds: when a suspect receiver may be probed next
  int timed_out_pdu = 0;  // the last PDU that had its time-out here
};

// The number of the PDU whose exchanges are made now; 0: of none.
int exchanges_pdu();

// When an exchange that begins now and may take `seconds` is over: sooner for a PDU that had its time-out, which goes
// on with receivers that answer promptly.
int64_t exchange_deadline(int seconds);

// A number for the next request; answers carry it.
uint32_t next_sequence();

// The connection to `service`; null when there is no such receiver. It need not be open.
receiver_connection *receiver_of(int service);

// Makes the connection ready for one request: reads late answers, notices that it broke, connects where need be, sends
// repairs that wait. Returns 0, or -1 with `errno`: ETIMEDOUT when the PDU at hand had a time-out here, when the
// receiver is suspect and does not answer a probe at once, or when it took no connection until `deadline`; ECONNREFUSED
// or ENOENT when no one serves it.
int receiver_ready(receiver_connection &to, int64_t deadline);

// Connects, without waiting, unless the connection is open. Returns 0, or -1 with `errno` (EAGAIN: not now).
int receiver_connect(receiver_connection &to);

// Reads what came and nobody waits for: late answers, answers to probes and repairs, the end of the connection.
void receiver_read_late(receiver_connection &to);

// Sends the repairs that the receiver has not got yet, as far as the connection takes them. Returns whether nothing is
// left unsent.
bool receiver_send_repairs(receiver_connection &to);

// Waits until the connection has one of poll's `events` or broke. Returns 0, or -1 with `errno` ETIMEDOUT at
// `deadline`: all receivers are suspect then, and the PDU at hand has had its time-out.
int receiver_wait(receiver_connection &to, short events, int64_t deadline);

// Whether an exchange may be waited for: the PDU at hand had no time-out here, and the receiver is not suspect.
bool receiver_may_be_waited_for(const receiver_connection &to);

// Closes the connection and keeps `errno`; the next request connects again.
void receiver_close(receiver_connection &to);

// Closes all of them and forgets who is suspect.
void receivers_reset();

#endif
