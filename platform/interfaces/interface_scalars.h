// Answering ifNumber, ifTableLastChange and sysName.
#ifndef PLATFORM_INTERFACES_INTERFACE_SCALARS_H
#define PLATFORM_INTERFACES_INTERFACE_SCALARS_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

// Handlers behind the agent's scalar helper. What the switch does not answer is noSuchInstance.
int answer_if_number(netsnmp_mib_handler *handler, netsnmp_handler_registration *object,
                     netsnmp_agent_request_info *info, netsnmp_request_info *requests);
int answer_if_table_last_change(netsnmp_mib_handler *handler, netsnmp_handler_registration *object,
                                netsnmp_agent_request_info *info, netsnmp_request_info *requests);
int answer_sys_name(netsnmp_mib_handler *handler, netsnmp_handler_registration *object,
                    netsnmp_agent_request_info *info, netsnmp_request_info *requests);

#endif
