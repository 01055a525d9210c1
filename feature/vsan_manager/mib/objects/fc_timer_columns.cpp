// The texts are kept to the character: logs are searched for them.
#include "objects/fc_timer_columns.h"

#include "vsan_values.h"

namespace vsan_mib {
namespace {

constexpr fc_timer_column kColumns[] = {
    {.magic = kVsanFcTimerForceFlag,
     .write_method = set_vsanFcTimerForceFlag,
     .value = {.setter = "set_vsanFcTimerForceFlag",
               .type = ASN_OCTET_STR,
               .kind = value_kind::octet,
               .wrong_type = {.trace = "%s : write to vsanFcTimerForceFlag not ASN_OCTET_STR \n"},
               .bad_length = {.trace = "%s : write to vsanFcTimerForceFlag - bad length \n"}}},
    {.magic = kVsanFcTimerRatov,
     .timer = kTimerRatov,
     .write_method = set_vsanFcTimerRatov,
     .value = {.setter = "set_vsanFcTimerRatov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerRatov).low,
               .high = range_of_timer(kTimerRatov).high,
               .wrong_type = {.trace = "%s : write to vsanFcTimerRatov not ASN_UNSIGNED \n"},
               .bad_length = {.trace = "%s : write to vsanFcTimerRatov bad length\n"},
               .wrong_value = {.trace = "%s : wrong value \n"}},
     .phases = {.reserve1 = "%s : setting the values RESERVE1 ",
                .reserve2 = "%s : setting the values RESERVE2 ",
                .action = "%s : setting the values ACTION",
                .free = "%s : setting the values FREE "},
     .force = 0x80,
     .force_set = "%s : SET R_A_TOV flag :  %x",
     .force_read = "%s : ACTION vsanid = %d force_flag_set = %x ",
     .forced = "%s : ACTION vsanid = %d  ForceFlag SET - true ",
     .not_forced = "%s : ACTION vsanid = %d  ForceFlag SET - false ",
     .failed = "%s : ACTION set REq failed , %s  "},
    {.magic = kVsanFcTimerEdtov,
     .timer = kTimerEdtov,
     .write_method = set_vsanFcTimerEdtov,
     .value = {.setter = "set_vsanFcTimerEdtov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerEdtov).low,
               .high = range_of_timer(kTimerEdtov).high,
               .wrong_type = {.trace = " %s : write to vsanFcTimerEdtov not ASN_UNSIGNED\n"},
               .bad_length = {.trace = " %s : write to vsanFcTimerEdtov bad length \n"},
               .wrong_value = {.trace = " %s : write to vsanFcTimerEdtov wrong value \n"}},
     .entered = "%s : setting the values",
     .force = 0x40,
     .force_set = "%s : SET E_D_TOV flag :  %x",
     .forced = "%s : ACTION vsanid = %d  ForceFlag SET - True",
     .not_forced = "%s : ACTION vsanid = %d  ForceFlag SET - false"},
    {.magic = kVsanFcTimerDstov,
     .timer = kTimerDstov,
     .write_method = set_vsanFcTimerDstov,
     .value = {.setter = "set_vsanFcTimerDstov",
               .type = ASN_UNSIGNED,
               .low = range_of_timer(kTimerDstov).low,
               .high = range_of_timer(kTimerDstov).high,
               .wrong_type = {.trace = "%s : write to vsanFcTimerDstov not ASN_UNSIGNED\n"},
               .bad_length = {.trace = "%s : write to vsanFcTimerDstov - bad length \n"},
               .wrong_value = {.trace = "%s : write to vsanFcTimerDstov - wrong value \n"}},
     .entered = "%s : setting the values",
     .force = 0x20,
     .force_set = "%s : SET D_S_TOV flag :  %x",
     .forced = "%s : ACTION vsanid = %d  ForceFlag - True ",
     .not_forced = "%s : ACTION vsanid = %d  ForceFlag  - false "},
    {.magic = kVsanFcTimerFstov, .timer = kTimerFstov},
};

constexpr bool each_force_bit_has_its_texts() {
  for (const fc_timer_column &column : kColumns) {
    const bool has_texts =
        column.force_set.format != nullptr && column.forced.format != nullptr && column.not_forced.format != nullptr;
    if (column.force != 0 && !has_texts) {
      return false;
    }
  }
  return true;
}
static_assert(each_force_bit_has_its_texts());

}  // namespace

const fc_timer_column *find_fc_timer_column(int magic) {
  return find_row_of(kColumns, magic);
}

std::span<const fc_timer_column> fc_timer_columns() {
  return kColumns;
}

}  // namespace vsan_mib
