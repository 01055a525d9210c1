#include "faults/scenario_file.h"

#include "ask/text_file.h"
#include "toml_library.h"

#include <algorithm>
#include <iterator>

namespace {

// What a step may do.
constexpr std::string_view kCommands[] = {"show",  "vsan", "interface", "timer", "switch", "export",  "import",
                                          "reset", "kdx",  "history",   "debug", "fault",  "topology"};

constexpr size_t kEventsMax = 100000;
constexpr double kSecondsMax = 7 * 86400;

struct scenario_reader {
  std::string file;
  std::string problems;
  std::vector<scenario_event> events;
  size_t changes = 0;
};

struct step {
  double at = 0;
  double lasts = 0;  // 0: for good
  double every = 0;
  int64_t times = 1;
  std::vector<std::string> words;
  std::vector<std::string> undo;
};

void complain(scenario_reader &reader, const toml::node &where, const std::string &what) {
  reader.problems += (reader.problems.empty() ? "" : "\n") + reader.file + ":" +
                     std::to_string(where.source().begin.line) + ": " + what;
}

std::string take_seconds(const toml::node &node, double &seconds) {
  const auto value = node.value<double>();
  if (!value || !(*value >= 0 && *value <= kSecondsMax)) {
    return "seconds from 0 to " + std::to_string(static_cast<int>(kSecondsMax)) + " are wanted";
  }
  seconds = *value;
  return "";
}

// A command as it is typed, without quotes, or a list of its words.
std::string take_words(const toml::node &node, std::vector<std::string> &words) {
  if (const auto line = node.value_exact<std::string>()) {
    std::istringstream parts(*line);
    words.assign(std::istream_iterator<std::string>(parts), {});
  } else if (const toml::array *list = node.as_array()) {
    for (const toml::node &each : *list) {
      const auto word = each.value_exact<std::string>();
      if (!word) {
        words.clear();
        break;
      }
      words.push_back(*word);
    }
  }
  return words.empty() ? "a command of vsanctl is wanted, such as \"interface down fc1/1\"" : "";
}

std::string take_times(const toml::node &node, int64_t &times) {
  times = node.value_exact<int64_t>().value_or(0);
  return times >= 1 && times <= int64_t{kEventsMax}
             ? ""
             : "a whole number from 1 to " + std::to_string(kEventsMax) + " is wanted";
}

struct step_key {
  std::string_view name;
  std::string (*take)(const toml::node &node, step &taken);
};
constexpr step_key kStepKeys[] = {
    {"at", [](const toml::node &node, step &s) { return take_seconds(node, s.at); }},
    {"do", [](const toml::node &node, step &s) { return take_words(node, s.words); }},
    {"for", [](const toml::node &node, step &s) { return take_seconds(node, s.lasts); }},
    {"undo", [](const toml::node &node, step &s) { return take_words(node, s.undo); }},
    {"times", [](const toml::node &node, step &s) { return take_times(node, s.times); }},
    {"every", [](const toml::node &node, step &s) { return take_seconds(node, s.every); }},
};

bool is_fault(const step &taken) {
  return taken.words[0] == "fault";
}

bool goes_on(const std::vector<std::string> &words) {
  return !words.empty() && words[0] == "history" && std::ranges::any_of(words, [](const std::string &word) {
    const bool is_short = word.size() > 1 && word[0] == '-' && word[1] != '-';
    return word.starts_with("--follow") || (is_short && word.find('f') != std::string::npos);
  });
}

// What is wrong with the step as a whole; empty when nothing is.
std::string step_problem(const step &taken) {
  if (taken.words.empty()) {
    return "do is missing";
  }
  if (taken.words[0] == "scenario") {
    return "do: a scenario cannot play another one";
  }
  for (const std::vector<std::string> *words : {&taken.words, &taken.undo}) {
    if (!words->empty() && std::ranges::find(kCommands, words->front()) == std::end(kCommands)) {
      return "\"" + words->front() + "\" is no command of vsanctl";
    }
  }
  if (goes_on(taken.words) || goes_on(taken.undo)) {
    return "history --follow does not end, and the scenario would not go on";
  }
  if (taken.lasts > 0 && is_fault(taken) && std::ranges::find(taken.words, "--for") != taken.words.end()) {
    return "for: it is there in do, too";
  }
  if (taken.lasts > 0 && !is_fault(taken) && taken.undo.empty()) {
    return "for: undo is missing, the command that takes \"" + taken.words[0] + " ...\" back";
  }
  if (taken.lasts > 0 && is_fault(taken) && taken.lasts != static_cast<double>(static_cast<int64_t>(taken.lasts))) {
    return "for: a fault lasts whole seconds";
  }
  return taken.times > 1 && taken.every == 0 ? "every is missing" : "";
}

void add_events(scenario_reader &reader, step taken) {
  if (taken.lasts > 0 && is_fault(taken)) {
    taken.words.insert(taken.words.end(), {"--for", std::to_string(static_cast<int64_t>(taken.lasts))});
  }
  for (int64_t i = 0; i < taken.times; ++i) {
    const double at = taken.at + static_cast<double>(i) * taken.every;
    const size_t change = reader.changes++;
    reader.events.push_back({at, taken.words, change, false});
    if (!taken.undo.empty()) {
      reader.events.push_back({at + taken.lasts, taken.undo, change, true});
    }
  }
}

void read_step(scenario_reader &reader, const toml::table &table) {
  step taken;
  const size_t before = reader.problems.size();
  for (const auto &[key, node] : table) {
    const auto row = std::ranges::find(kStepKeys, key.str(), &step_key::name);
    const std::string problem = row == std::end(kStepKeys) ? "unknown key" : row->take(node, taken);
    if (!problem.empty()) {
      complain(reader, node, std::string(key.str()) + ": " + problem);
    }
  }
  if (reader.problems.size() != before) {
    return;
  }
  const std::string problem = step_problem(taken);
  if (!problem.empty()) {
    complain(reader, table, problem);
  } else if (reader.events.size() + 2 * static_cast<size_t>(taken.times) > kEventsMax) {
    complain(reader, table, "more than " + std::to_string(kEventsMax) + " commands");
  } else {
    add_events(reader, std::move(taken));
  }
}

void read_steps(scenario_reader &reader, const toml::table &root) {
  for (const auto &[key, node] : root) {
    if (key.str() != "step" || !node.is_array_of_tables()) {
      complain(reader, node, std::string(key.str()) + ": only [[step]] tables are wanted");
      continue;
    }
    for (const toml::node &each : *node.as_array()) {
      read_step(reader, *each.as_table());
    }
  }
}

}  // namespace

int read_scenario(const std::string &file, std::vector<scenario_event> &events, std::string &problems) {
  scenario_reader reader{file, "", {}};
  std::string text;
  if (read_text_file(file, text, problems) != 0) {
    return -1;
  }
  const toml::parse_result parsed = toml::parse(text, file);
  if (parsed) {
    read_steps(reader, parsed.table());
    if (parsed.table().empty()) {
      reader.problems = file + ": there is no [[step]] in it";
    }
  } else {
    const auto line = parsed.error().source().begin.line;
    reader.problems =
        file + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + std::string(parsed.error().description());
  }
  problems = reader.problems;
  events = std::move(reader.events);
  std::ranges::stable_sort(events, {}, &scenario_event::at);
  return problems.empty() ? 0 : -1;
}
