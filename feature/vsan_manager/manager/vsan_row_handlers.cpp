// Opcodes 149 and 124: rows of the VSAN table and of the interface table.
#include <string.h>

#include <algorithm>

#include "feature/vsan_manager/manager/handlers.h"
#include "feature/vsan_manager/manager/vsan_rules.h"
#include "feature/vsan_manager/vsan_records.h"
#include "platform/messaging/big_endian.h"
#include "platform/services/status_texts.h"

static constexpr size_t kRowAt = offsetof(vsanRowMessage, row);
static constexpr size_t kNameAt = kRowAt + offsetof(vsanEntry, vsanName);

// The words of a row, on the wire and in memory. Row status and operational state are derived and not here.
struct row_word {
  size_t offset;
  uint32_t vsan_record::*field;
};
static constexpr row_word kRowWords[] = {
    {kRowAt + offsetof(vsanEntry, vsanIndex), &vsan_record::id},
    {kRowAt + offsetof(vsanEntry, vsanMediaType), &vsan_record::media_type},
    {kRowAt + offsetof(vsanEntry, vsanAdminState), &vsan_record::admin_state},
    {kRowAt + offsetof(vsanEntry, vsanMtu), &vsan_record::mtu},
    {kRowAt + offsetof(vsanEntry, vsanInorderDelivery), &vsan_record::inorder},
    {kRowAt + offsetof(vsanEntry, vsanInteropMode), &vsan_record::interop},
    {kRowAt + offsetof(vsanEntry, vsanLoadBalancingType), &vsan_record::load_balancing},
    {kRowAt + offsetof(vsanEntry, vsanNetworkDropLatency), &vsan_record::drop_latency},
};

static uint32_t word(const message_request &request, size_t offset) {
  return get_be32(request.payload.data() + offset);
}

static int answer_vsan(const switch_state &state, const vsan_record &vsan, message_reply &reply) {
  reply.payload.assign(sizeof(vsanRowMessage), 0);
  uint8_t *bytes = reply.payload.data();
  for (const row_word &each : kRowWords) {
    put_be32(bytes + each.offset, vsan.*each.field);
  }
  put_be32(bytes + kRowAt + offsetof(vsanEntry, vsanRowStatus), kRowStatusActive);
  put_be32(bytes + kRowAt + offsetof(vsanEntry, vsanOperState), oper_state(state, vsan));
  std::ranges::copy(vsan.name, bytes + kNameAt);  // the row is all zeros: the NUL is there
  return 0;
}

int handle_vsan_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsan_record *vsan = find_vsan(managers.state, word(request, kRowAt));
  return vsan == nullptr ? kStatusNoVsan : answer_vsan(managers.state, *vsan, reply);
}

int handle_vsan_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsan_record *vsan = next_vsan(managers.state, word(request, kRowAt));
  return vsan == nullptr ? kStatusNoEntry : answer_vsan(managers.state, *vsan, reply);
}

int handle_vsan_set(switch_managers &managers, const message_request &request, message_reply &) {
  vsan_record vsan;
  for (const row_word &each : kRowWords) {
    vsan.*each.field = word(request, each.offset);
  }
  const auto *name = reinterpret_cast<const char *>(request.payload.data() + kNameAt);
  const size_t length = strnlen(name, kVsanNameField);
  if (length == kVsanNameField) {
    return kStatusNameMalformed;
  }
  vsan.name.assign(name, length);
  const uint32_t row_status = word(request, kRowAt + offsetof(vsanEntry, vsanRowStatus));
  switch_change change = change_begin(managers.state);
  const int status = plan_vsan_set(managers.state, std::move(vsan), row_status, change);
  return status != 0 ? status : managers_commit(managers, change);
}

int handle_vsan_delete(switch_managers &managers, const message_request &request, message_reply &) {
  switch_change change = change_begin(managers.state);
  const int status = plan_vsan_delete(managers.state, word(request, kRowAt), change);
  return status != 0 ? status : managers_commit(managers, change);
}

static int answer_interface(const interface_record *interface, message_reply &reply) {
  if (interface == nullptr) {
    return kStatusNoEntry;
  }
  reply.payload.assign(sizeof(vsanIfEntry), 0);
  uint8_t *bytes = reply.payload.data();
  put_be32(bytes + offsetof(vsanIfEntry, ifIndex), interface->index);
  put_be32(bytes + offsetof(vsanIfEntry, vsanIfVsan), interface->vsan);
  put_be32(bytes + offsetof(vsanIfEntry, vsanIfRowStatus), kRowStatusActive);
  return 0;
}

int handle_interface_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(find_interface(managers.state, word(request, offsetof(vsanIfEntry, ifIndex))), reply);
}

int handle_interface_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(next_interface(managers.state, word(request, offsetof(vsanIfEntry, ifIndex))), reply);
}

int handle_interface_set(switch_managers &managers, const message_request &request, message_reply &) {
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_move(managers.state, word(request, offsetof(vsanIfEntry, ifIndex)),
                                         word(request, offsetof(vsanIfEntry, vsanIfVsan)), change);
  return status != 0 ? status : managers_commit(managers, change);
}
