// Events in an operator's words.
#ifndef VSANCTL_SHOW_EXPLAIN_H
#define VSANCTL_SHOW_EXPLAIN_H

#include <string>

// What the text of an event says, such as "asks for VSAN 20"; empty for events that say nothing to an operator, such as
// the names of procedures that are passed.
std::string explained(const std::string &text);

#endif
