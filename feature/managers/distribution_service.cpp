#include "distribution_service.h"

#include <algorithm>

#include "distribution_records.h"
#include "opcode_table.h"
#include "published/published_rows.h"
#include "record_words.h"
#include "requests.h"
#include "rules/timer_rules.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

int plan_enable(switch_managers &managers, uint32_t on, switch_change &change) {
  return distribution_enable(managers.engine, managers.state.settings.distribution, on != 0,
                             change.settings.distribution);
}

int plan_show_running(switch_managers &, uint32_t on, switch_change &change) {
  change.settings.distribution.show_running = on != 0 ? 1 : 0;
  return 0;
}

int plan_commit(switch_managers &managers, uint32_t, switch_change &change) {
  return plan_distribution_commit(managers.state, managers.engine, change);
}

int plan_abort(switch_managers &managers, uint32_t, switch_change &change) {
  return plan_distribution_abort(managers.state, managers.engine, change);
}

int plan_resume(switch_managers &managers, uint32_t, switch_change &change) {
  return plan_distribution_resume(managers.state, managers.engine, change);
}

int plan_keep_out(switch_managers &managers, uint32_t vsan, switch_change &change) {
  return plan_distribution_keep_out(managers.state, vsan, true, change);
}

int plan_take_in(switch_managers &managers, uint32_t vsan, switch_change &change) {
  return plan_distribution_keep_out(managers.state, vsan, false, change);
}

// A lock is held by a living switch: it is played in memory only and gone after a restart.
int plan_remote_lock(switch_managers &managers, uint32_t on, switch_change &) {
  if (on != 0 && managers.state.settings.distribution.open != 0) {
    return kStatusSessionOpen;
  }
  managers.fabric.played_holder = on != 0 ? "another switch" : "";
  if (managers.published != nullptr) {
    publish_lock(*managers.published, managers_locked_out(managers));
  }
  return 0;
}

struct command_row {
  distribution_command command;
  int (*plan)(switch_managers &managers, uint32_t argument, switch_change &change);
};

constexpr command_row kCommands[] = {
    {kDistributionEnable, plan_enable},          {kDistributionShowRunning, plan_show_running},
    {kDistributionCommit, plan_commit},          {kDistributionAbort, plan_abort},
    {kDistributionKeepOut, plan_keep_out},       {kDistributionTakeIn, plan_take_in},
    {kDistributionRemoteLock, plan_remote_lock}, {kDistributionResume, plan_resume},
};

int handle_command(switch_managers &managers, const message_request &request, message_reply &) {
  const auto order = record_read<distribution_order>(request.payload.data());
  const auto row =
      std::ranges::find_if(kCommands, [&](const command_row &each) { return each.command == order.command; });
  if (row == std::end(kCommands)) {
    return kStatusUnknownOpcode;
  }
  switch_change change = change_begin(managers.state);
  const int status = row->plan(managers, order.argument, change);
  return status != 0 ? status : managers_commit(managers, change);
}

int handle_state(switch_managers &managers, const message_request &, message_reply &reply) {
  const distribution_session &session = managers.state.settings.distribution;
  distribution_status status = {
      .enabled = static_cast<uint32_t>(session.enabled),
      .show_running = static_cast<uint32_t>(session.show_running),
      .open = static_cast<uint32_t>(session.open),
      .pending = static_cast<uint32_t>(managers.state.pending.size()),
      .remote_lock = managers_locked_out(managers) ? 1U : 0U,
      .owner = {},
  };
  std::ranges::copy(session.owner, status.owner);
  reply.payload = record_bytes(status);
  return 0;
}

int handle_lock(switch_managers &managers, const message_request &, message_reply &reply) {
  distribution_lock lock = {.lost = static_cast<uint32_t>(managers.state.settings.distribution.lost), .holder = {}};
  managers.engine.remote_holder(managers.engine.context, kFcTimerApplication).copy(lock.holder, sizeof lock.holder - 1);
  reply.payload = record_bytes(lock);
  return 0;
}

int handle_next_pending(switch_managers &managers, const message_request &request, message_reply &reply) {
  const auto after = record_read<pending_timer>(request.payload.data());
  const auto next = managers.state.pending.upper_bound({after.vsan, after.key});
  if (next == managers.state.pending.end()) {
    return kStatusNoEntry;
  }
  reply.payload = record_bytes(pending_timer{next->first.first, next->first.second, next->second});
  return 0;
}

int handle_next_kept_out(switch_managers &managers, const message_request &request, message_reply &reply) {
  const auto next = managers.state.kept_out.upper_bound(record_read<kept_out_vsan>(request.payload.data()).vsan);
  if (next == managers.state.kept_out.end()) {
    return kStatusNoEntry;
  }
  reply.payload = record_bytes(kept_out_vsan{*next});
  return 0;
}

constexpr opcode_row kOpcodes[] = {
    {kOpDistribution, kMsgGet, 0, handle_state},
    {kOpDistribution, kMsgSet, sizeof(distribution_order), handle_command},
    {kOpDistributionLock, kMsgGet, 0, handle_lock},
    {kOpPendingTimer, kMsgGetNext, sizeof(pending_timer), handle_next_pending},
    {kOpKeptOut, kMsgGetNext, sizeof(kept_out_vsan), handle_next_kept_out},
};

}  // namespace

void distribution_handle(void *context, const message_request &request, message_reply &reply) {
  answer_by_table(kOpcodes, *static_cast<switch_managers *>(context), request, reply);
}
