#include "programs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "switch_under_test.h"

namespace {

// A test that is killed takes its programs along.
[[noreturn]] void become(std::string program, std::vector<std::string> arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::vector<char *> argv{program.data()};
  for (std::string &each : arguments) {
    argv.push_back(each.data());
  }
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  _exit(127);
}

void redirect(int from, const std::string &file) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(fd, from);
  close(fd);
}

}  // namespace

pid_t start_program(const std::string &program, const std::vector<std::string> &arguments, const std::string &err_file,
                    std::string *printed) {
  int out[2];
  EXPECT_EQ(pipe(out), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(out[1], STDOUT_FILENO);
    redirect(STDERR_FILENO, err_file);
    close(out[0]);
    close(out[1]);
    become(program, arguments);
  }
  close(out[1]);
  pollfd wait{out[0], POLLIN, 0};
  char text[64] = "";
  if (poll(&wait, 1, 20000) == 1) {
    const ssize_t size = read(out[0], text, sizeof text - 1);
    text[size > 0 ? size : 0] = '\0';
  }
  close(out[0]);
  if (printed != nullptr) {
    *printed = text;
  }
  return child;
}

int wait_for_exit(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

program_result run_program(const std::string &program, const std::vector<std::string> &arguments) {
  const temporary_directory directory;
  const std::string out = directory.path + "/out";
  const std::string err = directory.path + "/err";
  const pid_t child = fork();
  if (child == 0) {
    redirect(STDOUT_FILENO, out);
    redirect(STDERR_FILENO, err);
    become(program, arguments);
  }
  const int code = wait_for_exit(child);
  return {code, file_text(out), file_text(err)};
}
