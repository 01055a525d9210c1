// vsanctl timer …
#include <algorithm>

#include "arguments.h"
#include "ask/question.h"
#include "commands.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

struct timer_options {
  uint32_t key = 0;
  uint32_t value = 0;
  uint32_t vsan = 0;
  bool force = false;
};

// What one timer or another may be; the manager knows which.
number_limits any_timer() {
  return {std::ranges::min(kTimerRanges, {}, &timer_range::low).low,
          std::ranges::max(kTimerRanges, {}, &timer_range::high).high};
}

void set_timer(const CLI::App &command, const timer_options &options) {
  const bool of_vsan = command.count("--vsan") > 0;
  const vsanFcTimerEntry timer = {
      .timer_type = options.key,
      .timer_value = options.value,
      .flag = of_vsan ? uint8_t{1} : uint8_t{0},
      .force = options.force ? uint8_t{1} : uint8_t{0},
      .vsan_id = options.vsan,
      .reserved = 0,
  };
  const timer_range &range = range_of_timer(options.key);
  ask_or_fail(std::string(range.name) + " was not set (it can be " + std::to_string(range.low) + " to " +
                  std::to_string(range.high) + " ms)",
              {kServiceVsanManager, kOpFcTimer, kMsgSet, record_bytes(timer), 0},
              {{"value", std::to_string(options.value)}, {"vsan", std::to_string(options.vsan)}});
}

}  // namespace

void add_timer_commands(CLI::App &app) {
  static timer_options options;
  choices words;
  for (uint32_t i = 0; i < kTimerKinds; ++i) {
    words.emplace_back(kTimerRanges[i].word, kTimerFirst + i);
  }
  CLI::App *timer = app.add_subcommand("timer", "set a timer")->require_subcommand(1);
  CLI::App *set = timer->add_subcommand("set", "set a timer of the switch, or of one VSAN");
  add_choice(*set, "timer", options.key, words, "which timer")->required();
  add_number(*set, "value", options.value, "milliseconds", any_timer())->required();
  add_vsan(*set, "--vsan", options.vsan, "of this VSAN only");
  set->add_flag("--force", options.force, "although the VSAN is operational");
  set->callback([set] { set_timer(*set, options); });
}
