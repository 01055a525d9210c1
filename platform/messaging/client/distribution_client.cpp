// The state of configuration distribution: from the shared page, and where that does not know it from the distribution
// service.
#include "distribution_client.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "client_connection.h"
#include "distribution_records.h"
#include "platform/cmi.h"
#include "platform/kdx.h"
#include "record_words.h"
#include "requests.h"
#include "switchplatform/shared_page.h"
#include "vsan_values.h"

namespace {

constexpr int kTimeoutSeconds = 4;  // as long as a read waits for its manager

struct distribution_state {
  int enabled;
  int show_running;
};

enum question : unsigned { kAskEnabled = 1, kAskShowRunning = 2 };

// The last exchange. It answers every question of its PDU; outside a PDU one of each.
struct {
  int pdu = 0;
  unsigned answered = kAskEnabled | kAskShowRunning;  // questions
  int why = 0;                                        // errno of the exchange; 0: `state` holds
  distribution_state state = {};
} asked;

// Returns 0 with `state` filled, or an `errno`.
int ask_service(distribution_state *state) {
  void *response = nullptr;
  uint32_t size = sizeof(distribution_status);
  const int status = cmi_req_resp(kOpDistribution, kMsgGet, nullptr, &response, &size, nullptr, nullptr,
                                  kServiceDistribution, mts_response_q, kTimeoutSeconds);
  const bool told = status == 0 && response != nullptr && size == sizeof(distribution_status);
  const int why = told ? 0 : status == -1 ? errno : EPROTO;
  if (told) {
    const auto answer = record_read<distribution_status>(static_cast<const uint8_t *>(response));
    *state = {answer.enabled != 0, answer.show_running != 0};
  }
  free(response);
  return why;
}

bool page_is_of_another;

// The process that answers this one's requests, 0 when that cannot be seen, as from another container. Where nobody
// answers, nobody says that it is not `publisher`.
uint32_t who_answers(uint32_t publisher) {
  receiver_connection &manager = *receiver_of(kServiceVsanManager);
  for (int look = 0; look < 2; ++look) {
    if (receiver_connect(manager) != 0 || static_cast<uint32_t>(manager.peer) == publisher) {
      return publisher;
    }
    receiver_read_late(manager);  // after a restart the connection may still be the one of before
  }
  return static_cast<uint32_t>(manager.peer);
}

// Returns 0 with `state` filled, or -1 with `errno`.
int find_state(const char *application, question which, distribution_state *state) {
  uint32_t publisher = 0;
  if (platform_kdx_published(application, &state->enabled, &state->show_running, &publisher) == 0) {
    const uint32_t answering = who_answers(publisher);
    page_is_of_another = answering != 0 && answering != publisher;
    if (answering == publisher) {
      asked = {};
      return 0;
    }
  }
  if (strcmp(application, kFcTimerApplication) != 0) {
    return -1;
  }
  const int pdu = exchanges_pdu();
  if (pdu != asked.pdu || (pdu == 0 && (asked.answered & which) != 0)) {
    asked = {.pdu = pdu, .answered = 0};
    asked.why = ask_service(&asked.state);
  }
  asked.answered |= which;
  *state = asked.state;
  errno = asked.why;
  return asked.why == 0 ? 0 : -1;
}

}  // namespace

int is_kdx_enabled(const char *application, int *enabled) {
  distribution_state state = {};
  if (find_state(application, kAskEnabled, &state) != 0) {
    return -1;
  }
  *enabled = state.enabled;
  return 0;
}

int get_kdx_show_run_mode(const char *application, int *mode) {
  distribution_state state = {};
  if (find_state(application, kAskShowRunning, &state) != 0) {
    return -1;
  }
  *mode = state.show_running;
  return 0;
}

int platform_page_is_of_another() {
  return page_is_of_another ? 1 : 0;
}

bool distribution_is_unknown(int *why) {
  *why = asked.pdu == exchanges_pdu() ? asked.why : 0;
  return *why != 0;
}
