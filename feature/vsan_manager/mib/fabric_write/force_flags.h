// The force flags, which the per-VSAN timer setters share with the read of their column.
#ifndef FEATURE_VSAN_MANAGER_MIB_FABRIC_WRITE_FORCE_FLAGS_H
#define FEATURE_VSAN_MANAGER_MIB_FABRIC_WRITE_FORCE_FLAGS_H

#include <stdint.h>

namespace vsan_mib {

// The force-flag octet of a VSAN: 0x80 R_A_TOV, 0x40 E_D_TOV, 0x20 D_S_TOV. 0 for an id above 4095.
uint8_t force_flags_of(uint32_t vsan);

}  // namespace vsan_mib

#endif
