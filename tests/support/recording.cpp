#include "recording.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace recording {
namespace {

constexpr size_t kLeastRun = 8;
constexpr char kDigits[] = "0123456789abcdef";

size_t zeros_at(const uint8_t *octets, size_t size) {
  return static_cast<size_t>(std::find_if(octets, octets + size, [](uint8_t each) { return each != 0; }) - octets);
}

std::vector<std::string> all_lines_of(const std::string &file) {
  std::vector<std::string> lines;
  std::ifstream in(file);
  EXPECT_TRUE(in.good() || getenv("RECORD") != nullptr) << file;
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

bool is_comment(const std::string &line) {
  return line.starts_with('#');
}

void write(const std::string &file, const std::vector<std::string> &comments, const std::vector<std::string> &lines) {
  std::ofstream out(file);
  for (const auto *part : {&comments, &lines}) {
    for (const std::string &line : *part) {
      out << line << '\n';
    }
  }
  EXPECT_TRUE(out.good()) << file;
}

bool take_word(const std::string &word, std::vector<uint8_t> &to) {
  constexpr std::string_view kRun = "00*";
  if (word.starts_with(kRun)) {
    size_t count = 0;
    const char *end = word.data() + word.size();
    const auto read = std::from_chars(word.data() + kRun.size(), end, count);
    to.resize(to.size() + count);
    return read.ec == std::errc() && read.ptr == end;
  }
  for (size_t i = 0; i + 1 < word.size(); i += 2) {
    uint8_t octet = 0;
    const char *end = word.data() + i + 2;
    if (std::from_chars(word.data() + i, end, octet, 16).ptr != end) {
      return false;
    }
    to.push_back(octet);
  }
  return word.size() % 2 == 0;
}

}  // namespace

std::string hex(const uint8_t *octets, size_t size) {
  std::string text;
  for (size_t at = 0; at < size;) {
    const size_t zeros = zeros_at(octets + at, size - at);
    if (zeros >= kLeastRun) {
      text += (text.empty() || text.back() == ' ' ? "00*" : " 00*") + std::to_string(zeros) + " ";
      at += zeros;
      continue;
    }
    text += {kDigits[octets[at] >> 4], kDigits[octets[at] & 0xF]};
    ++at;
  }
  if (text.ends_with(' ')) {
    text.pop_back();
  }
  return text.empty() ? "-" : text;
}

std::vector<uint8_t> octets(std::string_view hex) {
  std::vector<uint8_t> found;
  std::istringstream words{std::string(hex == "-" ? "" : hex)};
  for (std::string word; words >> word;) {
    EXPECT_TRUE(take_word(word, found)) << "\"" << word << "\" is no octets";
  }
  return found;
}

std::vector<std::string> lines_of(const std::string &file) {
  std::vector<std::string> lines = all_lines_of(file);
  std::erase_if(lines, is_comment);
  return lines;
}

void expect(const std::string &file, const std::vector<std::string> &lines) {
  std::vector<std::string> comments = all_lines_of(file);
  std::erase_if(comments, [](const std::string &line) { return !is_comment(line); });
  if (getenv("RECORD") != nullptr) {
    return write(file, comments, lines);
  }
  const std::vector<std::string> golden = lines_of(file);
  const auto [wanted, got] = std::mismatch(golden.begin(), golden.end(), lines.begin(), lines.end());
  if (wanted == golden.end() && got == lines.end()) {
    return;
  }
  const std::string actual = testing::TempDir() + std::filesystem::path(file).filename().string() + ".actual";
  write(actual, comments, lines);
  ADD_FAILURE() << file << ": line " << wanted - golden.begin() + 1 << " behind the comments\n  is     "
                << (wanted == golden.end() ? "missing" : *wanted) << "\n  but is "
                << (got == lines.end() ? "missing" : *got) << "\n  in " << actual
                << ", which holds all that was recorded";
}

}  // namespace recording
