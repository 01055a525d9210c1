// What the module was given and has not given back: rows that it allocated, answers of exchanges, lists of varbinds.
#ifndef TESTS_UNIT_MODULE_MEMORY_LEDGER_H
#define TESTS_UNIT_MODULE_MEMORY_LEDGER_H

#include <stddef.h>

namespace fake {

// Blocks by kind. The linker sends the module's calloc, free and snmp_free_varbind here.
struct memory {
  long rows = 0;
  long answers = 0;
  long varbind_lists = 0;

  bool operator==(const memory &) const = default;
};
memory not_given_back();

// The N-th calloc of the module from now on fails; 0: none.
void fail_calloc(int nth);
// Whether it was reached, and in which phase of a SET.
bool calloc_failed();
int phase_of_failed_calloc();

// An answer of `size` octets that the module is to free.
void *make_answer(size_t size);
// A list of varbinds was started for the module, which frees it or hands it on.
void note_varbind_list(const void *list);

}  // namespace fake

#endif
