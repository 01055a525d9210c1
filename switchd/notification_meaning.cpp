#include "notification_meaning.h"

#include "notification_payloads.h"
#include "platform/vsan_range.h"
#include "record_words.h"
#include "requests.h"
#include "value_words.h"
#include "vsan_values.h"

namespace {

std::string interface_name(const switch_state &state, uint32_t index) {
  const interface_record *found = find_interface(state, index);
  return found != nullptr ? found->name : "interface " + std::to_string(index);
}

std::string membership_meaning(const switch_state &state, const notification_record &record) {
  if (record.payload.size() != sizeof(port_membership_change)) {
    return "a membership changed";
  }
  const auto change = record_read<port_membership_change>(record.payload.data());
  return interface_name(state, change.interface) + " moved from VSAN " + std::to_string(change.from) + " to VSAN " +
         std::to_string(change.vsan);
}

std::string attribute(std::vector<uint8_t> payload, uint32_t key, const value_words &words) {
  uint32_t value = 0;
  uint32_t width = 0;
  const int status = vsan_range_config_change_get_attr_values(payload.data(), static_cast<uint32_t>(payload.size()),
                                                              static_cast<int>(key), &value, &width);
  if (status != 0) {
    return "?";
  }
  return value == 1 ? words.of_1 : value == 2 ? words.of_2 : "gone";
}

std::string vsan_meaning(const notification_record &record) {
  std::vector<uint8_t> payload = record.payload;
  uint32_t vsan = 0;
  int created = 0;
  int unused[5] = {};
  if (vsan_range_config_change_get_info(payload.data(), static_cast<uint32_t>(payload.size()), &unused[0], &unused[1],
                                        &vsan, &created, &unused[2], &unused[3], &unused[4]) != 0) {
    return "a VSAN changed";
  }
  const std::string admin = attribute(record.payload, kAttrState, kAdminWords);
  const std::string text = "VSAN " + std::to_string(vsan);
  if (admin == "gone") {
    return text + " was deleted";
  }
  return text + (created != 0 ? " was created: " : " is ") + admin + ", " +
         attribute(record.payload, kAttrOperState, kOperWords);
}

}  // namespace

std::string notification_meaning(const switch_state &state, const notification_record &record) {
  return record.id == kNotifyPortMembership ? membership_meaning(state, record) : vsan_meaning(record);
}
