// The configuration line "switchInterfacesContext NAME": the agent context of the switch's interfaces.
#ifndef PLATFORM_AGENT_EXTENSION_INTERFACES_CONTEXT_H
#define PLATFORM_AGENT_EXTENSION_INTERFACES_CONTEXT_H

// Reads one line, `line` being what follows `token`. A name that no context can have is complained about and leaves
// what was said before. Reading a line twice changes nothing.
void interfaces_context_read(const char *token, char *line);

// Forgets what was read.
void interfaces_context_forget();

#endif
