// Who runs this program.
#ifndef VSANCTL_ASK_USER_NAME_H
#define VSANCTL_ASK_USER_NAME_H

#include <pwd.h>
#include <unistd.h>

#include <string>

// The user's name, or the number of one that has none.
inline std::string user_name() {
  const passwd *entry = getpwuid(getuid());
  return entry != nullptr ? entry->pw_name : std::to_string(getuid());
}

#endif
