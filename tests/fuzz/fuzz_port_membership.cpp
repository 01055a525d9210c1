// Payloads of notification 102 through the module's handler, with every answer that the identity service may give.
#include "handled.h"

namespace {

uint32_t word_at(const std::vector<uint8_t> &payload, size_t at) {
  fuzz_input in = {payload.data() + at, 4};
  return take_word(in);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool known = false;  // the module keeps the switch's name once it has one
  fake::reset();
  fuzz_input in = {data, size};
  const bool answered = known || take_byte(in) % 2 == 0;
  if (!known) {
    fake::the().overrule = [&](const fake::exchange &asked) {
      FUZZ_EXPECT(asked.opcode == 1282);
      fake::reply r;
      r.status = answered ? 0 : 0x40190002;
      // A platform that has nothing to hand over hands over nothing.
      const std::vector<uint8_t> name = take_bytes(in, take_byte(in) % 16);
      if (answered && !name.empty()) {
        r.payload = name;
      }
      return r;
    };
  }
  const std::vector<uint8_t> none;
  handle(handle_port_memb_change_notifications, none);  // asks, and is too short for a trap

  fake::the().overrule = nullptr;
  const std::vector<uint8_t> payload = take_bytes(in, in.left);
  const handled out = handle(handle_port_memb_change_notifications, payload);
  known = known || out.send == 1;
  FUZZ_EXPECT((out.send == 1) == (payload.size() >= 12));
  if (out.send == 0) {
    return 0;
  }
  const uint32_t interface = word_at(payload, 0);
  FUZZ_EXPECT(out.varbinds[0].type == ASN_OCTET_STR && out.varbinds[0].value.size() == 8);
  FUZZ_EXPECT(integer_of(out.varbinds[1]) == interface && out.varbinds[1].name.back() == interface);
  FUZZ_EXPECT(integer_of(out.varbinds[2]) == word_at(payload, 8));
  return 0;
}
