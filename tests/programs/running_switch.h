// A switchd of one test, with the small topology, and vsanctl for it.
#ifndef TESTS_PROGRAMS_RUNNING_SWITCH_H
#define TESTS_PROGRAMS_RUNNING_SWITCH_H

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "programs.h"
#include "switch_under_test.h"

struct running_switch : testing::Test {
  temporary_directory directory;
  pid_t switchd = -1;

  void SetUp() override;
  void TearDown() override;
  void start(const std::string &topology = TOPOLOGIES "/small-fabric.toml");
  void stop();  // which must be clean
  std::string path(const char *name) const { return directory.path + "/" + name; }
  std::string run_dir() const { return path("run"); }
  // vsanctl with these words.
  program_result run(std::vector<std::string> words) const;
  // What a command that must succeed prints, as JSON.
  nlohmann::json show(std::vector<std::string> words) const;
};

#endif
