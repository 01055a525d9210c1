#include "objects/interface_columns.h"

#include "vsan_records.h"
#include "vsan_values.h"

namespace vsan_mib {
namespace {

constexpr interface_column kColumns[] = {
    {.magic = kVsanIfVsan,
     .field = offsetof(vsanIfEntry, vsanIfVsan),
     .restricted = true,
     .write_method = set_vsanIfVsan,
     .value = {.setter = "set_vsanIfVsan",
               .low = kVsanFirst,
               .high = kVsanReserved,
               .wrong_type = {.standard_error = "write to vsanIfVsan not ASN_INTEGER\n"},
               .bad_length = {.standard_error = "write to vsanIfVsan: bad length\n"}}},
    {.magic = kVsanIfDenyList, .field = offsetof(vsanIfEntry, vsanIfDenyList)},
};

}  // namespace

const interface_column *find_interface_column(int magic) {
  return find_row_of(kColumns, magic);
}

}  // namespace vsan_mib
