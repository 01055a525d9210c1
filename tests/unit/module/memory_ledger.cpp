#include "memory_ledger.h"

#include <stdlib.h>

#include <set>

#include "fake_platform.h"

struct variable_list;

namespace {

// Made at its first use, which is earlier than main, and never destroyed.
struct ledger {
  std::set<const void *> rows;
  std::set<const void *> answers;
  std::set<const void *> varbind_lists;
  int fail_at = 0;
  int callocs = 0;
  int failed_phase = 0;
};
ledger &kept() {
  static ledger &the_ledger = *new ledger;
  return the_ledger;
}

}  // namespace

extern "C" {

void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size) {
  if (++kept().callocs == kept().fail_at) {
    kept().failed_phase = fake::the().phase;
    return nullptr;
  }
  void *block = __real_calloc(count, size);
  kept().rows.insert(block);
  return block;
}

void __real_free(void *block);
void __wrap_free(void *block) {
  kept().rows.erase(block);
  kept().answers.erase(block);
  __real_free(block);
}

void __real_snmp_free_varbind(struct variable_list *list);
[[gnu::visibility("default")]] void __wrap_snmp_free_varbind(struct variable_list *list) {
  kept().varbind_lists.erase(list);
  __real_snmp_free_varbind(list);
}

}  // extern "C"

namespace fake {

memory not_given_back() {
  return {static_cast<long>(kept().rows.size()), static_cast<long>(kept().answers.size()),
          static_cast<long>(kept().varbind_lists.size())};
}

void fail_calloc(int nth) {
  kept().callocs = 0;
  kept().fail_at = nth;
}

bool calloc_failed() {
  return kept().fail_at > 0 && kept().callocs >= kept().fail_at;
}

int phase_of_failed_calloc() {
  return kept().failed_phase;
}

void *make_answer(size_t size) {
  void *block = malloc(size);
  kept().answers.insert(block);
  return block;
}

void note_varbind_list(const void *list) {
  kept().varbind_lists.insert(list);
}

}  // namespace fake
