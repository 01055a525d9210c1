#include "repairs.h"

#include <errno.h>

#include <deque>

#include "client_connection.h"
#include "monotonic_clock.h"
#include "repair_queue.h"

namespace {

void report_one(const repair &ended, platform_repair_report report) {
  const message_header &header = ended.header;
  const uint8_t *payload = ended.frame.data() + kMessageHeaderSize + header.user_size + header.session_size;
  const platform_repair_outcome outcome = {
      .opcode = static_cast<int>(header.opcode),
      .msg_type = static_cast<int>(header.msg_type),
      .payload = payload,
      .size = header.payload_size,
      .status = ended.status,
      .why = ended.why,
      .late = ended.late ? 1 : 0,
      .sent = ended.sent ? 1 : 0,
  };
  report(&outcome);
}

void report_ended(platform_repair_report report) {
  for (const repair &each : repairs_all()) {
    if (each.over) {
      report_one(each, report);
    }
  }
  std::erase_if(repairs_all(), [](const repair &each) { return each.over; });
}

void move_on(repair &which) {
  receiver_connection &to = *receiver_of(static_cast<int>(which.header.service));
  receiver_read_late(to);
  if (!which.over && receiver_connect(to) == 0) {
    receiver_send_repairs(to);
  }
  if (!which.over && monotonic_ms() >= which.give_up_at) {
    repair_end(which, -1, ETIMEDOUT);
  }
}

}  // namespace

void platform_repairs_begin() {
  repairs_make(true);
}

void platform_repairs_end() {
  repairs_make(false);
}

int platform_repairs_turn(platform_repair_report report) {
  for (repair &each : repairs_all()) {
    if (!each.over) {
      move_on(each);
    }
  }
  report_ended(report);
  return static_cast<int>(repairs_all().size());
}

void platform_repairs_abandon(platform_repair_report report) {
  platform_repairs_turn(report);
  for (repair &each : repairs_all()) {
    repair_end(each, -1, ECANCELED);
  }
  report_ended(report);
}
