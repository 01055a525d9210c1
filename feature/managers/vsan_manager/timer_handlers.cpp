// Opcode 127: the timers of a VSAN or of the whole switch.
#include "plain_text.h"
#include "record_words.h"
#include "rules/timer_rules.h"
#include "statuses.h"
#include "vsan_manager/handlers.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

vsanFcTimerEntry read_timer(const message_request &request) {
  return record_read<vsanFcTimerEntry>(request.payload.data());
}

// 0, or what is wrong with a read. Type 0 is asked for a VSAN when its force flag, which the asker keeps, is read.
int read_problem(const switch_state &state, const vsanFcTimerEntry &timer) {
  if (timer.flag > 1 || timer.force > 1) {
    return kStatusTimerFlags;
  }
  if (!is_timer(timer.timer_type) && (timer.flag == 0 || timer.timer_type != 0)) {
    return kStatusTimerType;
  }
  return timer.flag != 0 && find_vsan(state, timer.vsan_id) == nullptr ? kStatusNoVsan : 0;
}

// The record that was asked with, its value filled.
int answer_timer(vsanFcTimerEntry timer, uint32_t value, message_reply &reply) {
  timer.timer_value = value;
  reply.payload = record_bytes(timer);
  return 0;
}

}  // namespace

int handle_timer_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsanFcTimerEntry timer = read_timer(request);
  if (const int problem = read_problem(managers.state, timer); problem != 0) {
    return problem;
  }
  const uint32_t vsan = timer.flag != 0 ? timer.vsan_id : 0;
  const uint32_t value = timer.timer_type == 0 ? 0 : timer_in_force(managers.state, vsan, timer.timer_type);
  return answer_timer(timer, value, reply);
}

int handle_timer_get_pending(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsanFcTimerEntry timer = read_timer(request);
  // Distribution may have been turned off since the asker looked: then there is nothing but the running values.
  if (managers.state.settings.distribution.enabled == 0) {
    return handle_timer_get(managers, request, reply);
  }
  if (const int problem = read_problem(managers.state, timer); problem != 0) {
    return problem;
  }
  if (managers_locked_out(managers)) {
    return kStatusRemoteLock;
  }
  const uint32_t vsan = timer.flag != 0 ? timer.vsan_id : 0;
  if (managers.state.kept_out.contains(vsan)) {
    return kStatusNotInDistribution;
  }
  const uint32_t value = timer.timer_type == 0 ? 0 : timer_pending(managers.state, vsan, timer.timer_type);
  return answer_timer(timer, value, reply);
}

int handle_timer_set(switch_managers &managers, const message_request &request, message_reply &) {
  const vsanFcTimerEntry timer = read_timer(request);
  if (timer.flag > 1 || timer.force > 1) {
    return kStatusTimerFlags;
  }
  // It may become the owner of a session, which is stored and shown.
  const std::string user = request.user.empty() ? "(unknown)" : printable(request.user.substr(0, kSessionOwnerMax));
  switch_change change = change_begin(managers.state);
  const int status = plan_timer_set(managers.state, managers.engine, timer, user, change);
  return status != 0 ? status : managers_commit(managers, change);
}
