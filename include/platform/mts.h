// Messages that reach the agent from the switch: the response queue and the view into a notification.
#ifndef PLATFORM_MTS_H
#define PLATFORM_MTS_H

#include <stdint.h>

typedef void *mts_queue_t;

#ifdef __cplusplus
extern "C" {
#endif

// The queue on which this process awaits responses; handed on to every exchange as it stands. The module does not look
// into it: it may be null.
extern mts_queue_t mts_response_q;

// The payload of a notification message, owned by the message; null for a null message or an empty payload. That of 102
// is the switch's and the module reads it, big-endian words: interface, the VSAN that it left, the VSAN that it is in.
// That of 145 is the platform's own, for vsan_range.h.
void *mts_payload_get(void *msg);

// The size in bytes of that payload; 0 for a null message.
uint32_t mts_payload_size(void *msg);

#ifdef __cplusplus
}
#endif

#endif
