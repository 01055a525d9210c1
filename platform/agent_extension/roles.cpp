#include "platform/agent_extension/roles.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "platform/agent.h"
#include "platform/agent_extension/role_lists.h"
#include "platform/agent_extension/served_pdu.h"
#include "platform/services/status_texts.h"

namespace {

constexpr char kVsanToken[] = "vsanRole";
constexpr char kInterfaceToken[] = "vsanRoleInterfaces";
constexpr uint32_t kVsanIdMax = 4095;
constexpr size_t kGroupRoom = VACM_MAX_STRING;

// What one kind of line gives a group.
struct role {
  std::string group;
  number_list numbers;
  bool closed;  // one of the group's lines was malformed: it gets nothing
};

using role_table = std::vector<role>;

role_table vsan_roles;
role_table interface_roles;

role *find_role(role_table &table, const char *group) {
  for (role &row : table) {
    if (row.group == group) {
      return &row;
    }
  }
  return nullptr;
}

void complain(const char *token, const char *group, const char *wrong) {
  char text[256];
  snprintf(text, sizeof text, "%s %s: %s; the group is allowed none", token, group, wrong);
  config_perror(text);
}

// Reads "GROUP LIST". A line that cannot be read leaves its group with nothing rather than with everything.
void read_role(const char *token, const char *line, uint32_t lowest, uint32_t highest, role_table &table) {
  char group[kGroupRoom];
  const char *list = copy_nword_const(line, group, sizeof group);
  if (group[0] == '\0') {
    config_perror("a group name is missing");
    return;
  }
  role *row = find_role(table, group);
  if (row == nullptr) {
    row = &table.emplace_back(role{group, {}, false});
  }
  std::string text = list == nullptr ? "" : list;
  while (!text.empty() && isspace(static_cast<unsigned char>(text.back()))) {
    text.pop_back();
  }
  const char *wrong = number_list_read(text.c_str(), lowest, highest, &row->numbers);
  if (wrong == nullptr) {
    return;
  }
  row->closed = true;
  complain(token, group, wrong);
}

void on_vsan_role(const char *token, char *line) {
  read_role(token, line, 0, kVsanIdMax, vsan_roles);
}

void on_interface_role(const char *token, char *line) {
  read_role(token, line, 0, UINT32_MAX, interface_roles);
}

void forget_vsan_roles() {
  vsan_roles.clear();
}

void forget_interface_roles() {
  interface_roles.clear();
}

// What applies to the PDU's user. An unknown group is closed as soon as there are roles at all.
enum class verdict { free, listed, closed };

verdict judge(role_table &table, const role **row) {
  if (table.empty() || !served_pdu_present()) {
    return verdict::free;
  }
  const char *group = served_pdu_group();
  if (group == nullptr) {
    return verdict::closed;
  }
  *row = find_role(table, group);
  if (*row == nullptr) {
    return verdict::free;
  }
  return (*row)->closed ? verdict::closed : verdict::listed;
}

void add_range(vsan_set_t *set, const number_range &range) {
  for (uint32_t vsan = range.first; vsan <= range.last; ++vsan) {
    set->bits[vsan / 8] = static_cast<uint8_t>(set->bits[vsan / 8] | 1U << vsan % 8);
  }
}

}  // namespace

void roles_register_tokens() {
  snmpd_register_config_handler(kVsanToken, on_vsan_role, forget_vsan_roles, "GROUP LIST (such as 10,20,100-199)");
  snmpd_register_config_handler(kInterfaceToken, on_interface_role, forget_interface_roles, "GROUP LIST");
}

void roles_unregister_tokens() {
  snmpd_unregister_config_handler(kVsanToken);
  snmpd_unregister_config_handler(kInterfaceToken);
  forget_vsan_roles();
  forget_interface_roles();
}

int snmp_get_allowed_vsans_subtree(vsan_set_t *set, const oid *, size_t, int) {
  const role *row = nullptr;
  const verdict found = judge(vsan_roles, &row);
  if (found == verdict::free) {
    return 0;
  }
  if (found == verdict::listed) {
    for (const number_range &range : row->numbers) {
      add_range(set, range);
    }
  }
  return 1;
}

int snmp_is_vsan_allowed_in_list(uint32_t vsan_id, vsan_set_t *set) {
  return vsan_id <= kVsanIdMax && (set->bits[vsan_id / 8] >> vsan_id % 8 & 1) != 0;
}

int snmp_get_next_allowed_vsan_in_list(uint32_t *vsan_id, vsan_set_t *set) {
  if (*vsan_id >= kVsanIdMax) {
    return 0;
  }
  for (uint32_t next = *vsan_id + 1; next <= kVsanIdMax; ++next) {
    if (!snmp_is_vsan_allowed_in_list(next, set)) {
      continue;
    }
    *vsan_id = next;
    return 1;
  }
  return 0;
}

int snmp_is_vsan_allowed_subtree(uint32_t vsan_id, const oid *, size_t, int) {
  const role *row = nullptr;
  const verdict found = judge(vsan_roles, &row);
  return found == verdict::free || (found == verdict::listed && number_list_holds(row->numbers, vsan_id));
}

int intf_chk_vsan_role_allowed(uint32_t if_index, int, vsan_set_t *) {
  const role *row = nullptr;
  const verdict found = judge(interface_roles, &row);
  if (found == verdict::free || (found == verdict::listed && number_list_holds(row->numbers, if_index))) {
    return 0;
  }
  return kStatusInterfaceDenied;
}
