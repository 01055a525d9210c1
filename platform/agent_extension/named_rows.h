// A SET writes what it names: the OID and the value that the client sent, before a find function or a manager has made
// something else of them.
#ifndef PLATFORM_AGENT_EXTENSION_NAMED_ROWS_H
#define PLATFORM_AGENT_EXTENSION_NAMED_ROWS_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <vector>

struct named_row {
  netsnmp_request_info *request;
  std::vector<oid> name;
};

// The names of the requests as they came, when this is a SET's RESERVE1; nothing otherwise.
std::vector<named_row> named_rows_remember(const netsnmp_agent_request_info *info, netsnmp_request_info *requests);

// After RESERVE1: gives requests whose find function moved on to another row their own names back. Where the write
// method depends on nothing but the name, its checks are made again for that row; elsewhere the request is refused with
// inconsistentName. A name of a VSAN with a NUL in it, which the switch would cut, is refused with wrongValue.
void named_rows_restore(netsnmp_handler_registration *registration, netsnmp_agent_request_info *info,
                        const std::vector<named_row> &rows);

#endif
