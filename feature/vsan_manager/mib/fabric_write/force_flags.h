// The force flags: which timers of a VSAN are set although it is operational. They stay as they were written until
// they are written again, across PDUs: managers set them once and then change timers.
#ifndef FEATURE_VSAN_MANAGER_MIB_FABRIC_WRITE_FORCE_FLAGS_H
#define FEATURE_VSAN_MANAGER_MIB_FABRIC_WRITE_FORCE_FLAGS_H

#include <stdint.h>

namespace vsan_mib {

// The force-flag octet of a VSAN: the `force` bits of fc_timer_columns.h. 0 for an id above 4095.
uint8_t force_flags_of(uint32_t vsan);

// Keeps the octet. An id above 4095 has none.
void keep_force_flags(uint32_t vsan, uint8_t flags);

}  // namespace vsan_mib

#endif
