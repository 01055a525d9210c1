// The VSAN table's columns other than row status: one row of kSetters a column, one procedure for all.
// RESERVE1 checks; the later phases are the set lists' (see set_lists.h for the chart).
#include "module_frame/restriction.h"
#include "module_frame/standard_error.h"
#include "module_frame/trace.h"
#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "platform/agent.h"
#include "statuses.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_table_write/set_lists.h"

using namespace vsan_mib;

namespace {

// Where a refusal is told: either sink, both, or none. The texts differ between the columns, and logs are searched for
// them.
struct refusal {
  const char *trace = nullptr;
  const char *standard_error = nullptr;
};

// Trace lines of one column beyond the refusals, at the points named; null: none.
struct progress {
  const char *entered = nullptr;       // every phase
  const char *checking = nullptr;      // RESERVE1, before the checks
  const char *value_passed = nullptr;  // RESERVE1, after the value check
  const char *right_passed = nullptr;  // RESERVE1, after the restriction check; with the VSAN
  const char *phase[UNDO + 1] = {};    // RESERVE2 and later
};

struct column_setter {
  const char *name;
  int column;
  u_char type;
  bool (*is_length)(size_t length);
  int (*check_value)(const column_setter &setter, const u_char *value, size_t length);
  uint32_t low;
  uint32_t high;
  refusal wrong_type;
  refusal bad_length;
  const char *wrong_value;
  const char *no_instance;
  const char *denied;
  progress traces;
};

bool is_name_length(size_t length) {
  return length <= kVsanNameMax;
}

// Any octets but a space, wherever it stands.
int check_name(const column_setter &, const u_char *value, size_t length) {
  const bool spaced = length > 0 && value != nullptr && memchr(value, ' ', length) != nullptr;
  return spaced ? SNMP_ERR_WRONGVALUE : SNMP_ERR_NOERROR;
}

int check_range(const column_setter &setter, const u_char *value, size_t length) {
  return in_range(read_set_integer(value, length), setter.low, setter.high) ? SNMP_ERR_NOERROR : SNMP_ERR_WRONGVALUE;
}

// 0 marks the column as not written in a pending row, so that it cannot be set.
int check_latency(const column_setter &setter, const u_char *value, size_t length) {
  const set_integer written = read_set_integer(value, length);
  if (written.fits && written.value == 0) {
    log_set_error(kStatusLatencyZero, 200);
    return SNMP_ERR_GENERR;
  }
  return check_range(setter, value, length);
}

constexpr const char *kInconsistentName = "%s(%d) ***InconsistantName! ***\n";
constexpr const char *kDenied = "%s : vsan restricted user -- not allowed in this vsan\n";
constexpr const char *kDeniedWithLine = "%s(%d) : vsan restricted user -- not allowed in this vsan\n";

constexpr column_setter kName = {"set_vsanName",
                                 kVsanName,
                                 ASN_OCTET_STR,
                                 is_name_length,
                                 check_name,
                                 0,
                                 0,
                                 {.trace = "%s(%d)write to vsanName not ASN_OCTET_STR\n"},
                                 {.standard_error = "write to vsanName: bad length\n"},
                                 nullptr,
                                 "%s(%d) get vsanEntry instance! \n",
                                 kDeniedWithLine,
                                 {.checking = "%s(%d) : In the RESERVE1 phase \n"}};

constexpr column_setter kAdminState = {"set_vsanAdminState",
                                       kVsanAdminState,
                                       ASN_INTEGER,
                                       is_integer_length,
                                       check_range,
                                       1,
                                       2,
                                       {.standard_error = "write to vsanAdminState not ASN_INTEGER\n"},
                                       {.standard_error = "write to vsanAdminState: bad length\n"},
                                       nullptr,
                                       kInconsistentName,
                                       kDenied,
                                       {.phase = {nullptr, "%s(%d) undo_vsanEntryList! \n"}}};

constexpr column_setter kLoadBalancingType = {"set_vsanLoadBalancingType",
                                              kVsanLoadBalancingType,
                                              ASN_INTEGER,
                                              is_integer_length,
                                              check_range,
                                              1,
                                              2,
                                              {.trace = "%s(%d) write to vsanLoadBalancingType not ASN_INTEGER\n"},
                                              {.trace = "%s(%d) write to vsanLoadBalancingType: bad length\n"},
                                              nullptr,
                                              kInconsistentName,
                                              kDenied,
                                              {.phase = {nullptr, "%s(%d) undo_vsanEntryList! \n"}}};

constexpr column_setter kInterOperType = {
    "set_vsanInterOperType",
    kVsanInterOperType,
    ASN_INTEGER,
    is_integer_length,
    check_range,
    0,
    4,
    {.trace = "%s(%d) write to vsanInterOperType not ASN_INTEGER\n"},
    {.trace = "%s(%d) write to vsanInterOperType: bad length\n",
     .standard_error = "write to vsanInterOperType: bad length\n"},
    "%s(%d) Wrong Value! \n",
    "%s(%d) ***Return Inconsistname! ***\n",
    kDeniedWithLine,
    {.value_passed = "%s(%d) RESERVE1 \n",
     .right_passed = "%s(%d) tmp_entry.vsanIndex:%d \n",
     .phase = {nullptr, "%s(%d) VSANINTEROPTYPE RESERVE2! \n", "%s(%d) ACTION! \n", "%s(%d) COMMIT! \n",
               "%s(%d) FREE! \n", "%s(%d) UNDO Req! \n"}}};

constexpr column_setter kInorderDelivery = {"set_vsanInorderDelivery",
                                            kVsanInorderDelivery,
                                            ASN_INTEGER,
                                            is_integer_length,
                                            check_range,
                                            1,
                                            2,
                                            {.trace = "%s(%d) write to vsanInorderDelivery not ASN_INTEGER\n",
                                             .standard_error = "write to vsanInorderDelivery not ASN_INTEGER\n"},
                                            {.standard_error = "write to vsanInorderDelivery: bad length\n"},
                                            nullptr,
                                            kInconsistentName,
                                            kDeniedWithLine,
                                            {}};

// The wrong-type text names another type than is meant: kept, logs are searched for it.
constexpr column_setter kNetworkDropLatency = {"set_vsanNetworkDropLatency",
                                               kVsanNetworkDropLatency,
                                               ASN_UNSIGNED,
                                               is_integer_length,
                                               check_latency,
                                               1,
                                               60000,
                                               {.standard_error = "write to vsanNetworkDropLatency not ASN_INTEGER\n"},
                                               {.standard_error = "write to vsanNetworkDropLatency: bad length\n"},
                                               nullptr,
                                               kInconsistentName,
                                               kDeniedWithLine,
                                               {}};

// Writes the field of vsanInterOperType, but no column hands it out.
constexpr column_setter kInterOperMode = {"set_vsanInterOperMode",
                                          kVsanInterOperType,
                                          ASN_INTEGER,
                                          is_integer_length,
                                          check_range,
                                          1,
                                          2,
                                          {.standard_error = "write to vsanInterOperMode not ASN_INTEGER\n"},
                                          {.standard_error = "write to vsanInterOperMode: bad length\n"},
                                          nullptr,
                                          kInconsistentName,
                                          kDenied,
                                          {.entered = "%s(%d) \n", .phase = {nullptr, "%s(%d) in RESERVE2 \n"}}};

void trace(const column_setter &setter, const char *format, uint32_t vsan = 0) {
  if (format != nullptr) {
    TRACE(format, setter.name, __LINE__, static_cast<int>(vsan));
  }
}

int refuse(const column_setter &setter, const refusal &why, int status) {
  trace(setter, why.trace);
  if (why.standard_error != nullptr) {
    complain(why.standard_error);
  }
  return status;
}

int check(const column_setter &setter, const written &w) {
  trace(setter, setter.traces.checking);
  if (w.type != setter.type) {
    return refuse(setter, setter.wrong_type, SNMP_ERR_WRONGTYPE);
  }
  if (!setter.is_length(w.length)) {
    return refuse(setter, setter.bad_length, SNMP_ERR_WRONGLENGTH);
  }
  const int status = setter.check_value(setter, w.value, w.length);
  if (status != SNMP_ERR_NOERROR) {
    trace(setter, setter.wrong_value);
    return status;
  }
  trace(setter, setter.traces.value_passed);

  vsanEntry key;
  if (!parse_key(w.name, w.name_len, &key)) {
    trace(setter, setter.no_instance);
    return SNMP_ERR_INCONSISTENTNAME;
  }
  if (write_is_denied(key.vsanIndex, w.name, w.name_len)) {
    TRACE_AT(kTraceError, setter.denied, setter.name, __LINE__);
    return report_denial(kStatusVsanDenied);
  }
  trace(setter, setter.traces.right_passed, key.vsanIndex);
  return SNMP_ERR_NOERROR;
}

int set_column(const column_setter &setter, int action, const written &w) {
  trace(setter, setter.traces.entered);
  if (action > RESERVE1 && action <= UNDO) {
    trace(setter, setter.traces.phase[action]);
  }
  switch (action) {
    case RESERVE1:
      forget_finished_pdu(w.name, w.name_len);
      return check(setter, w);
    case RESERVE2:
      return handle_onepdu_undo_vsanEntryList(setter.column, w.name, w.name_len, w.value, w.length);
    case ACTION:
      return handle_set_vsanEntryList(w.name, w.name_len);
    case COMMIT:
    case FREE:
      return handle_free_vsanEntryList(w.name, w.name_len);
    case UNDO:
      note_pdu_over(w.name, w.name_len);
      return SNMP_ERR_NOERROR;
    default:
      return SNMP_ERR_NOERROR;
  }
}

}  // namespace

#define COLUMN_SETTER(function, setter)                                                                             \
  int function(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char * /*statP*/, oid *name, \
               size_t name_len) {                                                                                   \
    return set_column(setter, action, {var_val, var_val_type, var_val_len, name, name_len});                        \
  }

COLUMN_SETTER(set_vsanName, kName)
COLUMN_SETTER(set_vsanAdminState, kAdminState)
COLUMN_SETTER(set_vsanLoadBalancingType, kLoadBalancingType)
COLUMN_SETTER(set_vsanInterOperType, kInterOperType)
COLUMN_SETTER(set_vsanInorderDelivery, kInorderDelivery)
COLUMN_SETTER(set_vsanNetworkDropLatency, kNetworkDropLatency)
COLUMN_SETTER(set_vsanInterOperMode, kInterOperMode)

// Media type and MTU are not writable.
int set_vsanMediaType(int, u_char *, u_char, size_t, u_char *, oid *, size_t) {
  return SNMP_ERR_NOSUCHNAME;
}

int set_vsanMtu(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char *statP, oid *name,
                size_t name_len) {
  return set_vsanMediaType(action, var_val, var_val_type, var_val_len, statP, name, name_len);
}
