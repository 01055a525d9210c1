#include "command_line/arguments.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>

const choices kOnOff = {{"on", 1}, {"off", 0}};

namespace {

bool is_number(const std::string &text, const number_limits &limits) {
  char *end = nullptr;
  errno = 0;
  const bool starts = !text.empty() && isdigit(static_cast<unsigned char>(text[0])) != 0;
  const unsigned long long value = starts ? strtoull(text.c_str(), &end, 0) : 0;
  return starts && *end == '\0' && errno == 0 && value >= limits.low && value <= limits.high;
}

std::string wanted(const number_limits &limits) {
  return "a whole number from " + std::to_string(limits.low) + " to " + std::to_string(limits.high) + " is wanted";
}

}  // namespace

CLI::Option *add_number(CLI::App &command, const std::string &name, uint32_t &value, const std::string &about,
                        number_limits limits) {
  CLI::Option *option = command.add_option(name, value, about);
  option->type_name("NUMBER");
  return option->check([limits](const std::string &text) {
    return is_number(text, limits) ? std::string() : "\"" + text + "\": " + wanted(limits);
  });
}

CLI::Option *add_vsan(CLI::App &command, uint32_t &value, const std::string &about) {
  return add_number(command, "vsan", value, about)->required()->type_name("VSAN");
}

std::string joined(const choices &words, const char *between) {
  std::string text;
  for (const auto &[word, number] : words) {
    text += (text.empty() ? "" : between) + word;
  }
  return text;
}

CLI::Option *add_choice(CLI::App &command, const std::string &name, uint32_t &value, const choices &words,
                        const std::string &about) {
  CLI::Option *option = command.add_option(name, value, about);
  option->type_name(joined(words));
  const auto take = [words](std::string &text) {
    const auto found = std::ranges::find(words, text, &choices::value_type::first);
    if (found == words.end()) {
      return "\"" + text + "\": " + joined(words, ", ") + " are the choices";
    }
    text = std::to_string(found->second);
    return std::string();
  };
  return option->transform(CLI::Validator(take, ""));
}

choices choices_of(const value_words &words) {
  return {{words.of_1, 1}, {words.of_2, 2}};
}

CLI::Option *add_text(CLI::App &command, const std::string &name, std::string &value, const std::string &typed,
                      const std::string &about) {
  return command.add_option(name, value, about)->type_name(typed);
}
