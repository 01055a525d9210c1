// Synchronous request/response exchanges with the managers of the switch. exchanges.md, beside this file, lists every
// one that the module makes: receiver, opcode, type, request, answer, and the statuses that mean something to it.
#ifndef PLATFORM_CMI_H
#define PLATFORM_CMI_H

#include <stdint.h>

#include "platform/mts.h"

#ifdef __cplusplus
extern "C" {
#endif

// Sends one request and waits for its answer. A request is sent once and never repeated, but for the writes of an UNDO:
// see the messaging library's repairs.h.
//
//   opcode, msg_type  what is asked for
//   request           the payload, `*size` bytes, big-endian; null when there is none
//   response          where to put the answer's payload, `malloc`ed, for the caller to `free`; null when none is
//                     wanted. Set it to a null pointer before the call. It may be set on a refused request too.
//   size              in: the request's size (the expected answer's size when `request` is null, and then no payload is
//                     sent); out: the answer's payload size, in bytes. Left as it was when no response was wanted or
//                     none came. The module drops an answer that says fewer bytes than it needs, and the object is
//                     silently not there; of a size that was left as it was it believes that the answer is whole.
//   user, session     who asks; null for a read
//   service           the receiver
//   queue             `mts_response_q`
//   timeout           seconds to wait; 0 means the platform's default, 5 s
//
// Returns 0, or the receiver's status, or -1 with `errno`: ETIMEDOUT when no answer came in time, and at once while the
// receiver is suspect (a request timed out, and it has shown no life since) or when the PDU that is served had its
// time-out with it; ECONNREFUSED or ENOENT when no manager serves `service`; ECONNRESET or EPROTO when the exchange
// broke (a success without the payload that was wanted is EPROTO); for a read of a timer also the `errno` with which
// the question for the distribution state came to nothing (kdx.h), EPROTO when it was refused; EMSGSIZE when the
// request is larger than a message can be.
int cmi_req_resp(int opcode, int msg_type, void *request, void **response, uint32_t *size, const char *user,
                 const char *session, int service, mts_queue_t queue, int timeout);

#ifdef __cplusplus
}
#endif

#endif
