// Roles: what the users of a VACM group may see and set. They are read from three kinds of configuration lines,
// compiled as they are read, and hold until they are read again.
#ifndef PLATFORM_AGENT_EXTENSION_ROLES_H
#define PLATFORM_AGENT_EXTENSION_ROLES_H

#include <string>
#include <vector>

#include "platform/bitset.h"
#include "role_lists.h"

// What a role may do with what belongs to no VSAN. The first is the strictest.
enum class switch_right { none, read, write };

// The lines of one group, taken together.
struct role {
  std::string group;
  bool closed = false;          // one of the lines was malformed: the group gets nothing
  bool has_vsans = false;       // there is a list of VSANs
  bool has_interfaces = false;  // there is a list of interfaces
  number_list vsan_list = {};
  number_list interface_list = {};
  vsan_set_t vsans = {};  // the VSANs that the group may use: the list, or 1 to 4095 when there is none
  switch_right right = switch_right::write;
};

// What applies to a user.
struct role_verdict {
  int closed;        // 0, or the status that says why the user gets nothing
  const role *held;  // the role of a user who is not closed; null: not restricted. Valid until roles are read again.
};

// From roles_start on the roles are in force; before it, and from roles_close on, everybody is closed, for the status
// `why`. Neither forgets a line.
void roles_start();
void roles_close(int why);

// Why everybody is closed; 0: the roles are in force.
int roles_closed();

// Read one line of the configuration each: "vsanRole GROUP LIST", "vsanRoleInterfaces GROUP LIST" and "vsanRoleSwitch
// GROUP none|read|write", `line` being what follows `token`. A malformed line is complained about once and closes its
// group. A line that is read twice changes nothing.
void roles_read_vsans(const char *token, char *line);
void roles_read_interfaces(const char *token, char *line);
void roles_read_switch(const char *token, char *line);

// Forgets every line.
void roles_forget();

// Whether the group of a user makes a difference now: with no role, or all users closed, it makes none.
bool roles_go_by_group();

// What applies to the users of a group; null: the user is in no group, and then it is closed while there are roles.
role_verdict roles_judge(const char *group);

// All roles, for the report.
const std::vector<role> &roles_all();

#endif
