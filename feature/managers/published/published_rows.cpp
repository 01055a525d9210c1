#include "published/published_rows.h"

#include <string.h>

#include <algorithm>

#include "published_page.h"
#include "rows/vsan_row.h"

namespace {

void put(published_word &at, uint64_t value) {
  at.store(static_cast<uint32_t>(value), std::memory_order_relaxed);
}

uint32_t get(const published_word &at) {
  return at.load(std::memory_order_relaxed);
}

// Between the two readers look again, or ask.
void begin_change(published_page &page) {
  put(page.sequence, get(page.sequence) + 1);
  std::atomic_thread_fence(std::memory_order_release);
}

void end_change(published_page &page) {
  page.sequence.store(get(page.sequence) + 1, std::memory_order_release);
}

void put_bit(published_word *set, uint32_t vsan, bool on) {
  const uint32_t bit = 1U << vsan % 32;
  published_word &word = set[vsan / 32];
  put(word, on ? get(word) | bit : get(word) & ~bit);
}

void put_row(published_page &page, const switch_state &state, uint32_t id) {
  const vsan_record *vsan = find_vsan(state, id);
  put_bit(page.present, id, vsan != nullptr);
  if (vsan == nullptr) {
    return;
  }
  const std::vector<uint8_t> message = row_answer(state, *vsan);
  published_vsan &to = page.vsans[id];
  for (size_t i = 0; i < std::size(to.row); ++i) {
    uint32_t bytes;
    memcpy(&bytes, message.data() + kPublishedRowAt + i * sizeof bytes, sizeof bytes);
    put(to.row[i], bytes);
  }
}

using timer_words = published_word (published_vsan::*)[kTimerKinds];

// A value of 0 in a change removes, and 0 in the page is none.
void put_timers(published_page &page, const timer_map &timers, timer_words words) {
  for (const auto &[key, value] : timers) {
    put((page.vsans[key.first].*words)[key.second - kTimerFirst], value);
  }
}

void put_settings(published_page &page, const switch_state &state) {
  published_settings &to = page.settings;
  const switch_settings &from = state.settings;
  put(to.vsans, state.vsans.size());
  put(to.interfaces, state.interfaces.size());
  put(to.changed_seconds, from.changed_seconds);
  put(to.changed_microseconds, from.changed_microseconds);
  put(to.switch_latency, from.switch_latency);
  put(to.network_latency, from.network_latency);
  put(to.inorder, from.inorder);
  put(to.wwn_high, from.wwn >> 32);
  put(to.wwn_low, from.wwn);
  put(to.distribution, from.distribution.enabled);
}

// The rows of interfaces and memberships stand in order and without gaps.

void copy_membership(published_membership &to, const published_membership &from) {
  put(to.vsan, get(from.vsan));
  put(to.interface, get(from.interface));
  put(to.is_static, get(from.is_static));
}

using pair_key = std::pair<uint32_t, uint32_t>;

published_membership *find_membership(published_page &page, const pair_key &wanted) {
  published_membership *end = page.memberships + get(page.membership_count);
  return std::partition_point(page.memberships, end, [&](const published_membership &row) {
    return pair_key{get(row.vsan), get(row.interface)} < wanted;
  });
}

void remove_membership(published_page &page, const pair_key &pair) {
  published_membership *end = page.memberships + get(page.membership_count);
  published_membership *at = find_membership(page, pair);
  if (at == end || pair_key{get(at->vsan), get(at->interface)} != pair) {
    return;
  }
  for (; at + 1 < end; ++at) {
    copy_membership(at[0], at[1]);
  }
  put(page.membership_count, get(page.membership_count) - 1);
}

void add_membership(published_page &page, const interface_record &interface) {
  published_membership *at = find_membership(page, {interface.vsan, interface.index});
  for (published_membership *free = page.memberships + get(page.membership_count); free > at; --free) {
    copy_membership(free[0], free[-1]);
  }
  put(at->vsan, interface.vsan);
  put(at->interface, interface.index);
  put(at->is_static, interface.is_static);
  put(page.membership_count, get(page.membership_count) + 1);
}

void put_interface_row(published_interface &to, const interface_record &interface) {
  put(to.index, interface.index);
  put(to.vsan, interface.vsan);
  put(to.up, interface.up);
  char name[kInterfaceNameField] = {};
  std::ranges::copy(interface.name, name);
  for (size_t i = 0; i < std::size(to.name); ++i) {
    uint32_t bytes;
    memcpy(&bytes, name + i * sizeof bytes, sizeof bytes);
    put(to.name[i], bytes);
  }
}

void put_all_interfaces(published_page &page, const switch_state &state) {
  published_interface *to = page.interfaces;
  for (const auto &[index, interface] : state.interfaces) {
    put_interface_row(*to, interface);
    ++to;
  }
  put(page.membership_count, 0);
  for (const auto &[vsan, index] : state.memberships_up) {
    add_membership(page, state.interfaces.at(index));
  }
}

void put_interface(published_page &page, const switch_state &state, const interface_record &interface) {
  published_interface *end = page.interfaces + get(page.settings.interfaces);
  published_interface *at = std::partition_point(
      page.interfaces, end, [&](const published_interface &row) { return get(row.index) < interface.index; });
  if (at == end || get(at->index) != interface.index) {
    return put_all_interfaces(page, state);  // a new one
  }
  remove_membership(page, {get(at->vsan), interface.index});
  put_interface_row(*at, interface);
  if (interface.up) {
    add_membership(page, interface);
  }
}

}  // namespace

void publish_state(published_page &page, const switch_state &state, bool remote_locked) {
  put_settings(page, state);
  put(page.settings.remote_locked, remote_locked);
  for (const auto &[id, vsan] : state.vsans) {
    put_row(page, state, id);
  }
  put_timers(page, state.timers, &published_vsan::timers);
  put_timers(page, state.pending, &published_vsan::pending);
  for (const uint32_t vsan : state.kept_out) {
    put_bit(page.kept_out, vsan, true);
  }
  put_all_interfaces(page, state);
}

std::vector<uint32_t> vsans_touched(const switch_state &before, const switch_change &change) {
  std::vector<uint32_t> touched = change.vsans_removed;
  for (const vsan_record &vsan : change.vsans) {
    touched.push_back(vsan.id);
  }
  for (const interface_record &interface : change.interfaces) {
    touched.push_back(interface.vsan);
    if (const interface_record *was = find_interface(before, interface.index); was != nullptr) {
      touched.push_back(was->vsan);
    }
  }
  for (const uint32_t index : change.interfaces_removed) {
    if (const interface_record *was = find_interface(before, index); was != nullptr) {
      touched.push_back(was->vsan);
    }
  }
  std::ranges::sort(touched);
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  return touched;
}

void publish_change(published_page &page, const switch_state &state, const switch_change &change,
                    const std::vector<uint32_t> &touched, bool remote_locked) {
  begin_change(page);
  for (const interface_record &interface : change.interfaces) {
    put_interface(page, state, interface);
  }
  if (!change.interfaces_removed.empty()) {
    put_all_interfaces(page, state);
  }
  put_settings(page, state);
  put(page.settings.remote_locked, remote_locked);
  for (const uint32_t vsan : touched) {
    put_row(page, state, vsan);
  }
  put_timers(page, change.timers, &published_vsan::timers);
  put_timers(page, change.pending, &published_vsan::pending);
  for (const auto &[vsan, out] : change.kept_out) {
    put_bit(page.kept_out, vsan, out);
  }
  end_change(page);
}

void publish_lock(published_page &page, bool remote_locked) {
  begin_change(page);
  put(page.settings.remote_locked, remote_locked);
  end_change(page);
}
