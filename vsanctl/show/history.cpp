// vsanctl history and vsanctl debug: the event history and its level switches, in the shared page.
#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "ask/no_switch.h"
#include "command_line/arguments.h"
#include "commands.h"
#include "output/failure.h"
#include "output/time_text.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

constexpr useconds_t kFollowEvery = 100000;  // microseconds

// One line an event, also as JSON, so that a reader can follow.
void print_event(const platform_event &event, bool json) {
  std::string text = event.text;
  if (json) {
    const nlohmann::ordered_json line{{"number", event.number}, {"time", time_text(event.seconds, event.nanoseconds)},
                                      {"pid", event.pid},       {"module", event.module_id},
                                      {"level", event.level},   {"text", text}};
    printf("%s\n", line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    return;
  }
  text.erase(text.find_last_not_of("\n ") + 1);
  for (char &each : text) {
    each = static_cast<unsigned char>(each) < 0x20 || each == 0x7F ? '?' : each;
  }
  printf("%s %u 0x%x %u %s\n", time_text(event.seconds, event.nanoseconds).c_str(), event.pid, event.module_id,
         event.level, text.c_str());
}

void show_history(uint32_t last, bool follow, bool json) {
  platform_event_reader reader = {};
  if (platform_events_open(&reader, last) != 0) {
    fail_no_page(errno);
  }
  uint32_t lost = 0;
  while (true) {
    platform_event event = {};
    const int got = platform_events_next(&reader, &event);
    if (got < 0) {
      fail_no_page(errno);
    }
    if (reader.lost != lost) {
      fprintf(stderr, "vsanctl: %u events were lost\n", reader.lost - lost);
      lost = reader.lost;
    }
    if (got == 1) {
      print_event(event, json);
    } else if (!follow) {
      return;
    } else {
      if (fflush(stdout) != 0) {
        exit(kExitOk);  // the reader went away
      }
      usleep(kFollowEvery);
    }
  }
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
  static uint32_t last = UINT32_MAX;
  static bool follow = false;
  CLI::App *history = app.add_subcommand("history", "the event history, oldest first");
  history->add_option("-n,--last", last, "only the last N events");
  history->add_flag("-f,--follow", follow, "go on with new events");
  history->callback([&common] { show_history(last, follow, common.json); });
}

void add_debug_commands(CLI::App &app) {
  static std::vector<int> levels{100, 101};
  static bool record = false;
  CLI::App *debug = app.add_subcommand("debug", "switch debug printing, live")->require_subcommand(1);
  for (const bool on : {true, false}) {
    CLI::App *command = debug->add_subcommand(on ? "on" : "off", on ? "print debug lines" : "stop printing them");
    command->add_option("--level", levels, "only these levels, 0 to 255 (100 and 101 when none is given)")
        ->check(CLI::Range(0, static_cast<int>(kLevelMax)));
    command->add_flag("--record", record, "switch recording in the event history, not printing");
    command->callback([on] { switch_levels(levels, record, on); });
  }
}
