// The columns of the per-VSAN timers' table, a row each: the timers, and the force flag that their writes obey.
#ifndef FEATURE_VSAN_MANAGER_MIB_OBJECTS_FC_TIMER_COLUMNS_H
#define FEATURE_VSAN_MANAGER_MIB_OBJECTS_FC_TIMER_COLUMNS_H

#include <span>

#include "module_frame/phase_texts.h"
#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "vsan_mib.h"

namespace vsan_mib {

// Trace texts get the name of the write method, and then what is said of them. Null: none.
struct fc_timer_column {
  object_magic magic;
  uint32_t timer = 0;                   // its attribute key; 0: no timer, but the force flag
  WriteMethod *write_method = nullptr;  // what the agent is handed; null: nothing

  // What the write method checks and traces.
  value_rule value = {};
  row_format<const char *> entered = {};  // every phase
  phase_texts<row_format<const char *>> phases = {};
  uint8_t force = 0;                             // the timer's bit in the force flag; 0: none
  row_format<const char *, int> force_set = {};  // where the force flag is written and has the bit: the bits so far
  row_format<const char *, int, int> force_read = {};  // ACTION: the VSAN, and its force flag
  row_format<const char *, int> forced = {};           // ACTION, while the bit is on: the VSAN
  row_format<const char *, int> not_forced = {};       // ACTION, while it is off: the VSAN
  row_format<const char *, const char *> failed = {};  // ACTION, when the manager refuses: a text of why
};

// The column with this magic number, or null.
const fc_timer_column *find_fc_timer_column(int magic);

// All columns, in OID order.
std::span<const fc_timer_column> fc_timer_columns();

}  // namespace vsan_mib

#endif
