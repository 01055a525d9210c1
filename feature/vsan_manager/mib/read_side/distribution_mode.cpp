#include "read_side/distribution_mode.h"

#include "platform/kdx.h"
#include "vsan_values.h"

namespace vsan_mib {

distribution_mode ask_distribution() {
  distribution_mode mode;
  is_kdx_enabled(kFcTimerApplication, &mode.enabled);
  get_kdx_show_run_mode(kFcTimerApplication, &mode.show_running);
  return mode;
}

bool shows_pending(const distribution_mode &mode) {
  return mode.enabled != 0 && mode.show_running == 0;
}

}  // namespace vsan_mib
