#include "roles_gate.h"

#include "platform/agent.h"
#include "served_pdu.h"
#include "statuses.h"

namespace {

constexpr char kRefused[] = "switch_agent_refused";

// What belongs to no VSAN, by its name under the root. The module asks the role itself for what belongs to one.
struct switch_object {
  size_t length;
  oid name[5];
  bool listed;  // a list of interfaces rules it instead
};

constexpr switch_object kSwitchObjects[] = {
    {3, {1, 1, 1}, false},        // how many VSANs
    {3, {1, 1, 2}, false},        // when one changed
    {3, {1, 2, 4}, false},        // how many interfaces
    {5, {1, 2, 5, 1, 1}, true},   // an interface's VSAN
    {5, {1, 2, 5, 1, 2}, false},  // an interface's deny list: the module asks no list for it
    {3, {1, 4, 1}, false},        // R_A_TOV of the switch
    {3, {1, 4, 2}, false},        // E_D_TOV
    {3, {1, 4, 3}, false},        // F_S_TOV
    {3, {1, 4, 4}, false},        // D_S_TOV
    {3, {1, 4, 5}, false},        // the network's latency
    {3, {1, 4, 6}, false},        // the switch's latency
    {3, {1, 4, 7}, false},        // in-order delivery
};

// The same of objects that every agent has, by their whole names.
struct standard_object {
  size_t length;
  oid name[9];
  bool listed;
};

constexpr standard_object kStandardObjects[] = {
    {8, {1, 3, 6, 1, 2, 1, 2, 1}, false},      // ifNumber
    {8, {1, 3, 6, 1, 2, 1, 2, 2}, true},       // ifTable
    {9, {1, 3, 6, 1, 2, 1, 31, 1, 1}, true},   // ifXTable
    {9, {1, 3, 6, 1, 2, 1, 31, 1, 5}, false},  // ifTableLastChange
};

enum class ruled_by { nothing, right, list };

ruled_by rule_of(const oid *name, size_t length) {
  for (const switch_object &each : kSwitchObjects) {
    if (is_under_switch_root(name, length, each.name, each.length)) {
      return each.listed ? ruled_by::list : ruled_by::right;
    }
  }
  for (const standard_object &each : kStandardObjects) {
    if (length >= each.length && snmp_oid_compare(name, each.length, each.name, each.length) == 0) {
      return each.listed ? ruled_by::list : ruled_by::right;
    }
  }
  return ruled_by::nothing;
}

switch_right right_to(const role &held, const netsnmp_handler_registration *object) {
  const ruled_by rule = rule_of(object->rootoid, object->rootoid_len);
  return rule == ruled_by::nothing || (rule == ruled_by::list && held.has_interfaces) ? switch_right::write
                                                                                      : held.right;
}

// Why the user gets nothing of the object, or 0.
int refusal(const role_verdict &who, const netsnmp_handler_registration *object, bool write) {
  if (who.closed != 0 || who.held == nullptr) {
    return who.closed;
  }
  const switch_right right = right_to(*who.held, object);
  return right == switch_right::none || (write && right == switch_right::read) ? kStatusSwitchDenied : 0;
}

void refuse_each(netsnmp_agent_request_info *info, netsnmp_request_info *requests, int error) {
  for (netsnmp_request_info *each = requests; each != nullptr; each = each->next) {
    netsnmp_set_request_error(info, each, error);
  }
}

bool is_read(int mode) {
  return mode == MODE_GET || mode == MODE_GETNEXT || mode == MODE_GETBULK;
}

bool is_later_phase(int mode) {
  return mode == MODE_SET_RESERVE2 || mode == MODE_SET_ACTION || mode == MODE_SET_COMMIT || mode == MODE_SET_FREE ||
         mode == MODE_SET_UNDO;
}

// The later phases of a SET go where its first one went, whatever becomes of the roles in between.
bool admit_later_phase(netsnmp_request_info *requests) {
  return netsnmp_request_get_list_data(requests, kRefused) == nullptr;
}

void refuse_set(netsnmp_agent_request_info *info, netsnmp_request_info *requests, int why) {
  static char mark;
  for (netsnmp_request_info *each = requests; each != nullptr; each = each->next) {
    netsnmp_request_add_list_data(each, netsnmp_create_data_list(kRefused, &mark, nullptr));
  }
  refuse_each(info, requests, SNMP_ERR_GENERR);
  log_set_error(why, kRefusedByModule);
}

}  // namespace

bool roles_admit(const role_verdict &who, const netsnmp_handler_registration *object, netsnmp_agent_request_info *info,
                 netsnmp_request_info *requests) {
  if (is_later_phase(info->mode)) {
    return admit_later_phase(requests);
  }
  const int why = refusal(who, object, !is_read(info->mode));
  if (why == 0) {
    return true;
  }
  if (info->mode == MODE_GET) {
    refuse_each(info, requests, SNMP_NOSUCHINSTANCE);
  } else if (info->mode == MODE_SET_RESERVE1) {
    refuse_set(info, requests, why);
  }
  return false;
}
