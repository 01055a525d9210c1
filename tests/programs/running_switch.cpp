#include "running_switch.h"

#include <signal.h>

void running_switch::SetUp() {
  start();
}

void running_switch::TearDown() {
  if (switchd > 0) {
    stop();
  }
}

void running_switch::start(const std::string &topology) {
  std::string printed;
  switchd = start_program(SWITCHD, {"--run-dir", run_dir(), "--state", path("s.db"), "--topology", topology},
                          path("stderr"), &printed);
  ASSERT_EQ(printed, "ready\n");
}

void running_switch::stop() {
  kill(switchd, SIGTERM);
  EXPECT_EQ(wait_for_exit(switchd), 0);
  switchd = -1;
}

program_result running_switch::run(std::vector<std::string> words) const {
  words.insert(words.begin(), {"--run-dir", run_dir()});
  return run_program(VSANCTL, words);
}

nlohmann::json running_switch::show(std::vector<std::string> words) const {
  words.emplace_back("--json");
  const program_result result = run(words);
  EXPECT_EQ(result.code, 0) << result.err;
  return nlohmann::json::parse(result.out, nullptr, false);
}
