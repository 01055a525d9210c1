// What a role decides before the module is asked.
#ifndef PLATFORM_AGENT_EXTENSION_ROLES_GATE_H
#define PLATFORM_AGENT_EXTENSION_ROLES_GATE_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "roles.h"

// Whether the requests of one object, all of one PDU and one phase, go on to the module. If not, they are answered
// here: a GET with noSuchInstance, a GETNEXT or GETBULK with nothing, so that the agent goes on to the next object, a
// SET with genErr in its first phase, which is reported, and with nothing in the phases after that. Any other mode
// takes the right to write and is answered with nothing.
bool roles_admit(const role_verdict &who, const netsnmp_handler_registration *object, netsnmp_agent_request_info *info,
                 netsnmp_request_info *requests);

#endif
