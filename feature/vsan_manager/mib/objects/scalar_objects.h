// The scalars, a row each: the exchange behind one, and what its write method checks.
#ifndef FEATURE_VSAN_MANAGER_MIB_OBJECTS_SCALAR_OBJECTS_H
#define FEATURE_VSAN_MANAGER_MIB_OBJECTS_SCALAR_OBJECTS_H

#include "module_frame/written_value.h"
#include "objects/object_magic.h"
#include "vsan_mib.h"

namespace vsan_mib {

// What a request carries.
enum class scalar_request : uint8_t {
  word,     // GET: nothing; SET: the value
  timer,    // a vsanFcTimerEntry of the whole switch
  latency,  // a vsanLatency
};

// What an answer holds.
enum class scalar_answer : uint8_t {
  count,
  value,
  last_change,  // seconds and microseconds since the epoch
};

// The exchange that a scalar is read and written with.
struct scalar_exchange {
  int opcode;
  uint32_t size;  // of the request; of the expected answer where GET sends nothing
  scalar_request request = scalar_request::word;
  scalar_answer answer = scalar_answer::value;
  uint32_t last_word = 0;                       // where in the answer the last word is that is read
  row_format<const char *, int> answered = {};  // trace: the procedure's name and the value
};

struct scalar_object {
  object_magic magic;
  scalar_exchange exchange;
  uint32_t key = 0;                           // the attribute key of a timer or latency
  row_format<const char *, int> asking = {};  // trace: the procedure's name and the key
  WriteMethod *write_method = nullptr;        // what the agent is handed; null: nothing
  value_rule value = {};                      // what the write method checks
};

// The scalar with this magic number, or null.
const scalar_object *find_scalar(int magic);

// The exchange with this opcode, or null.
const scalar_exchange *find_scalar_exchange(int opcode);

}  // namespace vsan_mib

#endif
