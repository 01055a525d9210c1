// Find functions and write methods over a faked platform: OIDs, values, types, lengths and phases as a client, or a
// broken agent, might make them.
#include <iterator>

#include "fuzz_input.h"
#include "fuzz_world.h"

namespace {

using namespace mib;

constexpr u_char kTypes[] = {ASN_INTEGER, ASN_OCTET_STR, ASN_GAUGE, ASN_TIMETICKS, ASN_OBJECT_ID, ASN_NULL};
constexpr int kStepsMax = 24;

const struct variable7 &take_object(fuzz_input &in) {
  return vsan_mib_variables[take_byte(in) % kVsanMibObjects];
}

// An object's name and up to three sub-identifiers more.
name_t take_name(fuzz_input &in, const struct variable7 &object) {
  name_t name(vsan_mib_variables_oid, vsan_mib_variables_oid + kVsanMibRootLen);
  name.insert(name.end(), object.name, object.name + object.namelen);
  const uint8_t shape = take_byte(in);
  for (int i = 0; i < (shape & 3); ++i) {
    name.push_back((shape & 4) != 0 ? take_word(in) : take_byte(in));
  }
  return name;
}

varbind take_varbind(fuzz_input &in) {
  varbind v;
  v.name = take_name(in, take_object(in));
  v.type = kTypes[take_byte(in) % std::size(kTypes)];
  if (v.type == ASN_OCTET_STR) {
    const auto octets = take_bytes(in, take_byte(in));
    v.octets.assign(octets.begin(), octets.end());
  } else {
    v.integer = static_cast<long>(take_word(in)) << (take_byte(in) == 0xFF ? 24 : 0);
  }
  return v;
}

void set_pdu(fuzz_input &in) {
  std::vector<varbind> varbinds;
  for (int i = take_byte(in) % 4; i >= 0; --i) {
    varbinds.push_back(take_varbind(in));
  }
  mini::set_pdu(varbinds);
  FUZZ_EXPECT(fake::listed(vsanEntry_list) == 0);
  FUZZ_EXPECT(fake::listed(vsanEntry_undo_list) == 0);
}

void getnext(fuzz_input &in) {
  const name_t name = take_name(in, take_object(in));
  const auto next = mini::getnext(name);
  FUZZ_EXPECT(!next || snmp_oid_compare(name.data(), name.size(), next->name.data(), next->name.size()) < 0);
}

// A find function with any exact flag and any length that the agent's buffer has room for.
void find(fuzz_input &in) {
  const struct variable7 &object = take_object(in);
  struct variable vp = mini::as_variable(object);
  oid name[MAX_OID_LEN] = {};
  const name_t taken = take_name(in, object);
  std::copy(taken.begin(), taken.end(), name);
  size_t length = take_byte(in) == 0 ? MAX_OID_LEN : taken.size(), value_length = 0;
  WriteMethod *write = nullptr;
  const u_char *value = object.findVar(&vp, name, &length, take_byte(in), &value_length, &write);
  FUZZ_EXPECT(length <= MAX_OID_LEN);
  // Every octet of the value can be read.
  volatile unsigned sum = 0;
  for (size_t i = 0; value != nullptr && i < value_length; ++i) {
    sum = sum + value[i];
  }
}

// The value that the agent finds for a name before it writes there, or null.
u_char *current_value(const struct variable7 &object, const name_t &of) {
  struct variable vp = mini::as_variable(object);
  oid name[MAX_OID_LEN] = {};
  std::copy(of.begin(), of.end(), name);
  size_t length = of.size(), value_length = 0;
  WriteMethod *write = nullptr;
  u_char *value = object.findVar(&vp, name, &length, 1, &value_length, &write);
  return name_t(name, name + length) == of ? value : nullptr;
}

// Phases of a write method in any order, with types and lengths of their own; then the end of the PDU.
void phases(fuzz_input &in) {
  const struct variable7 &object = take_object(in);
  WriteMethod *method = nullptr;
  set_table_set_methods(object.magic, &method);
  if (method == nullptr) {
    set_if_table_set_methods(object.magic, &method);
  }
  if (method == nullptr) {
    set_fctimer_table_set_methods(object.magic, &method);
  }
  if (method == nullptr) {
    method = write_vsanNotificationCntl;
  }
  name_t name = take_name(in, object);
  for (int i = take_byte(in) % 6; i >= 0; --i) {
    const u_char type = kTypes[take_byte(in) % std::size(kTypes)];
    const std::vector<uint8_t> value = take_bytes(in, take_byte(in) % 41);
    const int action = take_byte(in) % 8;
    u_char *const current = current_value(object, name);
    mini::phase_raw(method, action, name, type, {value.begin(), value.end()}, take_byte(in) % 41, current);
  }
  handle_free_vsanEntryList(name.data(), name.size());
  FUZZ_EXPECT(fake::listed(vsanEntry_list) == 0);
  FUZZ_EXPECT(fake::listed(vsanEntry_undo_list) == 0);
}

void ask_as(fuzz_input &in) {
  const uint8_t who = take_byte(in);
  fake::the().restricted = (who & 1) != 0;
  fake::the().allowed = {5, 10};
  fake::the().kdx_enabled = (who & 2) != 0;
  fake::the().kdx_show_running = (who & 4) != 0;
}

constexpr void (*kSteps[])(fuzz_input &) = {set_pdu, getnext, find, ask_as, phases};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  make_world();
  fuzz_input in = {data, size};
  for (int i = 0; i < kStepsMax && in.left > 0; ++i) {
    kSteps[take_byte(in) % std::size(kSteps)](in);
  }
  return 0;
}
