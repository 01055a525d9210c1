// The control service: what operators and testers ask of switchd itself (requests.h).
#ifndef SWITCHD_CONTROL_H
#define SWITCHD_CONTROL_H

#include "message_server.h"

// Serves kServiceControl; `context` is the switch_host.
void control_handle(void *context, const message_request &request, message_reply &reply);

// What a connection said of itself goes with it; `context` as above.
void control_connection_ended(void *context, uint64_t connection);

#endif
