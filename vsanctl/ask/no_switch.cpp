#include "ask/no_switch.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "output/failure.h"
#include "switchplatform/run_dir.h"

namespace {

std::string user_name() {
  const passwd *entry = getpwuid(getuid());
  return entry != nullptr ? entry->pw_name : std::to_string(getuid());
}

// The group whose members may use the switch: that of its files.
std::string group_of(const std::string &path) {
  struct stat found = {};
  if (stat(path.c_str(), &found) != 0) {
    return "the one of " + path;
  }
  const group *entry = getgrgid(found.st_gid);
  return entry != nullptr ? entry->gr_name : std::to_string(found.st_gid);
}

// What to do about an `errno`; empty when nothing is known to help.
std::string remedy(int why) {
  const std::string group = group_of(std::string(platform_run_dir()) + "/control.sock");
  switch (why) {
    case ENOENT:
    case ECONNREFUSED:
      return "; is it running? \"systemctl start switchd\" starts it; --run-dir or SWITCHD_RUN_DIR name another one's "
             "directory";
    case EACCES:
    case EPERM:
      if (group == "root") {
        return "; only root may use it, as it was started: \"switchd --group GROUP\" lets a group in";
      }
      return "; only root and members of group " + group + " may use it: \"adduser " + user_name() + " " + group +
             "\", then a new login";
    case ETIMEDOUT:
      return "; it runs and does not answer: \"vsanctl fault list\" shows faults that were switched on";
    default:
      return "";
  }
}

}  // namespace

void fail_no_switch(int why) {
  fail(kExitNoSwitch,
       std::string("no answer from switchd in ") + platform_run_dir() + ": " + strerror(why) + remedy(why));
}

void fail_no_page(int why) {
  fail(kExitNoSwitch, std::string("no shared page in ") + platform_run_dir() + ": " + strerror(why) + remedy(why));
}
