#include "fabric_write/force_flags.h"

#include "vsan_values.h"

namespace vsan_mib {
namespace {

uint8_t flags_of_vsan[kVsanReserved + 1];

}  // namespace

uint8_t force_flags_of(uint32_t vsan) {
  return vsan < sizeof flags_of_vsan ? flags_of_vsan[vsan] : uint8_t{0};
}

void keep_force_flags(uint32_t vsan, uint8_t flags) {
  if (vsan < sizeof flags_of_vsan) {
    flags_of_vsan[vsan] = flags;
  }
}

}  // namespace vsan_mib
