#include "distribution.h"

#include "statuses.h"
#include "vsan_values.h"

namespace {

std::string single_remote_holder(void *context, const char *) {
  return static_cast<single_switch_fabric *>(context)->played_holder;
}

int single_lock(void *context, const char *application) {
  return single_remote_holder(context, application).empty() ? 0 : kStatusRemoteLock;
}

void single_unlock(void *, const char *) {}

int single_spread(void *context, const char *application, const std::vector<distribution_value> &) {
  return single_lock(context, application);
}

}  // namespace

distribution_engine single_switch_engine(single_switch_fabric *fabric) {
  return {fabric, single_remote_holder, single_lock, single_unlock, single_spread};
}

int distribution_enable(const distribution_session &now, bool enabled, distribution_session &next) {
  if (!enabled && now.open != 0) {
    return kStatusSessionOpen;
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
  if (now.open != 0) {
    if (now.owner != user) {
      return kStatusSessionOther;
    }
    next = now;
    return 0;
  }
  const int status = engine.lock(engine.context, kFcTimerApplication);
  if (status != 0) {
    return status;
  }
  next = now;
  next.open = 1;
  next.owner = user;
  return 0;
}

namespace {

void close_session(const distribution_session &now, distribution_session &next) {
  next = now;
  next.open = 0;
  next.owner.clear();
}

}  // namespace

int distribution_commit(const distribution_engine &engine, const distribution_session &now,
                        const std::vector<distribution_value> &values, distribution_session &next) {
  if (now.open == 0) {
    return kStatusNoSession;
  }
  const int status = engine.spread(engine.context, kFcTimerApplication, values);
  if (status != 0) {
    return status;
  }
  close_session(now, next);
  return 0;
}

int distribution_abort(const distribution_session &now, distribution_session &next) {
  if (now.open == 0) {
    return kStatusNoSession;
  }
  close_session(now, next);
  return 0;
}

void distribution_release(const distribution_engine &engine) {
  engine.unlock(engine.context, kFcTimerApplication);
}
