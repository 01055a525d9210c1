// Objects of the MIB as people name them.
#ifndef VSANCTL_ASK_OBJECT_NAME_H
#define VSANCTL_ASK_OBJECT_NAME_H

#include <CLI/CLI.hpp>
#include <string>

#include "mib_names.h"

// An option --object. A name that no object has is refused with those that there are.
CLI::Option *add_object(CLI::App &command, std::string &name, const std::string &about);

// The object of that name, which there must be.
const mib_name &object_named(const std::string &name);

#endif
