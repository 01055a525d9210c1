// Marks in the event history: whose requests the events that follow belong to.
#ifndef PLATFORM_AGENT_EXTENSION_USER_MARKS_H
#define PLATFORM_AGENT_EXTENSION_USER_MARKS_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// Records a mark when the PDU that is being served is of another sender than the one before, and now and then
// otherwise, so that a long history does not lose it. Costs a comparison for each PDU, and nothing more for each of its
// objects.
void user_marks_see(const netsnmp_pdu *pdu);

#endif
