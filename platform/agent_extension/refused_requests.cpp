#include "refused_requests.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "platform/agent.h"
#include "served_pdu.h"
#include "served_pdu_scope.h"
#include "switch_root.h"

namespace {

constexpr oid kRoot[] = {SWITCH_ROOT};
constexpr size_t kRootLength = sizeof kRoot / sizeof kRoot[0];

// What happened in the call that is under way.
struct call_so_far {
  bool reported;         // the module said why it refuses
  platform_error error;  // what it said
  unsigned failures;     // exchanges that had failed when it began
};

call_so_far call;
int told_pdu;  // the last PDU of which a failed read was kept: one is enough

struct phase_of_mode {
  int mode;
  uint32_t phase;
};
constexpr phase_of_mode kPhases[] = {
    {MODE_SET_RESERVE1, kErrorPhaseReserve1},
    {MODE_SET_RESERVE2, kErrorPhaseReserve2},
    {MODE_SET_ACTION, kErrorPhaseAction},
    {MODE_SET_COMMIT, kErrorPhaseCommit},
    {MODE_GET, kErrorPhaseRead},
    {MODE_GETNEXT, kErrorPhaseRead},
    {MODE_GETBULK, kErrorPhaseRead},
};

// 0 for the phases that only clean up: requests come to them with the error of an earlier one.
uint32_t phase_of(int mode) {
  for (const phase_of_mode &each : kPhases) {
    if (each.mode == mode) {
      return each.phase;
    }
  }
  return 0;
}

void put_octets(const netsnmp_variable_list *value, char *text, size_t room) {
  size_t used = static_cast<size_t>(snprintf(text, room, "\""));
  for (size_t i = 0; i < value->val_len && used + 6 < room; ++i) {
    const unsigned char octet = value->val.string[i];
    const bool plain = octet >= 0x20 && octet < 0x7F && octet != '"' && octet != '\\';
    used += static_cast<size_t>(snprintf(text + used, room - used, plain ? "%c" : "\\x%02x", octet));
  }
  snprintf(text + used, room - used, "\"");
}

void put_value(const netsnmp_variable_list *value, char *text, size_t room) {
  switch (value->type) {
    case ASN_INTEGER:
      snprintf(text, room, "%ld", *value->val.integer);
      return;
    case ASN_GAUGE:
    case ASN_TIMETICKS:
    case ASN_COUNTER:
      snprintf(text, room, "%lu", static_cast<unsigned long>(*value->val.integer));
      return;
    case ASN_OCTET_STR:
      put_octets(value, text, room);
      return;
    default:
      snprintf(text, room, "a value of type %u", static_cast<unsigned>(value->type));
  }
}

// Other objects than the switch's own have no name here.
void put_object(const netsnmp_variable_list *varbind, platform_error *error) {
  error->object_length = 0;
  if (varbind->name_length < kRootLength || snmp_oid_compare(varbind->name, kRootLength, kRoot, kRootLength) != 0) {
    return;
  }
  for (size_t i = kRootLength; i < varbind->name_length && error->object_length < kErrorObjectMax; ++i) {
    error->object[error->object_length++] = static_cast<uint32_t>(varbind->name[i]);
  }
}

struct own_refusal {
  long snmp_error;
  const char *why;
};
constexpr own_refusal kOwnRefusals[] = {
    {SNMP_ERR_WRONGVALUE, "the value is none that the MIB allows; the manager was not asked"},
    {SNMP_ERR_INCONSISTENTNAME, "there is no such row, and this SET does not create it"},
    {SNMP_ERR_INCONSISTENTVALUE, "the value does not fit the state of the row"},
};

// Why the module refuses what no manager refused, by what the client is told.
const char *own_reason(const netsnmp_variable_list *varbind, long snmp_error) {
  if (snmp_error == SNMP_ERR_WRONGVALUE && varbind->type == ASN_OCTET_STR) {
    return "a name may have no blank; the manager was not asked";
  }
  for (const own_refusal &each : kOwnRefusals) {
    if (each.snmp_error == snmp_error) {
      return each.why;
    }
  }
  return "the manager was not asked";
}

// Why a request fails: what the module said, else the exchange that came to nothing, else what the client is told.
platform_error reason(const netsnmp_variable_list *varbind, long snmp_error) {
  if (call.reported) {
    return call.error;
  }
  platform_error error = {};
  error.pdu = static_cast<uint32_t>(served_pdu_number());
  snprintf(error.user, sizeof error.user, "%s", get_snmp_username(0));
  const platform_failures failures = platform_exchanges_failed();
  if (failures.count != call.failures) {
    error.code = static_cast<uint32_t>(-1);
    snprintf(error.text, sizeof error.text, "no answer from the manager: %s", strerror(failures.why));
  } else {
    snprintf(error.text, sizeof error.text, "%s", own_reason(varbind, snmp_error));
  }
  return error;
}

void keep(int mode, const netsnmp_request_info *request, long snmp_error) {
  platform_error error = reason(request->requestvb, snmp_error);
  error.snmp_error = static_cast<uint32_t>(snmp_error);
  error.phase = phase_of(mode);
  put_object(request->requestvb, &error);
  if (error.phase != kErrorPhaseRead) {
    put_value(request->requestvb, error.value, sizeof error.value);
  }
  platform_errors_write(&error);
}

}  // namespace

void refused_requests_begin() {
  call.reported = false;
  call.failures = platform_exchanges_failed().count;
}

void refused_requests_note(const platform_error &error) {
  call.reported = true;
  call.error = error;
}

void refused_requests_end(const netsnmp_agent_request_info *info, const netsnmp_request_info *requests) {
  if (phase_of(info->mode) == kErrorPhaseRead) {
    if (platform_exchanges_failed().count != call.failures && told_pdu != served_pdu_number()) {
      told_pdu = served_pdu_number();
      keep(info->mode, requests, 0);
    }
    return;
  }
  const bool decides = phase_of(info->mode) != 0;
  for (const netsnmp_request_info *each = requests; decides && each != nullptr; each = each->next) {
    if (each->status != SNMP_ERR_NOERROR) {
      keep(info->mode, each, each->status);
    }
  }
}
