// What is written about vsanfleet is what it does: its man pages, the guide, the example.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "child_process.h"
#include "fleet_description.h"

namespace {

std::string text_of(const std::string &file) {
  std::ifstream in(SOURCE "/" + file);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::set<std::string> found_in(const std::string &text, const char *pattern) {
  std::set<std::string> found;
  const std::regex expression(pattern);
  for (std::sregex_iterator at(text.begin(), text.end(), expression); at != std::sregex_iterator(); ++at) {
    found.insert((*at)[1]);
  }
  return found;
}

TEST(FleetDocuments, TheManPageHasEveryCommandAndOption) {
  const std::string page = text_of("docs/man/vsanfleet.1");
  const std::string help = run_child({VSANFLEET, "--help"}).out;
  const std::set<std::string> commands = found_in(help, "\n  ([a-z]+) {2,}");
  EXPECT_EQ(commands.size(), 7U) << help;
  std::set<std::string> options = found_in(help, "--([a-z-]+)");
  for (const std::string &command : commands) {
    EXPECT_NE(page.find(".It Cm " + command + "\n"), std::string::npos) << command;
    options.merge(found_in(run_child({VSANFLEET, command, "--help"}).out, "--([a-z][a-z-]+)"));
  }
  EXPECT_EQ(options.size(), 9U);
  for (const std::string &option : options) {
    EXPECT_TRUE(std::regex_search(page, std::regex("\n\\.It Fl (h , )?-" + option + "[ \n]"))) << option;
  }
}

TEST(FleetDocuments, TheManPageOfTheDescriptionHasEveryKey) {
  const std::string page = text_of("docs/man/vsanfleet.toml.5");
  const std::string source = text_of("fleet/fleet_description.cpp");
  const std::set<std::string> keys = found_in(source, "\n    \\{\"([a-z_]+)\",");
  EXPECT_EQ(keys.size(), 19U);
  for (const std::string &key : keys) {
    EXPECT_TRUE(std::regex_search(page, std::regex("\n\\.It Li ([a-z_]+ , )*" + key + "( , [a-z_]+)*\n"))) << key;
  }
}

void expect_sound(const std::string &text) {
  fleet_description fleet;
  std::string problems;
  EXPECT_EQ(parse_fleet(text, "example.toml", fleet, problems), 0) << problems << "\n" << text;
}

TEST(FleetDocuments, ExamplesAreSound) {
  const std::string page = text_of("docs/man/vsanfleet.toml.5");
  const size_t start = page.rfind("[fleet]\n");
  expect_sound(page.substr(start, page.find(".Ed", start) - start));
  const std::string guide = text_of("docs/fleet.md");
  size_t examples = 0;
  for (size_t at = 0; (at = guide.find("```toml\n", at)) != std::string::npos; ++examples) {
    const size_t end = guide.find("\n```\n", at);
    expect_sound(guide.substr(at + 8, end - at - 7));
    at = end;
  }
  EXPECT_EQ(examples, 2U);
}

}  // namespace
