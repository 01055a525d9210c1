// Roles: which VSANs and interfaces the users of a VACM group may use.
#ifndef PLATFORM_AGENT_EXTENSION_ROLES_H
#define PLATFORM_AGENT_EXTENSION_ROLES_H

// Registers, and takes back, the configuration tokens `vsanRole` and `vsanRoleInterfaces`.
void roles_register_tokens();
void roles_unregister_tokens();

#endif
