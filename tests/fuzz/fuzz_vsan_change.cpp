// Payloads of notification 145 through its two readers and the module's handler.
#include "handled.h"
#include "platform/vsan_range.h"
#include "switchplatform/vsan_range_codec.h"

namespace {

struct change {
  bool sound;
  int first, second, created, third, fourth, fifth;
  uint32_t vsan;
};

change read_head(std::vector<uint8_t> &payload) {
  change c = {};
  c.sound = vsan_range_config_change_get_info(payload.data(), static_cast<uint32_t>(payload.size()), &c.first,
                                              &c.second, &c.vsan, &c.created, &c.third, &c.fourth, &c.fifth) == 0;
  return c;
}

bool read_attribute(std::vector<uint8_t> &payload, int key, uint32_t *value) {
  uint32_t length = 0;
  const int status = vsan_range_config_change_get_attr_values(payload.data(), static_cast<uint32_t>(payload.size()),
                                                              key, value, &length);
  FUZZ_EXPECT(status != 0 || (length >= 1 && length <= 4));
  return status == 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fake::reset();
  std::vector<uint8_t> payload(data, data + size);
  const change c = read_head(payload);
  uint32_t state = 0, oper_state = 0, other = 0;
  const bool complete = c.sound && read_attribute(payload, 1, &state) && read_attribute(payload, 19, &oper_state);
  for (int key = -1; key <= 33; ++key) {
    read_attribute(payload, key, &other);
  }

  const handled out = handle(handle_notifications, payload);
  FUZZ_EXPECT((out.send == 1) == complete);
  if (out.send == 0) {
    return 0;
  }
  FUZZ_EXPECT(integer_of(out.varbinds[0]) == c.vsan);
  FUZZ_EXPECT(integer_of(out.varbinds[1]) == state);
  FUZZ_EXPECT(integer_of(out.varbinds[2]) == oper_state);
  FUZZ_EXPECT(out.varbinds[1].name.back() == c.vsan && out.varbinds[2].name.back() == c.vsan);
  return 0;
}
