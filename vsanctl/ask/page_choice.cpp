#include "ask/page_choice.h"

#include <errno.h>
#include <string.h>

#include "arguments.h"
#include "ask/no_switch.h"
#include "output/failure.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

std::string named;  // by --page; empty: none

void name_page(const std::string &file) {
  named = file;
  if (file.empty() || platform_page_at(file.c_str()) != 0) {
    fail(kExitUsage, "--page \"" + file + "\": " + (file.empty() ? "a file is wanted" : strerror(errno)));
  }
}

std::string flaw_of(int why) {
  switch (why) {
    case EPROTO:
      return "it is no page of this version";
    case ELOOP:
      return "it is a symbolic link, which is not followed";
    default:
      return strerror(why);
  }
}

}  // namespace

void add_page(CLI::App &command) {
  command.add_option_function<std::string>("--page", name_page, "the page that an agent keeps for itself in FILE")
      ->type_name("FILE");
}

void fail_no_page(int why) {
  const std::string file = named.empty() ? std::string(platform_run_dir()) + "/switch.page" : named;
  if (why == EILSEQ) {
    fail(kExitNoSwitch, file + " was made on a host of the other byte order: use vsanctl of that host");
  }
  if (!named.empty()) {
    fail(kExitNoSwitch, named + ": " + flaw_of(why));
  }
  fail(kExitNoSwitch, std::string("no shared page in ") + platform_run_dir() + ": " + strerror(why) + remedy_of(why));
}
