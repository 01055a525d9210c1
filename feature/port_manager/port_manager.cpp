#include "feature/port_manager/port_manager.h"

#include <string.h>

#include "feature/vsan_manager/manager/opcode_table.h"
#include "feature/vsan_manager/manager/vsan_rules.h"
#include "feature/vsan_manager/vsan_records.h"
#include "platform/messaging/big_endian.h"
#include "platform/services.h"
#include "platform/services/status_texts.h"

using membership = std::pair<uint32_t, uint32_t>;

static bool vsan_is_active(const switch_state &state, uint32_t id) {
  const vsan_record *vsan = find_vsan(state, id);
  return vsan != nullptr && vsan->admin_state == kAdminActive;
}

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

static int answer_membership(const switch_state &state, const membership &pair, message_reply &reply) {
  reply.payload.assign(kActiveMembershipSize, 0);
  put_be32(put_be32(reply.payload.data(), pair.first), pair.second);
  reply.payload[8] = find_interface(state, pair.second)->is_static ? 1 : 0;
  return 0;
}

static membership asked_membership(const message_request &request) {
  return {get_be32(request.payload.data()), get_be32(request.payload.data() + 4)};
}

static int membership_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const membership pair = asked_membership(request);
  if (!managers.state.memberships_up.contains(pair) || !vsan_is_active(managers.state, pair.first)) {
    return kStatusNoMembership;
  }
  return answer_membership(managers.state, pair, reply);
}

static int membership_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  membership pair;
  if (!next_active_membership(managers.state, asked_membership(request), pair)) {
    return kStatusEndOfMemberships;
  }
  return answer_membership(managers.state, pair, reply);
}

static int answer_interface(const interface_record *interface, message_reply &reply) {
  if (interface == nullptr) {
    return kStatusNoEntry;
  }
  reply.payload.assign(kInterfaceRecordSize, 0);
  put_be32(put_be32(reply.payload.data(), interface->index), interface->up ? 1 : 0);
  memcpy(reply.payload.data() + kInterfaceNameAt, interface->name.data(), interface->name.size());
  return 0;
}

static int interface_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(find_interface(managers.state, get_be32(request.payload.data())), reply);
}

static int interface_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(next_interface(managers.state, get_be32(request.payload.data())), reply);
}

static int interface_set(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t up = get_be32(request.payload.data() + 4);
  if (up > 1) {
    return kStatusAdminStateRange;
  }
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_admin(managers.state, get_be32(request.payload.data()), up == 1, change);
  return status != 0 ? status : managers_commit(managers, change);
}

static constexpr opcode_row kOpcodes[] = {
    {kOpActiveMembership, kMsgGet, kActiveMembershipSize, membership_get},
    {kOpActiveMembership, kMsgGetNext, kActiveMembershipSize, membership_get_next},
    {kOpInterface, kMsgGet, kInterfaceRecordSize, interface_get},
    {kOpInterface, kMsgGetNext, kInterfaceRecordSize, interface_get_next},
    {kOpInterface, kMsgSet, kInterfaceRecordSize, interface_set},
};

void port_manager_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
