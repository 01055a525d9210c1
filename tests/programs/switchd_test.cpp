// The program switchd: starting, refusing to start, and stopping.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "programs.h"
#include "switch_under_test.h"

namespace {

struct Switchd : testing::Test {
  temporary_directory directory;
  std::vector<pid_t> children;

  // Starts switchd and waits until it prints a line or ends. Returns its process id.
  pid_t start(const std::vector<std::string> &arguments, std::string *first_line = nullptr) {
    children.push_back(start_program(SWITCHD, arguments, directory.path + "/stderr", first_line));
    return children.back();
  }
  int exit_code(pid_t child) {
    std::erase(children, child);
    return wait_for_exit(child);
  }
  std::vector<std::string> options(const std::string &state = "s.db") const {
    return {"--run-dir", directory.path + "/run", "--state", directory.path + "/" + state};
  }
  void TearDown() override {
    for (const pid_t child : children) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
};

TEST_F(Switchd, SaysReadyWhenItsSocketsListenAndStopsCleanly) {
  std::string line;
  const pid_t child = start(options(), &line);
  EXPECT_EQ(line, "ready\n");
  for (const char *name : {"vsan-manager", "identity", "port-manager", "distribution", "control", "notifications"}) {
    EXPECT_TRUE(std::filesystem::is_socket(directory.path + "/run/" + name + ".sock")) << name;
  }
  // Where the kernel has what that takes; the log says so where not.
  const std::string log = file_text(directory.path + "/stderr");
  EXPECT_NE(std::filesystem::is_socket(directory.path + "/run/published.sock"),
            log.find("reads are not answered from memory: Function not implemented") != std::string::npos)
      << log;
  kill(child, SIGTERM);
  EXPECT_EQ(exit_code(child), 0);
  EXPECT_FALSE(std::filesystem::exists(directory.path + "/run/vsan-manager.sock"));
}

TEST_F(Switchd, ASecondInstanceOnOneRunDirectoryIsRefused) {
  const pid_t first = start(options());
  EXPECT_EQ(exit_code(start(options("other.db"))), 5);
  EXPECT_NE(file_text(directory.path + "/stderr").find("another switchd uses this run directory"), std::string::npos);
  EXPECT_EQ(kill(first, 0), 0);
}

TEST_F(Switchd, ASecondInstanceOnOneStoreIsRefused) {
  start(options());
  std::vector<std::string> second = options();
  second[1] = directory.path + "/run2";
  EXPECT_EQ(exit_code(start(second)), 4);
}

TEST_F(Switchd, AKilledOneIsReplacedByTheNext) {
  const pid_t first = start(options());
  kill(first, SIGKILL);
  exit_code(first);
  std::string line;
  start(options(), &line);
  EXPECT_EQ(line, "ready\n");
}

TEST_F(Switchd, ATopologyErrorNamesFileLineAndKey) {
  const std::string topology = directory.path + "/bad.toml";
  std::ofstream(topology) << "[switch]\nname = 7\n";
  std::vector<std::string> with_topology = options();
  with_topology.insert(with_topology.end(), {"--topology", topology});
  EXPECT_EQ(exit_code(start(with_topology)), 3);
  EXPECT_NE(file_text(directory.path + "/stderr").find(topology + ":2: switch.name: "), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(directory.path + "/s.db"));
}

struct wrong_switchd_line {
  std::vector<std::string> words;
  std::string told;
};

TEST_F(Switchd, AWrongCommandLineIsRefusedWithTheWordThatWasWrong) {
  const wrong_switchd_line lines[] = {
      {{"--log-level", "loud"}, "--log-level: \"loud\": debug, info, warn, error are the choices"},
      {{"--group", "nobodys"}, "--group: \"nobodys\": there is no such group"},
      {{"--topolgy", "x"}, "there is no option --topolgy here; there are --version, --run-dir, --state, --topology"},
      {{"start"}, "\"start\" is one word too many"},
      {{"--state"}, "--state: a value is missing"},
      {{"--check"}, "--check needs --topology"},
  };
  for (const wrong_switchd_line &line : lines) {
    const program_result result = run_program(SWITCHD, line.words);
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with("switchd: " + line.told)) << result.err;
    EXPECT_TRUE(result.err.ends_with("\n  switchd --help says more\n")) << result.err;
  }
}

TEST_F(Switchd, ARunDirectoryWhoseSocketsCannotBeNamedIsNotMade) {
  const std::string far = directory.path + "/" + std::string(200, 'a');
  const program_result result = run_program(SWITCHD, {"--run-dir", far, "--state", directory.path + "/s.db"});
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("run directory " + far + ": File name too long"), std::string::npos) << result.err;
  EXPECT_FALSE(std::filesystem::exists(far));
}

TEST_F(Switchd, HelpThatIsLostIsAnError) {
  EXPECT_EQ(run_program("/bin/sh", {"-c", SWITCHD " --help >/dev/full"}).code, 1);
}

TEST_F(Switchd, ALogFileInAFolderThatIsNotThereIsRefusedAndNoFolderIsMade) {
  std::vector<std::string> arguments = options();
  arguments.insert(arguments.end(), {"--log-file", directory.path + "/mistyped/deeper/log"});
  const program_result result = run_program(SWITCHD, arguments);
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("there is no folder " + directory.path + "/mistyped/deeper"), std::string::npos)
      << result.err;
  EXPECT_NE(access((directory.path + "/mistyped").c_str(), F_OK), 0);
}

TEST_F(Switchd, WithoutAStoreItSaysWhatIsMissing) {
  const program_result result = run_program(SWITCHD, {"--run-dir", directory.path + "/run"});
  EXPECT_EQ(result.code, 2);
  EXPECT_NE(result.err.find("switchd: --state FILE is missing"), std::string::npos) << result.err;
  EXPECT_EQ(run_program(SWITCHD, {"--version"}).out.find("switchd "), 0U);
}

TEST_F(Switchd, TakesItsRunDirectoryFromTheEnvironment) {
  const std::string elsewhere = directory.path + "/elsewhere";
  std::string line;
  children.push_back(start_program("/usr/bin/env",
                                   {"SWITCHD_RUN_DIR=" + elsewhere, SWITCHD, "--state", directory.path + "/s.db"},
                                   directory.path + "/stderr", &line));
  EXPECT_EQ(line, "ready\n");
  EXPECT_EQ(access((elsewhere + "/control.sock").c_str(), F_OK), 0);
}

TEST_F(Switchd, AHangupReopensTheLogFile) {
  const std::string log = directory.path + "/log";
  std::vector<std::string> with_log = options();
  with_log.insert(with_log.end(), {"--log-file", log});
  const pid_t child = start(with_log);
  EXPECT_NE(file_text(log).find("ready"), std::string::npos);
  std::filesystem::rename(log, log + ".1");
  kill(child, SIGHUP);
  for (int i = 0; i < 200 && !std::filesystem::exists(log); ++i) {
    usleep(10000);
  }
  kill(child, SIGTERM);
  EXPECT_EQ(exit_code(child), 0);
  EXPECT_NE(file_text(log).find("stopping"), std::string::npos);
  EXPECT_EQ(file_text(log + ".1").find("stopping"), std::string::npos);
}

// A tenth of a second as it ships. What grew with the square of the VSANs took minutes.
TEST_F(Switchd, TheLargestTopologyStartsInSeconds) {
  const std::string topology = directory.path + "/large.toml";
  ASSERT_EQ(
      system(("python3 " TOPOLOGIES "/generate-topology.py --vsans 4094 --interfaces 4096 > " + topology).c_str()), 0);
  std::vector<std::string> with_topology = options();
  with_topology.insert(with_topology.end(), {"--topology", topology});
  std::string line;
  const auto begin = std::chrono::steady_clock::now();
  start(with_topology, &line);
  EXPECT_EQ(line, "ready\n") << file_text(directory.path + "/stderr");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

}  // namespace
