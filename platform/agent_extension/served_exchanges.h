// The exchanges that are made while a PDU is served: a PDU waits out one time-out at most, and what its UNDO puts back
// reaches the switch although the switch is hung.
#ifndef PLATFORM_AGENT_EXTENSION_SERVED_EXCHANGES_H
#define PLATFORM_AGENT_EXTENSION_SERVED_EXCHANGES_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

// Around one call of a handler of the module's objects; `outer` is what begin returned.
int served_exchanges_begin(const netsnmp_agent_request_info *info);
void served_exchanges_end(const netsnmp_agent_request_info *info, int outer);

// Gives up what is still to be put back, and says so in the log.
void served_exchanges_stop();

#endif
