// The columns of the interface membership table, a row each.
#ifndef FEATURE_VSAN_MANAGER_MIB_OBJECTS_INTERFACE_COLUMNS_H
#define FEATURE_VSAN_MANAGER_MIB_OBJECTS_INTERFACE_COLUMNS_H

#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "vsan_mib.h"

namespace vsan_mib {

struct interface_column {
  object_magic magic;
  size_t field;                         // its offset in vsanIfEntry
  bool restricted = false;              // whether a role may hide the answer
  WriteMethod *write_method = nullptr;  // what the agent is handed, also when it is null
  value_rule value = {};                // what the write method checks
};

// The column with this magic number, or null.
const interface_column *find_interface_column(int magic);

}  // namespace vsan_mib

#endif
