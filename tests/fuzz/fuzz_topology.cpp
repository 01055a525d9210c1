// Topology files: an error names the file, and what is read without one is a configuration that the rules allow, and
// that is the same when it is written and read again.
#include <sys/mman.h>
#include <unistd.h>

#include <set>
#include <string>

#include "configuration.h"
#include "fuzz_input.h"
#include "rules/timer_rules.h"
#include "rules/vsan_rules.h"
#include "topology.h"
#include "vsan_values.h"

namespace {

void check(const switch_change &change) {
  std::set<uint32_t> ids;
  std::set<std::string> names;
  for (const vsan_record &vsan : change.vsans) {
    FUZZ_EXPECT(vsan_problem(vsan) == 0 && ids.insert(vsan.id).second);
    FUZZ_EXPECT(vsan.name.empty() || names.insert(vsan.name).second);
  }
  FUZZ_EXPECT(ids.contains(kDefaultVsan));
  FUZZ_EXPECT(change.interfaces.size() <= kInterfacesMax);
  for (const interface_record &interface : change.interfaces) {
    FUZZ_EXPECT(interface_problem(interface) == 0 && ids.contains(interface.vsan));
  }
  for (const auto &[key, value] : change.timers) {
    FUZZ_EXPECT(timer_problem(key.second, value) == 0 && (key.first == 0 || ids.contains(key.first)));
  }
}

// What is written of a switch reads back as that switch.
void check_round_trip(const switch_change &change) {
  switch_state state;
  state_apply(state, change);
  switch_change again;
  std::string error;
  FUZZ_EXPECT(parse_topology(write_topology(state), "written", again, error) == 0);
  FUZZ_EXPECT(configuration_extent(state, configuration_change(state, again)) == "nothing");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const int file = memfd_create("topology", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  FUZZ_EXPECT(ftruncate(file, 0) == 0);
  FUZZ_EXPECT(pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
  switch_change change;
  std::string error;
  if (read_topology(path, change, error) == 0) {
    check(change);
    check_round_trip(change);
  } else {
    FUZZ_EXPECT(error.find(path) != std::string::npos && error.size() > path.size());
  }
  return 0;
}
