#include "port_manager.h"

#include <string.h>

#include <algorithm>

#include "opcode_table.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "rules/vsan_rules.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

using membership = std::pair<uint32_t, uint32_t>;

bool vsan_is_active(const switch_state &state, uint32_t id) {
  const vsan_record *vsan = find_vsan(state, id);
  return vsan != nullptr && vsan->admin_state == kAdminActive;
}

}  // namespace

bool next_active_membership(const switch_state &state, membership after, membership &found) {
  auto at = state.memberships_up.upper_bound(after);
  while (at != state.memberships_up.end() && !vsan_is_active(state, at->first)) {
    at = state.memberships_up.upper_bound({at->first, UINT32_MAX});  // over the whole VSAN
  }
  if (at == state.memberships_up.end()) {
    return false;
  }
  found = *at;
  return true;
}

namespace {

int answer_membership(const switch_state &state, const membership &pair, message_reply &reply) {
  const uint8_t is_static = find_interface(state, pair.second)->is_static ? 1 : 0;
  reply.payload = record_bytes(active_membership{pair.first, pair.second, is_static, {}});
  return 0;
}

membership asked_membership(const message_request &request) {
  const auto asked = record_read<active_membership>(request.payload.data());
  return {asked.vsan, asked.interface};
}

int membership_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const membership pair = asked_membership(request);
  if (!managers.state.memberships_up.contains(pair) || !vsan_is_active(managers.state, pair.first)) {
    return kStatusNoMembership;
  }
  return answer_membership(managers.state, pair, reply);
}

int membership_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  membership pair;
  if (!next_active_membership(managers.state, asked_membership(request), pair)) {
    return kStatusEndOfMemberships;
  }
  return answer_membership(managers.state, pair, reply);
}

switch_interface asked_interface(const message_request &request) {
  return record_read<switch_interface>(request.payload.data());
}

int answer_interface(const interface_record *interface, message_reply &reply) {
  if (interface == nullptr) {
    return kStatusNoEntry;
  }
  switch_interface record = {interface->index, interface->up ? 1U : 0U, {}};
  std::ranges::copy(interface->name, record.name);
  reply.payload = record_bytes(record);
  return 0;
}

int interface_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(find_interface(managers.state, asked_interface(request).index), reply);
}

int interface_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(next_interface(managers.state, asked_interface(request).index), reply);
}

int interface_set(switch_managers &managers, const message_request &request, message_reply &) {
  const switch_interface wanted = asked_interface(request);
  if (wanted.up > 1) {
    return kStatusAdminStateRange;
  }
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_admin(managers.state, wanted.index, wanted.up == 1, change);
  return status != 0 ? status : managers_commit(managers, change);
}

// The name in its field; false when it has no end there.
bool take_name(const char (&field)[sizeof switch_interface::name], std::string &name) {
  const size_t length = strnlen(field, sizeof field);
  name.assign(field, length);
  return length < sizeof field;
}

int interface_create(switch_managers &managers, const message_request &request, message_reply &) {
  const auto wanted = record_read<interface_definition>(request.payload.data());
  interface_record interface = {wanted.index, "", wanted.vsan, wanted.up == 1, true};
  if (wanted.up > 1) {
    return kStatusAdminStateRange;
  }
  if (!take_name(wanted.name, interface.name)) {
    return kStatusInterfaceName;
  }
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_create(managers.state, std::move(interface), change);
  return status != 0 ? status : managers_commit(managers, change);
}

// A VSAN that was deleted a moment ago and comes back takes its interfaces along, but not another one that has the
// index by then.
void forget_interface(dropped_vsans &dropped, uint32_t index) {
  for (auto &[id, vsan] : dropped) {
    vsan.interfaces.erase(index);
  }
}

int interface_delete(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t index = record_read<interface_definition>(request.payload.data()).index;
  switch_change change = change_begin(managers.state);
  int status = plan_interface_delete(managers.state, index, change);
  if (status == 0) {
    status = managers_commit(managers, change);
  }
  if (status == 0) {
    forget_interface(managers.dropped, index);
  }
  return status;
}

int interface_rename(switch_managers &managers, const message_request &request, message_reply &) {
  const switch_interface wanted = asked_interface(request);
  std::string name;
  if (!take_name(wanted.name, name)) {
    return kStatusInterfaceName;
  }
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_rename(managers.state, wanted.index, std::move(name), change);
  return status != 0 ? status : managers_commit(managers, change);
}

constexpr opcode_row kOpcodes[] = {
    {kOpActiveMembership, kMsgGet, sizeof(active_membership), membership_get},
    {kOpActiveMembership, kMsgGetNext, sizeof(active_membership), membership_get_next},
    {kOpInterface, kMsgGet, sizeof(switch_interface), interface_get},
    {kOpInterface, kMsgGetNext, sizeof(switch_interface), interface_get_next},
    {kOpInterface, kMsgSet, sizeof(switch_interface), interface_set},
    {kOpInterfaceRow, kMsgSet, sizeof(interface_definition), interface_create},
    {kOpInterfaceRow, kMsgDelete, sizeof(interface_definition), interface_delete},
    {kOpInterfaceName, kMsgSet, sizeof(switch_interface), interface_rename},
};

}  // namespace

void port_manager_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
