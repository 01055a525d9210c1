// Tells the agent's log which roles are in force.
#ifndef PLATFORM_AGENT_EXTENSION_ROLES_REPORT_H
#define PLATFORM_AGENT_EXTENSION_ROLES_REPORT_H

// Reports as soon as the agent's loop turns again, when the configuration is complete: a line a group, a warning for
// each group that VACM does not know; or, without the extension, that the objects are closed. Once, however often it is
// asked for in between.
void roles_report_later();

#endif
