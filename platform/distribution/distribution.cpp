#include "distribution.h"

#include "statuses.h"
#include "vsan_values.h"

namespace {

std::string single_remote_holder(void *context, const char *) {
  return static_cast<single_switch_fabric *>(context)->played_holder;
}

int single_lock(void *context, const char *application, distribution_session &) {
  return single_remote_holder(context, application).empty() ? 0 : kStatusRemoteLock;
}

void single_unlock(void *, const char *) {}

int single_spread(void *context, const char *application, const std::vector<distribution_value> &,
                  const std::vector<distribution_value> &) {
  return single_remote_holder(context, application).empty() ? 0 : kStatusRemoteLock;
}

int single_may(void *) {
  return 0;
}

}  // namespace

distribution_engine single_switch_engine(single_switch_fabric *fabric) {
  return {fabric, single_remote_holder, single_lock, single_unlock, single_spread, single_may, single_may};
}

int distribution_enable(const distribution_engine &engine, const distribution_session &now, bool enabled,
                        distribution_session &next) {
  if (!enabled && now.open != 0) {
    return kStatusSessionOpen;
  }
  if (const int status = enabled ? 0 : engine.may_disable(engine.context); status != 0) {
    return status;
  }
  next = now;
  next.enabled = enabled ? 1 : 0;
  return 0;
}

int distribution_open(const distribution_engine &engine, const distribution_session &now, const std::string &user,
                      distribution_session &next) {
  if (now.enabled == 0) {
    return kStatusDistributionOff;
  }
  if (!engine.remote_holder(engine.context, kFcTimerApplication).empty()) {
    return kStatusRemoteLock;
  }
  if (now.open != 0 && now.owner != user) {
    return kStatusSessionOther;
  }
  distribution_session opened = now;
  opened.open = 1;
  opened.lost = 0;
  opened.owner = user;
  const int status = engine.lock(engine.context, kFcTimerApplication, opened);
  if (status == 0) {
    next = opened;
  }
  return status;
}

namespace {

void close_session(const distribution_session &now, distribution_session &next) {
  next = now;
  next.open = 0;
  next.lost = 0;
  next.number = 0;
  next.owner.clear();
}

}  // namespace

int distribution_commit(const distribution_engine &engine, const distribution_session &now,
                        const std::vector<distribution_value> &changed, const std::vector<distribution_value> &all,
                        distribution_session &next) {
  if (now.open == 0) {
    return kStatusNoSession;
  }
  if (now.lost != 0) {
    return kStatusSessionLost;
  }
  const int status = engine.spread(engine.context, kFcTimerApplication, changed, all);
  if (status != 0) {
    return status;
  }
  close_session(now, next);
  return 0;
}

int distribution_abort(const distribution_engine &engine, const distribution_session &now, distribution_session &next) {
  if (now.open == 0) {
    return kStatusNoSession;
  }
  if (const int status = engine.may_abort(engine.context); status != 0) {
    return status;
  }
  close_session(now, next);
  return 0;
}

void distribution_release(const distribution_engine &engine) {
  engine.unlock(engine.context, kFcTimerApplication);
}
