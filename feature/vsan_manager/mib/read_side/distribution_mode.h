// What configuration distribution says of the timers, which a read of one asks first.
#ifndef FEATURE_VSAN_MANAGER_MIB_READ_SIDE_DISTRIBUTION_MODE_H
#define FEATURE_VSAN_MANAGER_MIB_READ_SIDE_DISTRIBUTION_MODE_H

namespace vsan_mib {

// Both 0 or 1; 0 where the platform does not know.
struct distribution_mode {
  int enabled = 0;
  int show_running = 0;
};

distribution_mode ask_distribution();

// Whether a read shows what an open session holds (kMsgKdxGet), and not the running value (kMsgGet).
bool shows_pending(const distribution_mode &mode);

}  // namespace vsan_mib

#endif
