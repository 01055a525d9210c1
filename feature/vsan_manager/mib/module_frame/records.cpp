// Operations on the records that cross the boundary to the VSAN manager.
#include <stdio.h>
#include <string.h>

#include "record_words.h"
#include "vsan_mib.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

// Positive when a sorts before b: the list container relies on the sense, and on -1 for a null argument.
int compare_keys(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return -1;
  }
  int32_t left;
  int32_t right;
  memcpy(&left, a, sizeof left);
  memcpy(&right, b, sizeof right);
  return left == right ? 0 : right > left ? 1 : -1;
}

}  // namespace

int vsanEntry_defaults(vsanEntry *record) {
  record->vsanMediaType = kMediaFibreChannel;
  record->vsanAdminState = kAdminActive;
  record->vsanMtu = kMtuDefault;
  record->vsanInorderDelivery = 0;
  record->vsanInteropMode = kVsanInteropDefault;
  record->vsanLoadBalancingType = kLoadBalancingExchange;
  return snprintf(record->vsanName, sizeof record->vsanName, "VSAN%.4d", static_cast<int>(record->vsanIndex));
}

int vsanEntry_comp(const void *a, const void *b) {
  return compare_keys(a, b);
}

void vsanEntry_ntoh(vsanEntry *record) {
  record_swap(record);
}

void vsanEntry_hton(vsanEntry *record) {
  record_swap(record);
}

void vsanIfEntry_defaults(vsanIfEntry *record) {
  record->vsanIfVsan = kDefaultVsan;
  record->vsanIfDenyList = 0;
}

int vsanIfEntry_comp(const void *a, const void *b) {
  return compare_keys(a, b);
}

void vsanIfEntry_ntoh(vsanIfEntry *record) {
  record_swap(record);
}

void vsanIfEntry_hton(vsanIfEntry *record) {
  record_swap(record);
}

void vsanNewFcTimer_ntoh(vsanFcTimerEntry *record) {
  record_swap(record);
}
