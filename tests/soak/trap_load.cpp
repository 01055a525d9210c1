// The receiver of the soak's traps.
#include <stdio.h>

#include <thread>

#include "load.h"
#include "trap_lab.h"

namespace load {

namespace {

using namespace mib;

void print_trap(const trap_lab::sink::entry &heard) {
  const long time = static_cast<long>(now_us());
  const auto &values = heard.varbinds;
  if (heard.trap == membership_change() && values.size() == 3) {
    printf("trap %ld member %ld %ld\n", time, values[1].integer, values[2].integer);
  } else if (heard.trap == status_change() && values.size() == 3) {
    printf("trap %ld status %ld %ld\n", time, values[0].integer, values[2].integer);
  } else {
    printf("trap %ld other %s\n", time, text(heard.trap).c_str());
  }
}

}  // namespace

int take_traps(const setting &how, orders &from) {
  trap_lab::sink sink(how.port);
  printf("sink 0\n");
  bool over = false;
  while (!over) {
    over = from.over;
    for (const auto &each : sink.take()) {
      print_trap(each);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(how.interval));
  }
  printf("sink %u\n", sink.drops());
  return 0;
}

}  // namespace load
