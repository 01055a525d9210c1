// vsanctl history and vsanctl debug: the event history and its level switches, in the shared page.
#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "ask/object_name.h"
#include "ask/page_choice.h"
#include "commands.h"
#include "output/failure.h"
#include "output/time_text.h"
#include "show/explain.h"
#include "show/history_filter.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr useconds_t kFollowEvery = 100000;  // microseconds

struct history_options {
  history_filter filter;
  uint32_t last = UINT32_MAX;
  bool follow = false;
  bool explain = false;
  bool json = false;
};

void print_json(const platform_event &event, const std::string &user, const std::string &text) {
  using nlohmann::ordered_json;
  const ordered_json line{{"number", event.number},
                          {"time", time_text(event.seconds, event.nanoseconds)},
                          {"pid", event.pid},
                          {"module", event.module_id},
                          {"level", event.level},
                          {"user", user},
                          {"text", text}};
  printf("%s\n", line.dump(-1, ' ', false, ordered_json::error_handler_t::replace).c_str());
}

// A terminal must not obey what somebody put into a name.
std::string one_line(std::string text) {
  text.erase(text.find_last_not_of("\n ") + 1);
  std::ranges::replace_if(
      text, [](unsigned char each) { return each < 0x20 || each == 0x7F; }, '?');
  return text;
}

// One line an event, also as JSON, so that a reader can follow. `words` are what is told of it.
void print_event(const platform_event &event, const std::string &user, const std::string &words,
                 const history_options &options) {
  if (options.json) {
    print_json(event, user, words);
    return;
  }
  const std::string time = time_text(event.seconds, event.nanoseconds);
  if (options.explain) {
    printf("%s %s: %s\n", time.c_str(), user.empty() ? "-" : one_line(user).c_str(), one_line(words).c_str());
  } else {
    printf("%s %u 0x%x %u %s\n", time.c_str(), event.pid, event.module_id, event.level, one_line(words).c_str());
  }
}

struct kept_event {
  platform_event event;
  std::string user;
  std::string words;
};

// What was read and is to be printed when all has been read: with filters the last N are of those that are shown.
using kept_events = std::deque<kept_event>;

void keep(kept_events &kept, kept_event event, uint32_t last) {
  kept.push_back(std::move(event));
  if (kept.size() > last) {
    kept.pop_front();
  }
}

void print_kept(kept_events &kept, const history_options &options) {
  for (const kept_event &each : kept) {
    print_event(each.event, each.user, each.words, options);
  }
  kept.clear();
}

void tell_lost(uint32_t now, uint32_t &told) {
  if (now != told) {
    warn(std::to_string(now - told) + " events were lost");
    told = now;
  }
}

// Waits for more. Who does not read any more is no error, a full disk is.
void wait_for_events() {
  if (fflush(stdout) != 0 && errno == EPIPE) {
    exit(kExitOk);
  }
  check_output();
  usleep(kFollowEvery);
}

void show_history(const history_options &options) {
  platform_event_reader reader = {};
  if (platform_events_open(&reader, UINT32_MAX) != 0) {
    fail_no_page(errno);
  }
  history_users users;
  kept_events kept;
  uint32_t lost = 0;
  bool caught_up = false;
  while (true) {
    platform_event event = {};
    const int got = platform_events_next(&reader, &event);
    if (got < 0) {
      fail_no_page(errno);
    }
    tell_lost(reader.lost, lost);
    if (got == 1) {
      const std::string words = options.explain ? explained(event.text) : event.text;
      // In words, what says nothing to an operator has none.
      if (history_shows(options.filter, users, event, words) && (!options.explain || !words.empty())) {
        const std::string &user = users.of_process[event.pid];
        caught_up ? print_event(event, user, words, options) : keep(kept, {event, user, words}, options.last);
      }
      continue;
    }
    print_kept(kept, options);
    caught_up = true;
    if (!options.follow) {
      return;
    }
    wait_for_events();
  }
}

std::string level_problem(const std::string &text) {
  const bool number = !text.empty() && text.size() <= 3 && text.find_first_not_of("0123456789") == std::string::npos;
  return number && std::stoi(text) <= kLevelMax ? "" : "\"" + text + "\": a level from 0 to 255 is wanted";
}

void switch_levels(const std::vector<int> &levels, bool record, bool on) {
  for (const int level : levels) {
    if (platform_level_set(record ? kLevelRecorded : kLevelPrinted, level, on ? 1 : 0) != 0) {
      fail_no_page(errno);
    }
  }
}

}  // namespace

void add_history_commands(CLI::App &app, const common_options &common) {
  static history_options options;
  history_filter &filter = options.filter;
  CLI::App *history = app.add_subcommand("history", "the event history, oldest first");
  add_number(*history, "-n,--last", options.last, "only the last N events of those that are shown");
  history->add_flag("-f,--follow", options.follow, "go on with new events");
  add_text(*history, "--user", filter.user, "USER", "only events of this SNMP user's requests");
  add_vsan(*history, "--vsan", filter.vsan, "only events that name this VSAN");
  add_object(*history, filter.object, "only events that name this object, such as vsanName");
  add_text(*history, "--text", filter.text, "TEXT", "only events with this in their text");
  history->add_option("--level", filter.levels, "only events of these levels")
      ->type_name("LEVEL")
      ->check(level_problem);
  add_page(*history);
  history->add_flag("--explain", options.explain, "in words; what says nothing to an operator is left out");
  history->callback([&common] {
    options.json = common.json;
    show_history(options);
  });
}

void add_debug_commands(CLI::App &app) {
  static std::vector<int> levels{100, 101};
  static bool record = false;
  CLI::App *debug = app.add_subcommand("debug", "switch debug printing, live")->require_subcommand(1);
  for (const bool on : {true, false}) {
    CLI::App *command = debug->add_subcommand(on ? "on" : "off", on ? "print debug lines" : "stop printing them");
    command->add_option("--level", levels, "only these levels, 0 to 255 (100 and 101 when none is given)")
        ->type_name("LEVEL")
        ->check(level_problem);
    add_page(*command);
    command->add_flag("--record", record, "switch recording in the event history, not printing");
    command->callback([on] { switch_levels(levels, record, on); });
  }
}
