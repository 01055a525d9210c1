// Opcode 127: the timers of a VSAN or of the whole switch.
#include "feature/vsan_manager/manager/handlers.h"
#include "feature/vsan_manager/manager/plain_text.h"
#include "feature/vsan_manager/manager/vsan_rules.h"
#include "feature/vsan_manager/vsan_records.h"
#include "platform/messaging/big_endian.h"
#include "platform/services/status_texts.h"

static vsanFcTimerEntry read_timer(const message_request &request) {
  const uint8_t *bytes = request.payload.data();
  vsanFcTimerEntry timer = {};
  timer.timer_type = get_be32(bytes + offsetof(vsanFcTimerEntry, timer_type));
  timer.timer_value = get_be32(bytes + offsetof(vsanFcTimerEntry, timer_value));
  timer.flag = bytes[offsetof(vsanFcTimerEntry, flag)];
  timer.force = bytes[offsetof(vsanFcTimerEntry, force)];
  timer.vsan_id = get_be32(bytes + offsetof(vsanFcTimerEntry, vsan_id));
  return timer;
}

// 0, or what is wrong with a read. Type 0 is asked for a VSAN when its force flag, which the asker keeps, is read.
static int read_problem(const switch_state &state, const vsanFcTimerEntry &timer) {
  if (timer.flag > 1 || timer.force > 1) {
    return kStatusTimerFlags;
  }
  if (!is_timer(timer.timer_type) && (timer.flag == 0 || timer.timer_type != 0)) {
    return kStatusTimerType;
  }
  return timer.flag != 0 && find_vsan(state, timer.vsan_id) == nullptr ? kStatusNoVsan : 0;
}

// The record that was asked with, its value filled.
static int answer_timer(const message_request &request, uint32_t value, message_reply &reply) {
  reply.payload.assign(request.payload.begin(), request.payload.end());
  put_be32(reply.payload.data() + offsetof(vsanFcTimerEntry, timer_value), value);
  return 0;
}

int handle_timer_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsanFcTimerEntry timer = read_timer(request);
  if (const int problem = read_problem(managers.state, timer); problem != 0) {
    return problem;
  }
  const uint32_t vsan = timer.flag != 0 ? timer.vsan_id : 0;
  const uint32_t value = timer.timer_type == 0 ? 0 : timer_in_force(managers.state, vsan, timer.timer_type);
  return answer_timer(request, value, reply);
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
  if (!managers.engine.remote_holder(managers.engine.context, kFcTimerApplication).empty()) {
    return kStatusRemoteLock;
  }
  const uint32_t vsan = timer.flag != 0 ? timer.vsan_id : 0;
  if (managers.state.kept_out.contains(vsan)) {
    return kStatusNotInDistribution;
  }
  const uint32_t value = timer.timer_type == 0 ? 0 : timer_pending(managers.state, vsan, timer.timer_type);
  return answer_timer(request, value, reply);
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
