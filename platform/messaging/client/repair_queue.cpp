#include "repair_queue.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>

#include "monotonic_clock.h"

namespace {

constexpr int64_t kGiveUpAfterMs = 30'000;
constexpr size_t kRepairsMax = 1024;

bool making_repairs;
std::deque<repair> repairs;

bool is_unsent(const repair &each, int service) {
  return each.header.service == static_cast<uint32_t>(service) && !each.sent && !each.over;
}

repair *find(uint32_t sequence) {
  const auto found = std::ranges::find_if(repairs, [&](const repair &r) { return r.header.sequence == sequence; });
  return found == repairs.end() ? nullptr : &*found;
}

}  // namespace

std::deque<repair> &repairs_all() {
  return repairs;
}

bool repairs_are_made() {
  return making_repairs;
}

void repairs_make(bool on) {
  making_repairs = on;
}

int repairs_add(const message_header &header, std::vector<uint8_t> frame) {
  const auto under_way = std::ranges::count_if(repairs, [](const repair &each) { return !each.over; });
  repair &added = repairs.emplace_back(repair{header, std::move(frame), monotonic_ms() + kGiveUpAfterMs});
  if (static_cast<size_t>(under_way) < kRepairsMax) {
    return 0;
  }
  repair_end(added, -1, ENOBUFS);
  errno = ENOBUFS;
  return -1;
}

int repairs_send(int service, int fd) {
  for (repair &each : repairs) {
    if (!is_unsent(each, service)) {
      continue;
    }
    if (send(fd, each.frame.data(), each.frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
      errno = errno == EINTR ? EAGAIN : errno;
      return -1;
    }
    each.sent = true;
  }
  return 0;
}

bool repairs_all_sent(int service) {
  return std::ranges::none_of(repairs, [&](const repair &each) { return is_unsent(each, service); });
}

void repairs_take_answer(int service, const message_header &answer) {
  repair *which = find(answer.sequence);
  if (which != nullptr && !which->over && which->header.service == static_cast<uint32_t>(service)) {
    // No receiver answers -1: it is what a failed call returns.
    const bool sound = answer.status != UINT32_MAX;
    repair_end(*which, static_cast<int>(answer.status), sound ? 0 : EPROTO);
  }
}

bool repairs_answered(uint32_t sequence, int *status) {
  const repair *which = find(sequence);
  if (which == nullptr || !which->over) {
    return false;
  }
  *status = which->status;
  return true;
}

void repairs_not_waited_for(uint32_t sequence) {
  if (repair *which = find(sequence); which != nullptr) {
    which->late = true;
  }
}

void repairs_are_unsent(int service) {
  for (repair &each : repairs) {
    if (each.header.service == static_cast<uint32_t>(service) && !each.over) {
      each.sent = false;
    }
  }
}

void repair_end(repair &which, int status, int why) {
  which.over = true;
  which.status = status;
  which.why = why;
}

void repairs_forget() {
  repairs.clear();
}
