#include "repair_queue.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <deque>

#include "monotonic_clock.h"
#include "repairs.h"

namespace {

constexpr int64_t kGiveUpAfterMs = 30'000;
constexpr size_t kRepairsMax = 1024;

struct repair {
  message_header header;
  std::vector<uint8_t> frame;
  int64_t give_up_at;
  bool sent = false;
  bool over = false;
  bool late = false;
  int status = 0;
  int why = 0;
};

bool making_repairs;
std::deque<repair> repairs;  // in the order in which they were made

bool is_of(const repair &each, const receiver_connection &to) {
  return each.header.service == static_cast<uint32_t>(to.service);
}

repair *find(uint32_t sequence) {
  const auto found = std::ranges::find_if(repairs, [&](const repair &r) { return r.header.sequence == sequence; });
  return found == repairs.end() ? nullptr : &*found;
}

void end(repair &which, int status, int why) {
  which.over = true;
  which.status = status;
  which.why = why;
}

void report_one(const repair &ended, platform_repair_report report) {
  const message_header &header = ended.header;
  const uint8_t *payload = ended.frame.data() + kMessageHeaderSize + header.user_size + header.session_size;
  const platform_repair_outcome outcome = {static_cast<int>(header.opcode),
                                           static_cast<int>(header.msg_type),
                                           payload,
                                           header.payload_size,
                                           ended.status,
                                           ended.why,
                                           ended.late ? 1 : 0,
                                           ended.sent ? 1 : 0};
  report(&outcome);
}

void report_ended(platform_repair_report report) {
  for (const repair &each : repairs) {
    if (each.over) {
      report_one(each, report);
    }
  }
  std::erase_if(repairs, [](const repair &each) { return each.over; });
}

void move_on(repair &which) {
  receiver_connection &to = *receiver_of(static_cast<int>(which.header.service));
  receiver_read_late(to);
  if (!which.over && receiver_connect(to) == 0) {
    repairs_sent(to);
  }
  if (!which.over && monotonic_ms() >= which.give_up_at) {
    end(which, -1, ETIMEDOUT);
  }
}

}  // namespace

void platform_repairs_begin() {
  making_repairs = true;
}

void platform_repairs_end() {
  making_repairs = false;
}

int platform_repairs_turn(platform_repair_report report) {
  for (repair &each : repairs) {
    if (!each.over) {
      move_on(each);
    }
  }
  report_ended(report);
  return static_cast<int>(repairs.size());
}

void platform_repairs_abandon(platform_repair_report report) {
  platform_repairs_turn(report);
  for (repair &each : repairs) {
    end(each, -1, ECANCELED);
  }
  report_ended(report);
}

bool repairs_are_made() {
  return making_repairs;
}

int repairs_add(const message_header &header, std::vector<uint8_t> frame) {
  const auto under_way = std::ranges::count_if(repairs, [](const repair &each) { return !each.over; });
  repair &added = repairs.emplace_back(repair{header, std::move(frame), monotonic_ms() + kGiveUpAfterMs});
  if (static_cast<size_t>(under_way) < kRepairsMax) {
    return 0;
  }
  end(added, -1, ENOBUFS);
  errno = ENOBUFS;
  return -1;
}

bool repairs_sent(receiver_connection &to) {
  for (repair &each : repairs) {
    if (!is_of(each, to) || each.sent || each.over) {
      continue;
    }
    if (to.fd < 0) {
      return false;
    }
    if (send(to.fd, each.frame.data(), each.frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
      if (errno != EAGAIN && errno != EINTR) {
        receiver_close(to);
      }
      return false;
    }
    each.sent = true;
  }
  return true;
}

void repairs_take_answer(const receiver_connection &from, const message_header &answer) {
  repair *which = find(answer.sequence);
  if (which != nullptr && !which->over && is_of(*which, from)) {
    // No receiver answers -1: it is what a failed call returns.
    const bool sound = answer.status != UINT32_MAX;
    end(*which, static_cast<int>(answer.status), sound ? 0 : EPROTO);
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

void repairs_are_unsent(const receiver_connection &of) {
  for (repair &each : repairs) {
    if (is_of(each, of) && !each.over) {
      each.sent = false;
    }
  }
}

void repairs_forget() {
  repairs.clear();
}
