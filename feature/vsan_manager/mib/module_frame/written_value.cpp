#include "module_frame/written_value.h"

#include <stdio.h>
#include <string.h>

#include "module_frame/failures.h"
#include "module_frame/trace.h"
#include "platform/agent.h"
#include "statuses.h"
#include "vsan_records.h"

namespace vsan_mib {
namespace {

bool has_length(value_kind kind, size_t length) {
  switch (kind) {
    case value_kind::name:
      return length <= kVsanNameMax;
    case value_kind::octet:
      return length <= 1;
    default:
      return length <= sizeof(uint32_t) || length == sizeof(long);
  }
}

// One unsigned test, so that a negative value is out of range.
bool in_range(set_integer integer, uint32_t low, uint32_t high) {
  return integer.fits && integer.value - low <= high - low;
}

bool is_row_status(set_integer status) {
  return status.fits && (status.value == RS_ACTIVE || status.value == RS_CREATEANDGO || status.value == RS_DESTROY);
}

bool has_space(const written &w) {
  return w.length > 0 && w.value != nullptr && memchr(w.value, ' ', w.length) != nullptr;
}

bool has_content(const value_rule &rule, const written &w) {
  switch (rule.kind) {
    case value_kind::name:
      return !has_space(w);
    case value_kind::octet:
      return true;
    case value_kind::row_status:
      return is_row_status(read_set_integer(w.value, w.length));
    default:
      return in_range(read_set_integer(w.value, w.length), rule.low, rule.high);
  }
}

bool is_zero(const written &w) {
  const set_integer integer = read_set_integer(w.value, w.length);
  return integer.fits && integer.value == 0;
}

int refuse(const value_rule &rule, const refusal &why, int status) {
  if (why.trace.format != nullptr) {
    TRACE_ROW(why.trace, rule.setter, __LINE__);
  }
  if (why.standard_error != nullptr) {
    fputs(why.standard_error, stderr);
  }
  return status;
}

}  // namespace

set_integer read_set_integer(const void *value, size_t length) {
  if (value == nullptr) {
    return {true, 0};
  }
  if (length == sizeof(long)) {
    long whole;
    memcpy(&whole, value, sizeof whole);
    const int64_t wide = whole;
    return {wide >= INT32_MIN && wide <= int64_t{UINT32_MAX}, static_cast<uint32_t>(wide)};
  }
  uint32_t word;
  memcpy(&word, value, sizeof word);
  return {true, word};
}

int check_form(const value_rule &rule, const written &w) {
  if (w.type != rule.type) {
    return refuse(rule, rule.wrong_type, SNMP_ERR_WRONGTYPE);
  }
  if (!has_length(rule.kind, w.length)) {
    return refuse(rule, rule.bad_length, SNMP_ERR_WRONGLENGTH);
  }
  return SNMP_ERR_NOERROR;
}

int check_content(const value_rule &rule, const written &w) {
  if (rule.kind == value_kind::drop_latency && is_zero(w)) {
    log_set_error(kStatusLatencyZero, kRefusedByManager);
    return refuse(rule, rule.wrong_value, SNMP_ERR_GENERR);
  }
  return has_content(rule, w) ? SNMP_ERR_NOERROR : refuse(rule, rule.wrong_value, SNMP_ERR_WRONGVALUE);
}

int check_value(const value_rule &rule, const written &w) {
  const int status = check_form(rule, w);
  return status == SNMP_ERR_NOERROR ? check_content(rule, w) : status;
}

}  // namespace vsan_mib
