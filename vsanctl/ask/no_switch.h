// No answer: what may be done about it.
#ifndef VSANCTL_ASK_NO_SWITCH_H
#define VSANCTL_ASK_NO_SWITCH_H

#include <string>

// What to do about an `errno` of an attempt to reach switchd, to be put behind its text; empty when nothing is known to
// help.
std::string remedy_of(int why);

// Ends the program because switchd cannot be reached, or did not answer. `why` is the `errno` of the attempt.
[[noreturn]] void fail_no_switch(int why);

#endif
