#include "vsan_manager/vsan_manager.h"

#include "big_endian.h"
#include "managers.h"
#include "opcode_table.h"
#include "requests.h"
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

constexpr opcode_row kIdentityOpcodes[] = {{kOpSwitchWwn, kMsgGet, 0, handle_switch_wwn}};

}  // namespace

void vsan_manager_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}

void identity_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kIdentityOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
