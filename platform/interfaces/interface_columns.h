// The columns of ifTable and ifXTable: a row each says all of it.
#ifndef PLATFORM_INTERFACES_INTERFACE_COLUMNS_H
#define PLATFORM_INTERFACES_INTERFACE_COLUMNS_H

#include <stdint.h>

#include <span>

#include "port_records.h"

// What a column is of an interface that was read just now. One of `number`, `text` and nothing: then it is `same`, the
// same of all interfaces.
struct interface_column {
  unsigned column;
  uint8_t type;  // of SNMP; an OCTET STRING without a text is empty
  uint32_t same = 0;
  uint32_t (*number)(const switch_interface &interface) = nullptr;
  const char *(*text)(const switch_interface &interface) = nullptr;
};

// In order. Deprecated columns are left out.
std::span<const interface_column> if_table_columns();
std::span<const interface_column> if_x_table_columns();

#endif
