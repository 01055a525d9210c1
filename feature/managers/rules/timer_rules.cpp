#include "rules/timer_rules.h"

#include "rules/fabric_rules.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_values.h"

int timer_problem(uint32_t key, uint32_t value) {
  if (!is_timer(key)) {
    return kStatusTimerType;
  }
  const timer_range &range = range_of_timer(key);
  return value < range.low || value > range.high ? kStatusTimerRange : 0;
}

namespace {

// Puts the value into the session of the user, opening it when there is none.
int plan_pending_timer(const switch_state &state, const distribution_engine &engine, const timer_key &key,
                       uint32_t value, const std::string &user, switch_change &change) {
  const int status = distribution_open(engine, state.settings.distribution, user, change.settings.distribution);
  if (status == 0) {
    change.pending[key] = value;
  }
  return status;
}

}  // namespace

int plan_timer_set(const switch_state &state, const distribution_engine &engine, const vsanFcTimerEntry &timer,
                   const std::string &user, switch_change &change) {
  if (const int problem = timer_problem(timer.timer_type, timer.timer_value); problem != 0) {
    return problem;
  }
  const uint32_t vsan_id = timer.flag != 0 ? timer.vsan_id : 0;
  if (vsan_id != 0 || timer.flag != 0) {
    const vsan_record *vsan = find_vsan(state, vsan_id);
    if (vsan == nullptr) {
      return kStatusNoVsan;
    }
    if (timer.force == 0 && oper_state(state, *vsan) == kOperUp) {
      return kStatusTimerMustForce;
    }
  }
  const timer_key key{vsan_id, timer.timer_type};
  if (state.settings.distribution.enabled != 0 && !state.kept_out.contains(vsan_id)) {
    return plan_pending_timer(state, engine, key, timer.timer_value, user, change);
  }
  const auto present = state.timers.find(key);
  if (present == state.timers.end() || present->second != timer.timer_value) {
    change.timers[key] = timer.timer_value;
  }
  return 0;
}

void drop_pending(const switch_state &state, switch_change &change) {
  for (const auto &[key, value] : state.pending) {
    change.pending[key] = 0;
  }
}

int plan_distribution_commit(const switch_state &state, const distribution_engine &engine, switch_change &change) {
  const int status = distribution_commit(engine, state.settings.distribution, listed_values(state.pending),
                                         listed_values(values_after_commit(state)), change.settings.distribution);
  if (status != 0) {
    return status;
  }
  change.timers = state.pending;
  drop_pending(state, change);
  return 0;
}

int plan_distribution_abort(const switch_state &state, const distribution_engine &engine, switch_change &change) {
  const int status = distribution_abort(engine, state.settings.distribution, change.settings.distribution);
  if (status == 0) {
    drop_pending(state, change);
  }
  return status;
}

int plan_distribution_resume(const switch_state &state, const distribution_engine &engine, switch_change &change) {
  const distribution_session &session = state.settings.distribution;
  if (session.open == 0) {
    return kStatusNoSession;
  }
  return distribution_open(engine, session, session.owner, change.settings.distribution);
}

int plan_distribution_keep_out(const switch_state &state, uint32_t vsan, bool out, switch_change &change) {
  if (find_vsan(state, vsan) == nullptr) {
    return kStatusNoVsan;
  }
  if (state.kept_out.contains(vsan) == out) {
    return 0;
  }
  change.kept_out[vsan] = out;
  for (auto timer = state.pending.lower_bound({vsan, 0});
       out && timer != state.pending.end() && timer->first.first == vsan; ++timer) {
    change.pending[timer->first] = 0;
  }
  return 0;
}
