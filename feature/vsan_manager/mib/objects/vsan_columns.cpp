// The texts are kept to the character, also where one names another column or type than is meant: logs are searched
// for them.
#include "objects/vsan_columns.h"

#include "module_frame/restriction.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace vsan_mib {
namespace {

constexpr const char *kUndoList = "%s(%d) undo_vsanEntryList! \n";

// vsanMediaType and vsanMtu have write methods although they are read-only, and vsanOperState has none: managers rely
// on what each answers.
constexpr vsan_column kColumns[] = {
    {.magic = kVsanName,
     .field = offsetof(vsanEntry, vsanName),
     .read = column_read::name,
     .store = column_store::name,
     .write_method = set_vsanName,
     .handed_out = "%s(%d) set-method VSANNAME \n",
     .value = {.setter = "set_vsanName",
               .type = ASN_OCTET_STR,
               .kind = value_kind::name,
               .wrong_type = {.trace = "%s(%d)write to vsanName not ASN_OCTET_STR\n"},
               .bad_length = {.standard_error = "write to vsanName: bad length\n"}},
     .phases = {.reserve1 = "%s(%d) : In the RESERVE1 phase \n"}},
    {.magic = kVsanMediaType,
     .field = offsetof(vsanEntry, vsanMediaType),
     .store = column_store::not_writable,
     .answered = "%s(%d) VSANMEDIATYPE \n",
     .write_method = set_vsanMediaType,
     .handed_out = "%s(%d) set-method VSANNAME \n"},
    {.magic = kVsanAdminState,
     .field = offsetof(vsanEntry, vsanAdminState),
     .store = column_store::word,
     .answered = "%s(%d) VSANADMINSTATE \n",
     .write_method = set_vsanAdminState,
     .handed_out = "%s(%d) set-method VSANADMINSTATE \n",
     .value = {.setter = "set_vsanAdminState",
               .low = kAdminActive,
               .high = kAdminSuspended,
               .wrong_type = {.standard_error = "write to vsanAdminState not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to vsanAdminState: bad length\n"}},
     .denied = kWriteDenied,
     .phases = {.reserve2 = kUndoList}},
    {.magic = kVsanMtu,
     .field = offsetof(vsanEntry, vsanMtu),
     .store = column_store::not_writable,
     .write_method = set_vsanMtu,
     .handed_out = "%s(%d) set-method VSANMTU \n"},
    {.magic = kVsanLoadBalancingType,
     .field = offsetof(vsanEntry, vsanLoadBalancingType),
     .store = column_store::word,
     .write_method = set_vsanLoadBalancingType,
     .handed_out = "%s(%d) set-method VSANLOADBALANCINGTYPE \n",
     .value = {.setter = "set_vsanLoadBalancingType",
               .low = kLoadBalancingSourceDestination,
               .high = kLoadBalancingExchange,
               .wrong_type = {.trace = "%s(%d) write to vsanLoadBalancingType not ASN_INTEGER\n"},
               .bad_length = {.trace = "%s(%d) write to vsanLoadBalancingType: bad length\n"}},
     .denied = kWriteDenied,
     .phases = {.reserve2 = kUndoList}},
    {.magic = kVsanOperState, .field = offsetof(vsanEntry, vsanOperState), .answered = "%s(%d) VSANOPERSTATE  \n"},
    {.magic = kVsanRowStatus,
     .field = offsetof(vsanEntry, vsanRowStatus),
     .read = column_read::active,
     .store = column_store::word,
     .answered = "%s(%d) VSANROWSTATUS  \n",
     .write_method = set_vsanRowStatus,
     .handed_out = "%s(%d) set-method VSANROWSTATUS \n",
     .value = {.setter = "set_vsanRowStatus",
               .kind = value_kind::row_status,
               .wrong_type = {.standard_error = "write to vsanRowStatus not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to vsanRowStatus: bad length\n"}},
     .denied = "%s : vsan restricted user is not allowed to set \n"},
    {.magic = kVsanInterOperType,
     .field = offsetof(vsanEntry, vsanInteropMode),
     .read = column_read::interop,
     .store = column_store::interop,
     .answered = "%s(%d) *var_len:%d interopmode:%d \n",
     .write_method = set_vsanInterOperType,
     .handed_out = "%s(%d) set-method VSANITEROPERYPE \n",
     .value = {.setter = "set_vsanInterOperType",
               .low = 0,
               .high = kInteropMax,
               .wrong_type = {.trace = "%s(%d) write to vsanInterOperType not ASN_INTEGER\n"},
               .bad_length = {.trace = "%s(%d) write to vsanInterOperType: bad length\n",
                              .standard_error = "write to vsanInterOperType: bad length\n"},
               .wrong_value = {.trace = "%s(%d) Wrong Value! \n"}},
     .value_passed = "%s(%d) RESERVE1 \n",
     .right_passed = "%s(%d) tmp_entry.vsanIndex:%d \n",
     .phases = {.reserve2 = "%s(%d) VSANINTEROPTYPE RESERVE2! \n",
                .action = "%s(%d) ACTION! \n",
                .commit = "%s(%d) COMMIT! \n",
                .free = "%s(%d) FREE! \n",
                .undo = "%s(%d) UNDO Req! \n"}},
    {.magic = kVsanInorderDelivery,
     .field = offsetof(vsanEntry, vsanInorderDelivery),
     .store = column_store::word,
     .write_method = set_vsanInorderDelivery,
     .handed_out = "%s(%d) set-method VSANINORDERDELIVERY \n",
     .value = {.setter = "set_vsanInorderDelivery",
               .low = kInorderOn,
               .high = kInorderOff,
               .wrong_type = {.trace = "%s(%d) write to vsanInorderDelivery not ASN_INTEGER\n",
                              .standard_error = "write to vsanInorderDelivery not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to vsanInorderDelivery: bad length\n"}}},
    {.magic = kVsanNetworkDropLatency,
     .field = offsetof(vsanEntry, vsanNetworkDropLatency),
     .store = column_store::word,
     .write_method = set_vsanNetworkDropLatency,
     .handed_out = "%s(%d) set-method VSANNETWORKDROPLATENCY \n",
     .value = {.setter = "set_vsanNetworkDropLatency",
               .type = ASN_UNSIGNED,
               .kind = value_kind::drop_latency,
               .low = 1,
               .high = kLatencyMax,
               .wrong_type = {.standard_error = "write to vsanNetworkDropLatency not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to vsanNetworkDropLatency: bad length\n"}}},
};

constexpr bool each_write_method_has_its_text() {
  for (const vsan_column &column : kColumns) {
    if (column.write_method != nullptr && column.handed_out.format == nullptr) {
      return false;
    }
  }
  return true;
}
static_assert(each_write_method_has_its_text());

}  // namespace

const vsan_column *find_vsan_column(int magic) {
  return find_row_of(kColumns, magic);
}

}  // namespace vsan_mib
