// Requests to switchd itself, whose payloads are JSON.
#ifndef VSANCTL_ASK_CONTROL_H
#define VSANCTL_ASK_CONTROL_H

#include <nlohmann/json.hpp>

// Sends `object`, null for nothing, to the control service and returns its answer. Ends the program when it is refused;
// `what` names the request in that text. `wait` is that of a question.
nlohmann::json ask_control(const char *what, int opcode, int msg_type, const nlohmann::json &object = nullptr,
                           int wait = 0);

// The same for a request that is answered with a status only.
void tell_control(const char *what, int opcode, int msg_type, const nlohmann::json &object = nullptr);

#endif
