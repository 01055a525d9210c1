#include "ask/question.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "ask/no_switch.h"
#include "ask/user_name.h"
#include "distribution_records.h"
#include "output/failure.h"
#include "platform/cmi.h"
#include "platform/syserr.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switchplatform/run_dir.h"

namespace {

// Which field a status is about, and what may be done.
struct status_field {
  int status;
  const char *field;
  const char *remedy = "";
};
constexpr status_field kStatusFields[] = {
    {kStatusNoVsan, "vsan"},
    {kStatusVsanRange, "vsan"},
    {kStatusVsanReserved, "vsan"},
    {kStatusNotInDistribution, "vsan"},
    {kStatusVsanConflict, "name"},
    {kStatusNameRange, "name"},
    {kStatusNameMalformed, "name"},
    {kStatusMediaRange, "media"},
    {kStatusAdminStateRange, "state"},
    {kStatusMtuRange, "mtu"},
    {kStatusLoadBalancingRange, "load-balancing"},
    {kStatusInteropRange, "interop"},
    {kStatusInorderRange, "inorder"},
    {kStatusLatencyRange, "drop-latency"},
    {kStatusNoSession, "", "; \"vsanctl kdx enable\", and then a timer that is set, opens one"},
    {kStatusSessionLost, "", "; \"vsanctl kdx resume\" or \"vsanctl kdx abort\""},
    {kStatusTimerType, "timer"},
    {kStatusTimerRange, "value"},
    {kStatusTimerMustForce, "vsan", "; --force sets it all the same"},
    {kStatusNoEntry, "interface"},
    {kStatusInterfaceName, "name"},
    {kStatusInterfaceIndex, "index"},
    {kStatusInterfaceExists, "name"},
    {kStatusSwitchName, "name"},
    {kStatusSwitchWwn, "wwn"},
};

bool is_read(int msg_type) {
  return msg_type != kMsgSet && msg_type != kMsgDelete;
}

}  // namespace

int ask_switch(const question &asked, std::vector<uint8_t> &answer) {
  static const std::string kUser = user_name();
  static const std::string kSession = "vsanctl-" + std::to_string(getpid());
  std::vector<uint8_t> request = asked.payload;
  void *response = nullptr;
  auto size = static_cast<uint32_t>(request.size());
  const bool wanted = asked.answer_size != 0;
  const int status =
      cmi_req_resp(asked.opcode, asked.msg_type, request.empty() ? nullptr : request.data(),
                   wanted ? &response : nullptr, &size, is_read(asked.msg_type) ? nullptr : kUser.c_str(),
                   is_read(asked.msg_type) ? nullptr : kSession.c_str(), asked.service, mts_response_q, asked.wait);
  const int why = errno;
  if (status == 0 && response != nullptr) {
    const auto *bytes = static_cast<const uint8_t *>(response);
    answer.assign(bytes, bytes + size);
  }
  const bool answered = response != nullptr;
  free(response);
  if (status == -1) {
    fail_no_switch(why);
  }
  if (status == 0 && wanted && (!answered || (asked.answer_size != kAnyAnswer && size != asked.answer_size))) {
    fail(kExitNoSwitch, "switchd answered opcode " + std::to_string(asked.opcode) + " with " +
                            std::to_string(answered ? size : 0) + " bytes");
  }
  return status;
}

namespace {

// The switch that holds the lock, for people; empty when that cannot be told.
std::string lock_holder() {
  std::vector<uint8_t> answer;
  const question asked = {kServiceDistribution, kOpDistributionLock, kMsgGet, {}, sizeof(distribution_lock)};
  if (ask_switch(asked, answer) != 0) {
    return "";
  }
  const auto lock = record_read<distribution_lock>(answer.data());
  return lock.holder[0] == '\0' ? "" : ": " + std::string(lock.holder, strnlen(lock.holder, sizeof lock.holder));
}

}  // namespace

void fail_refused(const std::string &what, int status, const std::vector<named_value> &values) {
  std::string text = what + ": ";
  const auto about =
      std::ranges::find_if(kStatusFields, [&](const status_field &each) { return each.status == status; });
  for (const named_value &value : values) {
    if (about != std::end(kStatusFields) && strcmp(value.field, about->field) == 0) {
      text += std::string(value.field) + " " + value.value + ": ";
    }
  }
  const char *remedy = about == std::end(kStatusFields) ? "" : about->remedy;
  const std::string holder = status == kStatusRemoteLock ? lock_holder() : "";
  fail(kExitRefused, text + syserr_format(status) + holder + remedy, status);
}

std::vector<uint8_t> ask_or_fail(const std::string &what, const question &asked,
                                 const std::vector<named_value> &values) {
  std::vector<uint8_t> answer;
  const int status = ask_switch(asked, answer);
  if (status != 0) {
    fail_refused(what, status, values);
  }
  return answer;
}
