// The switch that fuzzers of the module meet, in the faked platform.
#ifndef TESTS_FUZZ_FUZZ_WORLD_H
#define TESTS_FUZZ_FUZZ_WORLD_H

#include "mini_agent.h"

// Five VSANs, two interfaces, empty set lists; what an input before left is gone.
inline void make_world() {
  fake::reset();
  for (uint32_t vsan : {1u, 5u, 9u, 10u, 4093u}) {
    fake::add_vsan(vsan);
  }
  fake::add_interface(101, 5);
  fake::add_interface(102, 10, false);
  mini::make_set_lists();
}

#endif
