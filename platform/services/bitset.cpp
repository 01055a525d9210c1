#include "platform/bitset.h"

#include <string.h>

void bitset_clear(vsan_set_t *set) {
  memset(set->bits, 0, sizeof set->bits);
}
