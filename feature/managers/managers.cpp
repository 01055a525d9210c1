#include "managers.h"

#include <sys/time.h>

#include <algorithm>

#include "monotonic_clock.h"
#include "plain_text.h"
#include "platform/syserr.h"
#include "published/published_rows.h"
#include "rules/fabric_rules.h"
#include "state/change_effects.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

bool changes_nothing(const switch_state &state, const switch_change &change) {
  return change.vsans.empty() && change.vsans_removed.empty() && change.interfaces.empty() &&
         change.interfaces_removed.empty() && change.timers.empty() && change.pending.empty() &&
         change.fabric_timers.empty() && change.kept_out.empty() && change.taken == 0 &&
         change.settings == state.settings;
}

void log_line(const switch_managers &managers, const std::string &line) {
  if (managers.log != nullptr) {
    managers.log(managers.context, line);
  }
}

// In memory, and for those who read there.
void apply(switch_managers &managers, const switch_change &change) {
  const std::vector<uint32_t> touched = vsans_touched(managers.state, change);
  state_apply(managers.state, change);
  if (managers.published != nullptr) {
    publish_change(*managers.published, managers.state, change, touched, managers_locked_out(managers));
  }
}

// A user's name in a line of the log; whoever sends a request writes it, up to the size of a request.
std::string user_shown(std::string_view user) {
  constexpr size_t kShownMax = 64;  // octets
  return printable(user.substr(0, kShownMax)) + (user.size() > kShownMax ? "..." : "");
}

}  // namespace

bool managers_locked_out(const switch_managers &managers) {
  return !managers.engine.remote_holder(managers.engine.context, kFcTimerApplication).empty();
}

int managers_commit(switch_managers &managers, switch_change &change) {
  if (changes_nothing(managers.state, change)) {
    return 0;
  }
  follow_fabric(managers.state, change);
  // First, so that what was acknowledged neither fills the queue nor counts as dropped.
  change.taken = std::max(change.taken, managers.acknowledged);
  const uint64_t not_dropped = std::min(managers.dropped_yet_taken, change.settings.dropped_notifications);
  change.settings.dropped_notifications -= not_dropped;
  timeval now{};
  gettimeofday(&now, nullptr);
  change_complete(managers.state, change, now);
  const bool was_open = managers.state.settings.distribution.open != 0;
  const bool will_be_open = change.settings.distribution.open != 0;
  std::string error;
  if (store_write(managers.kept, managers.state, change, error) != 0) {
    log_line(managers, "the change was not made: " + error);
    if (!was_open && will_be_open) {
      distribution_release(managers.engine);
    }
    return kStatusStoreFailed;
  }
  apply(managers, change);
  managers.dropped_yet_taken -= not_dropped;
  if (was_open && !will_be_open) {
    distribution_release(managers.engine);
    ++managers.sessions_closed;
  }
  for (const vsan_record &vsan : change.vsans) {
    managers.dropped.erase(vsan.id);  // it is there, however it came
  }
  if (managers.changed != nullptr) {
    managers.changed(managers.context);
  }
  return 0;
}

int managers_first_start(switch_managers &managers, switch_change &change, std::string &error) {
  if (store_write(managers.kept, managers.state, change, error) != 0) {
    return -1;
  }
  state_apply(managers.state, change);
  return 0;
}

void managers_refuse(switch_managers &managers, const message_request &request, int status, const std::string &what) {
  uint32_t left_out = 0;
  if (!log_limit_take(&managers.refusals, monotonic_seconds(), &left_out)) {
    return;
  }
  if (left_out > 0) {
    log_line(managers, std::to_string(left_out) + " lines like the next one were left out");
  }
  log_line(managers, "refused opcode " + std::to_string(request.opcode) + " type " + std::to_string(request.msg_type) +
                         " of user '" + user_shown(request.user) + "' (uid " + std::to_string(request.peer_uid) +
                         ", pid " + std::to_string(request.peer_pid) + "): " + what + ": " + syserr2str(status));
}
