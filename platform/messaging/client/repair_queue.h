// The repairs under way, as the files of the messaging client share them.
#ifndef PLATFORM_MESSAGING_CLIENT_REPAIR_QUEUE_H
#define PLATFORM_MESSAGING_CLIENT_REPAIR_QUEUE_H

#include <stdint.h>

#include <vector>

#include "client_connection.h"
#include "message_frame.h"

// Whether a write that is made now is a repair.
bool repairs_are_made();

// Queues a repair behind those of its receiver: its whole frame, whose header is `header`. Returns 0, or -1 with
// `errno` ENOBUFS when too many are under way; that one is reported as given up.
int repairs_add(const message_header &header, std::vector<uint8_t> frame);

// Sends what is unsent, in order, on the open connection. Returns whether nothing is left unsent.
bool repairs_sent(receiver_connection &to);

// An answer that came from the receiver; one that is no repair's is dropped.
void repairs_take_answer(const receiver_connection &from, const message_header &answer);

// The status of the repair with this number once it is answered. Returns whether it is.
bool repairs_answered(uint32_t sequence, int *status);

// The caller of cmi_req_resp is gone without an answer: how the repair ends is told as late.
void repairs_not_waited_for(uint32_t sequence);

// The connection ended: what was sent on it and not answered is to be sent again.
void repairs_are_unsent(const receiver_connection &of);

// Drops all of them, unreported: they belong to another process or another switch.
void repairs_forget();

#endif
