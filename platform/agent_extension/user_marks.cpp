#include "user_marks.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "platform/agent.h"
#include "platform/sdwrap.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr size_t kSenderMax = 128;
constexpr int kMarkEvery = 256;  // PDUs

// What tells one sender from another.
struct sender {
  long version;
  size_t size;  // of `bytes` that are used
  uint8_t bytes[kSenderMax];
};

sender last;
long last_pdu = -1;
int until_mark;

void add(sender &to, const void *bytes, size_t size) {
  const size_t room = kSenderMax - to.size;
  const size_t taken = size < room ? size : room;
  if (bytes != nullptr && taken > 0) {
    memcpy(to.bytes + to.size, bytes, taken);
    to.size += taken;
  }
}

sender sender_of(const netsnmp_pdu *pdu) {
  sender found;
  found.version = pdu->version;
  found.size = 0;
  if (pdu->version == SNMP_VERSION_3) {
    add(found, pdu->securityName, pdu->securityNameLen);
  } else {
    add(found, pdu->community, pdu->community_len);
  }
  add(found, pdu->transport_data, static_cast<size_t>(pdu->transport_data_length));
  return found;
}

bool is_last(const sender &found) {
  return found.version == last.version && found.size == last.size && memcmp(found.bytes, last.bytes, found.size) == 0;
}

void record_mark() {
  struct {
    uint32_t level;
    char text[kEventTextSize];
  } event = {kUserMarkLevel, {}};
  snprintf(event.text, sizeof event.text, "requests of user \"%s\" at %s\n", get_snmp_username(0),
           get_snmp_sessionid(0));
  if (sdwrap_hist_event_subtype_check(kUserMarkModule, kUserMarkLevel) == 0) {
    sdwrap_hist_event(kUserMarkModule, static_cast<int>(sizeof event.level + strlen(event.text) + 1), &event);
  }
}

}  // namespace

void user_marks_see(const netsnmp_pdu *pdu) {
  if (pdu == nullptr || pdu->transid == last_pdu) {
    return;
  }
  last_pdu = pdu->transid;
  const sender found = sender_of(pdu);
  if (--until_mark > 0 && is_last(found)) {
    return;
  }
  last = found;
  until_mark = kMarkEvery;
  record_mark();
}
