// What the agent extension offers modules that serve objects outside the enterprise root of the switch.
#ifndef SWITCHPLATFORM_SERVED_OBJECT_H
#define SWITCHPLATFORM_SERVED_OBJECT_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#ifdef __cplusplus
extern "C" {
#endif

// Puts the extension in front of an object that was registered, as it is in front of every object under the switch's
// root: the PDU is known while the object is served, and closed users get nothing of it. Of the interface objects of
// IF-MIB the switch-wide right and the list of interfaces decide as of vsanIfTable. Returns 0, or -1 when the object
// cannot be watched, which is logged: it is to be unregistered then.
int switch_agent_serve(netsnmp_handler_registration *object);

// The agent context that the configuration's last `switchInterfacesContext` line names; empty: none, the objects are
// for the default one. Known as soon as the extension is loaded, wherever the line stands.
const char *switch_agent_interfaces_context(void);

#ifdef __cplusplus
}
#endif

#endif
