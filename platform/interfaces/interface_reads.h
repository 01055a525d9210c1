// What the port manager says of the switch's interfaces.
#ifndef PLATFORM_INTERFACES_INTERFACE_READS_H
#define PLATFORM_INTERFACES_INTERFACE_READS_H

#include <stdint.h>

#include "port_records.h"

// IF-MIB's indexes are positive 32-bit integers: an interface with a higher number is not in its tables.
inline constexpr uint32_t kIfIndexMax = 0x7FFFFFFF;

enum class interface_read {
  found,
  absent,    // no such interface, or no further one
  no_answer  // the port manager did not answer
};

// Reads the interface, or the first one after `index`, for which the port manager has `timeout` seconds.
interface_read read_interface(uint32_t index, switch_interface *found);
interface_read read_interface_after(uint32_t index, switch_interface *found, int timeout = 4);

// The same of those that the PDU's user may see.
interface_read read_seen_interface(uint32_t index, switch_interface *found);
interface_read read_seen_interface_after(uint32_t index, switch_interface *found);

// Reads how many interfaces there are. Returns false when the VSAN manager does not answer.
bool read_interface_count(uint32_t *count);

// Reads the switch's name: `name` gets up to kSwitchNameMax octets and a NUL. Returns false when the identity service
// does not answer.
bool read_switch_name(char (&name)[256]);

#endif
