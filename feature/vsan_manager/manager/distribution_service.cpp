#include "feature/vsan_manager/manager/distribution_service.h"

#include <algorithm>

#include "feature/vsan_manager/manager/opcode_table.h"
#include "feature/vsan_manager/manager/vsan_rules.h"
#include "feature/vsan_manager/vsan_records.h"
#include "platform/messaging/big_endian.h"
#include "platform/services/status_texts.h"

static int plan_enable(switch_managers &managers, uint32_t on, switch_change &change) {
  return distribution_enable(managers.state.settings.distribution, on != 0, change.settings.distribution);
}

static int plan_show_running(switch_managers &, uint32_t on, switch_change &change) {
  change.settings.distribution.show_running = on != 0 ? 1 : 0;
  return 0;
}

static int plan_commit(switch_managers &managers, uint32_t, switch_change &change) {
  return plan_distribution_commit(managers.state, managers.engine, change);
}

static int plan_abort(switch_managers &managers, uint32_t, switch_change &change) {
  return plan_distribution_abort(managers.state, change);
}

static int plan_keep_out(switch_managers &managers, uint32_t vsan, switch_change &change) {
  return plan_distribution_keep_out(managers.state, vsan, true, change);
}

static int plan_take_in(switch_managers &managers, uint32_t vsan, switch_change &change) {
  return plan_distribution_keep_out(managers.state, vsan, false, change);
}

// A lock is held by a living switch: it is played in memory only and gone after a restart.
static int plan_remote_lock(switch_managers &managers, uint32_t on, switch_change &) {
  if (on != 0 && managers.state.settings.distribution.open != 0) {
    return kStatusSessionOpen;
  }
  managers.fabric.played_holder = on != 0 ? "another switch" : "";
  return 0;
}

struct command_row {
  distribution_command command;
  int (*plan)(switch_managers &managers, uint32_t argument, switch_change &change);
};

static constexpr command_row kCommands[] = {
    {kDistributionEnable, plan_enable},          {kDistributionShowRunning, plan_show_running},
    {kDistributionCommit, plan_commit},          {kDistributionAbort, plan_abort},
    {kDistributionKeepOut, plan_keep_out},       {kDistributionTakeIn, plan_take_in},
    {kDistributionRemoteLock, plan_remote_lock},
};

static int handle_command(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t command = get_be32(request.payload.data());
  const auto row = std::ranges::find_if(kCommands, [&](const command_row &each) { return each.command == command; });
  if (row == std::end(kCommands)) {
    return kStatusUnknownOpcode;
  }
  switch_change change = change_begin(managers.state);
  const int status = row->plan(managers, get_be32(request.payload.data() + 4), change);
  return status != 0 ? status : managers_commit(managers, change);
}

static int handle_state(switch_managers &managers, const message_request &, message_reply &reply) {
  const distribution_session &session = managers.state.settings.distribution;
  const bool remote = !managers.engine.remote_holder(managers.engine.context, kFcTimerApplication).empty();
  reply.payload.assign(kDistributionAnswerSize, 0);
  uint8_t *at = reply.payload.data();
  for (const uint64_t value : {session.enabled, session.show_running, session.open,
                               uint64_t{managers.state.pending.size()}, uint64_t{remote ? 1U : 0U}}) {
    at = put_be32(at, static_cast<uint32_t>(value));
  }
  std::ranges::copy(session.owner, at);
  return 0;
}

static int handle_next_pending(switch_managers &managers, const message_request &request, message_reply &reply) {
  const uint8_t *bytes = request.payload.data();
  const auto next = managers.state.pending.upper_bound({get_be32(bytes), get_be32(bytes + 4)});
  if (next == managers.state.pending.end()) {
    return kStatusNoEntry;
  }
  reply.payload.resize(kPendingTimerSize);
  put_be32(put_be32(put_be32(reply.payload.data(), next->first.first), next->first.second), next->second);
  return 0;
}

static int handle_next_kept_out(switch_managers &managers, const message_request &request, message_reply &reply) {
  const auto next = managers.state.kept_out.upper_bound(get_be32(request.payload.data()));
  if (next == managers.state.kept_out.end()) {
    return kStatusNoEntry;
  }
  reply.payload.resize(kKeptOutSize);
  put_be32(reply.payload.data(), *next);
  return 0;
}

static constexpr opcode_row kOpcodes[] = {
    {kOpDistribution, kMsgGet, 0, handle_state},
    {kOpDistribution, kMsgSet, 8, handle_command},
    {kOpPendingTimer, kMsgGetNext, kPendingTimerSize, handle_next_pending},
    {kOpKeptOut, kMsgGetNext, kKeptOutSize, handle_next_kept_out},
};

void distribution_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
