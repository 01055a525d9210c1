// Arguments of the programs: taken as people type them, refused with the word that was wrong and what it may be.
#ifndef OPERATOR_INPUT_ARGUMENTS_H
#define OPERATOR_INPUT_ARGUMENTS_H

#include <stdint.h>

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "value_words.h"

// A whole number, decimal or hexadecimal, within `low` and `high`.
struct number_limits {
  uint32_t low = 0;
  uint32_t high = UINT32_MAX;
};
CLI::Option *add_number(CLI::App &command, const std::string &name, uint32_t &value, const std::string &about,
                        number_limits limits = {});

// The VSAN that a command is about.
CLI::Option *add_vsan(CLI::App &command, const std::string &name, uint32_t &value,
                      const std::string &about = "the VSAN, 1 to 4094");

// One of some words, each of which stands for a number.
using choices = std::vector<std::pair<std::string, uint32_t>>;
CLI::Option *add_choice(CLI::App &command, const std::string &name, uint32_t &value, const choices &words,
                        const std::string &about);
choices choices_of(const value_words &words);

// The words "on" and "off", as 1 and 0.
extern const choices kOnOff;

// One of some words, kept as it is.
CLI::Option *add_word(CLI::App &command, const std::string &name, std::string &value,
                      const std::vector<std::string> &words, const std::string &about);

// The words with something between them: "a, b, c".
std::string joined(const std::vector<std::string> &words, const char *between = ", ");

// A text as it is; `typed` is what stands for it in the help.
CLI::Option *add_text(CLI::App &command, const std::string &name, std::string &value, const std::string &typed,
                      const std::string &about);

#endif
