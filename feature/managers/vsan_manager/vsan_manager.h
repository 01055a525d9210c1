// The VSAN manager: answers the requests of its opcodes from the state, and makes changes durable before it answers.
#ifndef FEATURE_MANAGERS_VSAN_MANAGER_VSAN_MANAGER_H
#define FEATURE_MANAGERS_VSAN_MANAGER_VSAN_MANAGER_H

#include "message_server.h"

// Serves kServiceVsanManager; `context` is the switch_managers. GET and GETNEXT answer the record that was asked with,
// filled; SET and DELETE answer no payload.
void vsan_manager_handle(void *context, const message_request &request, message_reply &reply);

// Serves kServiceIdentity: opcode 1282 answers the switch's 8-byte world wide name, the others change it
// (kStatusSwitchWwn: all zeros) and read and change the switch's name (kStatusSwitchName: no plain text, or too long).
void identity_handle(void *context, const message_request &request, message_reply &reply);

#endif
