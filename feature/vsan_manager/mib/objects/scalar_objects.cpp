// The texts are kept to the character, odd blanks and all: logs are searched for them.
#include "objects/scalar_objects.h"

#include "requests.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace vsan_mib {
namespace {

constexpr const char *kCountAnswered = "%s : Recevied GET response  for VSANNUMBER/VSANIFNUMBER = %d\n";

constexpr scalar_exchange kTimer = {.opcode = kOpFcTimer,
                                    .size = sizeof(vsanFcTimerEntry),
                                    .request = scalar_request::timer,
                                    .last_word = offsetof(vsanFcTimerEntry, timer_value),
                                    .answered = "%s : Recevied GET response  for FCTIMER stuff = %d\n"};

constexpr scalar_exchange kLatency = {.opcode = kOpLatency,
                                      .size = sizeof(vsanLatency),
                                      .request = scalar_request::latency,
                                      .last_word = offsetof(vsanLatency, value),
                                      .answered = "%s : Recevied GET response  for FCLATENCY stuff = %d\n"};

constexpr scalar_object kScalars[] = {
    {.magic = kVsanNumber,
     .exchange = {.opcode = kOpVsanNumber,
                  .size = sizeof(uint32_t),
                  .answer = scalar_answer::count,
                  .answered = kCountAnswered},
     .asking = "%s : Sending GET request to VSAN mgr for VSANNUMBER\n"},
    {.magic = kVsanTableLastChange,
     .exchange = {.opcode = kOpTableLastChange,
                  .size = 2 * sizeof(uint32_t),
                  .answer = scalar_answer::last_change,
                  .last_word = sizeof(uint32_t)},
     .asking = "%s : Sending GET request to VSAN mgr for VSANTABLELASTCHANGE\n"},
    {.magic = kVsanIfNumber,
     .exchange = {.opcode = kOpInterfaceNumber,
                  .size = sizeof(uint32_t),
                  .answer = scalar_answer::count,
                  .answered = kCountAnswered},
     .asking = "%s : Sending GET request to VSAN mgr for VSANIFNUMBER \n"},
    {.magic = kFcTimerRatov,
     .exchange = kTimer,
     .key = kTimerRatov,
     .asking = "%s : Sending GET request to VSAN mgr for  FCTIMERRATOV with fctimer_type=%d\n",
     .write_method = set_fcTimerRatov,
     .value = {.setter = "set_fcTimerRatov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerRatov).low,
               .high = range_of_timer(kTimerRatov).high,
               .wrong_type = {.trace = "%s : write to fcTimerRatov not ASN_UNSIGNED\n"},
               .bad_length = {.trace = "%s : write to fcTimerRatov - bad length\n "}}},
    {.magic = kFcTimerEdtov,
     .exchange = kTimer,
     .key = kTimerEdtov,
     .asking = "%s : Sending GET request to VSAN mgr for FCTIMEREDTOV with fctimer_type =%d\n",
     .write_method = set_fcTimerEdtov,
     .value = {.setter = "set_fcTimerEdtov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerEdtov).low,
               .high = range_of_timer(kTimerEdtov).high,
               .wrong_type = {.trace = "%s : write to fcTimerEdtov not ASN_UNSIGNED\n"},
               .bad_length = {.trace = "%s : write to fcTimerEdtov - bad length \n"}}},
    {.magic = kFcTimerFstov,
     .exchange = kTimer,
     .key = kTimerFstov,
     .asking = "%s : Sending GET request to VSAN mgr for FCTIMERFSTOV with fctimer_type = %d\n"},
    {.magic = kFcTimerDstov,
     .exchange = kTimer,
     .key = kTimerDstov,
     .asking = "%s : Sending GET request to VSAN mgr for FCTIMERDSTOV fctimertype = %d\n",
     .write_method = set_fcTimerDstov,
     .value = {.setter = "set_fcTimerDstov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerDstov).low,
               .high = range_of_timer(kTimerDstov).high,
               .wrong_type = {.trace = "%s : write to fcTimerDstov not ASN_UNSIGNED \n"},
               .bad_length = {.trace = "%s : write to fcTimerDstov - bad length \n"}}},
    {.magic = kFcNetworkLatency,
     .exchange = kLatency,
     .key = kAttrNetworkLatency,
     .asking = "%s : Sending GET request to VSAN mgr for FCNETWORKLATENCY with latencytype=%d\n",
     .write_method = set_fcNetworkLatency,
     .value = {.setter = "set_fcNetworkLatency",
               .type = ASN_UNSIGNED,
               .high = kLatencyMax,
               .wrong_type = {.standard_error = "write to fcNetworkLatency not ASN_UNSIGNED\n"},
               .bad_length = {.standard_error = "write to fcNetworkLatency: bad length\n"}}},
    {.magic = kFcSwitchLatency,
     .exchange = kLatency,
     .key = kAttrSwitchLatency,
     .asking = "%s : Sending GET request to VSAN mgr for FCSWITCHLATENCY with latencytype = %d\n",
     .write_method = set_fcSwitchLatency,
     .value = {.setter = "set_fcSwitchLatency",
               .type = ASN_UNSIGNED,
               .high = kLatencyMax,
               .wrong_type = {.standard_error = "write to fcSwitchLatency not ASN_UNSIGNED\n"},
               .bad_length = {.standard_error = "write to fcSwitchLatency: bad length\n"}}},
    {.magic = kFcInorderDelivery,
     .exchange = {.opcode = kOpInorderDelivery,
                  .size = sizeof(uint32_t),
                  .answered = "%s : Recevied GET response  for INORDERDELIVERY stuff = %d\n"},
     .asking = "%s : Sending GET request to VSAN mgr for FCINORDERDELIVERY\n",
     .write_method = set_fcInorderDelivery,
     .value = {.setter = "set_fcInorderDelivery",
               .low = kInorderOn,
               .high = kInorderOff,
               .wrong_type = {.standard_error = "write to fcInorderDelivery not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to fcInorderDelivery: bad length\n"}}},
};

}  // namespace

const scalar_object *find_scalar(int magic) {
  return find_row_of(kScalars, magic);
}

const scalar_exchange *find_scalar_exchange(int opcode) {
  for (const scalar_object &scalar : kScalars) {
    if (scalar.exchange.opcode == opcode) {
      return &scalar.exchange;
    }
  }
  return nullptr;
}

}  // namespace vsan_mib
