#include "vsan_manager/vsan_manager.h"

#include <string.h>

#include <algorithm>

#include "big_endian.h"
#include "managers.h"
#include "opcode_table.h"
#include "plain_text.h"
#include "requests.h"
#include "statuses.h"
#include "switch_records.h"
#include "vsan_manager/handlers.h"
#include "vsan_records.h"

namespace {

constexpr size_t kRowSize = sizeof(vsanRowMessage);
constexpr size_t kInterfaceSize = sizeof(vsanIfEntry);
constexpr size_t kTimerSize = sizeof(vsanFcTimerEntry);
constexpr size_t kLatencySize = sizeof(vsanLatency);

constexpr opcode_row kOpcodes[] = {
    {kOpVsanRow, kMsgGet, kRowSize, handle_vsan_get},
    {kOpVsanRow, kMsgGetNext, kRowSize, handle_vsan_get_next},
    {kOpVsanRow, kMsgSet, kRowSize, handle_vsan_set},
    {kOpVsanRow, kMsgDelete, kRowSize, handle_vsan_delete},
    {kOpInterfaceVsan, kMsgGet, kInterfaceSize, handle_interface_get},
    {kOpInterfaceVsan, kMsgGetNext, kInterfaceSize, handle_interface_get_next},
    {kOpInterfaceVsan, kMsgSet, kInterfaceSize, handle_interface_set},
    {kOpFcTimer, kMsgGet, kTimerSize, handle_timer_get},
    {kOpFcTimer, kMsgKdxGet, kTimerSize, handle_timer_get_pending},
    {kOpFcTimer, kMsgSet, kTimerSize, handle_timer_set},
    {kOpVsanNumber, kMsgGet, 0, handle_vsan_count},
    {kOpTableLastChange, kMsgGet, 0, handle_last_change},
    {kOpInterfaceNumber, kMsgGet, 0, handle_interface_count},
    {kOpLatency, kMsgGet, kLatencySize, handle_latency_get},
    {kOpLatency, kMsgSet, kLatencySize, handle_latency_set},
    {kOpInorderDelivery, kMsgGet, 0, handle_inorder_get},
    {kOpInorderDelivery, kMsgSet, 4, handle_inorder_set},
    {kOpNotificationControl, kMsgSet, 4, handle_notification_control},
};

int handle_switch_wwn(switch_managers &managers, const message_request &, message_reply &reply) {
  reply.payload.resize(8);
  put_be64(reply.payload.data(), managers.state.settings.wwn);
  return 0;
}

int handle_wwn_change(switch_managers &managers, const message_request &request, message_reply &) {
  switch_change change = change_begin(managers.state);
  change.settings.wwn = get_be64(request.payload.data());
  return change.settings.wwn == 0 ? int{kStatusSwitchWwn} : managers_commit(managers, change);
}

int handle_switch_name(switch_managers &managers, const message_request &, message_reply &reply) {
  reply.payload.resize(sizeof(switch_name));
  std::ranges::copy(managers.state.settings.name, reply.payload.begin());
  return 0;
}

int handle_rename(switch_managers &managers, const message_request &request, message_reply &) {
  const auto *text = reinterpret_cast<const char *>(request.payload.data());
  switch_change change = change_begin(managers.state);
  change.settings.name.assign(text, strnlen(text, sizeof(switch_name)));
  if (!plain_text_problem(change.settings.name, kSwitchNameMax).empty()) {
    return kStatusSwitchName;
  }
  return managers_commit(managers, change);
}

constexpr opcode_row kIdentityOpcodes[] = {
    {kOpSwitchWwn, kMsgGet, 0, handle_switch_wwn},
    {kOpSwitchWwnChange, kMsgSet, sizeof(uint64_t), handle_wwn_change},
    {kOpSwitchName, kMsgGet, 0, handle_switch_name},
    {kOpSwitchName, kMsgSet, sizeof(switch_name), handle_rename},
};

}  // namespace

void vsan_manager_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}

void identity_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kIdentityOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
