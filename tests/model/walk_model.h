// What a walk of all the module's objects gives a user.
#ifndef TESTS_MODEL_WALK_MODEL_H
#define TESTS_MODEL_WALK_MODEL_H

#include <vector>

#include "pdu_model.h"

namespace model {

// In the order of OIDs. The time of the last change is left out: its value is the clock's.
std::vector<mib::varbind> walk_of(const agent_model &a, const role &who);

}  // namespace model

#endif
