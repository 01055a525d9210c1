// The VSAN table's columns, a row each: how one is read, checked, stored and traced.
#ifndef FEATURE_VSAN_MANAGER_MIB_OBJECTS_VSAN_COLUMNS_H
#define FEATURE_VSAN_MANAGER_MIB_OBJECTS_VSAN_COLUMNS_H

#include "module_frame/line_format.h"
#include "module_frame/phase_texts.h"
#include "module_frame/restriction.h"
#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "vsan_mib.h"

namespace vsan_mib {

// How GET answers from the column's field.
enum class column_read : uint8_t {
  word,     // as it stands
  name,     // the octets before the NUL
  active,   // active(1), whatever the field holds: a row that exists is, and the field is the write side's
  interop,  // a word; kVsanInteropDefault reads as 0
};

// What RESERVE2 does with a value.
enum class column_store : uint8_t {
  unknown,       // nothing: inconsistentValue
  not_writable,  // nothing: notWritable
  word,
  name,     // cut to its field, with a NUL
  interop,  // a word, traced; 0 is stored as kVsanInteropDefault
};

// What a write method traces: its name, a line, and the VSAN where that is said.
using vsan_text = row_format<const char *, int, int>;

// Trace texts get the name of the procedure and a line, and then what is said of them. Null: none.
struct vsan_column {
  object_magic magic;
  size_t field;  // its offset in vsanEntry
  column_read read = column_read::word;
  column_store store = column_store::unknown;
  row_format<const char *, int, int, int> answered = {};  // GET: the answer's length and the field's word
  WriteMethod *write_method = nullptr;                    // what the agent is handed, or null
  row_format<const char *, int> handed_out = {};          // told with the write method, which has one

  // What the write method checks and traces.
  value_rule value = {};
  vsan_text entered = {};       // every phase
  vsan_text value_passed = {};  // RESERVE1, after the value check
  vsan_text no_instance = "%s(%d) ***InconsistantName! ***\n";
  denial_text denied = "%s(%d) : vsan restricted user -- not allowed in this vsan\n";
  vsan_text right_passed = {};  // RESERVE1, after the restriction check: the VSAN
  phase_texts<vsan_text> phases = {};
};

// The column with this magic number, or null.
const vsan_column *find_vsan_column(int magic);

}  // namespace vsan_mib

#endif
