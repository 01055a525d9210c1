#include "ask/object_name.h"

#include <algorithm>
#include <iterator>

#include "arguments.h"

namespace {

std::string object_problem(const std::string &name) {
  if (std::ranges::find(kMibNames, name, &mib_name::name) != std::end(kMibNames)) {
    return "";
  }
  std::vector<std::string> names;
  for (const mib_name &each : kMibNames) {
    names.emplace_back(each.name);
  }
  return "\"" + name + "\": there is no object of this name; there are " + joined(names);
}

}  // namespace

CLI::Option *add_object(CLI::App &command, std::string &name, const std::string &about) {
  return add_text(command, "--object", name, "OBJECT", about)->check(object_problem);
}

const mib_name &object_named(const std::string &name) {
  return *std::ranges::find(kMibNames, name, &mib_name::name);
}
