#include "child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <thread>

namespace {

std::mutex running_lock;
std::set<pid_t> running;
bool passing_on;  // set before there are threads
bool broken_off;  // a signal came; under the lock

std::vector<char *> pointers_to(std::vector<std::string> &words) {
  std::vector<char *> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string &word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// Signals are as usual in a child, whatever this program made of them.
void usual_signals(posix_spawnattr_t &attributes, short more_flags) {
  sigset_t none;
  sigset_t usual;
  sigemptyset(&none);
  sigfillset(&usual);
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes,
                           static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | more_flags));
}

// Reads both pipes to their ends.
void read_both(const int (&from)[2], child_result &result) {
  pollfd polled[] = {{from[0], POLLIN, 0}, {from[1], POLLIN, 0}};
  std::string *const into[] = {&result.out, &result.err};
  for (int open_ends = 2; open_ends > 0;) {
    if (poll(polled, 2, -1) < 0) {
      continue;
    }
    for (size_t i = 0; i < 2; ++i) {
      char part[4096];
      const ssize_t got = polled[i].revents != 0 ? read(polled[i].fd, part, sizeof part) : -1;
      if (got > 0) {
        into[i]->append(part, static_cast<size_t>(got));
      } else if (got == 0) {
        polled[i].fd = -1;
        --open_ends;
      }
    }
  }
}

pid_t spawn_piped(std::vector<std::string> words, int out, int err, std::string &problem) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, err, STDERR_FILENO);
  posix_spawnattr_t attributes;
  // Ctrl-C of a terminal is passed on like any other signal, once.
  usual_signals(attributes, passing_on ? POSIX_SPAWN_SETPGROUP : 0);
  pid_t child = -1;
  const int why = posix_spawnp(&child, words[0].c_str(), &files, &attributes, pointers_to(words).data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  problem = why != 0 ? words[0] + ": " + strerror(why) : "";
  return why == 0 ? child : -1;
}

int wait_for_end(pid_t child) {
  int ended = 0;
  while (waitpid(child, &ended, 0) < 0) {
    if (errno != EINTR) {
      return -1;
    }
  }
  return WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
}

}  // namespace

child_result run_child(const std::vector<std::string> &words) {
  child_result result;
  int out[2];
  int err[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    result.err = std::string("no pipe: ") + strerror(errno);
    return result;
  }
  if (pipe2(err, O_CLOEXEC) != 0) {
    result.err = std::string("no pipe: ") + strerror(errno);
    close(out[0]);
    close(out[1]);
    return result;
  }
  pid_t child = -1;
  {
    const std::lock_guard<std::mutex> guard(running_lock);
    child = broken_off ? -1 : spawn_piped(words, out[1], err[1], result.err);
    result.err = broken_off ? words[0] + " was not started any more" : result.err;
    running.insert(child);
  }
  close(out[1]);
  close(err[1]);
  if (child > 0) {
    read_both({out[0], err[0]}, result);
  }
  close(out[0]);
  close(err[0]);
  // Taken off the list while it is still there to be waited for: a signal never reaches a stranger of its number.
  if (child > 0) {
    siginfo_t ended = {};
    while (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
  }
  const std::lock_guard<std::mutex> guard(running_lock);
  running.erase(child);
  result.code = child > 0 ? wait_for_end(child) : -1;
  return result;
}

int start_daemon(const std::vector<std::string> &words, const std::string &log, std::string &problem) {
  std::vector<std::string> line = words;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0640);
  posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
  posix_spawnattr_t attributes;
  usual_signals(attributes, POSIX_SPAWN_SETSID);
  pid_t child = -1;
  const int why = posix_spawnp(&child, line[0].c_str(), &files, &attributes, pointers_to(line).data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  problem = why != 0 ? line[0] + " cannot be started: " + strerror(why) : "";
  return why == 0 ? 0 : -1;
}

void for_each_at_once(size_t count, size_t at_once, const std::function<void(size_t)> &work) {
  std::atomic<size_t> next = 0;
  std::vector<std::jthread> workers;
  for (size_t i = 0; i < std::min(count, at_once); ++i) {
    workers.emplace_back([&] {
      for (size_t number = next++; number < count; number = next++) {
        work(number);
      }
    });
  }
}

void pass_signals_on() {
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGINT);
  sigaddset(&taken, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &taken, nullptr);
  passing_on = true;
  std::thread([taken] {
    for (int number = 0; sigwait(&taken, &number) == 0;) {
      const std::lock_guard<std::mutex> guard(running_lock);
      broken_off = true;
      for (const pid_t each : running) {
        if (each > 0) {
          kill(each, SIGTERM);
        }
      }
    }
  }).detach();
}
