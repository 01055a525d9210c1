// Requests to the managers, several a run: whatever they are, a refused one changes nothing and what is left is a
// configuration that the rules allow.
#include <stdlib.h>

#include <filesystem>
#include <iterator>

#include "distribution_service.h"
#include "fuzz_input.h"
#include "managers.h"
#include "port_manager.h"
#include "rules/timer_rules.h"
#include "rules/vsan_rules.h"
#include "vsan_manager/vsan_manager.h"
#include "vsan_values.h"

namespace {

constexpr message_handler kReceivers[] = {vsan_manager_handle, identity_handle, port_manager_handle,
                                          distribution_handle};
// Seeds name them by their place.
constexpr int kOpcodes[] = {124,  125,  126,  127,  128, 136, 140,  149,  8018, 1282, 9001,
                            9002, 9101, 9102, 9103, 0,   -1,  9003, 9004, 9301, 9302};
constexpr int kRequestsMax = 16;

char store_directory[] = "/tmp/fuzz-managers.XXXXXX";

// The store is written to, and read only here: each run starts from the same state in memory.
store *open_store() {
  FUZZ_EXPECT(mkdtemp(store_directory) != nullptr);
  atexit([] { std::filesystem::remove_all(store_directory); });
  std::string error;
  store *kept = store_open(std::string(store_directory) + "/state.db", error);
  switch_state none;
  FUZZ_EXPECT(kept != nullptr && store_load(kept, none, error) == 0);
  return kept;
}

switch_state first_state() {
  switch_change change;
  change.settings.store_id = 1;
  for (const uint32_t id : {1u, 5u, 10u}) {
    vsan_record vsan;
    vsan.id = id;
    vsan.name = "vsan" + std::to_string(id);
    change.vsans.push_back(vsan);
  }
  change.interfaces = {{101, "fc1/1", 5, true, true}, {102, "fc1/2", 1, false, false}};
  for (uint32_t key = kTimerFirst; key < kTimerFirst + kTimerKinds; ++key) {
    change.timers[{0, key}] = kTimerRanges[key - kTimerFirst].standard;
  }
  switch_state state;
  state_apply(state, change);
  return state;
}

void check(const switch_state &state) {
  FUZZ_EXPECT(find_vsan(state, kDefaultVsan) != nullptr);
  FUZZ_EXPECT(state.notifications.size() <= kNotificationsMax);
  size_t named = 0;
  for (const auto &[id, vsan] : state.vsans) {
    FUZZ_EXPECT(id == vsan.id && vsan_problem(vsan) == 0);
    named += vsan.name.empty() ? 0 : 1;
  }
  FUZZ_EXPECT(named == state.vsan_of_name.size());
  for (const auto &[index, interface] : state.interfaces) {
    FUZZ_EXPECT(interface_problem(interface) == 0 && find_vsan(state, interface.vsan) != nullptr);
  }
  for (const auto &[key, value] : state.timers) {
    FUZZ_EXPECT(timer_problem(key.second, value) == 0);
    FUZZ_EXPECT(key.first == 0 || find_vsan(state, key.first) != nullptr);
  }
}

void send_one(switch_managers &managers, fuzz_input &in) {
  const message_handler receiver = kReceivers[take_byte(in) % std::size(kReceivers)];
  const uint8_t choice = take_byte(in);
  const int opcode = choice < 0xF0 ? kOpcodes[choice % std::size(kOpcodes)] : static_cast<int>(take_word(in));
  const int msg_type = static_cast<int8_t>(take_byte(in));
  const size_t size = size_t{take_byte(in)} << 8 | take_byte(in);
  const std::vector<uint8_t> payload = take_bytes(in, size);
  const message_request request{opcode, msg_type, {payload.data(), payload.size()}, "fuzz", "", true, 0, 0, 1};
  const switch_state before = managers.state;
  message_reply reply;
  receiver(&managers, request, reply);
  FUZZ_EXPECT(reply.status == 0 || before == managers.state);
  check(managers.state);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static store *const kept = open_store();
  static const switch_state first = first_state();
  switch_managers managers;
  managers.state = first;
  managers.kept = kept;
  managers.engine = single_switch_engine(&managers.fabric);
  fuzz_input in = {data, size};
  for (int i = 0; i < kRequestsMax && in.left > 0; ++i) {
    send_one(managers, in);
  }
  return 0;
}
