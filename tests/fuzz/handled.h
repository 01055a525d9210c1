// What a notification handler of the module made of a payload.
#ifndef TESTS_FUZZ_HANDLED_H
#define TESTS_FUZZ_HANDLED_H

#include <vector>

#include "fake_platform.h"
#include "fuzz_input.h"

struct handled_varbind {
  std::vector<oid> name;
  u_char type;
  std::vector<uint8_t> value;
};

struct handled {
  int send = -1;
  std::vector<oid> trap;
  std::vector<handled_varbind> varbinds;
};

// Calls the handler with the payload, and checks what holds for every payload: a trap that is not sent has no
// varbinds, one that is has its name and three.
inline handled handle(notification_handler_t handler, const std::vector<uint8_t> &payload) {
  fake::message message{payload};
  oid trap[MAX_OID_LEN];
  size_t trap_len = 0;
  handled out;
  netsnmp_variable_list *list = handler(&message, trap, &trap_len, &out.send);
  FUZZ_EXPECT(out.send == 0 || out.send == 1);
  FUZZ_EXPECT((list != nullptr) == (out.send == 1));
  FUZZ_EXPECT(trap_len == (out.send == 1 ? 13u : 0u));
  out.trap.assign(trap, trap + trap_len);
  for (const netsnmp_variable_list *v = list; v != nullptr; v = v->next_variable) {
    out.varbinds.push_back({{v->name, v->name + v->name_length}, v->type, {v->val.string, v->val.string + v->val_len}});
  }
  FUZZ_EXPECT(out.varbinds.size() == (out.send == 1 ? 3u : 0u));
  snmp_free_varbind(list);
  return out;
}

// The 32 bits of an integer's value, which the agent's library holds as a long.
inline uint32_t integer_of(const handled_varbind &v) {
  FUZZ_EXPECT(v.type == ASN_INTEGER);
  FUZZ_EXPECT(v.value.size() == sizeof(long) || v.value.size() == sizeof(uint32_t));
  if (v.value.size() == sizeof(uint32_t)) {
    uint32_t word;
    memcpy(&word, v.value.data(), sizeof word);
    return word;
  }
  long value;
  memcpy(&value, v.value.data(), sizeof value);
  return static_cast<uint32_t>(value);
}

#endif
