// The control service: what operators and testers ask of switchd itself. Payloads are JSON texts, without a NUL; a
// SET's request is an object, a GET asks with no payload and answers an object.
#ifndef SWITCHD_CONTROL_H
#define SWITCHD_CONTROL_H

#include "platform/messaging/message_server.h"

enum {
  // GET: name, wwn, pid, uptime, vsans, interfaces, store, per-service counters, notification counters.
  kOpStatus = 9201,
  // GET: the faults in force, by service. SET adds one: {"service": NAME, "kind": delay|status|drop|short-answer|hang,
  // "opcode": N or -1, "count": N or -1, "value": N}. DELETE clears all.
  kOpFaults = 9202,
  // GET: counters of the notification queue, and its oldest entries.
  kOpNotificationQueue = 9203,
};

// Serves kServiceControl; `context` is the switch_host.
void control_handle(void *context, const message_request &request, message_reply &reply);

#endif
