#include "ask/no_switch.h"

#include <errno.h>
#include <grp.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "ask/user_name.h"
#include "output/failure.h"
#include "switchplatform/run_dir.h"

namespace {

// The group whose members may use the switch: that of its files.
std::string group_of(const std::string &path) {
  struct stat found = {};
  if (stat(path.c_str(), &found) != 0) {
    return "";
  }
  const group *entry = getgrgid(found.st_gid);
  return entry != nullptr ? entry->gr_name : std::to_string(found.st_gid);
}

// The first folder on the way to the run directory that this user may not enter; empty when there is none.
std::string closed_folder() {
  const std::string run_dir = platform_run_dir();
  for (size_t end = run_dir.find('/', 1);; end = run_dir.find('/', end + 1)) {
    std::string folder = run_dir.substr(0, end);
    if (access(folder.c_str(), X_OK) != 0) {
      return folder;
    }
    if (end == std::string::npos) {
      return "";
    }
  }
}

std::string who_may() {
  const std::string user = user_name();
  const std::string closed = closed_folder();
  if (!closed.empty()) {
    return "; user " + user + " may not enter " + closed;
  }
  const std::string group = group_of(std::string(platform_run_dir()) + "/control.sock");
  if (group == "root") {
    return "; only root may use it, as it was started: \"switchd --group GROUP\" lets a group in";
  }
  return "; only root and members of group " + group + " may use it: \"adduser " + user + " " + group +
         "\", then a new login";
}

}  // namespace

std::string remedy_of(int why) {
  switch (why) {
    case ENOENT:
    case ECONNREFUSED:
      return "; is it running? \"systemctl start switchd\" starts it; --run-dir or SWITCHD_RUN_DIR name another one's "
             "directory";
    case EACCES:
    case EPERM:
      return who_may();
    case ETIMEDOUT:
      return "; it runs and does not answer: \"vsanctl fault list\" shows faults that were switched on";
    default:
      return "";
  }
}

void fail_no_switch(int why) {
  fail(kExitNoSwitch,
       std::string("no answer from switchd in ") + platform_run_dir() + ": " + strerror(why) + remedy_of(why));
}
