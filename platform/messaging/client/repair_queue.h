// The repairs under way (repairs.h), by receiver. Nothing here knows how a receiver is reached.
#ifndef PLATFORM_MESSAGING_CLIENT_REPAIR_QUEUE_H
#define PLATFORM_MESSAGING_CLIENT_REPAIR_QUEUE_H

#include <stdint.h>

#include <deque>
#include <vector>

#include "message_frame.h"

struct repair {
  message_header header;
  std::vector<uint8_t> frame;  // whole
  int64_t give_up_at;          // monotonic milliseconds
  bool sent = false;           // on the connection that is open
  bool over = false;           // `status` and `why` say how
  bool late = false;           // the caller of cmi_req_resp is gone
  int status = 0;
  int why = 0;
};

// All of them, in the order in which they were made.
std::deque<repair> &repairs_all();

// Whether a write that is made now is a repair, and the switch for that.
bool repairs_are_made();
void repairs_make(bool on);

// Queues a repair behind those of its receiver. Returns 0, or -1 with `errno` ENOBUFS when too many are under way; that
// one is reported as given up.
int repairs_add(const message_header &header, std::vector<uint8_t> frame);

// Sends what the receiver `service` has not got yet, in order, on the connection `fd`, without waiting. Returns 0 when
// nothing is left unsent, or -1 with `errno`: EAGAIN when the connection takes no more now, else it broke.
int repairs_send(int service, int fd);

// Whether there is nothing that the receiver has not got yet.
bool repairs_all_sent(int service);

// An answer that came from the receiver; one that is no repair's is dropped.
void repairs_take_answer(int service, const message_header &answer);

// The status of the repair with this number once it is answered. Returns whether it is.
bool repairs_answered(uint32_t sequence, int *status);

// The caller of cmi_req_resp is gone without an answer: how the repair ends is told as late.
void repairs_not_waited_for(uint32_t sequence);

// The connection ended: what was sent on it and not answered is to be sent again.
void repairs_are_unsent(int service);

// A repair ended with this status, or with -1 for `why`, an errno.
void repair_end(repair &which, int status, int why);

// Drops all of them, unreported: they belong to another process or another switch.
void repairs_forget();

#endif
