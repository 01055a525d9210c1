// The operator's commands for the distribution of timers (distribution_records.h).
#ifndef FEATURE_MANAGERS_DISTRIBUTION_SERVICE_H
#define FEATURE_MANAGERS_DISTRIBUTION_SERVICE_H

#include "managers.h"

// Serves kServiceDistribution; `context` is the switch_managers. Past the last row a GETNEXT answers kStatusNoEntry.
void distribution_handle(void *context, const message_request &request, message_reply &reply);

#endif
