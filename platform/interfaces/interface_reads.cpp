#include "interface_reads.h"

#include <stdlib.h>
#include <string.h>

#include "big_endian.h"
#include "platform/agent.h"
#include "platform/cmi.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switch_records.h"
#include "vsan_values.h"

namespace {

constexpr int kTimeoutSeconds = 4;

// Asks for an answer of `size` bytes. Returns 0 with them in `answer`, or a status, or -1. An empty request has no
// bytes.
int ask(int service, int opcode, int msg_type, void *request, uint32_t size, void *answer,
        int timeout = kTimeoutSeconds) {
  void *response = nullptr;
  uint32_t got = size;
  const int status =
      cmi_req_resp(opcode, msg_type, request, &response, &got, nullptr, nullptr, service, mts_response_q, timeout);
  const bool whole = status == 0 && response != nullptr && got == size;
  if (whole) {
    memcpy(answer, response, size);
  }
  free(response);
  return status == 0 && !whole ? -1 : status;
}

interface_read ask_for_interface(int msg_type, uint32_t index, switch_interface *found, int timeout) {
  switch_interface asked = {index, 0, {}};
  record_swap(&asked);
  switch_interface answer;
  const int status = ask(kServicePortManager, kOpInterface, msg_type, &asked, sizeof asked, &answer, timeout);
  if (status != 0) {
    return status == kStatusNoEntry ? interface_read::absent : interface_read::no_answer;
  }
  record_swap(&answer);
  answer.name[sizeof answer.name - 1] = '\0';
  *found = answer;
  // An answer that does not rise would hold a walk, and the agent, for ever.
  const bool fits = msg_type == kMsgGet ? answer.index == index : answer.index > index;
  if (!fits) {
    return interface_read::no_answer;
  }
  return answer.index <= kIfIndexMax ? interface_read::found : interface_read::absent;
}

bool is_seen(uint32_t index) {
  return intf_chk_vsan_role_allowed(index, kModeRead, nullptr) == 0;
}

}  // namespace

interface_read read_interface(uint32_t index, switch_interface *found) {
  return ask_for_interface(kMsgGet, index, found, kTimeoutSeconds);
}

interface_read read_interface_after(uint32_t index, switch_interface *found, int timeout) {
  return ask_for_interface(kMsgGetNext, index, found, timeout);
}

interface_read read_seen_interface(uint32_t index, switch_interface *found) {
  return is_seen(index) ? read_interface(index, found) : interface_read::absent;
}

interface_read read_seen_interface_after(uint32_t index, switch_interface *found) {
  interface_read read = read_interface_after(index, found);
  for (uint32_t hidden = 0; read == interface_read::found && !is_seen(found->index); ++hidden) {
    if (hidden == kInterfacesMax) {
      return interface_read::no_answer;
    }
    read = read_interface_after(found->index, found);
  }
  return read;
}

bool read_interface_count(uint32_t *count) {
  uint8_t word[sizeof *count];
  if (ask(kServiceVsanManager, kOpInterfaceNumber, kMsgGet, nullptr, sizeof word, word) != 0) {
    return false;
  }
  *count = get_be32(word);
  return true;
}

bool read_switch_name(char (&name)[256]) {
  static_assert(sizeof name == sizeof(switch_name));
  if (ask(kServiceIdentity, kOpSwitchName, kMsgGet, nullptr, sizeof name, name) != 0) {
    return false;
  }
  name[sizeof name - 1] = '\0';
  return true;
}
