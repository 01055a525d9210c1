// The port manager's records.
#ifndef PROTOCOL_RECORDS_PORT_RECORDS_H
#define PROTOCOL_RECORDS_PORT_RECORDS_H

#include <stdint.h>

// kOpActiveMembership: GET reads the pair in the request, GETNEXT the next pair after it. Pairs are ordered by VSAN,
// then interface.
struct active_membership {
  uint32_t vsan;
  uint32_t interface;
  uint8_t is_static;  // 1 when the membership was configured, 0 when it is the default one
  uint8_t zeros[3];
};
static_assert(sizeof(active_membership) == 12);

// kOpInterface: GET reads the interface in the request, GETNEXT the next one after it, SET takes it up or down and
// answers no payload. A SET does not look at the name.
struct switch_interface {
  uint32_t index;
  uint32_t up;    // 1 or 0
  char name[32];  // with its NUL
};
static_assert(sizeof(switch_interface) == 40);

// kOpInterfaceRow: SET makes an interface, DELETE takes away the one with this index and looks at nothing else. Neither
// answers a payload. kOpInterfaceName: SET gives the interface of a switch_interface the name in it, and does not look
// at `up`.
struct interface_definition {
  uint32_t index;  // 1 to 0xFFFFFFFE
  uint32_t vsan;   // one that is there
  uint32_t up;     // 1 or 0
  char name[32];   // with its NUL: 1 to 31 octets
};
static_assert(sizeof(interface_definition) == 44);

#endif
