// Which events of the history are shown.
#ifndef VSANCTL_SHOW_HISTORY_FILTER_H
#define VSANCTL_SHOW_HISTORY_FILTER_H

#include <stdint.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "switchplatform/shared_page.h"

// What is asked for; an event must satisfy all of it.
struct history_filter {
  std::string user;              // empty: any
  std::string object;            // of the MIB, such as vsanName; empty: any
  std::string text;              // part of what is shown of the event; empty: any
  uint32_t vsan = 0;             // 0: any
  std::vector<uint32_t> levels;  // empty: any
};

// Who the events of a process belong to, as far as the marks that were read so far tell.
struct history_users {
  std::map<uint32_t, std::string> of_process;
};

// Takes notice of the event, and tells whether it is to be shown, with the text `shown`. Marks are shown when
// the user is.
bool history_shows(const history_filter &filter, history_users &users, const platform_event &event,
                   const std::string &shown);

// The users whom the history names; none when there is no history.
std::set<std::string> users_in_history();

#endif
