// No answer: what may be done about it.
#ifndef VSANCTL_ASK_NO_SWITCH_H
#define VSANCTL_ASK_NO_SWITCH_H

// Ends the program because switchd cannot be reached, or did not answer. `why` is the `errno` of the attempt.
[[noreturn]] void fail_no_switch(int why);

// The same for the page that switchd shares with its agents.
[[noreturn]] void fail_no_page(int why);

#endif
