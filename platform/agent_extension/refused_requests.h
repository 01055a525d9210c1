// What a manager station was refused, object by object, for people who ask why.
#ifndef PLATFORM_AGENT_EXTENSION_REFUSED_REQUESTS_H
#define PLATFORM_AGENT_EXTENSION_REFUSED_REQUESTS_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "switchplatform/shared_page.h"

// Around one call of a handler of the module's objects: forgets what was said before, and afterwards keeps an error for
// each of the requests that failed, and for one of a PDU's reads that the switch did not answer.
void refused_requests_begin();
void refused_requests_end(const netsnmp_agent_request_info *info, const netsnmp_request_info *requests);

// Tells it that the module reported `error` in this call: the reason of a request that fails.
void refused_requests_note(const platform_error &error);

#endif
