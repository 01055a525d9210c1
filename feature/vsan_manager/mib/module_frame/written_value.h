// What net-snmp hands a write method, and the one check of it: what a value may be stands in a table's row, and how
// that is checked here.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_WRITTEN_VALUE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_WRITTEN_VALUE_H

#include "module_frame/line_format.h"
#include "vsan_mib.h"

namespace vsan_mib {

// One call of a write method, but for its phase. Everything is the agent's and lives as long as the call.
struct written {
  u_char *value;
  u_char type;
  size_t length;
  u_char *current;  // what the find function answered for this OID; null when there is no such row
  oid *name;
  size_t name_len;
};

// The procedure behind a write method: it gets the row that says what is written, the phase and the rest of the call.
#define WRITE_METHOD(function, procedure, row)                                                                       \
  int function(int action, u_char *value, u_char type, size_t length, u_char *current, oid *name, size_t name_len) { \
    return procedure(row, action, {value, type, length, current, name, name_len});                                   \
  }

// The procedure of a write method that has one answer, the row, to every phase.
inline int answer_always(int status, int /*action*/, const written & /*w*/) {
  return status;
}

// A written integer: its 32 bits, and whether it had no more than those.
struct set_integer {
  bool fits;
  uint32_t value;
};

// The whole `long` when the length is a `long`'s, else the first four octets whatever the length says. A null value
// reads as 0. This is where hosts differ: an INTEGER or Gauge32 arrives as a host `long`.
set_integer read_set_integer(const void *value, size_t length);

// Which lengths and values an object takes.
enum class value_kind : uint8_t {
  integer,       // four octets or fewer, or a host `long`; from `low` to `high`
  drop_latency,  // an integer; 0, which marks the column as not written in a pending row, is genErr and reported
  row_status,    // an integer; active, createAndGo or destroy
  name,          // up to kVsanNameMax octets, none of them a space
  octet,         // one octet or none, of any value
};

// Where a refusal is told: either sink, both, or none. Logs are searched for the texts, which differ from object to
// object. The trace gets the write method's name and a line.
struct refusal {
  row_format<const char *, int> trace = {};
  const char *standard_error = nullptr;
};

// What a write method takes.
struct value_rule {
  const char *setter = nullptr;  // the write method's name, for traces
  u_char type = ASN_INTEGER;
  value_kind kind = value_kind::integer;
  uint32_t low = 0;
  uint32_t high = 0;
  refusal wrong_type = {};
  refusal bad_length = {};
  refusal wrong_value = {};
};

// Type and length: noError, wrongType or wrongLength, told as the rule says.
int check_form(const value_rule &rule, const written &w);

// The value, whose form has passed: noError, wrongValue, or genErr for a drop latency of 0.
int check_content(const value_rule &rule, const written &w);

// Both, in this order.
int check_value(const value_rule &rule, const written &w);

}  // namespace vsan_mib

#endif
