#include "page_report.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "page_telling.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr unsigned int kLookEvery = 1;  // seconds

unsigned int alarm_number;
std::string own_file;
std::string told;  // what the log was told last; empty: that the page is shared, or nothing yet

struct page_reason {
  int why;
  const char *text;
};
constexpr page_reason kReasons[] = {
    {ENOENT, "there is none"},
    {EILSEQ, "it was made on a host of the other byte order"},
    {EPROTO, "it is of another version"},
    {ELOOP, "it is a symbolic link, which is not followed"},
};
constexpr page_reason kReasonsOfOwn[] = {
    {EEXIST, "a file is there that is no page, and is left as it is"},
    {EINVAL, "this is where switchd makes its own"},
    {ELOOP, "it is a symbolic link, which is not followed"},
};

template <size_t count>
const char *text_of(const page_reason (&reasons)[count], int why) {
  for (const page_reason &each : reasons) {
    if (each.why == why) {
      return each.text;
    }
  }
  return strerror(why);
}

// What the log is told; empty when the page is shared.
std::string text_of(const platform_page_report &found) {
  if (found.shared != 0) {
    return platform_page_is_of_another() == 0
               ? ""
               : std::string("the page in ") + platform_run_dir() +
                     " is another process's than the one that answers; events and errors are kept there; the "
                     "distribution state is asked of switchd";
  }
  std::string text = std::string("the page of switchd in ") + platform_run_dir() +
                     " cannot be used: " + text_of(kReasons, found.why) + "; events and errors are ";
  if (found.own != 0) {
    text += "kept in " + own_file;
  } else {
    text += "not kept: " + own_file + ": " + text_of(kReasonsOfOwn, found.why_no_own);
  }
  return text + "; the distribution state is asked of switchd";
}

void tell(const platform_page_report &found, const std::string &text) {
  if (text.empty()) {
    snmp_log(LOG_INFO, "switch_agent: the page of switchd in %s is shared again\n", platform_run_dir());
    return page_telling_take_back();
  }
  snmp_log(LOG_WARNING, "switch_agent: %s\n", text.c_str());
  if (found.shared != 0) {
    return page_telling_say((std::string(platform_run_dir()) + "/switch.page").c_str(),
                            "it is another process's than the one that answers");
  }
  page_telling_say(found.own != 0 ? own_file.c_str() : "", text_of(kReasons, found.why));
}

void look(unsigned int, void *) {
  alarm_number = snmp_alarm_register(kLookEvery, 0, look, nullptr);
  if (platform_page_fall_back(own_file.c_str()) != 0) {
    platform_page_fall_back("");
  }
  platform_page_report found;
  platform_page_tell(&found);
  std::string text = text_of(found);
  if (text != told) {
    tell(found, text);
    told = std::move(text);
  }
  page_telling_turn();
}

}  // namespace

void page_report_start(const char *own_page) {
  own_file = own_page;
  if (alarm_number == 0) {
    alarm_number = snmp_alarm_register(0, 0, look, nullptr);
  }
}

void page_report_stop() {
  if (alarm_number != 0) {
    snmp_alarm_unregister(alarm_number);
  }
  alarm_number = 0;
  page_telling_stop();
}
