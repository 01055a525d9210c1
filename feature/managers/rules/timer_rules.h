// What may be changed of timers and their distribution. The operations are like those of vsan_rules.h.
#ifndef FEATURE_MANAGERS_RULES_TIMER_RULES_H
#define FEATURE_MANAGERS_RULES_TIMER_RULES_H

#include <stdint.h>

#include <string>

#include "distribution.h"
#include "state/switch_state.h"
#include "vsan_records.h"

// 0, or the status that tells why no timer `key` can have `value` milliseconds.
int timer_problem(uint32_t key, uint32_t value);

// Sets a timer of one VSAN, or of the whole switch when `vsan` is 0. An operational VSAN's timer must be forced. While
// distribution is on the value goes to the session of `user`, which is opened when there is none, except for a VSAN
// that is kept out of distribution: its timers are this switch's own matter.
int plan_timer_set(const switch_state &state, const distribution_engine &engine, const vsanFcTimerEntry &timer,
                   const std::string &user, switch_change &change);

// The administrator's commands for a distribution session: its pending values come into force, or are dropped.
int plan_distribution_commit(const switch_state &state, const distribution_engine &engine, switch_change &change);
int plan_distribution_abort(const switch_state &state, const distribution_engine &engine, switch_change &change);

// Opens the session whose lock was lost anew, for the user whose it is; its values are kept.
int plan_distribution_resume(const switch_state &state, const distribution_engine &engine, switch_change &change);

// The pending values leave the session.
void drop_pending(const switch_state &state, switch_change &change);

// Keeps a VSAN out of distribution, or takes it in again. Pending values of the VSAN are dropped when it is kept out.
int plan_distribution_keep_out(const switch_state &state, uint32_t vsan, bool out, switch_change &change);

#endif
