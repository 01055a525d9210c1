// The agent's configuration files, and those that they include.
//
// The agent leaves out a file that it may not read without a word, as after it gave up its privileges.
#ifndef PLATFORM_AGENT_EXTENSION_CONFIG_FILES_H
#define PLATFORM_AGENT_EXTENSION_CONFIG_FILES_H

#include <string>
#include <vector>

// The files that the agent's option -c gave, in order; a '-' in front of the list, which is about the order, left out.
std::vector<std::string> config_files_named();

// Whether the agent may read all its configuration files: those that -c gave, those of its search path for the program
// type `type` ("snmpd"), unless it does not read these (-C), and all that these include. One that is not there counts
// as readable: what the agent says about it is its own affair. Each file that may not be read is logged by its name.
bool config_files_readable(const char *type);

#endif
