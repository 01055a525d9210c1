// Answering ifTable and ifXTable.
#ifndef PLATFORM_INTERFACES_INTERFACE_TABLES_H
#define PLATFORM_INTERFACES_INTERFACE_TABLES_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

// Handlers behind the agent's table helper, for tables of one index that only reads reach. An interface that is hidden
// from the PDU's user is absent; while the port manager does not answer all of them are.
int answer_if_table(netsnmp_mib_handler *handler, netsnmp_handler_registration *table, netsnmp_agent_request_info *info,
                    netsnmp_request_info *requests);
int answer_if_x_table(netsnmp_mib_handler *handler, netsnmp_handler_registration *table,
                      netsnmp_agent_request_info *info, netsnmp_request_info *requests);

#endif
