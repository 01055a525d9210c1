// The opcode handlers of the VSAN manager, behind its table. Each is called with a payload of the size that the table
// demands, fills the answer's payload, and returns the status.
#ifndef FEATURE_MANAGERS_VSAN_MANAGER_HANDLERS_H
#define FEATURE_MANAGERS_VSAN_MANAGER_HANDLERS_H

#include "managers.h"

int handle_vsan_get(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_vsan_get_next(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_vsan_set(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_vsan_delete(switch_managers &managers, const message_request &request, message_reply &reply);

int handle_interface_get(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_interface_get_next(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_interface_set(switch_managers &managers, const message_request &request, message_reply &reply);

int handle_timer_get(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_timer_get_pending(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_timer_set(switch_managers &managers, const message_request &request, message_reply &reply);

int handle_vsan_count(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_last_change(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_interface_count(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_latency_get(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_latency_set(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_inorder_get(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_inorder_set(switch_managers &managers, const message_request &request, message_reply &reply);
int handle_notification_control(switch_managers &managers, const message_request &request, message_reply &reply);

#endif
