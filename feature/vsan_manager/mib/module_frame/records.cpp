// Operations on the records that cross the boundary to the VSAN manager.
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include "vsan_mib.h"
#include "vsan_records.h"

namespace {

// ntohl and htonl are the same operation, and none at all on a big-endian host.
void swap_word(uint32_t &word) {
  word = ntohl(word);
}

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
  record->vsanMediaType = 1;
  record->vsanAdminState = 1;
  record->vsanMtu = 2112;
  record->vsanInorderDelivery = 0;
  record->vsanInteropMode = kVsanInteropDefault;
  record->vsanLoadBalancingType = 2;
  return snprintf(record->vsanName, sizeof record->vsanName, "VSAN%.4d", static_cast<int>(record->vsanIndex));
}

int vsanEntry_comp(const void *a, const void *b) {
  return compare_keys(a, b);
}

void vsanEntry_ntoh(vsanEntry *record) {
  swap_word(record->vsanIndex);
  swap_word(record->vsanMediaType);
  swap_word(record->vsanAdminState);
  swap_word(record->vsanMtu);
  swap_word(record->vsanInorderDelivery);
  swap_word(record->vsanInteropMode);
  swap_word(record->vsanLoadBalancingType);
  swap_word(record->vsanRowStatus);
  swap_word(record->vsanOperState);
  swap_word(record->vsanNetworkDropLatency);
}

void vsanEntry_hton(vsanEntry *record) {
  vsanEntry_ntoh(record);
}

void vsanIfEntry_defaults(vsanIfEntry *record) {
  record->vsanIfVsan = 1;
  record->vsanIfDenyList = 0;
}

int vsanIfEntry_comp(const void *a, const void *b) {
  return compare_keys(a, b);
}

void vsanIfEntry_ntoh(vsanIfEntry *record) {
  swap_word(record->ifIndex);
  swap_word(record->vsanIfVsan);
  swap_word(record->vsanIfDenyList);
  swap_word(record->vsanIfRowStatus);
}

void vsanIfEntry_hton(vsanIfEntry *record) {
  vsanIfEntry_ntoh(record);
}

void vsanNewFcTimer_ntoh(vsanFcTimerEntry *record) {
  // By value: the record is packed and its words may not be referred to.
  record->timer_type = ntohl(record->timer_type);
  record->timer_value = ntohl(record->timer_value);
  record->vsan_id = ntohl(record->vsan_id);
}
