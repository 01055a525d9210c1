#include "store_reader.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "lab.h"

namespace store_reader {
namespace {

constexpr char kEnd[] = "END";

[[noreturn]] void run(const std::string &path, const int in[2], const int out[2]) {
  dup2(in[0], 0);
  dup2(out[1], 1);
  dup2(out[1], 2);
  const std::string program = lab::store_program();
  signal(SIGPIPE, SIG_DFL);
  execlp(program.c_str(), program.c_str(), "-init", "/dev/null", "-readonly", "-batch", path.c_str(), nullptr);
  _exit(127);
}

}  // namespace

reader::~reader() {
  if (to != nullptr) {
    fclose(to);
  }
  if (from != nullptr) {
    fclose(from);
  }
  if (pid > 0) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
}

void start(reader &r, const std::string &path) {
  int in[2], out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  signal(SIGPIPE, SIG_IGN);  // a program that has ended is said to have
  r.pid = fork();
  if (r.pid == 0) {
    run(path, in, out);
  }
  close(in[0]);
  close(out[1]);
  r.to = fdopen(in[1], "w");
  r.from = fdopen(out[0], "r");
  if (r.pid < 0 || r.to == nullptr || r.from == nullptr) {
    throw std::runtime_error("sqlite3 is not started");
  }
  rows(r, "PRAGMA schema_version;");
}

std::string rows(reader &r, const std::string &queries) {
  fprintf(r.to, "%s\n.print %s\n", queries.c_str(), kEnd);
  fflush(r.to);
  std::string out;
  char line[512];
  while (fgets(line, sizeof line, r.from) != nullptr) {
    if (std::string(line) == std::string(kEnd) + "\n") {
      return out;
    }
    out += line;
  }
  throw std::runtime_error("sqlite3 has ended: " + out);
}

}  // namespace store_reader
