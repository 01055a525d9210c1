#include "arguments.h"

#include <algorithm>
#include <charconv>

#include "vsan_values.h"

const choices kOnOff = {{"on", 1}, {"off", 0}};

namespace {

// The number that the text is, decimal or after 0x hexadecimal, in decimal; empty when it is none within the limits.
std::string number_in(const std::string &text, const number_limits &limits) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const size_t start = hexadecimal ? 2 : 0;
  uint64_t value = 0;
  const char *end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + start, end, value, hexadecimal ? 16 : 10);
  const bool sound = read.ec == std::errc() && read.ptr == end && text.size() > start;
  return sound && value >= limits.low && value <= limits.high ? std::to_string(value) : "";
}

std::string wanted(const number_limits &limits) {
  return "a whole number from " + std::to_string(limits.low) + " to " + std::to_string(limits.high) + " is wanted";
}

}  // namespace

CLI::Option *add_number(CLI::App &command, const std::string &name, uint32_t &value, const std::string &about,
                        number_limits limits) {
  CLI::Option *option = command.add_option(name, value, about);
  option->type_name("NUMBER");
  const auto take = [limits](std::string &text) {
    const std::string number = number_in(text, limits);
    if (number.empty()) {
      return "\"" + text + "\": " + wanted(limits);
    }
    text = number;
    return std::string();
  };
  return option->transform(CLI::Validator(take, ""));
}

CLI::Option *add_vsan(CLI::App &command, const std::string &name, uint32_t &value, const std::string &about) {
  return add_number(command, name, value, about, {kVsanFirst, kVsanLast})->type_name("VSAN");
}

std::string joined(const std::vector<std::string> &words, const char *between) {
  std::string text;
  for (const std::string &each : words) {
    text += (text.empty() ? "" : between) + each;
  }
  return text;
}

namespace {

std::string not_among(const std::vector<std::string> &words, const std::string &word) {
  return "\"" + word + "\": " + joined(words) + " are the choices";
}

}  // namespace

CLI::Option *add_choice(CLI::App &command, const std::string &name, uint32_t &value, const choices &words,
                        const std::string &about) {
  std::vector<std::string> typed;
  for (const auto &[word, number] : words) {
    typed.push_back(word);
  }
  const auto take = [words, typed](std::string &text) {
    const auto found = std::ranges::find(words, text, &choices::value_type::first);
    if (found == words.end()) {
      return not_among(typed, text);
    }
    text = std::to_string(found->second);
    return std::string();
  };
  return command.add_option(name, value, about)->type_name(joined(typed, "|"))->transform(CLI::Validator(take, ""));
}

CLI::Option *add_word(CLI::App &command, const std::string &name, std::string &value,
                      const std::vector<std::string> &words, const std::string &about) {
  const auto check = [words](const std::string &word) {
    return std::ranges::find(words, word) != words.end() ? "" : not_among(words, word);
  };
  return add_text(command, name, value, joined(words, "|"), about)->check(check)->capture_default_str();
}

choices choices_of(const value_words &words) {
  return {{words.of_1, 1}, {words.of_2, 2}};
}

CLI::Option *add_text(CLI::App &command, const std::string &name, std::string &value, const std::string &typed,
                      const std::string &about) {
  return command.add_option(name, value, about)->type_name(typed);
}
