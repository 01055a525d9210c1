// The identity service's records.
#ifndef PROTOCOL_RECORDS_SWITCH_RECORDS_H
#define PROTOCOL_RECORDS_SWITCH_RECORDS_H

#include "vsan_values.h"

// kOpSwitchName: GET asks with no payload and answers it, SET takes it and answers no payload. No words: it travels as
// it stands.
struct switch_name {
  char text[kSwitchNameMax + 1];  // with its NUL; zeros behind it
};
static_assert(sizeof(switch_name) == 256);

#endif
