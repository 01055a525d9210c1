// What the switch is configured to be, in memory. Reads are answered from here and never touch the store.
//
// 1. A request never edits the state. It builds a `switch_change`, which the store writes in one transaction and
//    `state_apply` then makes true in memory. A request that is refused, or whose transaction fails, leaves both as
//    they were.
// 2. Operational states and the counts behind them are derived, never stored.
#ifndef FEATURE_MANAGERS_STATE_SWITCH_STATE_H
#define FEATURE_MANAGERS_STATE_SWITCH_STATE_H

#include <stdint.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "distribution.h"
#include "vsan_values.h"

struct vsan_record {
  uint32_t id = 0;
  std::string name;  // 0 to 32 octets; a non-empty one belongs to one VSAN only
  uint32_t media_type = kMediaFibreChannel;
  uint32_t admin_state = kAdminActive;
  uint32_t mtu = kMtuDefault;
  uint32_t load_balancing = kLoadBalancingExchange;
  uint32_t interop = 100;  // 100: the default mode
  uint32_t inorder = kInorderOff;
  uint32_t drop_latency = kNetworkLatencyDefault;
  bool operator==(const vsan_record &) const = default;
};

struct interface_record {
  uint32_t index = 0;  // 1 to 0xFFFFFFFE
  std::string name;    // 1 to 31 octets, of one interface only
  uint32_t vsan = kDefaultVsan;
  bool up = false;
  bool is_static = false;  // put into its VSAN on purpose, not by default
  bool operator==(const interface_record &) const = default;
};

struct notification_record {
  uint64_t number = 0;  // counts from 1 and never repeats, across restarts too
  int id = 0;           // 102 or 145
  std::vector<uint8_t> payload;
  bool operator==(const notification_record &) const = default;
};

// A timer of a VSAN, or of the whole switch when `first` is 0; `second` is its attribute key.
using timer_key = std::pair<uint32_t, uint32_t>;
using timer_map = std::map<timer_key, uint32_t>;  // milliseconds

struct switch_settings {
  std::string name;
  uint64_t wwn = 0;
  uint64_t changed_seconds = 0;  // the last change of the VSAN table, wall clock
  uint64_t changed_microseconds = 0;
  uint64_t inorder = kInorderOff;
  uint64_t switch_latency = kSwitchLatencyDefault;
  uint64_t network_latency = kNetworkLatencyDefault;
  uint64_t notifications = kNotificationsOn;
  uint64_t store_id = 0;           // tells this store's numbers from another store's; random, not 0
  uint64_t last_notification = 0;  // the number given out last
  uint64_t dropped_notifications = 0;
  distribution_session distribution;
  // The fabric that this switch is in, and how far it is there.
  std::string fabric;            // its name; empty: none
  std::string fabric_id;         // tells it from one of the same name that was made anew
  uint64_t fabric_revision = 0;  // of the commit that was applied last
  uint64_t fabric_commit = 0;    // its number
  uint64_t fabric_left = 0;      // 1: an operator took the switch out
  bool operator==(const switch_settings &) const = default;
};

struct switch_state {
  std::map<uint32_t, vsan_record> vsans;
  std::map<uint32_t, interface_record> interfaces;
  timer_map timers;             // values in force that somebody set; the switch-wide ones are always there
  timer_map pending;            // values of the open distribution session
  std::set<uint32_t> kept_out;  // VSANs kept out of distribution
  timer_map fabric_timers;      // the fabric's values as of its last commit, of VSANs that are not here too
  switch_settings settings;
  std::deque<notification_record> notifications;  // oldest first

  // Derived.
  std::map<std::string, uint32_t> vsan_of_name;
  std::map<uint32_t, uint32_t> up_members;                 // by VSAN: interfaces that are up
  std::set<std::pair<uint32_t, uint32_t>> memberships_up;  // (VSAN, interface) of interfaces that are up

  bool operator==(const switch_state &) const = default;
};

// What one request changes. A VSAN or an interface is either put or removed, not both.
struct switch_change {
  std::vector<vsan_record> vsans;
  std::vector<uint32_t> vsans_removed;
  std::vector<interface_record> interfaces;
  std::vector<uint32_t> interfaces_removed;
  timer_map timers;                   // put; a value of 0 removes
  timer_map pending;                  // likewise
  timer_map fabric_timers;            // likewise
  std::map<uint32_t, bool> kept_out;  // put or removed
  switch_settings settings;           // as they are to be
  std::vector<notification_record> raised;
  uint64_t taken = 0;  // notifications up to this number leave the queue
};

// A change that changes nothing yet.
switch_change change_begin(const switch_state &state);

// Makes a written change true. Numbers and drop counts of notifications are those that `change_complete` gave.
void state_apply(switch_state &state, const switch_change &change);

// The VSAN or interface, or null. The pointer is good until the next change.
const vsan_record *find_vsan(const switch_state &state, uint32_t id);
const interface_record *find_interface(const switch_state &state, uint32_t index);

// The first VSAN or interface with a number above the given one, or null.
const vsan_record *next_vsan(const switch_state &state, uint32_t id);
const interface_record *next_interface(const switch_state &state, uint32_t index);

// kOperUp when the VSAN is administratively active and one of its interfaces is up, else kOperDown.
uint32_t oper_state(const switch_state &state, const vsan_record &vsan);

// A timer in force: the VSAN's own value, else the switch-wide one. VSAN 0 asks for the switch-wide one.
uint32_t timer_in_force(const switch_state &state, uint32_t vsan, uint32_t key);

// The timer as it would be after a commit of the open session.
uint32_t timer_pending(const switch_state &state, uint32_t vsan, uint32_t key);

#endif
